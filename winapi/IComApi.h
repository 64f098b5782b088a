#pragma once

#include <windows.h>
#include <objbase.h>
#include <oleauto.h>
#include <propidl.h>

namespace QVWinApi {

// The component model: apartments, object creation, waits that keep an
// apartment's calls flowing, and the memory and texts of its results.
// Operations in slot order, the destructor last.
class IComApi {
public:
    virtual HRESULT CoInitialize(LPVOID pvReserved) = 0;
    virtual HRESULT CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit) = 0;
    virtual void CoUninitialize() = 0;
    virtual HRESULT CoCreateInstance(REFCLSID rclsid, LPUNKNOWN pUnkOuter, DWORD dwClsContext,
            REFIID riid, LPVOID* ppv) = 0;
    virtual HRESULT CoWaitForMultipleHandles(DWORD dwFlags, DWORD dwTimeout, ULONG cHandles,
            LPHANDLE pHandles, LPDWORD lpdwindex) = 0;
    virtual HRESULT PropVariantClear(PROPVARIANT* pvar) = 0;
    virtual int StringFromGUID2(REFGUID rguid, LPOLESTR lpsz, int cchMax) = 0;
    virtual void CoTaskMemFree(LPVOID pv) = 0;
    virtual HRESULT CLSIDFromString(LPCOLESTR lpsz, LPCLSID pclsid) = 0;
    virtual BSTR SysAllocString(const OLECHAR* psz) = 0;
    virtual void SysFreeString(BSTR bstrString) = 0;
    virtual ~IComApi() = default;
};

}  // namespace QVWinApi

// The object through which the logic reaches these services.
extern QVWinApi::IComApi* g_pComApi;
