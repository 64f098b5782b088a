#include "discovery/CDiscoveryServer.h"

#include <new>

#include "discovery/DiscoveryStatus.h"
#include "logging/LogTrace.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDiscovery {

namespace {

// Holds the client set's lock for a scope.
class ClientsLock {
public:
    explicit ClientsLock(CRITICAL_SECTION& lock) : m_lock(lock) { g_pKernelApi->EnterCriticalSection(&m_lock); }
    ~ClientsLock() { g_pKernelApi->LeaveCriticalSection(&m_lock); }
    ClientsLock(const ClientsLock&) = delete;
    ClientsLock& operator=(const ClientsLock&) = delete;

private:
    CRITICAL_SECTION& m_lock;
};

}  // namespace

CDiscoveryServer::CDiscoveryServer()
{
    g_pKernelApi->InitializeCriticalSection(&m_clientsLock);
}

CDiscoveryServer::~CDiscoveryServer()
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServer::~CDiscoveryServer");
    g_pKernelApi->DeleteCriticalSection(&m_clientsLock);
}

unsigned long CDiscoveryServer::RegisterClient(IDiscoveryClient* client)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServer::RegisterClient");
    if (client == nullptr) {
        return DISCOVERY_E_INVALIDARG;
    }
    ClientsLock lock(m_clientsLock);
    try {
        return m_clients.insert(client).second ? DISCOVERY_OK : DISCOVERY_E_ALREADY_REGISTERED;
    } catch (const std::bad_alloc&) {
        return DISCOVERY_E_OUTOFMEMORY;
    }
}

unsigned long CDiscoveryServer::UnregisterClient(IDiscoveryClient* client)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServer::UnregisterClient");
    if (client == nullptr) {
        return DISCOVERY_E_INVALIDARG;
    }
    ClientsLock lock(m_clientsLock);
    return m_clients.erase(client) != 0 ? DISCOVERY_OK : DISCOVERY_E_NOT_REGISTERED;
}

unsigned long CDiscoveryServer::SearchById(const wchar_t* id, uintptr_t context)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServer::SearchById");
    if (id == nullptr || *id == L'\0') {
        return DISCOVERY_E_INVALIDARG;
    }
    return SearchForDevices({DISCOVERY_SEARCH_BY_ID, id, context, 0});
}

unsigned long CDiscoveryServer::SearchByAddress(const wchar_t* address, uintptr_t context)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServer::SearchByAddress");
    if (address == nullptr || *address == L'\0') {
        return DISCOVERY_E_INVALIDARG;
    }
    return SearchForDevices({DISCOVERY_SEARCH_BY_ADDRESS, address, context, 1});
}

unsigned long CDiscoveryServer::SearchByType(const wchar_t* types, uintptr_t context)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServer::SearchByType");
    return SearchForDevices({DISCOVERY_SEARCH_BY_TYPE, types, context, 0});
}

// A client that throws is logged and passed over; the walk goes on.
#define QV_FIRE_EACH(call, text)                                                 \
    ClientsLock lock(m_clientsLock);                                             \
    for (IDiscoveryClient* client : m_clients) {                                 \
        try {                                                                    \
            client->call;                                                        \
        } catch (...) {                                                          \
            QV_LOG_LINE(QVLogging::kCategoryWarning, text);                      \
        }                                                                        \
    }

void CDiscoveryServer::Fire_Add(IDiscoveredDevice& device, uintptr_t context)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServer::Fire_Add");
    QV_FIRE_EACH(Add(&device, context), L"IDiscoveryClient->Add threw an exception")
}

void CDiscoveryServer::Fire_Remove(IDiscoveredDevice& device, uintptr_t context)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServer::Fire_Remove");
    QV_FIRE_EACH(Remove(&device, context), L"IDiscoveryClient->Remove threw an exception")
}

void CDiscoveryServer::Fire_SearchComplete(uintptr_t context)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServer::Fire_SearchComplete");
    QV_FIRE_EACH(SearchComplete(context), L"IDiscoveryClient->SearchComplete threw an exception")
}

void CDiscoveryServer::Fire_SearchFailed(unsigned long status, uintptr_t context)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServer::Fire_SearchFailed");
    QV_FIRE_EACH(SearchFailed(status, context), L"IDiscoveryClient->SearchFailed threw an exception")
}

#undef QV_FIRE_EACH

bool CDiscoveryServer::Fire_SearchProgress(unsigned char percent, uintptr_t context)
{
    ClientsLock lock(m_clientsLock);
    for (IDiscoveryClient* client : m_clients) {
        try {
            if (!client->SearchProgress(percent, context)) {
                return false;
            }
        } catch (...) {
            QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServer::Fire_SearchProgress");
            QV_LOG_LINE(QVLogging::kCategoryWarning, L"IDiscoveryClient->SearchProgress threw an exception");
        }
    }
    return true;
}

}  // namespace QVDiscovery
