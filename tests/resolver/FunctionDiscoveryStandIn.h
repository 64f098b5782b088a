#pragma once

// Function Discovery as the WSD look-ups meet it, for a prefix that has
// none: Wine lacks the platform's Function Discovery, so the tests put a
// stand-in DLL under its class identifier in the prefix's registry and the
// real component model creates it. The objects the stand-in gives out are
// these: function instances with property stores, the plug-and-play
// collection, and a WSD query that reports its devices on a thread of its
// own, as the platform does.
#include <windows.h>
#include <objbase.h>
#include <propsys.h>

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "winapi/CComApi.h"
#include "winapi/FunctionDiscovery.h"

namespace resolver_test {

using namespace QVWinApi;

// The reference counting and QueryInterface of a fake that offers one
// interface besides IUnknown.
template <typename Interface, const IID& kIid>
class Unknown : public Interface {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override
    {
        if (::IsEqualIID(riid, IID_IUnknown) || ::IsEqualIID(riid, kIid)) {
            *ppv = static_cast<Interface*>(this);
            this->AddRef();
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_count; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG count = --m_count;
        if (count == 0) {
            delete this;
        }
        return count;
    }

protected:
    virtual ~Unknown() = default;

private:
    std::atomic<ULONG> m_count{1};
};

// A reference held by the test, given back at its end.
template <typename T>
class Held {
public:
    explicit Held(T* object = nullptr) : m_p(object) {}
    ~Held()
    {
        if (m_p) {
            m_p->Release();
        }
    }
    Held(Held&& other) noexcept : m_p(std::exchange(other.m_p, nullptr)) {}
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    T* operator->() const { return m_p; }
    T* Get() const { return m_p; }

private:
    T* m_p;
};

inline WCHAR* CoTaskCopy(const std::wstring& text)
{
    auto* copy = static_cast<WCHAR*>(::CoTaskMemAlloc((text.size() + 1) * sizeof(WCHAR)));
    ::memcpy(copy, text.c_str(), (text.size() + 1) * sizeof(WCHAR));
    return copy;
}

// One property of a store: a text, a list of texts, or a number.
struct Property {
    PROPERTYKEY key;
    VARTYPE type;
    std::vector<std::wstring> texts;
};
inline Property TextProperty(const PROPERTYKEY& key, const std::wstring& text)
{
    return {key, VT_LPWSTR, {text}};
}
inline Property TextListProperty(const PROPERTYKEY& key, const std::vector<std::wstring>& texts)
{
    return {key, static_cast<VARTYPE>(VT_VECTOR | VT_LPWSTR), texts};
}
inline Property NumberProperty(const PROPERTYKEY& key)
{
    return {key, VT_UI4, {}};
}

// {F01FAC5D-E5F6-485F-A8C6-27446425998C}, 2: the port a plug-and-play
// instance stands behind.
inline constexpr PROPERTYKEY kPortKey = {
    {0xf01fac5d, 0xe5f6, 0x485f, {0xa8, 0xc6, 0x27, 0x44, 0x64, 0x25, 0x99, 0x8c}}, 2};
inline constexpr PROPERTYKEY kLocationInfo = {
    {0xa45c254e, 0xdf1c, 0x4efd, {0x80, 0x20, 0x67, 0xd1, 0x46, 0xa8, 0x50, 0xe0}}, 15};
inline constexpr PROPERTYKEY kXAddrs = {
    {0x656a3bb3, 0xecc0, 0x43fd, {0x84, 0x77, 0x4a, 0xe0, 0x40, 0x4a, 0x96, 0xcd}}, 0x1003};
inline constexpr PROPERTYKEY kServiceAddress = {
    {0x656a3bb3, 0xecc0, 0x43fd, {0x84, 0x77, 0x4a, 0xe0, 0x40, 0x4a, 0x96, 0xcd}}, 0x4000};
// Keys of no interest to the look-ups: {12345678-1234-1234-1234-123456789ABC},
// 7 and 8.
inline constexpr PROPERTYKEY kOtherKey = {
    {0x12345678, 0x1234, 0x1234, {0x12, 0x34, 0x12, 0x34, 0x56, 0x78, 0x9a, 0xbc}}, 7};
inline constexpr PROPERTYKEY kOtherTextKey = {
    {0x12345678, 0x1234, 0x1234, {0x12, 0x34, 0x12, 0x34, 0x56, 0x78, 0x9a, 0xbc}}, 8};

inline constexpr IID kIidPropertyStore = {
    0x886d8eeb, 0x8cf2, 0x4446, {0x8d, 0x02, 0xcd, 0xba, 0x1d, 0xbd, 0xcf, 0x99}};

class FakeStore : public Unknown<IPropertyStore, kIidPropertyStore> {
public:
    explicit FakeStore(std::vector<Property> properties, HANDLE gate = nullptr)
        : m_properties(std::move(properties)), m_gate(gate)
    {
    }
    HRESULT STDMETHODCALLTYPE GetCount(DWORD* count) override
    {
        // A gated store answers only once the test opens the gate.
        if (m_gate) {
            ::WaitForSingleObject(m_gate, 10000);
        }
        *count = static_cast<DWORD>(m_properties.size());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetAt(DWORD index, PROPERTYKEY* key) override
    {
        if (index >= m_properties.size()) {
            return E_INVALIDARG;
        }
        *key = m_properties[index].key;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override
    {
        ::PropVariantInit(value);
        for (const Property& property : m_properties) {
            if (::IsEqualGUID(property.key.fmtid, key.fmtid) && property.key.pid == key.pid) {
                value->vt = property.type;
                if (property.type == VT_LPWSTR) {
                    value->pwszVal = CoTaskCopy(property.texts[0]);
                } else if (property.type == (VT_VECTOR | VT_LPWSTR)) {
                    value->calpwstr.cElems = static_cast<ULONG>(property.texts.size());
                    value->calpwstr.pElems =
                        static_cast<LPWSTR*>(::CoTaskMemAlloc(property.texts.size() * sizeof(LPWSTR)));
                    for (size_t i = 0; i < property.texts.size(); ++i) {
                        value->calpwstr.pElems[i] = CoTaskCopy(property.texts[i]);
                    }
                } else {
                    value->ulVal = 7;
                }
                return S_OK;
            }
        }
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetValue(REFPROPERTYKEY, REFPROPVARIANT) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Commit() override { return E_NOTIMPL; }

private:
    std::vector<Property> m_properties;
    HANDLE m_gate;
};

class FakeInstance : public Unknown<IFunctionInstance, IID_IFunctionInstance> {
public:
    FakeInstance(std::wstring id, std::wstring providerId, std::vector<Property> properties, HANDLE gate = nullptr)
        : m_id(std::move(id)), m_providerId(std::move(providerId)), m_store(new FakeStore(std::move(properties), gate))
    {
    }
    HRESULT STDMETHODCALLTYPE QueryService(REFGUID, REFIID, void**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetID(WCHAR** id) override
    {
        *id = CoTaskCopy(m_id);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetProviderInstanceID(WCHAR** id) override
    {
        *id = CoTaskCopy(m_providerId);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE OpenPropertyStore(DWORD, IPropertyStore** store) override
    {
        m_store->AddRef();
        *store = m_store.Get();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetCategory(WCHAR**, WCHAR**) override { return E_NOTIMPL; }

private:
    std::wstring m_id;
    std::wstring m_providerId;
    Held<FakeStore> m_store;
};

class FakeCollection : public Unknown<IFunctionInstanceCollection, IID_IFunctionInstanceCollection> {
public:
    explicit FakeCollection(const std::vector<FakeInstance*>& instances) : m_instances(instances)
    {
        for (FakeInstance* instance : m_instances) {
            instance->AddRef();
        }
    }
    HRESULT STDMETHODCALLTYPE GetCount(DWORD* count) override
    {
        *count = static_cast<DWORD>(m_instances.size());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Get(const WCHAR*, DWORD*, IFunctionInstance**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Item(DWORD index, IFunctionInstance** instance) override
    {
        if (index >= m_instances.size()) {
            return E_INVALIDARG;
        }
        m_instances[index]->AddRef();
        *instance = m_instances[index];
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Add(IFunctionInstance*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Remove(DWORD, IFunctionInstance**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Delete(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DeleteAll() override { return E_NOTIMPL; }

protected:
    ~FakeCollection() override
    {
        for (FakeInstance* instance : m_instances) {
            instance->Release();
        }
    }

private:
    std::vector<FakeInstance*> m_instances;
};

// What the fake discovery reports, and what it was asked.
struct DiscoveryScript {
    // The plug-and-play instances, in collection order.
    std::vector<FakeInstance*> pnp;
    // The WSD provider's reports, in order, each with its action.
    std::vector<std::pair<QueryUpdateAction, FakeInstance*>> wsd;
    HRESULT executeResult = S_OK;
    // This many queries are refused before the others are made.
    int refusedQueries = 0;
    // Set when the WSD provider's thread has made all its reports.
    HANDLE reported = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);

    std::atomic<int> queries{0};
    std::wstring category;
    BOOL allSubCategories = FALSE;
    bool hadSink = false;
    std::wstring constraintName;
    std::wstring constraintValue;

    ~DiscoveryScript()
    {
        for (FakeInstance* instance : pnp) {
            instance->Release();
        }
        for (auto& report : wsd) {
            report.second->Release();
        }
        ::CloseHandle(reported);
    }
};

class FakeQuery : public Unknown<IFunctionInstanceCollectionQuery, IID_IFunctionInstanceCollectionQuery> {
public:
    FakeQuery(DiscoveryScript& script, IFunctionDiscoveryNotification* sink) : m_script(script), m_sink(sink)
    {
        if (m_sink) {
            m_sink->AddRef();
        }
    }
    HRESULT STDMETHODCALLTYPE AddQueryConstraint(const WCHAR* name, const WCHAR* value) override
    {
        m_script.constraintName = name;
        m_script.constraintValue = value;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE AddPropertyConstraint(REFPROPERTYKEY, const PROPVARIANT*, PropertyConstraint) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Execute(IFunctionInstanceCollection** collection) override
    {
        *collection = nullptr;
        if (FAILED(m_script.executeResult) && m_script.executeResult != E_PENDING) {
            return m_script.executeResult;
        }
        if (!m_sink) {
            *collection = new FakeCollection(m_script.pnp);
            return m_script.executeResult;
        }
        // The provider reports on a thread of its own, holding the sink.
        IFunctionDiscoveryNotification* sink = m_sink;
        sink->AddRef();
        DiscoveryScript* script = &m_script;
        std::thread([script, sink] {
            for (auto& report : script->wsd) {
                sink->OnUpdate(report.first, 0, report.second);
            }
            sink->Release();
            ::SetEvent(script->reported);
        }).detach();
        return E_PENDING;
    }

protected:
    ~FakeQuery() override
    {
        if (m_sink) {
            m_sink->Release();
        }
    }

private:
    DiscoveryScript& m_script;
    IFunctionDiscoveryNotification* m_sink;
};

class FakeDiscovery : public Unknown<IFunctionDiscovery, IID_IFunctionDiscovery> {
public:
    explicit FakeDiscovery(DiscoveryScript& script) : m_script(script) {}
    HRESULT STDMETHODCALLTYPE GetInstanceCollection(const WCHAR*, const WCHAR*, BOOL,
                                                    IFunctionInstanceCollection**) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetInstance(const WCHAR*, IFunctionInstance**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CreateInstanceCollectionQuery(const WCHAR* category, const WCHAR*, BOOL all,
                                                            IFunctionDiscoveryNotification* sink, FDQUERYCONTEXT*,
                                                            IFunctionInstanceCollectionQuery** query) override
    {
        if (m_script.refusedQueries > 0) {
            --m_script.refusedQueries;
            *query = nullptr;
            return E_FAIL;
        }
        ++m_script.queries;
        m_script.category = category ? category : L"";
        m_script.allSubCategories = all;
        m_script.hadSink = sink != nullptr;
        *query = new FakeQuery(m_script, sink);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE CreateInstanceQuery(const WCHAR*, IFunctionDiscoveryNotification*, FDQUERYCONTEXT*,
                                                  IFunctionInstanceQuery**) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE AddInstance(SystemVisibilityFlags, const WCHAR*, const WCHAR*, const WCHAR*,
                                          IFunctionInstance**) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE RemoveInstance(SystemVisibilityFlags, const WCHAR*, const WCHAR*, const WCHAR*) override
    {
        return E_NOTIMPL;
    }

private:
    DiscoveryScript& m_script;
};

// The stand-in registered under Function Discovery's class identifier for
// the life of the object, giving out a discovery that follows `script`.
class FunctionDiscoveryStandIn {
public:
    explicit FunctionDiscoveryStandIn(DiscoveryScript& script) : m_discovery(new FakeDiscovery(script))
    {
        wchar_t module[MAX_PATH] = {};
        ::GetModuleFileNameW(nullptr, module, MAX_PATH);
        std::wstring path = module;
        path = path.substr(0, path.find_last_of(L'\\') + 1) + L"orvfundisc.dll";
        HKEY key = nullptr;
        m_registered = ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, (kClassKey + std::wstring(L"\\InprocServer32")).c_str(), 0,
                                         nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr)
            == ERROR_SUCCESS;
        if (m_registered) {
            ::RegSetValueExW(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(path.c_str()),
                             static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t)));
            static const wchar_t kBoth[] = L"Both";
            ::RegSetValueExW(key, L"ThreadingModel", 0, REG_SZ, reinterpret_cast<const BYTE*>(kBoth), sizeof kBoth);
            ::RegCloseKey(key);
        }
        const HMODULE standIn = ::LoadLibraryW(path.c_str());
        m_set = standIn ? reinterpret_cast<void (*)(IUnknown*)>(::GetProcAddress(standIn, "OrvSetFunctionDiscovery"))
                        : nullptr;
        if (m_set) {
            m_set(m_discovery.Get());
        }
    }
    ~FunctionDiscoveryStandIn()
    {
        if (m_set) {
            m_set(nullptr);
        }
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kClassKey);
    }
    FunctionDiscoveryStandIn(const FunctionDiscoveryStandIn&) = delete;
    FunctionDiscoveryStandIn& operator=(const FunctionDiscoveryStandIn&) = delete;

    // Registered, loaded and handed its discovery.
    bool Ready() const { return m_registered && m_set; }

    static constexpr const wchar_t* kClassKey =
        L"Software\\Classes\\CLSID\\{C72BE2EC-8E90-452C-B29A-AB8FF1C071FC}";

private:
    Held<FakeDiscovery> m_discovery;
    bool m_registered = false;
    void (*m_set)(IUnknown*) = nullptr;
};

// The real component model, but for the wait of a look-up by identity:
// it returns only once the provider's thread has made all its reports, so
// that the address it pulls after letting the waiter go is there to see.
class ReportedWait : public QVWinApi::CComApi {
public:
    explicit ReportedWait(HANDLE reported) : m_reported(reported) {}
    HRESULT CoWaitForMultipleHandles(DWORD flags, DWORD timeout, ULONG count, LPHANDLE handles, LPDWORD index) override
    {
        const HRESULT hr = QVWinApi::CComApi::CoWaitForMultipleHandles(flags, timeout, count, handles, index);
        ::WaitForSingleObject(m_reported, 10000);
        return hr;
    }

private:
    HANDLE m_reported;
};

// A wait that runs out at once, as it does after 30 s when no device
// answers: the double spares the suite the wait and records what was asked.
class ExpiredWait : public QVWinApi::CComApi {
public:
    HRESULT CoWaitForMultipleHandles(DWORD, DWORD timeout, ULONG, LPHANDLE, LPDWORD) override
    {
        asked = timeout;
        return RPC_S_CALLPENDING;
    }
    DWORD asked = 0;
};

}  // namespace resolver_test
