#pragma once

#include <windows.h>
#include <shellapi.h>

namespace QVWinApi {

// Shell: program start, special folders and icons.
// Operations in slot order, the destructor last.
class IShellApi {
public:
    virtual BOOL ShellExecuteExW(SHELLEXECUTEINFOW* pExecInfo) = 0;
    virtual HINSTANCE ShellExecuteW(HWND hwnd, LPCWSTR lpOperation, LPCWSTR lpFile,
            LPCWSTR lpParameters, LPCWSTR lpDirectory, INT nShowCmd) = 0;
    virtual HRESULT SHGetFolderPathW(HWND hwnd, int csidl, HANDLE hToken, DWORD dwFlags,
            LPWSTR pszPath) = 0;
    virtual BOOL SHGetSpecialFolderPathW(HWND hwnd, LPWSTR pszPath, int csidl, BOOL fCreate) = 0;
    virtual HICON ExtractIconW(HINSTANCE hInst, LPCWSTR pszExeFileName, UINT nIconIndex) = 0;
    virtual ~IShellApi() = default;
};

}  // namespace QVWinApi

// The object through which the logic reaches these services.
extern QVWinApi::IShellApi* g_pShellApi;
