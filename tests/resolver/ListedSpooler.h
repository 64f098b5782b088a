#pragma once

#include <windows.h>
#include <winspool.h>

#include <cwchar>
#include <vector>

#include "winapi/CSpoolerApi.h"

namespace resolver_test {

// The spooler's queues as a list of the test's: server, printer, share and
// port name of each (null where a text is null).
class ListedSpooler : public QVWinApi::CSpoolerApi {
public:
    struct Queue {
        const wchar_t* server;
        const wchar_t* printer;
        const wchar_t* share;
        const wchar_t* port;
    };
    explicit ListedSpooler(std::vector<Queue> queues) : m_queues(std::move(queues)) {}

    // The queues are listed for this many calls (a listing takes two: size,
    // then records), and none after them.
    void ListFor(int calls) { m_callsLeft = calls; }

    BOOL EnumPrintersW(DWORD, LPWSTR, DWORD level, LPBYTE buffer, DWORD bytes, LPDWORD needed,
                       LPDWORD returned) override
    {
        if (m_callsLeft >= 0 && m_callsLeft-- == 0) {
            m_queues.clear();
        }
        size_t size = m_queues.size() * sizeof(PRINTER_INFO_2W);
        for (const Queue& queue : m_queues) {
            for (const wchar_t* text : {queue.server, queue.printer, queue.share, queue.port}) {
                size += text ? (wcslen(text) + 1) * sizeof(wchar_t) : 0;
            }
        }
        *needed = static_cast<DWORD>(size);
        if (level != 2 || buffer == nullptr || bytes < size) {
            ::SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return FALSE;
        }
        auto* infos = reinterpret_cast<PRINTER_INFO_2W*>(buffer);
        auto* strings = reinterpret_cast<wchar_t*>(infos + m_queues.size());
        const auto place = [&](const wchar_t* text) -> wchar_t* {
            if (!text) {
                return nullptr;
            }
            wchar_t* at = strings;
            wcscpy(at, text);
            strings += wcslen(text) + 1;
            return at;
        };
        for (size_t i = 0; i < m_queues.size(); ++i) {
            infos[i] = PRINTER_INFO_2W{};
            infos[i].pServerName = place(m_queues[i].server);
            infos[i].pPrinterName = place(m_queues[i].printer);
            infos[i].pShareName = place(m_queues[i].share);
            infos[i].pPortName = place(m_queues[i].port);
        }
        *returned = static_cast<DWORD>(m_queues.size());
        return TRUE;
    }

private:
    std::vector<Queue> m_queues;
    int m_callsLeft = -1;
};

}  // namespace resolver_test
