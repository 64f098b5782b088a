#include "winapi/CFileApi.h"

namespace QVWinApi {

BOOL CFileApi::CopyFileW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, BOOL bFailIfExists)
{
    return ::CopyFileW(lpExistingFileName, lpNewFileName, bFailIfExists);
}

BOOL CFileApi::MoveFileExW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, DWORD dwFlags)
{
    return ::MoveFileExW(lpExistingFileName, lpNewFileName, dwFlags);
}

}  // namespace QVWinApi

namespace {

QVWinApi::CFileApi s_fileApi;

}  // namespace

QVWinApi::IFileApi* g_pFileApi = &s_fileApi;
