#include "orvane/LoggingKey.h"

#include "common/Text.h"

namespace tools {

namespace {

const wchar_t kRoot[] = L"Software\\ZQ\\QV\\Logging";
const wchar_t* const kValueNames[] = {L"LogCategories", L"LogOptions", L"LogInfoDetailLevel", L"LogFileName"};

std::optional<DWORD> ReadDword(HKEY key, const wchar_t* name)
{
    DWORD type = 0;
    DWORD value = 0;
    DWORD size = sizeof(value);
    if (RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size) != ERROR_SUCCESS
        || type != REG_DWORD || size != sizeof(value)) {
        return std::nullopt;
    }
    return value;
}

std::optional<std::wstring> ReadString(HKEY key, const wchar_t* name)
{
    DWORD type = 0;
    DWORD size = 0;
    if (RegQueryValueExW(key, name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS || type != REG_SZ) {
        return std::nullopt;
    }
    std::wstring value(size / sizeof(wchar_t) + 1, L'\0');
    if (RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&value[0]), &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    value.resize(wcsnlen(value.c_str(), value.size()));
    return value;
}

LONG WriteDword(HKEY key, const wchar_t* name, const std::optional<DWORD>& value)
{
    if (!value) {
        return ERROR_SUCCESS;
    }
    const DWORD data = *value;
    return RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&data), sizeof(data));
}

bool IsEmptyKey(const std::wstring& path)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS) {
        return false;
    }
    DWORD subkeys = 1;
    DWORD values = 1;
    RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values, nullptr, nullptr,
                     nullptr, nullptr);
    RegCloseKey(key);
    return subkeys == 0 && values == 0;
}

}  // namespace

LoggingKey::LoggingKey(std::wstring subkey) : m_subkey(std::move(subkey)) {}

std::wstring LoggingKey::Path() const
{
    return m_subkey.empty() ? kRoot : std::wstring(kRoot) + L"\\" + m_subkey;
}

std::string LoggingKey::DisplayPath() const
{
    return "HKEY_CURRENT_USER\\" + Text::Narrow(Path());
}

LogSettings LoggingKey::Read() const
{
    LogSettings settings;
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, Path().c_str(), 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS) {
        return settings;
    }
    settings.categories = ReadDword(key, kValueNames[0]);
    settings.options = ReadDword(key, kValueNames[1]);
    settings.detailLevel = ReadDword(key, kValueNames[2]);
    settings.fileName = ReadString(key, kValueNames[3]);
    RegCloseKey(key);
    return settings;
}

LONG LoggingKey::Write(const LogSettings& settings) const
{
    HKEY key = nullptr;
    LONG status = RegCreateKeyExW(HKEY_CURRENT_USER, Path().c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                                  &key, nullptr);
    if (status != ERROR_SUCCESS) {
        return status;
    }
    for (const LONG result : {WriteDword(key, kValueNames[0], settings.categories),
                              WriteDword(key, kValueNames[1], settings.options),
                              WriteDword(key, kValueNames[2], settings.detailLevel)}) {
        status = status != ERROR_SUCCESS ? status : result;
    }
    if (status == ERROR_SUCCESS && settings.fileName) {
        const std::wstring& name = *settings.fileName;
        status = RegSetValueExW(key, kValueNames[3], 0, REG_SZ, reinterpret_cast<const BYTE*>(name.c_str()),
                                static_cast<DWORD>((name.size() + 1) * sizeof(wchar_t)));
    }
    RegCloseKey(key);
    return status;
}

LONG LoggingKey::Remove() const
{
    HKEY key = nullptr;
    LONG status = RegOpenKeyExW(HKEY_CURRENT_USER, Path().c_str(), 0, KEY_SET_VALUE, &key);
    if (status == ERROR_FILE_NOT_FOUND) {
        return ERROR_SUCCESS;
    }
    if (status != ERROR_SUCCESS) {
        return status;
    }
    for (const wchar_t* name : kValueNames) {
        const LONG result = RegDeleteValueW(key, name);
        if (result != ERROR_SUCCESS && result != ERROR_FILE_NOT_FOUND) {
            status = result;
        }
    }
    RegCloseKey(key);
    for (std::wstring path = Path(); status == ERROR_SUCCESS && path.size() >= wcslen(kRoot) && IsEmptyKey(path);
         path.resize(path.rfind(L'\\'))) {
        status = RegDeleteKeyW(HKEY_CURRENT_USER, path.c_str());
    }
    return status;
}

}  // namespace tools
