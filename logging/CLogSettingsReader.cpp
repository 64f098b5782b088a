#include "logging/CLogSettingsReader.h"

#include <cwctype>
#include <memory>
#include <vector>

#include "logging/CLogFileInfo.h"
#include "logging/CLogSettings.h"
#include "logging/CSharedRegValues.h"
#include "logging/LogFlags.h"
#include "winapi/IRegistryApi.h"

namespace QVLogging {

namespace {

constexpr unsigned long kDefaultPollSeconds = 30;

std::wstring ExpandedLowerCase(const std::wstring& name)
{
    wchar_t expanded[MAX_PATH] = {};
    const DWORD length = ::ExpandEnvironmentStringsW(name.c_str(), expanded, MAX_PATH);
    std::wstring result = length > 0 && length <= MAX_PATH ? std::wstring(expanded) : name;
    for (wchar_t& c : result) {
        c = static_cast<wchar_t>(std::towlower(c));
    }
    return result;
}

}  // namespace

unsigned long CLogSettingsReader::ReadPollMs(HKEY key)
{
    unsigned long seconds = 0;
    if (!ReadDword(key, L"LogParmsPollTime", seconds) || seconds == 0) {
        seconds = kDefaultPollSeconds;
    }
    return seconds * 1000;
}

void CLogSettingsReader::ReadLevel(HKEY key, CLogSettings& settings, CLogFileInfo* fallback)
{
    unsigned long value = 0;
    if (ReadDword(key, L"LogInfoDetailLevel", value)) {
        settings.m_detailLevel = value;
    }
    if (ReadDword(key, L"LogCategories", value)) {
        settings.m_categories = value;
    }
    settings.m_categories |= kCategoryDetailMask;
    if (ReadDword(key, L"LogOptions", value)) {
        settings.m_options = value;
    }
    std::wstring fileName;
    if (!ReadString(key, L"LogFileName", fileName) && settings.m_logFile != nullptr) {
        fileName = settings.m_logFile->m_fileName;
    }
    settings.m_logFile = fileName.empty()
        ? fallback : m_values.FindOrAddLogFile(ExpandedLowerCase(fileName));
}

void CLogSettingsReader::ScanSourceFiles(HKEY moduleKey, const std::wstring& processKeyPath,
                                         const CLogSettings& moduleSettings)
{
    for (DWORD index = 0;; ++index) {
        wchar_t name[256] = {};
        DWORD length = 256;
        FILETIME written = {};
        if (g_pRegistryApi->RegEnumKeyExW(moduleKey, index, name, &length, nullptr, nullptr,
                                          nullptr, &written) != ERROR_SUCCESS) {
            return;
        }
        std::wstring key(name, length);
        for (wchar_t& c : key) {
            c = static_cast<wchar_t>(std::towlower(c));
        }
        const unsigned long long writeTime
            = (static_cast<unsigned long long>(written.dwHighDateTime) << 32)
              | written.dwLowDateTime;
        CLogSettings* known = m_values.FindSourceFileSettings(key.c_str());
        if (known != nullptr && writeTime <= known->m_keyWriteTime) {
            continue;
        }
        HKEY sourceKey = nullptr;
        if (g_pRegistryApi->RegOpenKeyExW(HKEY_CURRENT_USER, (processKeyPath + L"\\" + key).c_str(),
                                          0, KEY_READ, &sourceKey) != ERROR_SUCCESS) {
            continue;
        }
        std::unique_ptr<CLogSettings> made;
        if (known == nullptr) {
            made = std::make_unique<CLogSettings>(moduleSettings);
            known = made.get();
        }
        ReadLevel(sourceKey, *known, moduleSettings.m_logFile);
        known->m_keyWriteTime = writeTime;
        m_values.SetSourceFileSettings(key, known);
        made.release();
        g_pRegistryApi->RegCloseKey(sourceKey);
    }
}

bool CLogSettingsReader::ReadDword(HKEY key, const wchar_t* name, unsigned long& value)
{
    DWORD type = 0;
    DWORD data = 0;
    DWORD size = sizeof(data);
    if (g_pRegistryApi->RegQueryValueExW(key, name, nullptr, &type,
                                         reinterpret_cast<BYTE*>(&data), &size) != ERROR_SUCCESS
        || type != REG_DWORD || size != sizeof(data)) {
        return false;
    }
    value = data;
    return true;
}

bool CLogSettingsReader::ReadString(HKEY key, const wchar_t* name, std::wstring& value)
{
    DWORD type = 0;
    DWORD size = 0;
    if (g_pRegistryApi->RegQueryValueExW(key, name, nullptr, &type, nullptr, &size)
            != ERROR_SUCCESS
        || type != REG_SZ) {
        return false;
    }
    std::vector<wchar_t> text(size / sizeof(wchar_t) + 1, L'\0');
    if (g_pRegistryApi->RegQueryValueExW(key, name, nullptr, &type,
                                         reinterpret_cast<BYTE*>(text.data()), &size)
            != ERROR_SUCCESS
        || type != REG_SZ) {
        return false;
    }
    value = text.data();
    return true;
}

}  // namespace QVLogging
