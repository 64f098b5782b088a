#pragma once

#include <windows.h>

namespace QVWinApi {

// Registry keys and values.
// Operations in slot order, the destructor last.
class IRegistryApi {
public:
    virtual LSTATUS RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD ulOptions, REGSAM samDesired,
            PHKEY phkResult) = 0;
    virtual LSTATUS RegCloseKey(HKEY hKey) = 0;
    virtual LSTATUS RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD Reserved, LPWSTR lpClass,
            DWORD dwOptions, REGSAM samDesired, const LPSECURITY_ATTRIBUTES lpSecurityAttributes,
            PHKEY phkResult, LPDWORD lpdwDisposition) = 0;
    virtual LSTATUS RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey) = 0;
    virtual LSTATUS RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved,
            LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData) = 0;
    virtual LSTATUS RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD Reserved, DWORD dwType,
            const BYTE* lpData, DWORD cbData) = 0;
    virtual LSTATUS RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName) = 0;
    virtual LSTATUS RegEnumKeyExW(HKEY hKey, DWORD dwIndex, LPWSTR lpName, LPDWORD lpcchName,
            LPDWORD lpReserved, LPWSTR lpClass, LPDWORD lpcchClass,
            PFILETIME lpftLastWriteTime) = 0;
    virtual LSTATUS RegEnumValueW(HKEY hKey, DWORD dwIndex, LPWSTR lpValueName,
            LPDWORD lpcchValueName, LPDWORD lpReserved, LPDWORD lpType, LPBYTE lpData,
            LPDWORD lpcbData) = 0;
    virtual LSTATUS RegQueryInfoKeyW(HKEY hKey, LPWSTR lpClass, LPDWORD lpcchClass,
            LPDWORD lpReserved, LPDWORD lpcSubKeys, LPDWORD lpcbMaxSubKeyLen,
            LPDWORD lpcbMaxClassLen, LPDWORD lpcValues, LPDWORD lpcbMaxValueNameLen,
            LPDWORD lpcbMaxValueLen, LPDWORD lpcbSecurityDescriptor,
            PFILETIME lpftLastWriteTime) = 0;
    virtual ~IRegistryApi() = default;
};

}  // namespace QVWinApi

// The object through which the logic reaches these services.
extern QVWinApi::IRegistryApi* g_pRegistryApi;
