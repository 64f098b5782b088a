// A stand-in for the platform's Function Discovery, which Wine lacks. The
// tests register this DLL in the prefix's registry under the class
// identifier of Function Discovery, so that the real component model loads
// it and asks its class factory for the object. The object itself is the
// test's: it hands it over with OrvSetFunctionDiscovery before the call it
// is about, and the factory gives out that object's interfaces. Built for
// the tests only.
#include <windows.h>
#include <objbase.h>

namespace {

IUnknown* g_discovery = nullptr;
CRITICAL_SECTION g_lock;

class ClassFactory : public IClassFactory {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override
    {
        if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IClassFactory)) {
            *ppv = static_cast<IClassFactory*>(this);
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** ppv) override
    {
        *ppv = nullptr;
        if (outer) {
            return CLASS_E_NOAGGREGATION;
        }
        EnterCriticalSection(&g_lock);
        const HRESULT hr = g_discovery ? g_discovery->QueryInterface(riid, ppv) : CLASS_E_CLASSNOTAVAILABLE;
        LeaveCriticalSection(&g_lock);
        return hr;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

ClassFactory g_factory;

}  // namespace

extern "C" {

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) {
        InitializeCriticalSection(&g_lock);
    }
    return TRUE;
}

// The object the factory gives out from now on; null for none.
__declspec(dllexport) void OrvSetFunctionDiscovery(IUnknown* discovery)
{
    EnterCriticalSection(&g_lock);
    if (discovery) {
        discovery->AddRef();
    }
    if (g_discovery) {
        g_discovery->Release();
    }
    g_discovery = discovery;
    LeaveCriticalSection(&g_lock);
}

__declspec(dllexport) HRESULT WINAPI DllGetClassObject(REFCLSID, REFIID riid, void** ppv)
{
    return g_factory.QueryInterface(riid, ppv);
}

// The test's objects live in the test's process image: never unloaded.
__declspec(dllexport) HRESULT WINAPI DllCanUnloadNow()
{
    return S_FALSE;
}

}  // extern "C"
