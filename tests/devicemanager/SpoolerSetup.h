#pragma once

#include <windows.h>
#include <winspool.h>

#include <set>
#include <string>
#include <vector>

namespace devicemanager_test {

// Writes a value of the queue's printer data.
inline bool SetQueueText(const std::wstring& queue, const wchar_t* key, const wchar_t* name, const std::wstring& text,
                  DWORD type = REG_SZ)
{
    HANDLE printer = nullptr;
    PRINTER_DEFAULTSW defaults = {nullptr, nullptr, PRINTER_ALL_ACCESS};
    if (!OpenPrinterW(const_cast<wchar_t*>(queue.c_str()), &printer, &defaults)) {
        return false;
    }
    const DWORD result = SetPrinterDataExW(printer, key, name, type, (BYTE*)text.c_str(),
                                           static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    ClosePrinter(printer);
    return result == ERROR_SUCCESS;
}

// The test port monitor under a name of this process, in Wine's spooler.
inline bool InstallMonitor(const std::wstring& name)
{
    wchar_t module[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, module, MAX_PATH);
    std::wstring source = module;
    source = source.substr(0, source.find_last_of(L'\\') + 1) + L"orvtestmon.dll";
    wchar_t system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    CopyFileW(source.c_str(), (std::wstring(system) + L"\\orvtestmon.dll").c_str(), FALSE);
    MONITOR_INFO_2W info = {const_cast<wchar_t*>(name.c_str()), const_cast<wchar_t*>(L"Windows x64"),
                            const_cast<wchar_t*>(L"orvtestmon.dll")};
    return AddMonitorW(nullptr, 2, reinterpret_cast<BYTE*>(&info))
        || GetLastError() == ERROR_PRINT_MONITOR_ALREADY_INSTALLED;
}

// A driver on Wine's PostScript driver that names `monitor`.
inline bool InstallDriver(const std::wstring& name, const std::wstring& monitor)
{
    DRIVER_INFO_3W driver = {};
    driver.cVersion = 3;
    driver.pName = const_cast<wchar_t*>(name.c_str());
    driver.pEnvironment = const_cast<wchar_t*>(L"Windows x64");
    driver.pDriverPath = const_cast<wchar_t*>(L"wineps.drv");
    driver.pDataFile = const_cast<wchar_t*>(L"generic.ppd");
    driver.pConfigFile = const_cast<wchar_t*>(L"wineps.drv");
    driver.pMonitorName = monitor.empty() ? nullptr : const_cast<wchar_t*>(monitor.c_str());
    return AddPrinterDriverW(nullptr, 3, reinterpret_cast<BYTE*>(&driver)) != FALSE;
}

// The names of what the spooler holds: drivers, monitors and queues.
struct SpoolerContents {
    std::set<std::wstring> drivers;
    std::set<std::wstring> monitors;
    std::set<std::wstring> queues;

    static SpoolerContents Read()
    {
        SpoolerContents contents;
        DWORD needed = 0;
        DWORD returned = 0;
        EnumPrinterDriversW(nullptr, nullptr, 1, nullptr, 0, &needed, &returned);
        std::vector<BYTE> buffer(needed + 1);
        if (EnumPrinterDriversW(nullptr, nullptr, 1, buffer.data(), needed, &needed, &returned)) {
            for (DWORD i = 0; i < returned; ++i) {
                contents.drivers.insert(reinterpret_cast<DRIVER_INFO_1W*>(buffer.data())[i].pName);
            }
        }
        EnumMonitorsW(nullptr, 1, nullptr, 0, &needed, &returned);
        buffer.assign(needed + 1, 0);
        if (EnumMonitorsW(nullptr, 1, buffer.data(), needed, &needed, &returned)) {
            for (DWORD i = 0; i < returned; ++i) {
                contents.monitors.insert(reinterpret_cast<MONITOR_INFO_1W*>(buffer.data())[i].pName);
            }
        }
        EnumPrintersW(PRINTER_ENUM_LOCAL, nullptr, 4, nullptr, 0, &needed, &returned);
        buffer.assign(needed + 1, 0);
        if (EnumPrintersW(PRINTER_ENUM_LOCAL, nullptr, 4, buffer.data(), needed, &needed, &returned)) {
            for (DWORD i = 0; i < returned; ++i) {
                contents.queues.insert(reinterpret_cast<PRINTER_INFO_4W*>(buffer.data())[i].pPrinterName);
            }
        }
        return contents;
    }
};

}  // namespace devicemanager_test
