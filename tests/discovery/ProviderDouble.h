#pragma once

// A double of the system's WS-Discovery provider, reached through the
// stand-in "wsdapi.dll" (orvwsdapi.dll) that the library loads in place of
// the platform's: Wine's provider answers E_NOTIMPL, so notifications,
// their XML and the provider's failures can only come from a double. The
// provider writes down every call, answers with the statuses the test
// chose, and after a successful Search* delivers the test's notifications
// on a thread of its own, as the platform's provider does.
#include <windows.h>

#include <atomic>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "winapi/CKernelApi.h"
#include "winapi/WSDiscoveryProvider.h"

namespace wsdprovider {

// XML in the provider's node layout; every node lives as long as the tree.
class XmlTree {
public:
    // A new element, the last child of `parent` if one is given.
    WSDXML_ELEMENT* Element(const wchar_t* localName, WSDXML_ELEMENT* parent = nullptr);
    // A text node, the last child of `parent`; `text` may be null.
    WSDXML_TEXT* Text(WSDXML_ELEMENT* parent, const wchar_t* text);
    // An element holding one text node.
    WSDXML_ELEMENT* Field(WSDXML_ELEMENT* parent, const wchar_t* localName, const wchar_t* text);

private:
    wchar_t* Keep(const wchar_t* text);
    static void Append(WSDXML_ELEMENT* parent, WSDXML_NODE* node);

    std::deque<WSDXML_ELEMENT> m_elements;
    std::deque<WSDXML_TEXT> m_texts;
    std::deque<WSDXML_NAME> m_names;
    std::deque<std::wstring> m_strings;
};

// One service as a notification carries it.
class FakeService : public IWSDiscoveredService {
public:
    FakeService(const wchar_t* endpoint, const wchar_t* remote, WSDXML_ELEMENT* body);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_lRefs; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_lRefs; }
    HRESULT STDMETHODCALLTYPE GetEndpointReference(WSD_ENDPOINT_REFERENCE** ppEndpointReference) override;
    HRESULT STDMETHODCALLTYPE GetTypes(WSD_NAME_LIST** ppTypesList) override;
    HRESULT STDMETHODCALLTYPE GetScopes(WSD_URI_LIST** ppScopesList) override;
    HRESULT STDMETHODCALLTYPE GetXAddrs(WSD_URI_LIST** ppXAddrsList) override;
    HRESULT STDMETHODCALLTYPE GetMetadataVersion(ULONGLONG* pullMetadataVersion) override;
    HRESULT STDMETHODCALLTYPE GetExtendedDiscoXML(WSDXML_ELEMENT** ppHeaderAny, WSDXML_ELEMENT** ppBodyAny) override;
    HRESULT STDMETHODCALLTYPE GetProbeResolveTag(LPCWSTR* ppszTag) override;
    HRESULT STDMETHODCALLTYPE GetRemoteTransportAddress(LPCWSTR* ppszRemoteTransportAddress) override;
    HRESULT STDMETHODCALLTYPE GetLocalTransportAddress(LPCWSTR* ppszLocalTransportAddress) override;
    HRESULT STDMETHODCALLTYPE GetLocalInterfaceGUID(GUID* pGuid) override;
    HRESULT STDMETHODCALLTYPE GetInstanceId(ULONGLONG* pullInstanceId) override;

    // The status of each getter the server uses.
    HRESULT endpointResult = S_OK;
    HRESULT remoteResult = S_OK;
    HRESULT xmlResult = S_OK;

private:
    std::atomic<ULONG> m_lRefs{1};
    std::wstring m_endpoint;
    std::wstring m_remote;
    bool m_hasEndpoint;
    bool m_hasRemote;
    WSD_ENDPOINT_REFERENCE m_reference = {};
    WSDXML_ELEMENT* m_body;
};

// What the provider does; set before the search.
struct ProviderScript {
    HRESULT setAddressFamily = S_OK;
    HRESULT attach = S_OK;
    HRESULT search = S_OK;
    HRESULT detach = S_OK;
    // Called in order on the provider's thread after a successful Search*,
    // with the attached sink and the address a search by address was given.
    std::vector<std::function<void(IWSDiscoveryProviderNotify*, const std::wstring& address)>> notifications;
};

class FakeProvider : public IWSDiscoveryProvider {
public:
    explicit FakeProvider(ProviderScript& script) : m_script(script) {}
    ~FakeProvider();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_lRefs; }
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE SetAddressFamily(DWORD dwAddressFamily) override;
    HRESULT STDMETHODCALLTYPE Attach(IWSDiscoveryProviderNotify* pSink) override;
    HRESULT STDMETHODCALLTYPE Detach() override;
    HRESULT STDMETHODCALLTYPE SearchById(LPCWSTR pszId, LPCWSTR pszTag) override;
    HRESULT STDMETHODCALLTYPE SearchByAddress(LPCWSTR pszAddress, LPCWSTR pszTag) override;
    HRESULT STDMETHODCALLTYPE SearchByType(const WSD_NAME_LIST* pTypesList, const WSD_URI_LIST* pScopesList,
                                           LPCWSTR pszMatchBy, LPCWSTR pszTag) override;
    HRESULT STDMETHODCALLTYPE GetXMLContext(IWSDXMLContext** ppContext) override;

    // Every call so far but those of IUnknown, as "Attach",
    // "SearchById urn:uuid:1 tag=5", ...
    std::vector<std::wstring> Calls();
    // References held by others than the test.
    ULONG ExtraReferences() const { return m_lRefs - 1; }
    // What CoInitializeEx for the multithreaded apartment answered on the
    // thread that started the search.
    HRESULT apartmentAtSearch = E_FAIL;
    // What the sink's QueryInterface answered at Attach, for
    // IWSDiscoveryProviderNotify, IUnknown and this provider's interface.
    std::vector<HRESULT> sinkAnswers;

private:
    HRESULT Started(const std::wstring& call, const std::wstring& address);
    void Note(const std::wstring& call);

    ProviderScript& m_script;
    std::atomic<ULONG> m_lRefs{1};
    std::mutex m_mutex;
    std::vector<std::wstring> m_calls;
    IWSDiscoveryProviderNotify* m_pSink = nullptr;
    std::thread m_notifier;
};

// Notifications for a script.
std::function<void(IWSDiscoveryProviderNotify*, const std::wstring&)> AddOf(FakeService& service);
std::function<void(IWSDiscoveryProviderNotify*, const std::wstring&)> RemoveOf(FakeService& service);
std::function<void(IWSDiscoveryProviderNotify*, const std::wstring&)> Complete();
std::function<void(IWSDiscoveryProviderNotify*, const std::wstring&)> Failed(HRESULT hr);

// The kernel with "wsdapi.dll" loaded from `replacement` instead (the
// stand-in beside the test program, another DLL's name or a path),
// counting loads and the frees of what it loaded; every other call reaches
// the platform. A double because the name the library asks for is fixed.
class RedirectedWsdapi : public QVWinApi::CKernelApi {
public:
    explicit RedirectedWsdapi(const wchar_t* replacement);
    HMODULE LoadLibraryW(LPCWSTR name) override;
    BOOL FreeLibrary(HMODULE module) override;

    std::atomic<int> loads{0};
    std::atomic<int> frees{0};

private:
    std::wstring m_path;
    std::atomic<HMODULE> m_loaded{nullptr};
};

// The stand-in DLL as the test sees it: loaded for the test's whole life,
// answering with `provider` and `result` until reset.
class StandIn {
public:
    StandIn();
    bool Ready() const { return m_set != nullptr && m_calls != nullptr; }
    void Answer(IUnknown* provider, HRESULT result) { m_set(provider, result); }
    // Calls of the creation function since the last Answer, and whether the
    // last one had an XML context.
    long Calls(bool* hadContext = nullptr) const;

private:
    void (*m_set)(IUnknown*, HRESULT) = nullptr;
    LONG (*m_calls)(void**) = nullptr;
};

// The file name of the stand-in, beside the test program.
constexpr const wchar_t* kStandInName = L"orvwsdapi.dll";

}  // namespace wsdprovider
