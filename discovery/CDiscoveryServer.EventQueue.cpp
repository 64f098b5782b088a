#include <new>

#include "discovery/CDiscoveryServer.h"
#include "discovery/DiscoveryStatus.h"
#include "logging/LogTrace.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDiscovery {

CDiscoveryServer::CEventQueue::CEventQueue()
{
    g_pKernelApi->InitializeCriticalSection(&m_lock);
}

CDiscoveryServer::CEventQueue::~CEventQueue()
{
    if (m_hEvent != nullptr) {
        g_pKernelApi->CloseHandle(m_hEvent);
    }
    g_pKernelApi->DeleteCriticalSection(&m_lock);
}

HANDLE CDiscoveryServer::CEventQueue::GetEventHandle()
{
    if (m_hEvent == nullptr) {
        m_hEvent = g_pKernelApi->CreateEventW(nullptr, FALSE, FALSE, nullptr);
    }
    return m_hEvent;
}

long CDiscoveryServer::CEventQueue::GetEventCount()
{
    return m_lCount.load();
}

unsigned long CDiscoveryServer::CEventQueue::QueueEvent(const CDiscoveredDevice& device, uintptr_t context)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServer::CEventQueue::QueueEvent");
    unsigned long status = DISCOVERY_OK;
    g_pKernelApi->EnterCriticalSection(&m_lock);
    try {
        // The plain record only, whatever filled it.
        m_qEvents.emplace_back(CDiscoveredDevice(device), context);
        if (m_hEvent != nullptr) {
            g_pKernelApi->SetEvent(m_hEvent);
        }
    } catch (const std::bad_alloc&) {
        QV_LOG_ERROR(L"m_qEvents.push failed due to std::bad_alloc");
        status = DISCOVERY_E_OUTOFMEMORY;
    }
    g_pKernelApi->LeaveCriticalSection(&m_lock);
    return status;
}

unsigned long CDiscoveryServer::CEventQueue::FireEvents(CDiscoveryServer& server)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServer::CEventQueue::FireEvents");
    for (;;) {
        std::pair<CDiscoveredDevice, uintptr_t> event;
        bool empty = false;
        bool failed = false;
        g_pKernelApi->EnterCriticalSection(&m_lock);
        try {
            empty = m_qEvents.empty();
            if (!empty) {
                event = m_qEvents.front();
                m_qEvents.pop_front();
            }
        } catch (const std::bad_alloc&) {
            failed = true;
        }
        g_pKernelApi->LeaveCriticalSection(&m_lock);
        if (failed) {
            QV_LOG_ERROR(L"Unable to fire events due to std::bad_alloc");
            return DISCOVERY_E_OUTOFMEMORY;
        }
        if (empty) {
            return DISCOVERY_OK;
        }
        Fire(server, event.first, event.second);
        ++m_lCount;
    }
}

void CDiscoveryServer::CAddEventQueue::Fire(CDiscoveryServer& server, IDiscoveredDevice& device, uintptr_t context)
{
    server.Fire_Add(device, context);
}

void CDiscoveryServer::CRemoveEventQueue::Fire(CDiscoveryServer& server, IDiscoveredDevice& device,
                                               uintptr_t context)
{
    server.Fire_Remove(device, context);
}

}  // namespace QVDiscovery
