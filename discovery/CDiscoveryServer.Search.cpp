#include <process.h>

#include "discovery/CDiscoveryServer.h"
#include "discovery/DiscoveryStatus.h"
#include "logging/LogTrace.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDiscovery {

namespace {

constexpr unsigned kBadBlock = ERROR_INVALID_PARAMETER;

HANDLE StartThread(unsigned(__stdcall* routine)(void*), void* args)
{
    return reinterpret_cast<HANDLE>(g_pKernelApi->_beginthreadex(nullptr, 0, routine, args, 0, nullptr));
}

}  // namespace

unsigned long CDiscoveryServer::SearchForDevices(const SearchRequest& request)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServer::SearchForDevices");
    CAddEventQueue addQueue;
    CRemoveEventQueue removeQueue;
    HANDLE stopEvent = g_pKernelApi->CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (stopEvent == nullptr) {
        QV_LOG_ERROR(L"CreateEvent failed, err=%d", static_cast<int>(::GetLastError()));
        return DISCOVERY_E_INTERNAL;
    }
    if (addQueue.GetEventHandle() == nullptr || removeQueue.GetEventHandle() == nullptr) {
        g_pKernelApi->CloseHandle(stopEvent);
        return DISCOVERY_E_INTERNAL;
    }
    EventThreadArgs eventArgs;
    eventArgs.server = this;
    eventArgs.timeLimit = GetSearchTimeout(request.type) * 1000;
    eventArgs.stopEvent = stopEvent;
    eventArgs.context = request.context;
    eventArgs.addQueue = &addQueue;
    eventArgs.removeQueue = &removeQueue;
    DiscoveryThreadArgs mainArgs;
    mainArgs.server = this;
    mainArgs.stopEvent = stopEvent;
    mainArgs.request = request;
    mainArgs.addQueue = &addQueue;
    mainArgs.removeQueue = &removeQueue;

    unsigned long status = DISCOVERY_OK;
    HANDLE threads[2] = {StartThread(EventThread, &eventArgs), nullptr};
    if (threads[0] != nullptr) {
        threads[1] = StartThread(MainDiscoveryThread, &mainArgs);
    }
    if (threads[0] == nullptr || threads[1] == nullptr) {
        QV_LOG_ERROR(L"_beginthreadex Failed, err=%d", static_cast<int>(::GetLastError()));
        status = DISCOVERY_E_INTERNAL;
    }
    const DWORD running = threads[1] != nullptr ? 2 : threads[0] != nullptr ? 1 : 0;
    if (running == 2 && g_pKernelApi->WaitForMultipleObjects(2, threads, FALSE, INFINITE) == WAIT_FAILED) {
        QV_LOG_ERROR(L"WaitForMultipleObjects failed with (%d)", static_cast<int>(::GetLastError()));
        status = DISCOVERY_E_INTERNAL;
    }
    // Also stops an event thread whose partner never started, before the
    // blocks it uses go away.
    g_pKernelApi->SetEvent(stopEvent);
    if (running != 0 && g_pKernelApi->WaitForMultipleObjects(running, threads, TRUE, INFINITE) == WAIT_FAILED) {
        QV_LOG_ERROR(L"WaitForMultipleObjects failed with (%d)", static_cast<int>(::GetLastError()));
        status = DISCOVERY_E_INTERNAL;
    } else if (status == DISCOVERY_OK) {
        status = mainArgs.result;
    }
    if (running != 0) {
        if (eventArgs.result == DISCOVERY_OK) {
            status = DISCOVERY_OK;
        } else if (status == DISCOVERY_OK || status == DISCOVERY_E_STOPPED) {
            status = eventArgs.result;
        }
    }
    if (status == DISCOVERY_OK) {
        Fire_SearchComplete(request.context);
    } else {
        Fire_SearchFailed(status, request.context);
    }
    g_pKernelApi->CloseHandle(stopEvent);
    for (HANDLE thread : threads) {
        if (thread != nullptr) {
            g_pKernelApi->CloseHandle(thread);
        }
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned __stdcall CDiscoveryServer::MainDiscoveryThread(void* block)
{
    auto* args = static_cast<DiscoveryThreadArgs*>(block);
    if (args == nullptr || args->server == nullptr) {
        return kBadBlock;
    }
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServer::MainDiscoveryThread");
    QV_LOG_LINE(QVLogging::kCategoryDebug, L"Main Discovery thread has started");
    args->result = args->server->MainDiscoveryThreadProc(*args);
    QV_LOG_LINE(QVLogging::kCategoryDebug, L"Main Discovery thread has stopped");
    return 0;
}

unsigned __stdcall CDiscoveryServer::EventThread(void* block)
{
    auto* args = static_cast<EventThreadArgs*>(block);
    if (args == nullptr || args->server == nullptr) {
        return kBadBlock;
    }
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServer::EventThread");
    QV_LOG_LINE(QVLogging::kCategoryDebug, L"Event thread has started");
    args->result = args->server->EventThreadProc(*args);
    QV_LOG_LINE(QVLogging::kCategoryDebug, L"Event thread has stopped");
    return 0;
}

bool CDiscoveryServer::ReportProgress(const EventThreadArgs& args, DWORD start)
{
    const unsigned long long elapsed = g_pKernelApi->GetTickCount() - start;
    const unsigned char percent = args.timeLimit == 0 ? 100 : static_cast<unsigned char>(elapsed * 100 / args.timeLimit);
    if (!Fire_SearchProgress(percent, args.context)) {
        g_pKernelApi->SetEvent(args.stopEvent);
        return false;
    }
    return true;
}

unsigned long CDiscoveryServer::EventThreadProc(EventThreadArgs& args)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServer::EventThreadProc");
    // One progress call for each hundredth of the search's length.
    const DWORD interval = args.timeLimit / 100;
    const DWORD start = g_pKernelApi->GetTickCount();
    const DWORD end = start + args.timeLimit;
    CEventQueue* queues[2] = {args.addQueue, args.removeQueue};
    const HANDLE events[3] = {args.stopEvent, args.addQueue->GetEventHandle(), args.removeQueue->GetEventHandle()};
    unsigned long error = DISCOVERY_OK;
    bool stopped = false;
    while (!stopped && error == DISCOVERY_OK && g_pKernelApi->GetTickCount() < end) {
        const DWORD woken = g_pKernelApi->WaitForMultipleObjects(3, events, FALSE, interval);
        if (woken == WAIT_TIMEOUT) {
            ReportProgress(args, start);
        } else if (woken == WAIT_OBJECT_0) {
            stopped = true;
        } else if (woken == WAIT_OBJECT_0 + 1 || woken == WAIT_OBJECT_0 + 2) {
            error = queues[woken - WAIT_OBJECT_0 - 1]->FireEvents(*this);
            if (error == DISCOVERY_OK) {
                ReportProgress(args, start);
            }
        } else {
            QV_LOG_ERROR(L"WaitForMultipleObjects failed!!");
            error = DISCOVERY_E_EVENT_WAIT;
        }
    }
    if (error == DISCOVERY_OK) {
        error = args.addQueue->FireEvents(*this);
        if (error == DISCOVERY_OK) {
            error = args.removeQueue->FireEvents(*this);
        }
    }
    Fire_SearchProgress(100, args.context);
    const bool delivered = args.addQueue->GetEventCount() > 0;
    if (error != DISCOVERY_OK) {
        return delivered ? DISCOVERY_OK : error;
    }
    return delivered ? DISCOVERY_OK : DISCOVERY_E_NOT_FOUND;
}

}  // namespace QVDiscovery
