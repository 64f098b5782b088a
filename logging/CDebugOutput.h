#pragma once

#include "logging/IDebugOutput.h"

namespace QVLogging {

// Sends text to OutputDebugStringW.
class CDebugOutput : public IDebugOutput {
public:
    constexpr CDebugOutput() = default;
    void Write(const wchar_t* text) override;
};

}  // namespace QVLogging
