#pragma once

#include <cstdarg>

namespace QVUtils {

// Percentage and cancellation of a long operation: every report answers
// whether to go on. `code` and its arguments pass unchanged to the receiver.
class IProgress {
public:
    virtual bool Step(double percent, unsigned long code, ...) = 0;
    virtual bool Step(unsigned long code, ...) = 0;
    virtual bool OnStep(double percent, unsigned long code, va_list args) = 0;
    // Returns the inhibit count before the change.
    virtual unsigned long Inhibit(bool inhibit) = 0;
    virtual unsigned long GetInhibit() = 0;
    virtual ~IProgress() = default;
};

}  // namespace QVUtils
