#include "logging/CDebugOutput.h"

#include <windows.h>

namespace QVLogging {

void CDebugOutput::Write(const wchar_t* text)
{
    ::OutputDebugStringW(text);
}

}  // namespace QVLogging

namespace {

QVLogging::CDebugOutput s_debugOutput;

}  // namespace

QVLogging::IDebugOutput* g_pDebugOutput = &s_debugOutput;
