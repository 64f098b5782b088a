#include "resolver/CFuncDiscoHelper.h"

#include <cwchar>
#include <string>

#include "logging/LogTrace.h"
#include "resolver/ComRef.h"
#include "resolver/ResolverUtils.h"
#include "resolver/WSDPropertyKeys.h"
#include "winapi/IComApi.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

using namespace QVWinApi;

namespace {

// The name a property key is logged by.
std::wstring DisplayName(const PROPERTYKEY& key)
{
    if (SameKey(key, PKEY_Device_LocationInfo)) {
        return L"Device_LocationInfo";
    }
    if (SameKey(key, PKEY_PNPX_XAddrs)) {
        return L"PNPX_XAddrs";
    }
    if (SameKey(key, PKEY_PNPX_ServiceAddress)) {
        return L"PNPX_ServiceAddress";
    }
    wchar_t name[64] = {};
    std::swprintf(name, 64, L"%ls-%08x", FormatIdText(key).c_str(), static_cast<unsigned>(key.pid));
    return name;
}

}  // namespace

CFuncDiscoHelper::CFuncDiscoHelper() : m_lRef(1), m_hEvent(nullptr), m_pDiscovery(nullptr), m_wcAddress(), m_wcDeviceID()
{
}

CFuncDiscoHelper::~CFuncDiscoHelper()
{
    if (m_pDiscovery) {
        m_pDiscovery->Release();
    }
    if (m_hEvent) {
        g_pKernelApi->CloseHandle(m_hEvent);
    }
}

HRESULT CFuncDiscoHelper::QueryInterface(REFIID riid, void** ppv)
{
    if (!ppv) {
        return E_POINTER;
    }
    if (::IsEqualIID(riid, IID_IFunctionDiscoveryNotification) || ::IsEqualIID(riid, IID_IUnknown)) {
        *ppv = static_cast<IFunctionDiscoveryNotification*>(this);
        AddRef();
        return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
}

ULONG CFuncDiscoHelper::AddRef()
{
    return static_cast<ULONG>(++m_lRef);
}

ULONG CFuncDiscoHelper::Release()
{
    const LONG count = --m_lRef;
    if (count == 0) {
        delete this;
    }
    return static_cast<ULONG>(count);
}

HRESULT CFuncDiscoHelper::Initialize(const wchar_t* deviceID)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::CFuncDiscoHelper::Initialize");
    StrWcsCpy(m_wcDeviceID, kWsdAddressChars, deviceID);
    m_hEvent = g_pKernelApi->CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (!m_hEvent) {
        return HRESULT_FROM_WIN32(::GetLastError());
    }
    return g_pComApi->CoCreateInstance(CLSID_FunctionDiscovery, nullptr, CLSCTX_INPROC_SERVER,
                                       IID_IFunctionDiscovery, reinterpret_cast<void**>(&m_pDiscovery));
}

HRESULT CFuncDiscoHelper::Discover()
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::CFuncDiscoHelper::Discover");
    QV_LOG_INFO(0, L"Look for device in this category: %s", FCTN_CATEGORY_WSDISCOVERY);
    g_pKernelApi->ResetEvent(m_hEvent);
    ComRef<IFunctionInstanceCollectionQuery> query;
    HRESULT hr = m_pDiscovery->CreateInstanceCollectionQuery(FCTN_CATEGORY_WSDISCOVERY, nullptr, TRUE, this,
                                                             nullptr, query.Out());
    if (FAILED(hr)) {
        return hr;
    }
    ComRef<IFunctionInstanceCollection> collection;
    hr = query->AddQueryConstraint(FD_QUERYCONSTRAINT_PROVIDERINSTANCEID, m_wcDeviceID);
    if (SUCCEEDED(hr)) {
        hr = query->Execute(collection.Out());
    }
    if (FAILED(hr) && hr != E_PENDING) {
        QV_LOG_ERROR(L"Could not execute query, FD_QUERYCONSTRAINT_PROVIDERINSTANCEID: %s failed!\n", m_wcDeviceID);
        return hr;
    }
    DWORD index = 0;
    hr = g_pComApi->CoWaitForMultipleHandles(0, kDiscoverTimeout, 1, &m_hEvent, &index);
    if (hr == RPC_S_CALLPENDING) {
        QV_LOG_INFO(0, L"Timeout");
    }
    return hr;
}

bool CFuncDiscoHelper::GetIpAddress(wchar_t* text) const
{
    StrWcsCpy(text, kWsdAddressChars, m_wcAddress);
    return text[0] != L'\0';
}

HRESULT CFuncDiscoHelper::OnUpdate(QueryUpdateAction action, FDQUERYCONTEXT, IFunctionInstance* instance)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::CFuncDiscoHelper::OnUpdate");
    if (!instance) {
        return E_INVALIDARG;
    }
    ComRef<IPropertyStore> store;
    CoTaskText identity;
    instance->OpenPropertyStore(STGM_READ, store.Out());
    instance->GetProviderInstanceID(identity.Out());
    if (::_wcsicmp(identity.Text(), m_wcDeviceID) == 0 && action == QUA_ADD) {
        QV_LOG_INFO(0, L"Found matching Device ID: %s", identity.Text());
        // The waiting caller is let go first; the address follows.
        g_pKernelApi->SetEvent(m_hEvent);
        if (store) {
            PullAddress(store.Get());
        }
    }
    return S_OK;
}

HRESULT CFuncDiscoHelper::OnError(HRESULT hr, FDQUERYCONTEXT, const WCHAR* provider)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::CFuncDiscoHelper::OnError");
    QV_LOG_ERROR(L"%s encountered 0x%x.", provider ? provider : L"", static_cast<unsigned>(hr));
    return S_OK;
}

HRESULT CFuncDiscoHelper::OnEvent(DWORD, FDQUERYCONTEXT, const WCHAR* provider)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::CFuncDiscoHelper::OnEvent");
    if (!provider) {
        QV_LOG_ERROR(L"E_INVALIDARG Provider name was NULL.");
        return E_INVALIDARG;
    }
    QV_LOG_INFO(0, L"%s sent OnEvent notification.", provider);
    return S_OK;
}

void CFuncDiscoHelper::PullAddress(IPropertyStore* store)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::CFuncDiscoHelper::PullAddress");
    DWORD count = 0;
    store->GetCount(&count);
    for (DWORD i = 0; i < count && m_wcAddress[0] == L'\0'; ++i) {
        PROPERTYKEY key = {};
        PropValue value;
        if (FAILED(store->GetAt(i, &key)) || FAILED(store->GetValue(key, value.Out()))) {
            continue;
        }
        const std::wstring name = DisplayName(key);
        if (value.IsText()) {
            const wchar_t* text = (*value).pwszVal ? (*value).pwszVal : L"";
            QV_LOG_INFO(0, L"%30s = %s", name.c_str(), text);
            if (SameKey(key, PKEY_Device_LocationInfo)) {
                QV_LOG_INFO(0, L"VT_LPWSTR: %30s = %s", name.c_str(), text);
                if (text[0] != L'\0') {
                    StrWcsCpy(m_wcAddress, kWsdAddressChars, text);
                    QV_LOG_INFO(0, L"Found IPAddress: %s", m_wcAddress);
                }
            }
        } else if (value.IsTextList()
                   && (SameKey(key, PKEY_PNPX_ServiceAddress) || SameKey(key, PKEY_PNPX_XAddrs))) {
            const CALPWSTR& list = (*value).calpwstr;
            for (ULONG entry = 0; entry < list.cElems; ++entry) {
                const wchar_t* text = list.pElems[entry] ? list.pElems[entry] : L"";
                QV_LOG_INFO(0, L"VT_LPWSTR | VT_VECTOR: %30s = %s", name.c_str(), text);
                if (m_wcAddress[0] == L'\0' && text[0] != L'\0') {
                    StrWcsCpy(m_wcAddress, kWsdAddressChars, text);
                    QV_LOG_INFO(0, L"Found IPAddress: %s in PKEY_%s", m_wcAddress, name.c_str());
                }
            }
        }
    }
}

}  // namespace Orvane
