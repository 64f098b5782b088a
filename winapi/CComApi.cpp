#include "winapi/CComApi.h"

namespace QVWinApi {

HRESULT CComApi::CoInitialize(LPVOID pvReserved)
{
    return ::CoInitialize(pvReserved);
}

HRESULT CComApi::CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit)
{
    return ::CoInitializeEx(pvReserved, dwCoInit);
}

void CComApi::CoUninitialize()
{
    ::CoUninitialize();
}

HRESULT CComApi::CoCreateInstance(REFCLSID rclsid, LPUNKNOWN pUnkOuter, DWORD dwClsContext, REFIID riid,
        LPVOID* ppv)
{
    return ::CoCreateInstance(rclsid, pUnkOuter, dwClsContext, riid, ppv);
}

HRESULT CComApi::CoWaitForMultipleHandles(DWORD dwFlags, DWORD dwTimeout, ULONG cHandles, LPHANDLE pHandles,
        LPDWORD lpdwindex)
{
    return ::CoWaitForMultipleHandles(dwFlags, dwTimeout, cHandles, pHandles, lpdwindex);
}

HRESULT CComApi::PropVariantClear(PROPVARIANT* pvar)
{
    return ::PropVariantClear(pvar);
}

int CComApi::StringFromGUID2(REFGUID rguid, LPOLESTR lpsz, int cchMax)
{
    return ::StringFromGUID2(rguid, lpsz, cchMax);
}

void CComApi::CoTaskMemFree(LPVOID pv)
{
    ::CoTaskMemFree(pv);
}

HRESULT CComApi::CLSIDFromString(LPCOLESTR lpsz, LPCLSID pclsid)
{
    return ::CLSIDFromString(lpsz, pclsid);
}

BSTR CComApi::SysAllocString(const OLECHAR* psz)
{
    return ::SysAllocString(psz);
}

void CComApi::SysFreeString(BSTR bstrString)
{
    ::SysFreeString(bstrString);
}

}  // namespace QVWinApi

namespace {

QVWinApi::CComApi s_comApi;

}  // namespace

QVWinApi::IComApi* g_pComApi = &s_comApi;
