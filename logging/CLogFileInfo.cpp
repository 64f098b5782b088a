#include "logging/CLogFileInfo.h"

#include <cwchar>

#include "logging/LogFlags.h"
#include "utils/CPathUtils.h"
#include "winapi/IKernelApi.h"
#include "winapi/IShellApi.h"

namespace QVLogging {

namespace {

constexpr int kCommonAppDataCreate = 32803;  // CSIDL_COMMON_APPDATA | CSIDL_FLAG_CREATE
constexpr DWORD kRetryWindowMs = 120;
constexpr DWORD kRetrySleepMs = 30;
const wchar_t kLineEnd[] = L"\r\n";
const wchar_t kQueueStart[] = L"--- Queued Lines Start ---\r\n";
const wchar_t kQueueEnd[] = L"--- Queued Lines End ---\r\n";

bool IsFileSpec(const std::wstring& name)
{
    return name.find_first_of(L":\\") == std::wstring::npos;
}

std::wstring FileNamePart(const std::wstring& path)
{
    const size_t separator = path.find_last_of(L":\\");
    return separator == std::wstring::npos ? path : path.substr(separator + 1);
}

}  // namespace

void CLogFileInfo::Prepare(unsigned long options)
{
    std::wstring folder;
    std::wstring prefix;
    if (IsFileSpec(m_fileName)) {
        wchar_t commonData[MAX_PATH] = {};
        g_pShellApi->SHGetFolderPathW(nullptr, kCommonAppDataCreate, nullptr, 0, commonData);
        folder = commonData;
        prefix = m_fileName;
    } else {
        folder = QVUtils::CPathUtils::StripFilename(m_fileName);
        prefix = FileNamePart(m_fileName);
    }
    if (options & kOptionUniqueFile) {
        wchar_t unique[MAX_PATH] = {};
        if (g_pKernelApi->GetTempFileNameW(folder.c_str(), prefix.c_str(), 0, unique)) {
            wchar_t longName[MAX_PATH] = {};
            const DWORD length = ::GetLongPathNameW(unique, longName, MAX_PATH);
            m_fileName = length > 0 && length < MAX_PATH ? longName : unique;
        }
    }
    if (m_fileName.empty()) {
        return;
    }
    HANDLE file = g_pKernelApi->CreateFileW(m_fileName.c_str(), GENERIC_WRITE, 0, nullptr,
            (options & kOptionTruncate) ? CREATE_ALWAYS : OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL,
            nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return;
    }
    wchar_t fullPath[MAX_PATH] = {};
    const DWORD length = ::SearchPathW(nullptr, m_fileName.c_str(), nullptr, MAX_PATH, fullPath,
                                       nullptr);
    if (length > 0 && length < MAX_PATH) {
        m_fileName = fullPath;
    }
    g_pKernelApi->CloseHandle(file);
}

bool CLogFileInfo::Append(const std::wstring& prefix, const std::wstring& message,
                          unsigned long options, const std::wstring& moduleName,
                          std::deque<std::wstring>& queue, DWORD& openError)
{
    const unsigned long limit = (options & kOptionSizeLimitMask) * 1024;
    if (limit != 0 && m_bytesWritten >= limit) {
        return true;
    }
    HANDLE file = OpenForAppend();
    if (file == INVALID_HANDLE_VALUE) {
        openError = ::GetLastError();
        if (queue.empty()) {
            queue.push_back(kQueueStart);
        }
        queue.push_back(prefix + m_indent + message + kLineEnd);
        return false;
    }
    LARGE_INTEGER end = {};
    ::SetFilePointerEx(file, LARGE_INTEGER{}, &end, FILE_END);
    if (limit != 0 && end.QuadPart >= limit) {
        g_pKernelApi->CloseHandle(file);
        return true;
    }
    unsigned long long total = end.QuadPart;
    if (!queue.empty()) {
        queue.push_back(kQueueEnd);
        for (; !queue.empty(); queue.pop_front()) {
            total += WriteText(file, queue.front());
        }
    }
    total += WriteText(file, prefix);
    total += WriteText(file, m_indent);
    total += WriteText(file, message);
    total += WriteText(file, kLineEnd);
    if (limit != 0 && total >= limit) {
        WriteText(file, L"*** FILE SIZE LIMIT REACHED, LOGGING DISABLED FOR " + moduleName
                        + L" MODULE ***");
        if ((options & (kOptionTruncate | kOptionUniqueFile))
            == (kOptionTruncate | kOptionUniqueFile)) {
            m_openPending = true;
            total = 0;
        }
    }
    m_bytesWritten = static_cast<unsigned long>(total);
    g_pKernelApi->CloseHandle(file);
    return true;
}

// Another writer holds the file exclusively for one line at a time: a
// sharing violation is tried again for a short while.
HANDLE CLogFileInfo::OpenForAppend() const
{
    const DWORD start = g_pKernelApi->GetTickCount();
    for (;;) {
        HANDLE file = g_pKernelApi->CreateFileW(m_fileName.c_str(), GENERIC_WRITE, 0, nullptr,
                OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file != INVALID_HANDLE_VALUE) {
            return file;
        }
        const DWORD error = ::GetLastError();
        if (error != ERROR_SHARING_VIOLATION
            || g_pKernelApi->GetTickCount() - start >= kRetryWindowMs) {
            ::SetLastError(error);
            return INVALID_HANDLE_VALUE;
        }
        g_pKernelApi->Sleep(kRetrySleepMs);
    }
}

unsigned long CLogFileInfo::WriteText(HANDLE file, const std::wstring& text)
{
    if (text.empty()) {
        return 0;
    }
    DWORD written = 0;
    if (!g_pKernelApi->WriteFile(file, text.data(),
                                 static_cast<DWORD>(text.size() * sizeof(wchar_t)), &written,
                                 nullptr)) {
        return 0;
    }
    return written;
}

}  // namespace QVLogging
