#include "SpoolerQueueSet.h"

#include <windows.h>
#include <winspool.h>

#include <cstdio>

namespace bench {

namespace {

constexpr const wchar_t* kDriver = L"Orvane Bench Driver";

bool InstallDriver()
{
    DRIVER_INFO_3W driver = {};
    driver.cVersion = 3;
    driver.pName = const_cast<wchar_t*>(kDriver);
    driver.pEnvironment = const_cast<wchar_t*>(L"Windows x64");
    driver.pDriverPath = const_cast<wchar_t*>(L"wineps.drv");
    driver.pDataFile = const_cast<wchar_t*>(L"generic.ppd");
    driver.pConfigFile = const_cast<wchar_t*>(L"wineps.drv");
    return AddPrinterDriverW(nullptr, 3, reinterpret_cast<BYTE*>(&driver))
        || GetLastError() == ERROR_PRINTER_DRIVER_ALREADY_INSTALLED;
}

}  // namespace

SpoolerQueueSet::~SpoolerQueueSet()
{
    for (const std::wstring& name : m_names) {
        HANDLE printer = nullptr;
        PRINTER_DEFAULTSW defaults = {nullptr, nullptr, PRINTER_ALL_ACCESS};
        if (OpenPrinterW(const_cast<wchar_t*>(name.c_str()), &printer, &defaults)) {
            DeletePrinter(printer);
            ClosePrinter(printer);
        }
    }
}

bool SpoolerQueueSet::GrowTo(size_t count)
{
    if (m_names.empty() && !InstallDriver()) {
        std::fprintf(stderr, "bench: the spooler refused the driver (%lu)\n", GetLastError());
        return false;
    }
    while (m_names.size() < count) {
        const size_t number = m_names.size() + 1;
        wchar_t name[64];
        wchar_t port[16];
        std::swprintf(name, 64, L"Orvane Bench Queue %zu", number);
        std::swprintf(port, 16, L"USB%03zu", 1 + number % 999);
        PRINTER_INFO_2W info = {};
        info.pPrinterName = name;
        info.pPortName = port;
        info.pDriverName = const_cast<wchar_t*>(kDriver);
        info.pPrintProcessor = const_cast<wchar_t*>(L"WinPrint");
        info.pDatatype = const_cast<wchar_t*>(L"RAW");
        const HANDLE printer = AddPrinterW(nullptr, 2, reinterpret_cast<BYTE*>(&info));
        if (printer == nullptr && GetLastError() != ERROR_PRINTER_ALREADY_EXISTS) {
            std::fprintf(stderr, "bench: the spooler refused queue %zu (%lu)\n", number, GetLastError());
            return false;
        }
        if (printer != nullptr) {
            ClosePrinter(printer);
        }
        m_names.push_back(name);
    }
    return true;
}

}  // namespace bench
