#pragma once

#include <windows.h>

namespace QVWinApi {

// Whole-file operations: a copy, and a move that can replace its target.
// Operations in slot order, the destructor last.
class IFileApi {
public:
    virtual BOOL CopyFileW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, BOOL bFailIfExists) = 0;
    virtual BOOL MoveFileExW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, DWORD dwFlags) = 0;
    virtual ~IFileApi() = default;
};

}  // namespace QVWinApi

// The object through which the logic reaches these services.
extern QVWinApi::IFileApi* g_pFileApi;
