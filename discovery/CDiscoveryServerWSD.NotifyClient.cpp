#include "discovery/CDiscoveredDeviceWSD.h"
#include "discovery/CDiscoveryServerWSD.h"
#include "discovery/DiscoveryStatus.h"
#include "logging/LogTrace.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDiscovery {

CDiscoveryServerWSD::CDiscoveryNotifyClient::CDiscoveryNotifyClient(const DiscoveryThreadArgs& args) : m_args(args)
{
}

HRESULT STDMETHODCALLTYPE CDiscoveryServerWSD::CDiscoveryNotifyClient::QueryInterface(REFIID riid, void** ppv)
{
    if (ppv == nullptr) {
        return E_POINTER;
    }
    if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, __uuidof(IWSDiscoveryProviderNotify))) {
        *ppv = static_cast<IWSDiscoveryProviderNotify*>(this);
        AddRef();
        return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE CDiscoveryServerWSD::CDiscoveryNotifyClient::AddRef()
{
    return static_cast<ULONG>(++m_lRefs);
}

ULONG STDMETHODCALLTYPE CDiscoveryServerWSD::CDiscoveryNotifyClient::Release()
{
    return static_cast<ULONG>(--m_lRefs);
}

HRESULT STDMETHODCALLTYPE CDiscoveryServerWSD::CDiscoveryNotifyClient::Add(IWSDiscoveredService* pService)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServerWSD::CDiscoveryNotifyClient::Add");
    const unsigned long type = m_args.request.type;
    // A search by identifier or by address wants one device.
    if (Queue(pService, *m_args.addQueue) == DISCOVERY_OK
        && (type == DISCOVERY_SEARCH_BY_ID || type == DISCOVERY_SEARCH_BY_ADDRESS)) {
        g_pKernelApi->SetEvent(m_args.stopEvent);
    }
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CDiscoveryServerWSD::CDiscoveryNotifyClient::Remove(IWSDiscoveredService* pService)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServerWSD::CDiscoveryNotifyClient::Remove");
    Queue(pService, *m_args.removeQueue);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CDiscoveryServerWSD::CDiscoveryNotifyClient::SearchFailed(HRESULT hr, LPCWSTR)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServerWSD::CDiscoveryNotifyClient::SearchFailed");
    m_hrFailure = hr;
    m_bSearchFailed = true;
    g_pKernelApi->SetEvent(m_args.stopEvent);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CDiscoveryServerWSD::CDiscoveryNotifyClient::SearchComplete(LPCWSTR)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServerWSD::CDiscoveryNotifyClient::SearchComplete");
    m_bSearchComplete = true;
    g_pKernelApi->SetEvent(m_args.stopEvent);
    return S_OK;
}

unsigned long CDiscoveryServerWSD::CDiscoveryNotifyClient::Outcome() const
{
    if (m_bSearchFailed) {
        // S_FALSE: the provider's search ran out without an answer.
        return m_hrFailure == S_FALSE ? DISCOVERY_E_STOPPED : DISCOVERY_E_NETWORK;
    }
    return m_bSearchComplete ? DISCOVERY_OK : DISCOVERY_E_STOPPED;
}

unsigned long CDiscoveryServerWSD::CDiscoveryNotifyClient::Queue(IWSDiscoveredService* service, CEventQueue& queue)
{
    if (service == nullptr) {
        return DISCOVERY_E_INVALIDARG;
    }
    LPCWSTR remoteAddress = nullptr;
    WSD_ENDPOINT_REFERENCE* endpoint = nullptr;
    WSDXML_ELEMENT* header = nullptr;
    WSDXML_ELEMENT* body = nullptr;
    if (FAILED(service->GetRemoteTransportAddress(&remoteAddress)) || FAILED(service->GetEndpointReference(&endpoint))
        || FAILED(service->GetExtendedDiscoXML(&header, &body)) || body == nullptr) {
        return DISCOVERY_E_INVALIDARG;
    }
    const CDiscoveredDeviceWSD device(body, remoteAddress, endpoint != nullptr ? endpoint->Address : nullptr);
    return queue.QueueEvent(device, m_args.request.context);
}

}  // namespace QVDiscovery
