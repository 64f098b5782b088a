#pragma once

#include <windows.h>

#include <string>

namespace doubles {

// The system's text for an error as a log's error line carries it: without
// the text's final line end.
inline std::wstring ErrorLineText(DWORD code)
{
    wchar_t* buffer = nullptr;
    ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM
                         | FORMAT_MESSAGE_IGNORE_INSERTS,
                     nullptr, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                     reinterpret_cast<LPWSTR>(&buffer), 0, nullptr);
    const std::wstring text = buffer != nullptr ? buffer : L"";
    ::LocalFree(buffer);
    return text.substr(0, text.size() >= 2 ? text.size() - 2 : 0);
}

}  // namespace doubles
