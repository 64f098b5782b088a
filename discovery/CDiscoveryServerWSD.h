#pragma once

#include <atomic>

#include "discovery/CDiscoveryServer.h"
#include "winapi/WSDiscoveryProvider.h"

namespace QVDiscovery {

// The server on the system's WS-Discovery provider ("wsdapi.dll"): one
// provider object for each search, whose notifications become the same
// queue entries as those of the own server. The provider does the network
// itself, on IPv4.
class CDiscoveryServerWSD : public CDiscoveryServer {
public:
    // Receives the provider's notifications for one search; lives on the
    // stack of the main discovery thread, so a count of zero frees nothing.
    // Its table holds the provider's seven operations and nothing more.
    class CDiscoveryNotifyClient : public IWSDiscoveryProviderNotify {
    public:
        explicit CDiscoveryNotifyClient(const DiscoveryThreadArgs& args);
        CDiscoveryNotifyClient(const CDiscoveryNotifyClient&) = delete;
        CDiscoveryNotifyClient& operator=(const CDiscoveryNotifyClient&) = delete;

        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
        ULONG STDMETHODCALLTYPE AddRef() override;
        ULONG STDMETHODCALLTYPE Release() override;
        HRESULT STDMETHODCALLTYPE Add(IWSDiscoveredService* pService) override;
        HRESULT STDMETHODCALLTYPE Remove(IWSDiscoveredService* pService) override;
        HRESULT STDMETHODCALLTYPE SearchFailed(HRESULT hr, LPCWSTR pszTag) override;
        HRESULT STDMETHODCALLTYPE SearchComplete(LPCWSTR pszTag) override;

        // What the notifications say of the search's end; read after Detach.
        unsigned long Outcome() const;

    private:
        // Queues the service's record; the queue's status, or an error when
        // the service gave no record.
        unsigned long Queue(IWSDiscoveredService* service, CEventQueue& queue);

        DiscoveryThreadArgs m_args;
        std::atomic<long> m_lRefs{1};
        std::atomic<bool> m_bSearchComplete{false};
        std::atomic<bool> m_bSearchFailed{false};
        std::atomic<HRESULT> m_hrFailure{S_OK};
    };

    CDiscoveryServerWSD() = default;
    ~CDiscoveryServerWSD() override;

    // Loads "wsdapi.dll" and finds its creation function; false when either
    // is missing, with the reason logged.
    bool LoadWSDLibrary();

    unsigned long GetSearchTimeout(unsigned long type) override;
    unsigned long MainDiscoveryThreadProc(DiscoveryThreadArgs& args) override;

private:
    unsigned long Search(CDiscoveryNotifyClient& notify, const DiscoveryThreadArgs& args);
    unsigned long StartAndWait(IWSDiscoveryProvider& provider, const DiscoveryThreadArgs& args);

    HMODULE m_hWsdapi = nullptr;
    QVWinApi::PFN_WSDCreateDiscoveryProvider m_pfnCreateProvider = nullptr;
};

}  // namespace QVDiscovery
