#include "devicemanager/CRegUtil.h"

#include <vector>

#include "devicemanager/DeviceManagerTypes.h"
#include "logging/LogTrace.h"
#include "winapi/IRegistryApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

unsigned long CRegUtil::GetValue(HKEY root, const wchar_t* subkey, const wchar_t* name, std::wstring& out)
{
    return Read(root, subkey, name, REG_SZ, &out, nullptr);
}

unsigned long CRegUtil::GetValue(HKEY root, const wchar_t* subkey, const wchar_t* name, DWORD& out)
{
    return Read(root, subkey, name, REG_DWORD, nullptr, &out);
}

unsigned long CRegUtil::MapResult(LSTATUS result)
{
    switch (result) {
    case ERROR_SUCCESS:
        return 0;
    case ERROR_FILE_NOT_FOUND:
        return DM_E_VALUE_NOT_FOUND;
    case ERROR_ACCESS_DENIED:
        return DM_E_ACCESS_DENIED;
    case ERROR_INVALID_HANDLE:
        return DM_E_INVALID_ARGUMENT;
    default:
        return DM_E_FAILED;
    }
}

unsigned long CRegUtil::Read(HKEY root, const wchar_t* subkey, const wchar_t* name, DWORD wantedType,
                             std::wstring* text, DWORD* number)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CRegUtil::GetValue", L"%s, %s",
                           subkey ? subkey : L"", name ? name : L"");
    HKEY key = root;
    HKEY opened = nullptr;
    LSTATUS result = ERROR_SUCCESS;
    if (subkey != nullptr) {
        result = g_pRegistryApi->RegOpenKeyExW(root, subkey, 0, KEY_READ, &opened);
        if (result != ERROR_SUCCESS) {
            QV_LOG_ERROR(L"RegOpenKeyExW(%s) failed with err = %d", subkey, static_cast<int>(result));
            opened = nullptr;
        }
        key = opened;
    }
    unsigned long status = 0;
    if (result != ERROR_SUCCESS) {
        status = MapResult(result);
    } else if (key == nullptr) {
        status = DM_E_INVALID_ARGUMENT;
    } else {
        DWORD type = 0;
        DWORD size = 0;
        result = g_pRegistryApi->RegQueryValueExW(key, name, nullptr, &type, nullptr, &size);
        status = MapResult(result);
        if (status == 0 && type != wantedType) {
            status = DM_E_WRONG_VALUE_TYPE;
        } else if (status == 0 && text != nullptr) {
            std::vector<wchar_t> buffer(size / sizeof(wchar_t) + 1, L'\0');
            DWORD read = size;
            if (size != 0) {
                status = MapResult(g_pRegistryApi->RegQueryValueExW(
                    key, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()), &read));
            }
            if (status == 0) {
                size_t chars = read / sizeof(wchar_t);
                if (chars > 0 && buffer[chars - 1] == L'\0') {
                    --chars;
                }
                text->assign(buffer.data(), chars);
            }
        } else if (status == 0) {
            DWORD value = 0;
            DWORD read = sizeof value;
            status = MapResult(g_pRegistryApi->RegQueryValueExW(key, name, nullptr, &type,
                                                                reinterpret_cast<BYTE*>(&value), &read));
            if (status == 0 && read != sizeof value) {
                status = DM_E_WRONG_VALUE_TYPE;
            }
            if (status == 0) {
                *number = value;
            }
        }
    }
    if (opened != nullptr) {
        g_pRegistryApi->RegCloseKey(opened);
    }
    logScope.m_errorCode = status;
    return status;
}

}  // namespace QVDeviceManager
