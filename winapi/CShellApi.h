#pragma once

#include "winapi/IShellApi.h"

namespace QVWinApi {

// Forwards each operation unchanged to the platform function of its name.
class CShellApi : public IShellApi {
public:
    constexpr CShellApi() = default;

    BOOL ShellExecuteExW(SHELLEXECUTEINFOW* pExecInfo) override;
    HINSTANCE ShellExecuteW(HWND hwnd, LPCWSTR lpOperation, LPCWSTR lpFile, LPCWSTR lpParameters,
            LPCWSTR lpDirectory, INT nShowCmd) override;
    HRESULT SHGetFolderPathW(HWND hwnd, int csidl, HANDLE hToken, DWORD dwFlags,
            LPWSTR pszPath) override;
    BOOL SHGetSpecialFolderPathW(HWND hwnd, LPWSTR pszPath, int csidl, BOOL fCreate) override;
    HICON ExtractIconW(HINSTANCE hInst, LPCWSTR pszExeFileName, UINT nIconIndex) override;
};

}  // namespace QVWinApi
