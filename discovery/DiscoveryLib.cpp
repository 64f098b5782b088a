#include "discovery/DiscoveryLib.h"

#include <winsock2.h>

#include <new>
#include <set>

#include "discovery/CDiscoveryServerWSD.h"
#include "discovery/CDiscoveryServerXpWSD.h"
#include "discovery/CWSDSession.h"

#include "discovery/DiscoveryStatus.h"
#include "logging/LogTrace.h"
#include "winapi/IWinSockApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDiscovery {

namespace {

// Used from one thread at a time, as the callers are expected to.
long g_lInitCount = 0;
std::set<IDiscoveryServer*> g_servers;

}  // namespace

unsigned long InitDiscoveryLib()
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::InitDiscoveryLib");
    if (g_lInitCount == 0) {
        WSADATA data;
        const int result = g_pWinSockApi->WSAStartup(MAKEWORD(2, 2), &data);
        if (result != 0) {
            QV_LOG_ERROR(L"WSAStartup failed, err=%d", result);
            return DISCOVERY_E_WINSOCK;
        }
    }
    ++g_lInitCount;
    return DISCOVERY_OK;
}

unsigned long TermDiscoveryLib()
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::TermDiscoveryLib");
    if (g_lInitCount == 0) {
        return DISCOVERY_E_INTERNAL;
    }
    if (g_lInitCount > 1) {
        --g_lInitCount;
        return DISCOVERY_OK;
    }
    for (IDiscoveryServer* server : g_servers) {
        delete server;
    }
    g_servers.clear();
    if (g_pWinSockApi->WSACleanup() != 0) {
        QV_LOG_ERROR(L"WSACleanup failed, err=%d", g_pWinSockApi->WSAGetLastError());
        return DISCOVERY_E_WINSOCK;
    }
    g_lInitCount = 0;
    return DISCOVERY_OK;
}

unsigned long CreateDiscoveryServer(unsigned long, IDiscoveryServer** server)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CreateDiscoveryServer");
    if (g_lInitCount <= 0) {
        return DISCOVERY_E_INTERNAL;
    }
    if (server == nullptr) {
        return DISCOVERY_E_INVALIDARG;
    }
    IDiscoveryServer* made = nullptr;
    try {
        // The system's provider whenever "wsdapi.dll" offers it; nothing
        // else chooses.
        auto* system = new CDiscoveryServerWSD();
        if (system->LoadWSDLibrary()) {
            made = system;
        } else {
            delete system;
            made = new CDiscoveryServerXpWSD<CWSDSession>();
        }
        g_servers.insert(made);
    } catch (...) {
        delete made;
        return DISCOVERY_E_OUTOFMEMORY;
    }
    *server = made;
    return DISCOVERY_OK;
}

unsigned long DestroyDiscoveryServer(IDiscoveryServer* server)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::DestroyDiscoveryServer");
    if (g_lInitCount == 0) {
        return DISCOVERY_E_INTERNAL;
    }
    if (g_servers.erase(server) == 0) {
        return DISCOVERY_E_INVALIDARG;
    }
    delete server;
    return DISCOVERY_OK;
}

}  // namespace QVDiscovery
