#pragma once

// The test port monitor (orvtestmon.dll, built beside the tests) in Wine's
// real spooler, and the name under which this machine is its own server.
#include <windows.h>
#include <winspool.h>

#include <string>

namespace resolver_test {

inline const wchar_t kMonitor[] = L"Orvane Test Monitor";

inline std::wstring ComputerName()
{
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
    ::GetComputerNameW(name, &size);
    return name;
}

// The test monitor, copied from beside the test binary into the system
// folder and added to the spooler once for the process.
inline bool InstallTestMonitor()
{
    static const bool installed = [] {
        wchar_t module[MAX_PATH] = {};
        ::GetModuleFileNameW(nullptr, module, MAX_PATH);
        std::wstring source = module;
        source = source.substr(0, source.find_last_of(L'\\') + 1) + L"orvtestmon.dll";
        wchar_t system[MAX_PATH] = {};
        ::GetSystemDirectoryW(system, MAX_PATH);
        if (!::CopyFileW(source.c_str(), (std::wstring(system) + L"\\orvtestmon.dll").c_str(), FALSE)) {
            return false;
        }
        MONITOR_INFO_2W info = {const_cast<wchar_t*>(kMonitor), const_cast<wchar_t*>(L"Windows x64"),
                                const_cast<wchar_t*>(L"orvtestmon.dll")};
        return ::AddMonitorW(nullptr, 2, reinterpret_cast<BYTE*>(&info))
            || ::GetLastError() == ERROR_PRINT_MONITOR_ALREADY_INSTALLED;
    }();
    return installed;
}

}  // namespace resolver_test
