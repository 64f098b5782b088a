#include "utils/CIniFile.h"

#include <windows.h>

#include <cwchar>
#include <vector>

#include "logging/LogTrace.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace QVUtils {

namespace {

// The profile functions give back at most the buffer's size less one
// character when the value doesn't fit: grow by this much and read again.
constexpr DWORD kBufferStep = 512;

}  // namespace

bool CIniFile::SetFileName(const std::wstring& name)
{
    if (name.empty()) {
        return false;
    }
    m_strFileName = name;
    return true;
}

std::wstring CIniFile::GetFileName() const
{
    return m_strFileName;
}

bool CIniFile::GetString(const char* section, const char* key, std::string& out) const
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CIniFile::GetString");
    const std::string fileName = NarrowFileName();
    std::vector<char> buffer(kBufferStep);
    DWORD count = ::GetPrivateProfileStringA(section, key, "", buffer.data(),
                                             static_cast<DWORD>(buffer.size()), fileName.c_str());
    while (count >= buffer.size() - 1) {
        buffer.resize(buffer.size() + kBufferStep);
        count = ::GetPrivateProfileStringA(section, key, "", buffer.data(),
                                           static_cast<DWORD>(buffer.size()), fileName.c_str());
    }
    out.assign(buffer.data(), count);
    return count > 0;
}

bool CIniFile::GetString(const wchar_t* section, const wchar_t* key, std::wstring& out) const
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CIniFile::GetString");
    std::vector<wchar_t> buffer(kBufferStep);
    DWORD count = ::GetPrivateProfileStringW(section, key, L"", buffer.data(),
                                             static_cast<DWORD>(buffer.size()), m_strFileName.c_str());
    while (count >= buffer.size() - 1) {
        buffer.resize(buffer.size() + kBufferStep);
        count = ::GetPrivateProfileStringW(section, key, L"", buffer.data(),
                                           static_cast<DWORD>(buffer.size()), m_strFileName.c_str());
    }
    out.assign(buffer.data(), count);
    return count > 0;
}

bool CIniFile::SetString(const char* section, const char* key, const char* value)
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CIniFile::SetString");
    if (!::WritePrivateProfileStringA(section, key, value, NarrowFileName().c_str())) {
        logScope.m_errorCode = ::GetLastError();
        return false;
    }
    return true;
}

bool CIniFile::SetString(const wchar_t* section, const wchar_t* key, const wchar_t* value)
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CIniFile::SetString");
    if (!::WritePrivateProfileStringW(section, key, value, m_strFileName.c_str())) {
        logScope.m_errorCode = ::GetLastError();
        return false;
    }
    return true;
}

bool CIniFile::GetString(const wchar_t* section, const wchar_t* key, ci_wstring& out) const
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CIniFile::GetString");
    std::wstring value;
    const bool found = GetString(section, key, value);
    out.assign(value.c_str(), value.size());
    return found;
}

bool CIniFile::SetString(const wchar_t* section, const wchar_t* key, const ci_wstring& value)
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CIniFile::SetString");
    return SetString(section, key, value.c_str());
}

bool CIniFile::GetInt(const wchar_t* section, const wchar_t* key, int& out) const
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CIniFile::GetInt");
    std::wstring text;
    GetString(section, key, text);
    out = _wtoi(text.c_str());
    return out != 0 || text == L"0";
}

bool CIniFile::SetInt(const wchar_t* section, const wchar_t* key, int value)
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CIniFile::SetInt");
    wchar_t text[16];
    if (std::swprintf(text, sizeof text / sizeof text[0], L"%d", value) <= 0) {
        return false;
    }
    return SetString(section, key, text);
}

bool CIniFile::GetBool(const wchar_t* section, const wchar_t* key, bool& out) const
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CIniFile::GetBool");
    std::wstring text;
    const bool found = GetString(section, key, text);
    out = _wcsicmp(text.c_str(), L"true") == 0;
    return found;
}

bool CIniFile::SetBool(const wchar_t* section, const wchar_t* key, bool value)
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CIniFile::SetBool");
    return SetString(section, key, value ? L"true" : L"false");
}

bool CIniFile::DeleteKey(const wchar_t* section, const wchar_t* key)
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CIniFile::DeleteKey");
    if (!::WritePrivateProfileStringW(section, key, nullptr, m_strFileName.c_str())) {
        logScope.m_errorCode = ::GetLastError();
        return false;
    }
    return true;
}

void CIniFile::ForgetCached(const std::wstring& name)
{
    // Three nulls ask the platform to flush and drop its copy; the call gives false.
    ::WritePrivateProfileStringW(nullptr, nullptr, nullptr, name.c_str());
}

std::string CIniFile::NarrowFileName() const
{
    const int size = g_pKernelApi->WideCharToMultiByte(CP_ACP, 0, m_strFileName.c_str(), -1,
                                                       nullptr, 0, nullptr, nullptr);
    if (size <= 1) {
        return std::string();
    }
    std::string name(static_cast<size_t>(size), '\0');
    g_pKernelApi->WideCharToMultiByte(CP_ACP, 0, m_strFileName.c_str(), -1, &name[0], size,
                                      nullptr, nullptr);
    name.resize(static_cast<size_t>(size - 1));
    return name;
}

}  // namespace QVUtils
