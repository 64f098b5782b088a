#include "winapi/CShellApi.h"

#include <shlobj.h>

namespace QVWinApi {

BOOL CShellApi::ShellExecuteExW(SHELLEXECUTEINFOW* pExecInfo)
{
    return ::ShellExecuteExW(pExecInfo);
}

HINSTANCE CShellApi::ShellExecuteW(HWND hwnd, LPCWSTR lpOperation, LPCWSTR lpFile,
        LPCWSTR lpParameters, LPCWSTR lpDirectory, INT nShowCmd)
{
    return ::ShellExecuteW(hwnd, lpOperation, lpFile, lpParameters, lpDirectory, nShowCmd);
}

HRESULT CShellApi::SHGetFolderPathW(HWND hwnd, int csidl, HANDLE hToken, DWORD dwFlags,
        LPWSTR pszPath)
{
    return ::SHGetFolderPathW(hwnd, csidl, hToken, dwFlags, pszPath);
}

BOOL CShellApi::SHGetSpecialFolderPathW(HWND hwnd, LPWSTR pszPath, int csidl, BOOL fCreate)
{
    return ::SHGetSpecialFolderPathW(hwnd, pszPath, csidl, fCreate);
}

HICON CShellApi::ExtractIconW(HINSTANCE hInst, LPCWSTR pszExeFileName, UINT nIconIndex)
{
    return ::ExtractIconW(hInst, pszExeFileName, nIconIndex);
}

}  // namespace QVWinApi

namespace {

QVWinApi::CShellApi s_shellApi;

}  // namespace

QVWinApi::IShellApi* g_pShellApi = &s_shellApi;
