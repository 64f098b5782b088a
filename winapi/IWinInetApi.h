#pragma once

#include <windows.h>
#include <wininet.h>

namespace QVWinApi {

// WinINet: HTTPS sessions, requests, their options and the certificate dialog
// with the desktop window that owns it.
// Operations in slot order, the destructor last.
class IWinInetApi {
public:
    virtual HINTERNET InternetOpenW(LPCWSTR lpszAgent, DWORD dwAccessType, LPCWSTR lpszProxy,
            LPCWSTR lpszProxyBypass, DWORD dwFlags) = 0;
    virtual INTERNET_STATUS_CALLBACK InternetSetStatusCallbackW(HINTERNET hInternet,
            INTERNET_STATUS_CALLBACK lpfnInternetCallback) = 0;
    virtual HINTERNET InternetConnectW(HINTERNET hInternet, LPCWSTR lpszServerName,
            INTERNET_PORT nServerPort, LPCWSTR lpszUserName, LPCWSTR lpszPassword,
            DWORD dwService, DWORD dwFlags, DWORD_PTR dwContext) = 0;
    virtual HINTERNET HttpOpenRequestW(HINTERNET hConnect, LPCWSTR lpszVerb,
            LPCWSTR lpszObjectName, LPCWSTR lpszVersion, LPCWSTR lpszReferrer,
            LPCWSTR* lplpszAcceptTypes, DWORD dwFlags, DWORD_PTR dwContext) = 0;
    virtual BOOL HttpAddRequestHeadersW(HINTERNET hRequest, LPCWSTR lpszHeaders,
            DWORD dwHeadersLength, DWORD dwModifiers) = 0;
    virtual BOOL HttpSendRequestW(HINTERNET hRequest, LPCWSTR lpszHeaders, DWORD dwHeadersLength,
            LPVOID lpOptional, DWORD dwOptionalLength) = 0;
    virtual BOOL HttpQueryInfoA(HINTERNET hRequest, DWORD dwInfoLevel, LPVOID lpBuffer,
            LPDWORD lpdwBufferLength, LPDWORD lpdwIndex) = 0;
    virtual BOOL HttpQueryInfoW(HINTERNET hRequest, DWORD dwInfoLevel, LPVOID lpBuffer,
            LPDWORD lpdwBufferLength, LPDWORD lpdwIndex) = 0;
    virtual BOOL InternetReadFileExA(HINTERNET hFile, LPINTERNET_BUFFERSA lpBuffersOut,
            DWORD dwFlags, DWORD_PTR dwContext) = 0;
    virtual BOOL InternetQueryOptionW(HINTERNET hInternet, DWORD dwOption, LPVOID lpBuffer,
            LPDWORD lpdwBufferLength) = 0;
    virtual BOOL InternetSetOptionW(HINTERNET hInternet, DWORD dwOption, LPVOID lpBuffer,
            DWORD dwBufferLength) = 0;
    virtual HWND GetDesktopWindow() = 0;
    virtual DWORD InternetErrorDlg(HWND hWnd, HINTERNET hRequest, DWORD dwError, DWORD dwFlags,
            LPVOID* lppvData) = 0;
    virtual BOOL InternetCloseHandle(HINTERNET hInternet) = 0;
    virtual ~IWinInetApi() = default;
};

}  // namespace QVWinApi

// The object through which the logic reaches these services.
extern QVWinApi::IWinInetApi* g_pWinInetApi;
