#include "utils/CFileUtils.h"

#include <windows.h>

#include "winapi/IKernelApi.h"

namespace QVUtils {

namespace {

constexpr int kCreateAttempts = 2;
constexpr DWORD kDeniedWaitMs = 250;

}  // namespace

bool CFileUtils::CreateDirectoryW(const std::wstring& path)
{
    const std::wstring longPath = L"\\\\?\\" + path;
    for (int attempt = 1;; ++attempt) {
        if (g_pKernelApi->CreateDirectoryW(longPath.c_str(), nullptr)) {
            return true;
        }
        const DWORD error = ::GetLastError();
        if (error == ERROR_ALREADY_EXISTS) {
            ::SetLastError(0);
            return true;
        }
        if (error != ERROR_ACCESS_DENIED || attempt == kCreateAttempts) {
            return false;
        }
        g_pKernelApi->Sleep(kDeniedWaitMs);
    }
}

bool CFileUtils::DeleteFileW(const std::wstring& path)
{
    const DWORD attributes = g_pKernelApi->GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        return false;
    }
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0
        && !::SetFileAttributesW(path.c_str(), attributes & ~FILE_ATTRIBUTE_READONLY)) {
        return false;
    }
    return g_pKernelApi->DeleteFileW(path.c_str()) != FALSE;
}

bool CFileUtils::IsWindows7OrLater()
{
    OSVERSIONINFOEXW info = {};
    info.dwOSVersionInfoSize = sizeof info;
    if (!g_pKernelApi->GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&info))) {
        return false;
    }
    return info.dwPlatformId == VER_PLATFORM_WIN32_NT
        && (info.dwMajorVersion >= 7 || (info.dwMajorVersion == 6 && info.dwMinorVersion > 0));
}

}  // namespace QVUtils
