// The stand-ins of the family's component libraries, as a test wants the
// machine: one folder of them on the search path, the device path they
// carry bytes to, and the calls they are told to fail; all put back at the
// end. The record of the calls they met is read from the environment.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "UsbTestSupport.h"

namespace usb_test {

class ComponentLibraries {
public:
    // `folder`: "all", "first", "second", "older", or "none" (no library).
    explicit ComponentLibraries(const std::wstring& folder, const std::wstring& devicePath = L"")
    {
        Use(folder);
        SetEnvironmentVariableW(L"ORVANE_COMPONENT_PATH", devicePath.empty() ? nullptr : devicePath.c_str());
        SetEnvironmentVariableW(L"ORVANE_COMPONENT_CALLS", nullptr);
    }
    ~ComponentLibraries()
    {
        SetDllDirectoryW(nullptr);
        for (const wchar_t* name : {L"ORVANE_COMPONENT_PATH", L"ORVANE_COMPONENT_FAIL", L"ORVANE_COMPONENT_EMPTY",
                                    L"ORVANE_COMPONENT_CALLS"}) {
            SetEnvironmentVariableW(name, nullptr);
        }
    }
    ComponentLibraries(const ComponentLibraries&) = delete;
    ComponentLibraries& operator=(const ComponentLibraries&) = delete;

    // Another folder from now on.
    void Use(const std::wstring& folder) { SetDllDirectoryW((ProgramFolder() + L"components\\" + folder).c_str()); }
    // "Call=status,...": those calls fail with that last status.
    void Fail(const std::string& calls) { SetEnvironmentVariableA("ORVANE_COMPONENT_FAIL", calls.c_str()); }
    // "Call,...": those transfers succeed with 0 bytes.
    void Empty(const std::string& calls) { SetEnvironmentVariableA("ORVANE_COMPONENT_EMPTY", calls.c_str()); }
    // "file:Call(args);" for each call the libraries met, and forgets them.
    static std::string Calls()
    {
        static char record[32768];
        const DWORD length = GetEnvironmentVariableA("ORVANE_COMPONENT_CALLS", record, sizeof record);
        SetEnvironmentVariableA("ORVANE_COMPONENT_CALLS", nullptr);
        return length < sizeof record ? std::string(record, length) : std::string();
    }
    // Whether a library of that file name is loaded in this process.
    static bool Loaded(const wchar_t* name) { return GetModuleHandleW(name) != nullptr; }
    static bool AnyLoaded()
    {
        return Loaded(L"zqcvarlo.dll") || Loaded(L"zqpvarlo.dll") || Loaded(L"FXVarloChannel.dll")
            || Loaded(L"FXVarloChannel_x64.dll");
    }
};

}  // namespace usb_test
