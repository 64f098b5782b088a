#pragma once

#include <windows.h>
#include <winspool.h>

#include <string>
#include <vector>

#include "peers/PrinterQueue.h"

namespace resolver_test {

// Print queues in the real spooler of the test's Wine prefix, removed again
// when the object goes. The queues share one driver, installed on first
// use; every name carries the process id, so that test programs that share
// the prefix keep to their own queues.
class SpoolerQueues {
public:
    SpoolerQueues() = default;
    ~SpoolerQueues()
    {
        for (const std::wstring& name : m_names) {
            peers::DeletePrinterQueue(name.c_str());
        }
    }
    SpoolerQueues(const SpoolerQueues&) = delete;
    SpoolerQueues& operator=(const SpoolerQueues&) = delete;

    // "<name> <pid>": a queue name of this process.
    static std::wstring Unique(const std::wstring& name)
    {
        return name + L" " + std::to_wstring(::GetCurrentProcessId());
    }

    // Adds the queue `name` on `port`, shared as `share` when one is given;
    // false with the spooler's error in `error`.
    bool Add(const std::wstring& name, const std::wstring& port, const std::wstring& share = L"",
             DWORD* error = nullptr)
    {
        if (!peers::InstallPrinterDriver(kDriver)) {
            if (error) {
                *error = ::GetLastError();
            }
            return false;
        }
        PRINTER_INFO_2W info = {};
        info.pPrinterName = const_cast<wchar_t*>(name.c_str());
        info.pPortName = const_cast<wchar_t*>(port.c_str());
        info.pDriverName = const_cast<wchar_t*>(kDriver);
        info.pPrintProcessor = const_cast<wchar_t*>(L"WinPrint");
        info.pDatatype = const_cast<wchar_t*>(L"RAW");
        if (!share.empty()) {
            info.pShareName = const_cast<wchar_t*>(share.c_str());
            info.Attributes = PRINTER_ATTRIBUTE_SHARED;
        }
        const HANDLE printer = ::AddPrinterW(nullptr, 2, reinterpret_cast<BYTE*>(&info));
        if (printer == nullptr) {
            if (error) {
                *error = ::GetLastError();
            }
            return false;
        }
        ::ClosePrinter(printer);
        m_names.push_back(name);
        return true;
    }

    static constexpr const wchar_t* kDriver = L"Orvane Test Driver";

private:
    std::vector<std::wstring> m_names;
};

}  // namespace resolver_test
