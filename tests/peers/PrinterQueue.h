#pragma once

#include <windows.h>
#include <winspool.h>

namespace peers {

// Installs a printer driver named `name` on Wine's PostScript driver, the
// one every queue of the tests and the bench stands on; a driver that is
// there already is as good as a new one.
inline bool InstallPrinterDriver(const wchar_t* name)
{
    DRIVER_INFO_3W driver = {};
    driver.cVersion = 3;
    driver.pName = const_cast<wchar_t*>(name);
    driver.pEnvironment = const_cast<wchar_t*>(L"Windows x64");
    driver.pDriverPath = const_cast<wchar_t*>(L"wineps.drv");
    driver.pDataFile = const_cast<wchar_t*>(L"generic.ppd");
    driver.pConfigFile = const_cast<wchar_t*>(L"wineps.drv");
    return AddPrinterDriverW(nullptr, 3, reinterpret_cast<BYTE*>(&driver))
        || GetLastError() == ERROR_PRINTER_DRIVER_ALREADY_INSTALLED;
}

// Removes the queue `name`, if there is one.
inline void DeletePrinterQueue(const wchar_t* name)
{
    HANDLE printer = nullptr;
    PRINTER_DEFAULTSW defaults = {nullptr, nullptr, PRINTER_ALL_ACCESS};
    if (OpenPrinterW(const_cast<wchar_t*>(name), &printer, &defaults)) {
        DeletePrinter(printer);
        ClosePrinter(printer);
    }
}

}  // namespace peers
