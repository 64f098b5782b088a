#pragma once

namespace QVLogging {

// The debugger channel of the log.
class IDebugOutput {
public:
    virtual void Write(const wchar_t* text) = 0;
    virtual ~IDebugOutput() = default;
};

}  // namespace QVLogging

// The object through which log text reaches the debugger.
extern QVLogging::IDebugOutput* g_pDebugOutput;
