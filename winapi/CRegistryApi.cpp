#include "winapi/CRegistryApi.h"

namespace QVWinApi {

LSTATUS CRegistryApi::RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD ulOptions, REGSAM samDesired,
        PHKEY phkResult)
{
    return ::RegOpenKeyExW(hKey, lpSubKey, ulOptions, samDesired, phkResult);
}

LSTATUS CRegistryApi::RegCloseKey(HKEY hKey)
{
    return ::RegCloseKey(hKey);
}

LSTATUS CRegistryApi::RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD Reserved, LPWSTR lpClass,
        DWORD dwOptions, REGSAM samDesired, const LPSECURITY_ATTRIBUTES lpSecurityAttributes,
        PHKEY phkResult, LPDWORD lpdwDisposition)
{
    return ::RegCreateKeyExW(hKey, lpSubKey, Reserved, lpClass, dwOptions, samDesired, lpSecurityAttributes, phkResult, lpdwDisposition);
}

LSTATUS CRegistryApi::RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey)
{
    return ::RegDeleteKeyW(hKey, lpSubKey);
}

LSTATUS CRegistryApi::RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved,
        LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData)
{
    return ::RegQueryValueExW(hKey, lpValueName, lpReserved, lpType, lpData, lpcbData);
}

LSTATUS CRegistryApi::RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD Reserved, DWORD dwType,
        const BYTE* lpData, DWORD cbData)
{
    return ::RegSetValueExW(hKey, lpValueName, Reserved, dwType, lpData, cbData);
}

LSTATUS CRegistryApi::RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName)
{
    return ::RegDeleteValueW(hKey, lpValueName);
}

LSTATUS CRegistryApi::RegEnumKeyExW(HKEY hKey, DWORD dwIndex, LPWSTR lpName, LPDWORD lpcchName,
        LPDWORD lpReserved, LPWSTR lpClass, LPDWORD lpcchClass, PFILETIME lpftLastWriteTime)
{
    return ::RegEnumKeyExW(hKey, dwIndex, lpName, lpcchName, lpReserved, lpClass, lpcchClass, lpftLastWriteTime);
}

LSTATUS CRegistryApi::RegEnumValueW(HKEY hKey, DWORD dwIndex, LPWSTR lpValueName,
        LPDWORD lpcchValueName, LPDWORD lpReserved, LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData)
{
    return ::RegEnumValueW(hKey, dwIndex, lpValueName, lpcchValueName, lpReserved, lpType, lpData, lpcbData);
}

LSTATUS CRegistryApi::RegQueryInfoKeyW(HKEY hKey, LPWSTR lpClass, LPDWORD lpcchClass,
        LPDWORD lpReserved, LPDWORD lpcSubKeys, LPDWORD lpcbMaxSubKeyLen, LPDWORD lpcbMaxClassLen,
        LPDWORD lpcValues, LPDWORD lpcbMaxValueNameLen, LPDWORD lpcbMaxValueLen,
        LPDWORD lpcbSecurityDescriptor, PFILETIME lpftLastWriteTime)
{
    return ::RegQueryInfoKeyW(hKey, lpClass, lpcchClass, lpReserved, lpcSubKeys, lpcbMaxSubKeyLen, lpcbMaxClassLen, lpcValues, lpcbMaxValueNameLen, lpcbMaxValueLen, lpcbSecurityDescriptor, lpftLastWriteTime);
}

}  // namespace QVWinApi

namespace {

QVWinApi::CRegistryApi s_registryApi;

}  // namespace

QVWinApi::IRegistryApi* g_pRegistryApi = &s_registryApi;
