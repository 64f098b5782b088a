#include "resolver/WSDPortResolver.h"

#include <algorithm>
#include <cwctype>
#include <new>

#include "logging/LogTrace.h"
#include "resolver/CFuncDiscoHelper.h"
#include "resolver/ComRef.h"
#include "resolver/ResolverUtils.h"
#include "resolver/WSDPropertyKeys.h"
#include "winapi/FunctionDiscovery.h"
#include "winapi/IComApi.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

using namespace QVWinApi;

WSDPortResolver::WSDPortResolver(const wchar_t* portName) : m_portName(portName ? portName : L"")
{
    if (m_portName.compare(0, 4, L"WSD-") != 0) {
        ::SetLastError(ERROR_UNKNOWN_PORT);
        m_portName.clear();
    }
}

WSDPortResolver::WSDPortResolver(const wchar_t* deviceID, ByDeviceID) : m_deviceID(deviceID ? deviceID : L"")
{
    if (m_deviceID.empty()) {
        ::SetLastError(ERROR_INVALID_PARAMETER);
    } else if (m_deviceID.compare(0, 5, L"UUID:") != 0 && m_deviceID.compare(0, 5, L"uuid:") != 0) {
        ::SetLastError(RPC_S_INVALID_STRING_UUID);
        m_deviceID.clear();
    }
}

bool WSDPortResolver::ResolveToIPAddress(wchar_t* text, size_t chars)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::WSDPortResolver::ResolveToIPAddress");
    if (!text || chars == 0 || m_portName.empty()) {
        return false;
    }
    m_address.clear();
    const ComApartment apartment;
    if (!apartment.Usable()) {
        return false;
    }
    ComRef<IFunctionDiscovery> discovery;
    ComRef<IFunctionInstanceCollectionQuery> query;
    ComRef<IFunctionInstanceCollection> collection;
    HRESULT hr = g_pComApi->CoCreateInstance(CLSID_FunctionDiscovery, nullptr, CLSCTX_INPROC_SERVER,
                                             IID_IFunctionDiscovery, discovery.OutVoid());
    if (SUCCEEDED(hr)) {
        hr = discovery->CreateInstanceCollectionQuery(FCTN_CATEGORY_PNP, nullptr, FALSE, nullptr, nullptr,
                                                      query.Out());
    }
    if (SUCCEEDED(hr)) {
        hr = query->Execute(collection.Out());
    }
    DWORD count = 0;
    if ((SUCCEEDED(hr) || hr == E_PENDING) && collection) {
        collection->GetCount(&count);
    }
    for (DWORD index = count; index-- > 0;) {
        ComRef<IFunctionInstance> instance;
        ComRef<IPropertyStore> store;
        CoTaskText id;
        if (FAILED(collection->Item(index, instance.Out())) || !instance
            || FAILED(instance->OpenPropertyStore(STGM_READ, store.Out())) || !store
            || FAILED(instance->GetID(id.Out()))) {
            continue;
        }
        if (SearchThisNode(id.Text()) && GetIPAddressProperty(store.Get(), text, chars)) {
            m_address = text;
            break;
        }
    }
    return !m_address.empty();
}

bool WSDPortResolver::SearchThisNode(const wchar_t* id)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::WSDPortResolver::SearchThisNode");
    std::wstring upper = id ? id : L"";
    std::transform(upper.begin(), upper.end(), upper.begin(), [](wchar_t c) { return std::towupper(c); });
    QV_LOG_INFO(0, L"Search Node Instance: %s", upper.c_str());
    return upper.find(L"UMB") != std::wstring::npos || upper.find(L"UUID:") != std::wstring::npos;
}

bool WSDPortResolver::GetIPAddressProperty(IPropertyStore* store, wchar_t* text, size_t chars)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::WSDPortResolver::GetIPAddressProperty");
    DWORD count = 0;
    store->GetCount(&count);
    std::wstring candidate;
    bool matched = false;
    for (DWORD index = count; index-- > 0;) {
        PROPERTYKEY key = {};
        PropValue value;
        if (FAILED(store->GetAt(index, &key)) || FAILED(store->GetValue(key, value.Out()))) {
            continue;
        }
        const std::wstring formatId = FormatIdText(key);
        QV_LOG_INFO(0, L"%s key.pid=%d", formatId.c_str(), static_cast<int>(key.pid));
        if (SameKey(key, PKEY_PNPX_ServiceAddress) && value.IsTextList() && (*value).calpwstr.cElems >= 1) {
            const wchar_t* element = (*value).calpwstr.pElems[0];
            candidate = element ? element : L"";
            QV_LOG_INFO(0, L"element: %s", candidate.c_str());
            QV_LOG_INFO(0, L"Found IPAddress: %s", candidate.c_str());
        } else if (!matched && formatId == kPortKeyFormatId && key.pid == kPortKeyPid && value.IsText()) {
            const wchar_t* portGuid = (*value).pwszVal ? (*value).pwszVal : L"";
            QV_LOG_INFO(0, L"PortGuid (%s) =?= (%s)", portGuid, m_portName.c_str());
            if (::_wcsicmp(portGuid, m_portName.c_str()) != 0) {
                return false;
            }
            QV_LOG_INFO(0, L"Matching GUID");
            matched = true;
        }
        if (matched && !candidate.empty()) {
            if (candidate.size() + 1 > chars) {
                ::SetLastError(ERROR_INSUFFICIENT_BUFFER);
                return false;
            }
            StrWcsCpy(text, chars, candidate.c_str());
            return true;
        }
    }
    return false;
}

bool WSDPortResolver::ResolveToIPAddressFromDeviceID(wchar_t* text)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::WSDPortResolver::ResolveToIPAddressFromDeviceID");
    if (!text || m_deviceID.empty()) {
        return false;
    }
    const ComApartment apartment;
    if (!apartment.Usable()) {
        return false;
    }
    CFuncDiscoHelper* helper = new (std::nothrow) CFuncDiscoHelper;
    if (!helper) {
        logScope.m_errorCode = E_OUTOFMEMORY;
        return false;
    }
    bool found = false;
    HRESULT hr = helper->Initialize(m_deviceID.c_str());
    if (SUCCEEDED(hr)) {
        QV_LOG_INFO(0, L"Waiting for WDS discovery to complete.");
        hr = helper->Discover();
        if (SUCCEEDED(hr)) {
            found = helper->GetIpAddress(text);
            m_address = text;
        } else if (hr == RPC_S_CALLPENDING) {
            QV_LOG_INFO(0, L"No WSD device was found with the DeviceID: %s.", m_deviceID.c_str());
        }
    }
    logScope.m_errorCode = hr;
    helper->Release();
    return found;
}

}  // namespace Orvane
