#pragma once

#include "winapi/IFileApi.h"

namespace QVWinApi {

// Forwards each operation unchanged to the platform function of its name.
class CFileApi : public IFileApi {
public:
    constexpr CFileApi() = default;

    BOOL CopyFileW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, BOOL bFailIfExists) override;
    BOOL MoveFileExW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, DWORD dwFlags) override;
};

}  // namespace QVWinApi
