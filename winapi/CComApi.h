#pragma once

#include "winapi/IComApi.h"

namespace QVWinApi {

// Forwards each operation unchanged to the platform function of its name.
class CComApi : public IComApi {
public:
    constexpr CComApi() = default;

    HRESULT CoInitialize(LPVOID pvReserved) override;
    HRESULT CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit) override;
    void CoUninitialize() override;
    HRESULT CoCreateInstance(REFCLSID rclsid, LPUNKNOWN pUnkOuter, DWORD dwClsContext, REFIID riid,
            LPVOID* ppv) override;
    HRESULT CoWaitForMultipleHandles(DWORD dwFlags, DWORD dwTimeout, ULONG cHandles, LPHANDLE pHandles,
            LPDWORD lpdwindex) override;
    HRESULT PropVariantClear(PROPVARIANT* pvar) override;
    int StringFromGUID2(REFGUID rguid, LPOLESTR lpsz, int cchMax) override;
    void CoTaskMemFree(LPVOID pv) override;
    HRESULT CLSIDFromString(LPCOLESTR lpsz, LPCLSID pclsid) override;
    BSTR SysAllocString(const OLECHAR* psz) override;
    void SysFreeString(BSTR bstrString) override;
};

}  // namespace QVWinApi
