#pragma once

#include "logging/CLogFunction.h"

namespace QVLogging {

// A trace scope that also logs the function's return value at its end,
// through a return logger (LogReturnBool for bool).
template <typename T>
class CLogFunctionT : public CLogFunction {
public:
    using ReturnLogger = void (*)(CLogFunction*, T);

    template <typename... Args>
    CLogFunctionT(ReturnLogger returnLogger, CLogModule* module, CLogSourceFile* sourceFile,
                  const wchar_t* functionName, unsigned long line, unsigned long errorCode,
                  unsigned long watch, const wchar_t* format, Args... args)
        : CLogFunction(module, sourceFile, functionName, line, errorCode, watch, format, args...),
          m_returnLogger(returnLogger)
    {
    }

    ~CLogFunctionT() override
    {
        if (m_returnLogger) {
            m_returnLogger(this, m_returnValue);
        }
    }

    // Sets the value to log and hands it back: `return logScope.Return(x);`
    T Return(T value)
    {
        m_returnValue = value;
        return value;
    }

    T m_returnValue{};

private:
    ReturnLogger m_returnLogger;
};

}  // namespace QVLogging
