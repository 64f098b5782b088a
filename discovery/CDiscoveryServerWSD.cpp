#include "discovery/CDiscoveryServerWSD.h"

#include <string>

#include "discovery/DiscoveryStatus.h"
#include "discovery/WSDConstants.h"
#include "logging/LogTrace.h"
#include "winapi/IComApi.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDiscovery {

namespace {

constexpr DWORD kAddressFamilyIPv4 = 1;
const wchar_t kDirectedPrefix[] = L"http://";
const wchar_t kDirectedSuffix[] = L"/StableWSDiscoveryEndpoint/schemas-xmlsoap-org_ws_2005_04_discovery";
const wchar_t kVendorNamespace[] = QV_LOG_WIDEN(QV_WSD_VENDOR_SCHEMA_HOST) L"/schemas/imaging/con/discovery/2006/09/19";
const wchar_t kVendorPrefix[] = L"zqd";
const wchar_t kDefaultType[] = L"zqDevice";

int AsInt(HRESULT hr)
{
    return static_cast<int>(hr);
}

}  // namespace

CDiscoveryServerWSD::~CDiscoveryServerWSD()
{
    if (m_hWsdapi != nullptr) {
        g_pKernelApi->FreeLibrary(m_hWsdapi);
    }
}

bool CDiscoveryServerWSD::LoadWSDLibrary()
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServerWSD::LoadWSDLibrary");
    if (m_hWsdapi == nullptr) {
        m_hWsdapi = g_pKernelApi->LoadLibraryW(L"wsdapi.dll");
        if (m_hWsdapi == nullptr) {
            QV_LOG_ERROR(L"Unable to LoadLibrary \"wsdapi.dll\", GetLastError=(%d)",
                         static_cast<int>(::GetLastError()));
            return false;
        }
    }
    m_pfnCreateProvider = reinterpret_cast<QVWinApi::PFN_WSDCreateDiscoveryProvider>(
        reinterpret_cast<void*>(g_pKernelApi->GetProcAddress(m_hWsdapi, "WSDCreateDiscoveryProvider")));
    if (m_pfnCreateProvider == nullptr) {
        QV_LOG_ERROR(L"Unable to GetProcAddress(\"WSDCreateDiscoveryProvider\"), GetLastError=(%d)",
                     static_cast<int>(::GetLastError()));
        return false;
    }
    return true;
}

unsigned long CDiscoveryServerWSD::GetSearchTimeout(unsigned long type)
{
    // Ten seconds more than the own server for the search by address.
    return type == DISCOVERY_SEARCH_BY_ADDRESS ? 22 : 12;
}

unsigned long CDiscoveryServerWSD::MainDiscoveryThreadProc(DiscoveryThreadArgs& args)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServerWSD::MainDiscoveryThreadProc");
    CDiscoveryNotifyClient notify(args);
    const HRESULT apartment = g_pComApi->CoInitialize(nullptr);
    const unsigned long status = Search(notify, args);
    // Only an apartment that was entered is left.
    if (SUCCEEDED(apartment)) {
        g_pComApi->CoUninitialize();
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CDiscoveryServerWSD::Search(CDiscoveryNotifyClient& notify, const DiscoveryThreadArgs& args)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServerWSD::Search");
    if (m_pfnCreateProvider == nullptr && !LoadWSDLibrary()) {
        return DISCOVERY_E_INTERNAL;
    }
    IWSDiscoveryProvider* provider = nullptr;
    HRESULT hr = m_pfnCreateProvider(nullptr, &provider);
    if (FAILED(hr) || provider == nullptr) {
        QV_LOG_ERROR(L"WSDCreateDiscoveryProvider failed with (%d)", AsInt(hr));
        return DISCOVERY_E_INTERNAL;
    }
    // The search goes on without it: this server then searches on IPv4
    // only, whatever the machine has.
    hr = provider->SetAddressFamily(kAddressFamilyIPv4);
    if (FAILED(hr)) {
        QV_LOG_LINE(QVLogging::kCategoryWarning, L"pIWSDiscoveryProvider->SetAddressFamily returned (%d)", AsInt(hr));
    }
    unsigned long status = DISCOVERY_OK;
    hr = provider->Attach(&notify);
    if (FAILED(hr)) {
        QV_LOG_ERROR(L"Unable to Attach to DiscoveryProvider for Notifications (%d)", AsInt(hr));
        status = DISCOVERY_E_INTERNAL;
    } else {
        status = StartAndWait(*provider, args);
        hr = provider->Detach();
        if (FAILED(hr)) {
            QV_LOG_LINE(QVLogging::kCategoryWarning, L"pIWSDiscoveryProvider->Detach() failed with (%d)", AsInt(hr));
        }
        if (status == DISCOVERY_OK) {
            status = notify.Outcome();
        }
    }
    provider->Release();
    logScope.m_errorCode = status;
    return status;
}

unsigned long CDiscoveryServerWSD::StartAndWait(IWSDiscoveryProvider& provider, const DiscoveryThreadArgs& args)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServerWSD::StartAndWait");
    const SearchRequest& request = args.request;
    // The provider keeps its tag as text: the request's context goes in as
    // its decimal digits.
    const std::wstring tag = std::to_wstring(request.context);
    HRESULT hr = E_FAIL;
    switch (request.type) {
    case DISCOVERY_SEARCH_BY_ID:
        hr = provider.SearchById(request.target, tag.c_str());
        break;
    case DISCOVERY_SEARCH_BY_ADDRESS: {
        const std::wstring address = kDirectedPrefix + std::wstring(request.target) + kDirectedSuffix;
        hr = provider.SearchByAddress(address.c_str(), tag.c_str());
        break;
    }
    case DISCOVERY_SEARCH_BY_TYPE: {
        // A bare local name in the vendor's namespace, unlike the own
        // server's qualified type list.
        std::wstring localName = request.target != nullptr && *request.target != L'\0' ? request.target : kDefaultType;
        WSDXML_NAMESPACE space = {kVendorNamespace, kVendorPrefix, nullptr, 0, 0};
        WSDXML_NAME name = {&space, &localName[0]};
        const WSD_NAME_LIST types = {nullptr, &name};
        hr = provider.SearchByType(&types, nullptr, nullptr, tag.c_str());
        break;
    }
    default:
        break;
    }
    if (FAILED(hr)) {
        QV_LOG_ERROR(L"pIWSDiscoveryProvider->Search* was either never called or returned (%d)", AsInt(hr));
        return DISCOVERY_E_NETWORK;
    }
    if (g_pKernelApi->WaitForSingleObject(args.stopEvent, INFINITE) == WAIT_FAILED) {
        QV_LOG_ERROR(L"WaitForSingleObject failed!");
        return DISCOVERY_E_INTERNAL;
    }
    return DISCOVERY_OK;
}

}  // namespace QVDiscovery
