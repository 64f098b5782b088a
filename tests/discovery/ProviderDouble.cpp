#include "discovery/ProviderDouble.h"

#include <wchar.h>

namespace wsdprovider {

namespace {

std::wstring BesideTheProgram(const wchar_t* name)
{
    wchar_t module[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, module, MAX_PATH);
    const std::wstring path = module;
    return path.substr(0, path.find_last_of(L'\\') + 1) + name;
}

std::wstring OrNull(const wchar_t* text)
{
    return text != nullptr ? std::wstring(text) : std::wstring(L"(null)");
}

}  // namespace

WSDXML_ELEMENT* XmlTree::Element(const wchar_t* localName, WSDXML_ELEMENT* parent)
{
    m_names.push_back(WSDXML_NAME{nullptr, Keep(localName)});
    m_elements.push_back(WSDXML_ELEMENT{});
    WSDXML_ELEMENT* element = &m_elements.back();
    element->Node.Type = WSDXML_NODE::ElementType;
    element->Name = &m_names.back();
    Append(parent, &element->Node);
    return element;
}

WSDXML_TEXT* XmlTree::Text(WSDXML_ELEMENT* parent, const wchar_t* text)
{
    m_texts.push_back(WSDXML_TEXT{});
    WSDXML_TEXT* node = &m_texts.back();
    node->Node.Type = WSDXML_NODE::TextType;
    node->Text = text != nullptr ? Keep(text) : nullptr;
    Append(parent, &node->Node);
    return node;
}

WSDXML_ELEMENT* XmlTree::Field(WSDXML_ELEMENT* parent, const wchar_t* localName, const wchar_t* text)
{
    WSDXML_ELEMENT* element = Element(localName, parent);
    Text(element, text);
    return element;
}

wchar_t* XmlTree::Keep(const wchar_t* text)
{
    m_strings.emplace_back(text);
    return &m_strings.back()[0];
}

void XmlTree::Append(WSDXML_ELEMENT* parent, WSDXML_NODE* node)
{
    if (parent == nullptr) {
        return;
    }
    node->Parent = parent;
    WSDXML_NODE** last = &parent->FirstChild;
    while (*last != nullptr) {
        last = &(*last)->Next;
    }
    *last = node;
}

FakeService::FakeService(const wchar_t* endpoint, const wchar_t* remote, WSDXML_ELEMENT* body)
    : m_endpoint(endpoint ? endpoint : L""), m_remote(remote ? remote : L""), m_hasEndpoint(endpoint != nullptr),
      m_hasRemote(remote != nullptr), m_body(body)
{
    m_reference.Address = m_hasEndpoint ? m_endpoint.c_str() : nullptr;
}

HRESULT STDMETHODCALLTYPE FakeService::QueryInterface(REFIID riid, void** ppv)
{
    if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, __uuidof(IWSDiscoveredService))) {
        *ppv = static_cast<IWSDiscoveredService*>(this);
        AddRef();
        return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
}

HRESULT STDMETHODCALLTYPE FakeService::GetEndpointReference(WSD_ENDPOINT_REFERENCE** ppEndpointReference)
{
    *ppEndpointReference = SUCCEEDED(endpointResult) ? &m_reference : nullptr;
    return endpointResult;
}

HRESULT STDMETHODCALLTYPE FakeService::GetTypes(WSD_NAME_LIST**)
{
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE FakeService::GetScopes(WSD_URI_LIST**)
{
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE FakeService::GetXAddrs(WSD_URI_LIST**)
{
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE FakeService::GetMetadataVersion(ULONGLONG*)
{
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE FakeService::GetExtendedDiscoXML(WSDXML_ELEMENT** ppHeaderAny, WSDXML_ELEMENT** ppBodyAny)
{
    *ppHeaderAny = nullptr;
    *ppBodyAny = SUCCEEDED(xmlResult) ? m_body : nullptr;
    return xmlResult;
}

HRESULT STDMETHODCALLTYPE FakeService::GetProbeResolveTag(LPCWSTR*)
{
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE FakeService::GetRemoteTransportAddress(LPCWSTR* ppszRemoteTransportAddress)
{
    *ppszRemoteTransportAddress = SUCCEEDED(remoteResult) && m_hasRemote ? m_remote.c_str() : nullptr;
    return remoteResult;
}

HRESULT STDMETHODCALLTYPE FakeService::GetLocalTransportAddress(LPCWSTR*)
{
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE FakeService::GetLocalInterfaceGUID(GUID*)
{
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE FakeService::GetInstanceId(ULONGLONG*)
{
    return E_NOTIMPL;
}

FakeProvider::~FakeProvider()
{
    if (m_notifier.joinable()) {
        m_notifier.join();
    }
}

HRESULT STDMETHODCALLTYPE FakeProvider::QueryInterface(REFIID riid, void** ppv)
{
    if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, __uuidof(IWSDiscoveryProvider))) {
        *ppv = static_cast<IWSDiscoveryProvider*>(this);
        AddRef();
        return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE FakeProvider::Release()
{
    return --m_lRefs;
}

HRESULT STDMETHODCALLTYPE FakeProvider::SetAddressFamily(DWORD dwAddressFamily)
{
    Note(L"SetAddressFamily " + std::to_wstring(dwAddressFamily));
    return m_script.setAddressFamily;
}

HRESULT STDMETHODCALLTYPE FakeProvider::Attach(IWSDiscoveryProviderNotify* pSink)
{
    Note(L"Attach");
    if (FAILED(m_script.attach)) {
        return m_script.attach;
    }
    for (const IID& iid : {__uuidof(IWSDiscoveryProviderNotify), IID_IUnknown, __uuidof(IWSDiscoveryProvider)}) {
        void* answer = nullptr;
        sinkAnswers.push_back(pSink->QueryInterface(iid, &answer));
        if (answer != nullptr) {
            static_cast<IUnknown*>(answer)->Release();
        }
    }
    pSink->AddRef();
    m_pSink = pSink;
    return m_script.attach;
}

HRESULT STDMETHODCALLTYPE FakeProvider::Detach()
{
    Note(L"Detach");
    // No notification after Detach, as with the platform's provider.
    if (m_notifier.joinable()) {
        m_notifier.join();
    }
    if (m_pSink != nullptr) {
        m_pSink->Release();
        m_pSink = nullptr;
    }
    return m_script.detach;
}

HRESULT STDMETHODCALLTYPE FakeProvider::SearchById(LPCWSTR pszId, LPCWSTR pszTag)
{
    return Started(L"SearchById " + OrNull(pszId) + L" tag=" + OrNull(pszTag), L"");
}

HRESULT STDMETHODCALLTYPE FakeProvider::SearchByAddress(LPCWSTR pszAddress, LPCWSTR pszTag)
{
    return Started(L"SearchByAddress " + OrNull(pszAddress) + L" tag=" + OrNull(pszTag), OrNull(pszAddress));
}

HRESULT STDMETHODCALLTYPE FakeProvider::SearchByType(const WSD_NAME_LIST* pTypesList, const WSD_URI_LIST* pScopesList,
                                                     LPCWSTR pszMatchBy, LPCWSTR pszTag)
{
    std::wstring call = L"SearchByType";
    for (const WSD_NAME_LIST* type = pTypesList; type != nullptr; type = type->Next) {
        const WSDXML_NAME* name = type->Element;
        call += L" {" + OrNull(name->Space ? name->Space->Uri : nullptr) + L"}"
            + OrNull(name->Space ? name->Space->PreferredPrefix : nullptr) + L":" + OrNull(name->LocalName);
    }
    call += std::wstring(L" scopes=") + (pScopesList ? L"some" : L"none") + L" matchBy=" + OrNull(pszMatchBy)
        + L" tag=" + OrNull(pszTag);
    return Started(call, L"");
}

HRESULT STDMETHODCALLTYPE FakeProvider::GetXMLContext(IWSDXMLContext**)
{
    return E_NOTIMPL;
}

std::vector<std::wstring> FakeProvider::Calls()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_calls;
}

HRESULT FakeProvider::Started(const std::wstring& call, const std::wstring& address)
{
    Note(call);
    apartmentAtSearch = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (SUCCEEDED(apartmentAtSearch)) {
        ::CoUninitialize();
    }
    if (FAILED(m_script.search)) {
        return m_script.search;
    }
    if (m_notifier.joinable()) {
        m_notifier.join();
    }
    IWSDiscoveryProviderNotify* sink = m_pSink;
    m_notifier = std::thread([this, sink, address] {
        for (const auto& notify : m_script.notifications) {
            notify(sink, address);
        }
    });
    return m_script.search;
}

void FakeProvider::Note(const std::wstring& call)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_calls.push_back(call);
}

std::function<void(IWSDiscoveryProviderNotify*, const std::wstring&)> AddOf(FakeService& service)
{
    return [&service](IWSDiscoveryProviderNotify* sink, const std::wstring&) { sink->Add(&service); };
}

std::function<void(IWSDiscoveryProviderNotify*, const std::wstring&)> RemoveOf(FakeService& service)
{
    return [&service](IWSDiscoveryProviderNotify* sink, const std::wstring&) { sink->Remove(&service); };
}

std::function<void(IWSDiscoveryProviderNotify*, const std::wstring&)> Complete()
{
    return [](IWSDiscoveryProviderNotify* sink, const std::wstring&) { sink->SearchComplete(L"tag"); };
}

std::function<void(IWSDiscoveryProviderNotify*, const std::wstring&)> Failed(HRESULT hr)
{
    return [hr](IWSDiscoveryProviderNotify* sink, const std::wstring&) { sink->SearchFailed(hr, L"tag"); };
}

RedirectedWsdapi::RedirectedWsdapi(const wchar_t* replacement)
    : m_path(_wcsicmp(replacement, kStandInName) == 0 ? BesideTheProgram(replacement) : replacement)
{
}

HMODULE RedirectedWsdapi::LoadLibraryW(LPCWSTR name)
{
    if (_wcsicmp(name, L"wsdapi.dll") != 0) {
        return QVWinApi::CKernelApi::LoadLibraryW(name);
    }
    ++loads;
    const HMODULE module = QVWinApi::CKernelApi::LoadLibraryW(m_path.c_str());
    m_loaded = module;
    return module;
}

BOOL RedirectedWsdapi::FreeLibrary(HMODULE module)
{
    if (module != nullptr && module == m_loaded.load()) {
        ++frees;
    }
    return QVWinApi::CKernelApi::FreeLibrary(module);
}

StandIn::StandIn()
{
    const HMODULE module = ::LoadLibraryW(BesideTheProgram(kStandInName).c_str());
    if (module != nullptr) {
        m_set = reinterpret_cast<void (*)(IUnknown*, HRESULT)>(
            reinterpret_cast<void*>(::GetProcAddress(module, "OrvSetDiscoveryProvider")));
        m_calls = reinterpret_cast<LONG (*)(void**)>(
            reinterpret_cast<void*>(::GetProcAddress(module, "OrvDiscoveryProviderCalls")));
    }
}

long StandIn::Calls(bool* hadContext) const
{
    void* context = nullptr;
    const LONG calls = m_calls(&context);
    if (hadContext != nullptr) {
        *hadContext = context != nullptr;
    }
    return calls;
}

}  // namespace wsdprovider
