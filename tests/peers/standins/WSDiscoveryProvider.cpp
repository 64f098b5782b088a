// A stand-in for "wsdapi.dll" whose creation function answers with the
// test's provider: Wine's own answers E_NOTIMPL, so the provider's
// behaviour cannot be had from it. The tests make the library load this DLL
// in its place, and the library finds WSDCreateDiscoveryProvider in it and
// calls it as it would the platform's. The test hands its provider and the
// status to answer with through OrvSetDiscoveryProvider before a search.
// Built for the tests only.
#include <windows.h>
#include <objbase.h>

namespace {

IUnknown* g_provider = nullptr;
HRESULT g_hrCreate = E_NOTIMPL;
LONG g_lCalls = 0;
void* g_pLastContext = nullptr;
CRITICAL_SECTION g_lock;

// {8FFC8E55-F0EB-480F-88B7-B435DD281D45}
const IID kIIDProvider = {0x8ffc8e55, 0xf0eb, 0x480f, {0x88, 0xb7, 0xb4, 0x35, 0xdd, 0x28, 0x1d, 0x45}};

}  // namespace

extern "C" {

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) {
        InitializeCriticalSection(&g_lock);
    }
    return TRUE;
}

// What the creation function answers from now on: `result`, and when that
// is a success the provider (null for none).
__declspec(dllexport) void OrvSetDiscoveryProvider(IUnknown* provider, HRESULT result)
{
    EnterCriticalSection(&g_lock);
    if (provider) {
        provider->AddRef();
    }
    if (g_provider) {
        g_provider->Release();
    }
    g_provider = provider;
    g_hrCreate = result;
    g_lCalls = 0;
    g_pLastContext = nullptr;
    LeaveCriticalSection(&g_lock);
}

// How often the creation function was called since the last setting, and
// the XML context of the last call.
__declspec(dllexport) LONG OrvDiscoveryProviderCalls(void** lastContext)
{
    EnterCriticalSection(&g_lock);
    const LONG calls = g_lCalls;
    *lastContext = g_pLastContext;
    LeaveCriticalSection(&g_lock);
    return calls;
}

__declspec(dllexport) HRESULT WINAPI WSDCreateDiscoveryProvider(void* context, void** provider)
{
    EnterCriticalSection(&g_lock);
    ++g_lCalls;
    g_pLastContext = context;
    HRESULT hr = g_hrCreate;
    *provider = nullptr;
    if (SUCCEEDED(hr) && g_provider) {
        hr = g_provider->QueryInterface(kIIDProvider, provider);
    }
    LeaveCriticalSection(&g_lock);
    return hr;
}

}  // extern "C"
