#include "winapi/CWinInetApi.h"

namespace QVWinApi {

HINTERNET CWinInetApi::InternetOpenW(LPCWSTR lpszAgent, DWORD dwAccessType, LPCWSTR lpszProxy,
        LPCWSTR lpszProxyBypass, DWORD dwFlags)
{
    return ::InternetOpenW(lpszAgent, dwAccessType, lpszProxy, lpszProxyBypass, dwFlags);
}

INTERNET_STATUS_CALLBACK CWinInetApi::InternetSetStatusCallbackW(HINTERNET hInternet,
        INTERNET_STATUS_CALLBACK lpfnInternetCallback)
{
    return ::InternetSetStatusCallbackW(hInternet, lpfnInternetCallback);
}

HINTERNET CWinInetApi::InternetConnectW(HINTERNET hInternet, LPCWSTR lpszServerName,
        INTERNET_PORT nServerPort, LPCWSTR lpszUserName, LPCWSTR lpszPassword, DWORD dwService,
        DWORD dwFlags, DWORD_PTR dwContext)
{
    return ::InternetConnectW(hInternet, lpszServerName, nServerPort, lpszUserName, lpszPassword,
                              dwService, dwFlags, dwContext);
}

HINTERNET CWinInetApi::HttpOpenRequestW(HINTERNET hConnect, LPCWSTR lpszVerb,
        LPCWSTR lpszObjectName, LPCWSTR lpszVersion, LPCWSTR lpszReferrer,
        LPCWSTR* lplpszAcceptTypes, DWORD dwFlags, DWORD_PTR dwContext)
{
    return ::HttpOpenRequestW(hConnect, lpszVerb, lpszObjectName, lpszVersion, lpszReferrer,
                              lplpszAcceptTypes, dwFlags, dwContext);
}

BOOL CWinInetApi::HttpAddRequestHeadersW(HINTERNET hRequest, LPCWSTR lpszHeaders,
        DWORD dwHeadersLength, DWORD dwModifiers)
{
    return ::HttpAddRequestHeadersW(hRequest, lpszHeaders, dwHeadersLength, dwModifiers);
}

BOOL CWinInetApi::HttpSendRequestW(HINTERNET hRequest, LPCWSTR lpszHeaders,
        DWORD dwHeadersLength, LPVOID lpOptional, DWORD dwOptionalLength)
{
    return ::HttpSendRequestW(hRequest, lpszHeaders, dwHeadersLength, lpOptional,
                              dwOptionalLength);
}

BOOL CWinInetApi::HttpQueryInfoA(HINTERNET hRequest, DWORD dwInfoLevel, LPVOID lpBuffer,
        LPDWORD lpdwBufferLength, LPDWORD lpdwIndex)
{
    return ::HttpQueryInfoA(hRequest, dwInfoLevel, lpBuffer, lpdwBufferLength, lpdwIndex);
}

BOOL CWinInetApi::HttpQueryInfoW(HINTERNET hRequest, DWORD dwInfoLevel, LPVOID lpBuffer,
        LPDWORD lpdwBufferLength, LPDWORD lpdwIndex)
{
    return ::HttpQueryInfoW(hRequest, dwInfoLevel, lpBuffer, lpdwBufferLength, lpdwIndex);
}

BOOL CWinInetApi::InternetReadFileExA(HINTERNET hFile, LPINTERNET_BUFFERSA lpBuffersOut,
        DWORD dwFlags, DWORD_PTR dwContext)
{
    return ::InternetReadFileExA(hFile, lpBuffersOut, dwFlags, dwContext);
}

BOOL CWinInetApi::InternetQueryOptionW(HINTERNET hInternet, DWORD dwOption, LPVOID lpBuffer,
        LPDWORD lpdwBufferLength)
{
    return ::InternetQueryOptionW(hInternet, dwOption, lpBuffer, lpdwBufferLength);
}

BOOL CWinInetApi::InternetSetOptionW(HINTERNET hInternet, DWORD dwOption, LPVOID lpBuffer,
        DWORD dwBufferLength)
{
    return ::InternetSetOptionW(hInternet, dwOption, lpBuffer, dwBufferLength);
}

HWND CWinInetApi::GetDesktopWindow()
{
    return ::GetDesktopWindow();
}

DWORD CWinInetApi::InternetErrorDlg(HWND hWnd, HINTERNET hRequest, DWORD dwError, DWORD dwFlags,
        LPVOID* lppvData)
{
    return ::InternetErrorDlg(hWnd, hRequest, dwError, dwFlags, lppvData);
}

BOOL CWinInetApi::InternetCloseHandle(HINTERNET hInternet)
{
    return ::InternetCloseHandle(hInternet);
}

}  // namespace QVWinApi

namespace {

QVWinApi::CWinInetApi s_winInetApi;

}  // namespace

QVWinApi::IWinInetApi* g_pWinInetApi = &s_winInetApi;
