#include "SpoolerQueueSet.h"

#include <windows.h>
#include <winspool.h>

#include <cstdio>

#include "peers/PrinterQueue.h"

namespace bench {

namespace {

constexpr const wchar_t* kDriver = L"Orvane Bench Driver";

}  // namespace

SpoolerQueueSet::~SpoolerQueueSet()
{
    for (const std::wstring& name : m_names) {
        peers::DeletePrinterQueue(name.c_str());
    }
}

bool SpoolerQueueSet::GrowTo(size_t count)
{
    if (m_names.empty() && !peers::InstallPrinterDriver(kDriver)) {
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
