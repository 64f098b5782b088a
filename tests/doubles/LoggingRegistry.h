#pragma once

#include <windows.h>

#include <string>

namespace doubles {

// The logging key HKCU\Software\ZQ\QV\Logging as a test sets it: deleted
// whole when the object is made and again when it goes.
class LoggingRegistry {
public:
    LoggingRegistry() { Clear(); }
    ~LoggingRegistry() { Clear(); }
    LoggingRegistry(const LoggingRegistry&) = delete;
    LoggingRegistry& operator=(const LoggingRegistry&) = delete;

    // `subKey` is below the logging key; empty for the key itself.
    void SetDword(const std::wstring& subKey, const wchar_t* name, DWORD value) const
    {
        Set(subKey, name, REG_DWORD, &value, sizeof(value));
    }
    void SetString(const std::wstring& subKey, const wchar_t* name,
                   const std::wstring& value) const
    {
        Set(subKey, name, REG_SZ, value.c_str(),
            static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    }
    void CreateKey(const std::wstring& subKey) const
    {
        HKEY key = nullptr;
        ::RegCreateKeyExW(HKEY_CURRENT_USER, Path(subKey).c_str(), 0, nullptr, 0, KEY_WRITE,
                          nullptr, &key, nullptr);
        ::RegCloseKey(key);
    }
    bool KeyExists(const std::wstring& subKey) const
    {
        HKEY key = nullptr;
        if (::RegOpenKeyExW(HKEY_CURRENT_USER, Path(subKey).c_str(), 0, KEY_READ, &key)
            != ERROR_SUCCESS) {
            return false;
        }
        ::RegCloseKey(key);
        return true;
    }

private:
    static std::wstring Path(const std::wstring& subKey)
    {
        const std::wstring root = L"Software\\ZQ\\QV\\Logging";
        return subKey.empty() ? root : root + L"\\" + subKey;
    }
    static void Clear() { ::RegDeleteTreeW(HKEY_CURRENT_USER, Path(L"").c_str()); }
    void Set(const std::wstring& subKey, const wchar_t* name, DWORD type, const void* data,
             DWORD size) const
    {
        HKEY key = nullptr;
        ::RegCreateKeyExW(HKEY_CURRENT_USER, Path(subKey).c_str(), 0, nullptr, 0, KEY_WRITE,
                          nullptr, &key, nullptr);
        ::RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), size);
        ::RegCloseKey(key);
    }
};

}  // namespace doubles
