#include "discovery/CDiscoveryServerXpWSD.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <process.h>

#include "discovery/CAdapterAddresses.h"
#include "discovery/CWSDSession.h"
#include "discovery/DiscoveryStatus.h"
#include "logging/LogTrace.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDiscovery {

namespace {

constexpr DWORD kMaxThreads = 15;
constexpr unsigned kBadBlock = ERROR_INVALID_PARAMETER;
// Two gSOAP contexts live on the heap; the rest fits a small stack.
constexpr unsigned kThreadStack = 256 * 1024;

bool IsUsable(const IP_ADAPTER_ADDRESSES& adapter)
{
    return adapter.OperStatus == IfOperStatusUp
        && (adapter.IfType == IF_TYPE_ETHERNET_CSMACD || adapter.IfType == IF_TYPE_IEEE80211);
}

// Of all blocks the first with result 0 gives 0, else the last one's.
unsigned long FirstSuccessOrLast(const DiscoveryThreadArgs* blocks, DWORD count)
{
    for (DWORD i = 0; i < count; ++i) {
        if (blocks[i].result == DISCOVERY_OK) {
            return DISCOVERY_OK;
        }
    }
    return blocks[count - 1].result;
}

}  // namespace

template <typename Session>
unsigned long CDiscoveryServerXpWSD<Session>::GetSearchTimeout(unsigned long type)
{
    return type == DISCOVERY_SEARCH_BY_ADDRESS ? 7 : 12;
}

template <typename Session>
unsigned __stdcall CDiscoveryServerXpWSD<Session>::DiscoveryThread(void* block)
{
    auto* args = static_cast<DiscoveryThreadArgs*>(block);
    if (args == nullptr || args->server == nullptr) {
        return kBadBlock;
    }
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServerXpWSD::DiscoveryThread");
    QV_LOG_LINE(QVLogging::kCategoryDebug, L"Discovery thread for adapter (%S) has started",
                args->localAddress.c_str());
    args->result = static_cast<CDiscoveryServerXpWSD*>(args->server)->DiscoveryThreadProc(*args);
    // The wording stays as monitoring tools know it.
    QV_LOG_LINE(QVLogging::kCategoryDebug, L"Event thread or adapter (%S) has stopped", args->localAddress.c_str());
    return 0;
}

template <typename Session>
unsigned long CDiscoveryServerXpWSD<Session>::DiscoveryThreadProc(DiscoveryThreadArgs& args)
{
    switch (args.request.type) {
    case DISCOVERY_SEARCH_BY_ID:
        return SearchById(args);
    case DISCOVERY_SEARCH_BY_ADDRESS:
        return SearchByAddress(args);
    case DISCOVERY_SEARCH_BY_TYPE:
        return SearchByType(args);
    default:
        return DISCOVERY_E_INVALIDARG;
    }
}

template <typename Session>
unsigned long CDiscoveryServerXpWSD<Session>::StartThreads(DiscoveryThreadArgs& main, DiscoveryThreadArgs* blocks,
                                                          HANDLE* threads, DWORD& started)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServerXpWSD::StartThreads");
    const auto start = [&](const std::string& localAddress) {
        DiscoveryThreadArgs& block = blocks[started];
        block = main;
        block.server = this;
        block.localAddress = localAddress;
        block.result = kDiscoveryResultPending;
        threads[started] = reinterpret_cast<HANDLE>(
            g_pKernelApi->_beginthreadex(nullptr, kThreadStack, DiscoveryThread, &block, 0, nullptr));
        if (threads[started] == nullptr) {
            return false;
        }
        ++started;
        return true;
    };
    if (main.request.oneThread == 1) {
        if (!start(main.localAddress)) {
            QV_LOG_ERROR(L"_beginthreadex failed, err=%d", static_cast<int>(::GetLastError()));
            return DISCOVERY_E_INTERNAL;
        }
        return DISCOVERY_OK;
    }
    unsigned long error = DISCOVERY_OK;
    CAdapterAddresses adapters;
    if (!adapters.Enum()) {
        QV_LOG_ERROR(L"CAdapterAddresses.Enum failed, err=%d", static_cast<int>(::GetLastError()));
        error = DISCOVERY_E_NETWORK;
    }
    for (PIP_ADAPTER_ADDRESSES adapter = adapters.GetFirst(); adapter != nullptr && started < kMaxThreads;
         adapter = adapter->Next) {
        if (!IsUsable(*adapter)) {
            continue;
        }
        for (PIP_ADAPTER_UNICAST_ADDRESS unicast = adapter->FirstUnicastAddress;
             unicast != nullptr && started < kMaxThreads; unicast = unicast->Next) {
            if (unicast->DadState != IpDadStatePreferred) {
                continue;
            }
            char host[NI_MAXHOST] = {};
            const int failed = getnameinfo(unicast->Address.lpSockaddr, unicast->Address.iSockaddrLength, host,
                                           NI_MAXHOST, nullptr, 0, NI_NUMERICHOST);
            if (failed != 0) {
                QV_LOG_ERROR(L"getnameinfo failed, err=%d", failed);
                continue;
            }
            if (!start(host)) {
                QV_LOG_ERROR(L"_beginthreadex(%d) failed, err=%d", static_cast<int>(started),
                             static_cast<int>(::GetLastError()));
                error = DISCOVERY_E_INTERNAL;
            } else if (started == kMaxThreads) {
                QV_LOG_LINE(QVLogging::kCategoryWarning, L"Reached maximum discovery threads allowed (%d)",
                            static_cast<int>(kMaxThreads));
            }
        }
    }
    if (started == 0) {
        return error != DISCOVERY_OK ? error : DISCOVERY_E_NETWORK;
    }
    return DISCOVERY_OK;
}

template <typename Session>
unsigned long CDiscoveryServerXpWSD<Session>::MainDiscoveryThreadProc(DiscoveryThreadArgs& args)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServerXpWSD::MainDiscoveryThreadProc");
    DiscoveryThreadArgs blocks[kMaxThreads];
    HANDLE threads[kMaxThreads] = {};
    DWORD started = 0;
    unsigned long status = StartThreads(args, blocks, threads, started);
    if (started == 0) {
        return status;
    }
    // Handles and their blocks, in the same order; the one-of-many wait
    // takes the ended one out.
    HANDLE waiting[kMaxThreads];
    DiscoveryThreadArgs* owners[kMaxThreads];
    for (DWORD i = 0; i < started; ++i) {
        waiting[i] = threads[i];
        owners[i] = &blocks[i];
    }
    DWORD remaining = started;
    if (args.request.type == DISCOVERY_SEARCH_BY_TYPE) {
        if (g_pKernelApi->WaitForMultipleObjects(started, threads, TRUE, INFINITE) == WAIT_FAILED) {
            QV_LOG_ERROR(L"WaitForMultipleObjects failed, err=%d", static_cast<int>(::GetLastError()));
            status = DISCOVERY_E_INTERNAL;
        } else {
            status = FirstSuccessOrLast(blocks, started);
        }
        remaining = 0;
    } else {
        while (remaining > 0) {
            const DWORD woken = g_pKernelApi->WaitForMultipleObjects(remaining, waiting, FALSE, INFINITE);
            if (woken >= WAIT_OBJECT_0 + remaining) {
                QV_LOG_ERROR(L"WaitForMultipleObjects failed, err=%d", static_cast<int>(::GetLastError()));
                status = DISCOVERY_E_INTERNAL;
                break;
            }
            const DWORD at = woken - WAIT_OBJECT_0;
            status = owners[at]->result;
            for (DWORD i = at + 1; i < remaining; ++i) {
                waiting[i - 1] = waiting[i];
                owners[i - 1] = owners[i];
            }
            --remaining;
            if (status == DISCOVERY_OK) {
                break;
            }
        }
    }
    if (remaining > 0) {
        g_pKernelApi->SetEvent(args.stopEvent);
        if (g_pKernelApi->WaitForMultipleObjects(remaining, waiting, TRUE, INFINITE) == WAIT_FAILED) {
            QV_LOG_ERROR(L"WaitForMultipleObjects failed, err=%d", static_cast<int>(::GetLastError()));
            status = DISCOVERY_E_INTERNAL;
        }
    }
    for (DWORD i = started; i > 0; --i) {
        g_pKernelApi->CloseHandle(threads[i - 1]);
    }
    logScope.m_errorCode = status;
    return status;
}

template class CDiscoveryServerXpWSD<CWSDSession>;

}  // namespace QVDiscovery
