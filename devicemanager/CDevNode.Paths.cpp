// The node's driver key, its interface paths and the drive of a volume.
#include "devicemanager/CDevNode.h"

#include <setupapi.h>

#include <cwchar>
#include <vector>

#include "devicemanager/CRegUtil.h"
#include "logging/LogTrace.h"
#include "winapi/IRegistryApi.h"
#include "winapi/ISetupApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

namespace {

constexpr DWORD kDeviceInterface = 0x10;  // DIGCF_DEVICEINTERFACE
constexpr DWORD kDetailHeaderSize = 8;    // cbSize of SP_DEVICE_INTERFACE_DETAIL_DATA_W
constexpr wchar_t kClassRoot[] = L"System\\CurrentControlSet\\Control\\Class\\";
constexpr GUID kVolumeInterface = {0x53F5630D, 0xB6BF, 0x11D0, {0x94, 0xF2, 0x00, 0xA0, 0xC9, 0x1E, 0xFB, 0x8B}};
constexpr GUID kDiskInterface = {0x53F56307, 0xB6BF, 0x11D0, {0x94, 0xF2, 0x00, 0xA0, 0xC9, 0x1E, 0xFB, 0x8B}};
constexpr wchar_t kDevicePathPrefix[] = L"\\\\?\\";

bool ContainsIgnoringCase(const std::vector<std::wstring>& list, const std::wstring& text)
{
    for (const std::wstring& entry : list) {
        if (_wcsicmp(entry.c_str(), text.c_str()) == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

// The class key named by the node's driver property, when its
// "MatchingDeviceId" is one of the node's hardware or compatible ids: a key
// that another device left behind doesn't count.
bool CDevNode::GetDriverKey(std::wstring& out) const
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDevNode::GetDriverKey");
    std::wstring driver;
    if (!GetProperty(CM_DRP_DRIVER, driver)) {
        return false;
    }
    const std::wstring key = kClassRoot + driver;
    std::wstring matching;
    if (CRegUtil::GetValue(HKEY_LOCAL_MACHINE, key.c_str(), L"MatchingDeviceId", matching) != 0) {
        return false;
    }
    std::vector<std::wstring> ids;
    if ((GetPropertyList(CM_DRP_HARDWAREID, ids) && ContainsIgnoringCase(ids, matching))
        || (GetPropertyList(CM_DRP_COMPATIBLEIDS, ids) && ContainsIgnoringCase(ids, matching))) {
        out = key;
        return true;
    }
    QV_LOG_INFO(0, L"MatchingDeviceId %s of %s is not one of the node's ids", matching.c_str(), key.c_str());
    return false;
}

bool CDevNode::GetDriverValue(const wchar_t* name, std::wstring& out) const
{
    std::wstring key;
    return GetDriverKey(key) && CRegUtil::GetValue(HKEY_LOCAL_MACHINE, key.c_str(), name, out) == 0;
}

bool CDevNode::GetDevicePath(const GUID& interfaceClass, std::wstring& out) const
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDevNode::GetDevicePath");
    std::wstring id;
    if (!GetDeviceID(id)) {
        return false;
    }
    const HDEVINFO set = g_pSetupApi->SetupDiGetClassDevsW(&interfaceClass, id.c_str(), nullptr, kDeviceInterface);
    if (set == INVALID_HANDLE_VALUE) {
        return false;
    }
    bool found = false;
    SP_DEVICE_INTERFACE_DATA data = {};
    data.cbSize = sizeof data;
    DWORD size = 0;
    if (g_pSetupApi->SetupDiEnumDeviceInterfaces(set, nullptr, &interfaceClass, 0, &data)
        && !g_pSetupApi->SetupDiGetDeviceInterfaceDetailW(set, &data, nullptr, 0, &size, nullptr)
        && ::GetLastError() == ERROR_INSUFFICIENT_BUFFER && size > kDetailHeaderSize) {
        std::vector<BYTE> buffer(size + sizeof(wchar_t), 0);
        auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(buffer.data());
        detail->cbSize = kDetailHeaderSize;
        if (g_pSetupApi->SetupDiGetDeviceInterfaceDetailW(set, &data, detail, size, nullptr, nullptr)) {
            out = detail->DevicePath;
            found = true;
        }
    }
    if (!g_pSetupApi->SetupDiDestroyDeviceInfoList(set)) {
        QV_LOG_ERROR(L"DestroyDeviceInfoList failed with err = %d", static_cast<int>(::GetLastError()));
    }
    return found;
}

bool CDevNode::GetDrivePath(std::wstring& out) const
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDevNode::GetDrivePath");
    std::wstring path;
    CDevNode child;
    if (!GetDevicePath(kVolumeInterface, path)
        && !(GetChild(child, nullptr) && child.GetDevicePath(kDiskInterface, path))) {
        return false;
    }
    if (path.compare(0, 4, kDevicePathPrefix) != 0) {
        return false;
    }
    path.erase(0, 4);
    HKEY mounted = nullptr;
    if (g_pRegistryApi->RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SYSTEM\\MountedDevices", 0, KEY_READ, &mounted)
        != ERROR_SUCCESS) {
        return false;
    }
    bool found = false;
    for (wchar_t letter = L'A'; letter <= L'Z' && !found; ++letter) {
        const std::wstring name = std::wstring(L"\\DosDevices\\") + letter + L":";
        DWORD size = 0;
        if (g_pRegistryApi->RegQueryValueExW(mounted, name.c_str(), nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS
            || size == 0) {
            continue;
        }
        std::vector<BYTE> value(size + sizeof(wchar_t), 0);
        if (g_pRegistryApi->RegQueryValueExW(mounted, name.c_str(), nullptr, nullptr, value.data(), &size)
            != ERROR_SUCCESS) {
            continue;
        }
        const std::wstring text(reinterpret_cast<const wchar_t*>(value.data()), size / sizeof(wchar_t));
        if (text.find(path) != std::wstring::npos) {
            out = name.substr(name.size() - 2);
            found = true;
        }
    }
    g_pRegistryApi->RegCloseKey(mounted);
    return found;
}

}  // namespace QVDeviceManager
