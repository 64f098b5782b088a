#pragma once

#include <string>

#include "logging/IDebugOutput.h"

namespace doubles {

// Collects what would go to the debugger, in one text.
class CapturedDebugOutput : public QVLogging::IDebugOutput {
public:
    void Write(const wchar_t* text) override { m_text += text; }
    std::wstring m_text;
};

}  // namespace doubles
