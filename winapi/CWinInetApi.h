#pragma once

#include "winapi/IWinInetApi.h"

namespace QVWinApi {

// Forwards each operation unchanged to the platform function of its name.
class CWinInetApi : public IWinInetApi {
public:
    constexpr CWinInetApi() = default;

    HINTERNET InternetOpenW(LPCWSTR lpszAgent, DWORD dwAccessType, LPCWSTR lpszProxy,
            LPCWSTR lpszProxyBypass, DWORD dwFlags) override;
    INTERNET_STATUS_CALLBACK InternetSetStatusCallbackW(HINTERNET hInternet,
            INTERNET_STATUS_CALLBACK lpfnInternetCallback) override;
    HINTERNET InternetConnectW(HINTERNET hInternet, LPCWSTR lpszServerName,
            INTERNET_PORT nServerPort, LPCWSTR lpszUserName, LPCWSTR lpszPassword,
            DWORD dwService, DWORD dwFlags, DWORD_PTR dwContext) override;
    HINTERNET HttpOpenRequestW(HINTERNET hConnect, LPCWSTR lpszVerb, LPCWSTR lpszObjectName,
            LPCWSTR lpszVersion, LPCWSTR lpszReferrer, LPCWSTR* lplpszAcceptTypes,
            DWORD dwFlags, DWORD_PTR dwContext) override;
    BOOL HttpAddRequestHeadersW(HINTERNET hRequest, LPCWSTR lpszHeaders, DWORD dwHeadersLength,
            DWORD dwModifiers) override;
    BOOL HttpSendRequestW(HINTERNET hRequest, LPCWSTR lpszHeaders, DWORD dwHeadersLength,
            LPVOID lpOptional, DWORD dwOptionalLength) override;
    BOOL HttpQueryInfoA(HINTERNET hRequest, DWORD dwInfoLevel, LPVOID lpBuffer,
            LPDWORD lpdwBufferLength, LPDWORD lpdwIndex) override;
    BOOL HttpQueryInfoW(HINTERNET hRequest, DWORD dwInfoLevel, LPVOID lpBuffer,
            LPDWORD lpdwBufferLength, LPDWORD lpdwIndex) override;
    BOOL InternetReadFileExA(HINTERNET hFile, LPINTERNET_BUFFERSA lpBuffersOut, DWORD dwFlags,
            DWORD_PTR dwContext) override;
    BOOL InternetQueryOptionW(HINTERNET hInternet, DWORD dwOption, LPVOID lpBuffer,
            LPDWORD lpdwBufferLength) override;
    BOOL InternetSetOptionW(HINTERNET hInternet, DWORD dwOption, LPVOID lpBuffer,
            DWORD dwBufferLength) override;
    HWND GetDesktopWindow() override;
    DWORD InternetErrorDlg(HWND hWnd, HINTERNET hRequest, DWORD dwError, DWORD dwFlags,
            LPVOID* lppvData) override;
    BOOL InternetCloseHandle(HINTERNET hInternet) override;
};

}  // namespace QVWinApi
