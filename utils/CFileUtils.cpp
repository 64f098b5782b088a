#include "utils/CFileUtils.h"

#include <windows.h>

#include "logging/LogTrace.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace QVUtils {

namespace {

constexpr int kCreateAttempts = 2;
constexpr DWORD kDeniedWaitMs = 250;

}  // namespace

bool CFileUtils::CreateDirectoryW(const std::wstring& path)
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"CreateDirectoryW");
    const std::wstring longPath = L"\\\\?\\" + path;
    const int length = static_cast<int>(longPath.size());
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
            QV_LOG_ERROR(L"::CreateDirectory(%s, len=%d), error=%d", longPath.c_str(), length,
                         static_cast<int>(error));
            logScope.m_errorCode = error;
            return false;
        }
        QV_LOG_ERROR(L"::CreateDirectory(%s, len=%d), error=%d. Sleeping ...", longPath.c_str(),
                     length, static_cast<int>(error));
        g_pKernelApi->Sleep(kDeniedWaitMs);
    }
}

bool CFileUtils::DeleteFileW(const std::wstring& path)
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CFileUtils::DeleteFileW");
    const DWORD attributes = g_pKernelApi->GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        logScope.m_errorCode = ::GetLastError();
        return false;
    }
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        const DWORD writable = attributes & ~FILE_ATTRIBUTE_READONLY;
        if (!::SetFileAttributesW(path.c_str(), writable)) {
            const DWORD error = ::GetLastError();
            QV_LOG_ERROR(L"::SetFileAttributes(%s, 0x%X), error=%d", path.c_str(),
                         static_cast<unsigned>(writable), static_cast<int>(error));
            logScope.m_errorCode = error;
            return false;
        }
    }
    if (!g_pKernelApi->DeleteFileW(path.c_str())) {
        const DWORD error = ::GetLastError();
        QV_LOG_ERROR(L"::DeleteFile(%s), error=%d", path.c_str(), static_cast<int>(error));
        logScope.m_errorCode = error;
        return false;
    }
    return true;
}

bool CFileUtils::IsWindows7OrLater()
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CFileUtils::IsWindows7OrLater");
    OSVERSIONINFOEXW info = {};
    info.dwOSVersionInfoSize = sizeof info;
    if (!g_pKernelApi->GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&info))) {
        return false;
    }
    return info.dwPlatformId == VER_PLATFORM_WIN32_NT
        && (info.dwMajorVersion >= 7 || (info.dwMajorVersion == 6 && info.dwMinorVersion > 0));
}

std::vector<std::wstring> CFileUtils::FindFiles(const std::wstring& folder, const wchar_t* pattern)
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CFileUtils::FindFiles");
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW found = {};
    const std::wstring filter = folder + L"\\" + pattern;
    HANDLE search = g_pKernelApi->FindFirstFileW(filter.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) {
        logScope.m_errorCode = ::GetLastError();
        return names;
    }
    do {
        if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            names.push_back(found.cFileName);
        }
    } while (g_pKernelApi->FindNextFileW(search, &found));
    g_pKernelApi->FindClose(search);
    return names;
}

}  // namespace QVUtils
