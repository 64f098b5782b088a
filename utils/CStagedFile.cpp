#include "utils/CStagedFile.h"

#include <windows.h>

#include "logging/LogTrace.h"
#include "winapi/IFileApi.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace QVUtils {

CStagedFile::CStagedFile(const std::wstring& path) : m_path(path), m_staged(path + L".tmp") {}

CStagedFile::~CStagedFile()
{
    if (!m_bCommitted) {
        const DWORD error = ::GetLastError();
        g_pKernelApi->DeleteFileW(m_staged.c_str());
        ::SetLastError(error);
    }
}

bool CStagedFile::Begin()
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CStagedFile::Begin");
    if (g_pKernelApi->GetFileAttributesW(m_path.c_str()) == INVALID_FILE_ATTRIBUTES) {
        // A copy left by a save that was stopped is not the file's.
        if (!g_pKernelApi->DeleteFileW(m_staged.c_str()) && ::GetLastError() != ERROR_FILE_NOT_FOUND) {
            logScope.m_errorCode = ::GetLastError();
            return false;
        }
        return true;
    }
    if (!g_pFileApi->CopyFileW(m_path.c_str(), m_staged.c_str(), FALSE)) {
        logScope.m_errorCode = ::GetLastError();
        return false;
    }
    return true;
}

bool CStagedFile::Commit()
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CStagedFile::Commit");
    if (!g_pFileApi->MoveFileExW(m_staged.c_str(), m_path.c_str(),
                                 MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        logScope.m_errorCode = ::GetLastError();
        return false;
    }
    m_bCommitted = true;
    return true;
}

}  // namespace QVUtils
