#pragma once

#include "utils/IProgress.h"

namespace QVUtils {

// Stores the percentage and the stop answer; receivers implement OnStep.
// Once an answer was false, it stays false.
class CProgress : public IProgress {
public:
    bool Step(double percent, unsigned long code, ...) override;
    bool Step(unsigned long code, ...) override;
    unsigned long Inhibit(bool inhibit) override;
    unsigned long GetInhibit() override;

    // Above 0, steps are not counted. Raised directly for a nested read.
    unsigned long m_ulInhibit = 0;

protected:
    double m_dPercent = 0.0;
    bool m_bContinue = true;
};

}  // namespace QVUtils
