#include "utils/CPathUtils.h"

#include <cstdlib>

#include "logging/LogTrace.h"
#include "utils/CSxSConfig.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace QVUtils {

namespace {

constexpr HRESULT kEmptyPath = static_cast<HRESULT>(0x8004FFFF);
constexpr wchar_t kLongPathPrefix[] = L"\\\\?\\";

}  // namespace

std::wstring CPathUtils::StripFilename(const std::wstring& path)
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CPathUtils::StripFilename");
    if (path.empty()) {
        return std::wstring();
    }
    wchar_t drive[_MAX_DRIVE] = {};
    const bool hasDrive = _wsplitpath_s(path.c_str(), drive, _MAX_DRIVE, nullptr, 0, nullptr, 0,
                                        nullptr, 0) == 0 && drive[0] != L'\0';
    const size_t slash = path.rfind(L'\\');
    if (slash == std::wstring::npos) {
        return hasDrive ? std::wstring(drive) : std::wstring();
    }
    if (slash == 0 || (slash == 2 && hasDrive)) {
        return path.substr(0, slash + 1);
    }
    return path.substr(0, slash);
}

std::wstring CPathUtils::GetPathOfExecutable()
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CPathUtils::GetPathOfExecutable");
    static std::wstring s_path;
    if (s_path.empty()) {
        wchar_t fileName[MAX_PATH] = {};
        g_pKernelApi->GetModuleFileNameW(nullptr, fileName, MAX_PATH);
        s_path = StripFilename(fileName);
        QV_LOG_INFO(7, L"GetPathOfExecutable: wstrResult = %s", s_path.c_str());
    }
    return s_path;
}

std::wstring CPathUtils::CombinePath(const std::wstring& a, const std::wstring& b)
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CPathUtils::CombinePath");
    if (a.empty()) {
        return b;
    }
    if (b.empty()) {
        return a;
    }
    const size_t headEnd = a.back() == L'\\' ? a.size() - 1 : a.size();
    const size_t tailStart = b.front() == L'\\' ? 1 : 0;
    return a.substr(0, headEnd) + L'\\' + b.substr(tailStart);
}

std::wstring CPathUtils::GetTamrikDataDirectory(bool create)
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CPathUtils::GetTamrikDataDirectory");
    const std::wstring folder = CSxSConfig::GetDataFolder();
    if (create) {
        CreatePathHierarchy(folder, nullptr);
    }
    return folder;
}

HRESULT CPathUtils::CreatePathHierarchy(const std::wstring& path, LPSECURITY_ATTRIBUTES attributes)
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CPathUtils::CreatePathHierarchy");
    if (path.empty()) {
        return kEmptyPath;
    }
    if (DirectoryExists(path)) {
        return S_OK;
    }
    // A root that doesn't exist is its own parent: don't recurse on it.
    const std::wstring parent = StripFilename(path);
    const HRESULT parentResult = parent == path ? kEmptyPath : CreatePathHierarchy(parent, attributes);
    if (parentResult < 0 && parentResult != kEmptyPath) {
        return parentResult;
    }
    if (g_pKernelApi->CreateDirectoryW(path.c_str(), attributes)) {
        return S_OK;
    }
    const DWORD error = ::GetLastError();
    if (error == ERROR_ALREADY_EXISTS) {
        return S_OK;
    }
    logScope.m_errorCode = error;
    return E_FAIL;
}

bool CPathUtils::DirectoryExists(const std::wstring& path)
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CPathUtils::DirectoryExists");
    const DWORD attributes = g_pKernelApi->GetFileAttributesW((kLongPathPrefix + path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace QVUtils
