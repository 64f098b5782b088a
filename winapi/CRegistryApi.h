#pragma once

#include "winapi/IRegistryApi.h"

namespace QVWinApi {

// Forwards each operation unchanged to the platform function of its name.
class CRegistryApi : public IRegistryApi {
public:
    constexpr CRegistryApi() = default;

    LSTATUS RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD ulOptions, REGSAM samDesired,
            PHKEY phkResult) override;
    LSTATUS RegCloseKey(HKEY hKey) override;
    LSTATUS RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD Reserved, LPWSTR lpClass,
            DWORD dwOptions, REGSAM samDesired, const LPSECURITY_ATTRIBUTES lpSecurityAttributes,
            PHKEY phkResult, LPDWORD lpdwDisposition) override;
    LSTATUS RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey) override;
    LSTATUS RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType,
            LPBYTE lpData, LPDWORD lpcbData) override;
    LSTATUS RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD Reserved, DWORD dwType,
            const BYTE* lpData, DWORD cbData) override;
    LSTATUS RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName) override;
    LSTATUS RegEnumKeyExW(HKEY hKey, DWORD dwIndex, LPWSTR lpName, LPDWORD lpcchName,
            LPDWORD lpReserved, LPWSTR lpClass, LPDWORD lpcchClass,
            PFILETIME lpftLastWriteTime) override;
    LSTATUS RegEnumValueW(HKEY hKey, DWORD dwIndex, LPWSTR lpValueName, LPDWORD lpcchValueName,
            LPDWORD lpReserved, LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData) override;
    LSTATUS RegQueryInfoKeyW(HKEY hKey, LPWSTR lpClass, LPDWORD lpcchClass, LPDWORD lpReserved,
            LPDWORD lpcSubKeys, LPDWORD lpcbMaxSubKeyLen, LPDWORD lpcbMaxClassLen,
            LPDWORD lpcValues, LPDWORD lpcbMaxValueNameLen, LPDWORD lpcbMaxValueLen,
            LPDWORD lpcbSecurityDescriptor, PFILETIME lpftLastWriteTime) override;
};

}  // namespace QVWinApi
