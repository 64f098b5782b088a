#include "peers/RegisteredDeviceTree.h"

#include <setupapi.h>

#include <cwchar>

namespace peers {

namespace {

const wchar_t kEnum[] = L"System\\CurrentControlSet\\Enum\\";
const wchar_t kClass[] = L"System\\CurrentControlSet\\Control\\Class\\";

bool ToGuid(const std::wstring& text, GUID& guid)
{
    unsigned int d1 = 0, d2 = 0, d3 = 0, b[8] = {};
    if (swscanf(text.c_str(), L"{%8x-%4x-%4x-%2x%2x-%2x%2x%2x%2x%2x%2x}", &d1, &d2, &d3, &b[0], &b[1], &b[2], &b[3],
                &b[4], &b[5], &b[6], &b[7])
        != 11) {
        return false;
    }
    guid.Data1 = d1;
    guid.Data2 = static_cast<unsigned short>(d2);
    guid.Data3 = static_cast<unsigned short>(d3);
    for (int i = 0; i < 8; ++i) {
        guid.Data4[i] = static_cast<unsigned char>(b[i]);
    }
    return true;
}

bool SetText(HKEY key, const wchar_t* name, const std::wstring& text, DWORD type = REG_SZ)
{
    return RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)))
        == ERROR_SUCCESS;
}

bool SetList(HKEY key, const wchar_t* name, const std::vector<std::wstring>& list)
{
    std::wstring text;
    for (const std::wstring& entry : list) {
        text += entry + L'\0';
    }
    return RegSetValueExW(key, name, 0, REG_MULTI_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)))
        == ERROR_SUCCESS;
}

bool SetDword(HKEY key, const wchar_t* name, DWORD value)
{
    return RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof value)
        == ERROR_SUCCESS;
}

}  // namespace

RegisteredDeviceTree::RegisteredDeviceTree(const DeviceTree& tree) : m_nodes(tree.Nodes())
{
    for (const DescribedNode& node : m_nodes) {
        Remove(node.instanceId);
        if (!Register(node) || !WriteValues(node)) {
            m_error = L"registering " + node.instanceId + L" failed with " + std::to_wstring(::GetLastError());
            return;
        }
    }
}

RegisteredDeviceTree::~RegisteredDeviceTree()
{
    // One set for all nodes: a set per node costs a large tree seconds.
    const HDEVINFO set = SetupDiCreateDeviceInfoList(nullptr, nullptr);
    for (auto node = m_nodes.rbegin(); node != m_nodes.rend(); ++node) {
        SP_DEVINFO_DATA data = {};
        data.cbSize = sizeof data;
        if (SetupDiOpenDeviceInfoW(set, node->instanceId.c_str(), nullptr, 0, &data)) {
            SetupDiRemoveDevice(set, &data);
        }
        if (!node->driverKey.empty()) {
            RegDeleteTreeW(HKEY_LOCAL_MACHINE, (kClass + node->driverKey).c_str());
        }
    }
    SetupDiDestroyDeviceInfoList(set);
}

bool RegisteredDeviceTree::KeyExists(const std::wstring& path)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
        return false;
    }
    RegCloseKey(key);
    return true;
}

bool RegisteredDeviceTree::IsRegistered(const std::wstring& instanceId)
{
    return KeyExists(kEnum + instanceId);
}

void RegisteredDeviceTree::Remove(const std::wstring& instanceId)
{
    const HDEVINFO set = SetupDiCreateDeviceInfoList(nullptr, nullptr);
    SP_DEVINFO_DATA data = {};
    data.cbSize = sizeof data;
    if (SetupDiOpenDeviceInfoW(set, instanceId.c_str(), nullptr, 0, &data)) {
        SetupDiRemoveDevice(set, &data);
    }
    SetupDiDestroyDeviceInfoList(set);
}

bool RegisteredDeviceTree::Register(const DescribedNode& node)
{
    GUID classGuid = {};
    if (!ToGuid(node.classGuid, classGuid)) {
        return false;
    }
    const HDEVINFO set = SetupDiCreateDeviceInfoList(&classGuid, nullptr);
    SP_DEVINFO_DATA data = {};
    data.cbSize = sizeof data;
    bool done = SetupDiCreateDeviceInfoW(set, node.instanceId.c_str(), &classGuid, nullptr, nullptr, 0, &data)
        && SetupDiRegisterDeviceInfo(set, &data, 0, nullptr, nullptr, nullptr);
    for (const GUID& interfaceClass : node.interfaces) {
        SP_DEVICE_INTERFACE_DATA interfaceData = {};
        interfaceData.cbSize = sizeof interfaceData;
        done = done && SetupDiCreateDeviceInterfaceW(set, &data, &interfaceClass, nullptr, 0, &interfaceData);
    }
    SetupDiDestroyDeviceInfoList(set);
    return done;
}

bool RegisteredDeviceTree::WriteValues(const DescribedNode& node)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, (kEnum + node.instanceId).c_str(), 0, KEY_ALL_ACCESS, &key)
        != ERROR_SUCCESS) {
        return false;
    }
    bool done = SetList(key, L"HardwareID", node.hardwareIds);
    if (!node.compatibleIds.empty()) {
        done = done && SetList(key, L"CompatibleIDs", node.compatibleIds);
    }
    if (!node.service.empty()) {
        done = done && SetText(key, L"Service", node.service);
    }
    done = done
        && (node.configFlagsAsText ? SetText(key, L"ConfigFlags", std::to_wstring(node.configFlags))
                                   : SetDword(key, L"ConfigFlags", node.configFlags));
    if (!node.friendlyName.empty()) {
        done = done && SetText(key, L"FriendlyName", node.friendlyName);
    }
    if (!node.parentIdPrefix.empty()) {
        done = done && SetText(key, L"ParentIdPrefix", node.parentIdPrefix);
    }
    if (!node.containerId.empty()) {
        done = done && SetText(key, L"ContainerID", node.containerId);
    }
    if (!node.driverKey.empty()) {
        done = done && SetText(key, L"Driver", node.driverKey);
    }
    if (!node.parameters.empty() || !node.portName.empty()) {
        HKEY parameters = nullptr;
        done = done
            && RegCreateKeyExW(key, L"Device Parameters", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &parameters, nullptr)
                == ERROR_SUCCESS;
        if (parameters != nullptr) {
            for (const auto& [name, value] : node.parameters) {
                done = done && SetDword(parameters, name.c_str(), value);
            }
            if (!node.portName.empty()) {
                done = done && SetText(parameters, L"PortName", node.portName);
            }
            RegCloseKey(parameters);
        }
    }
    RegCloseKey(key);
    if (!node.driverKey.empty() && node.driverKeyWritten) {
        HKEY driver = nullptr;
        done = done
            && RegCreateKeyExW(HKEY_LOCAL_MACHINE, (kClass + node.driverKey).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                               nullptr, &driver, nullptr)
                == ERROR_SUCCESS;
        if (driver != nullptr) {
            done = done && SetText(driver, L"MatchingDeviceId", node.matchingDeviceId);
            if (!node.driverDesc.empty()) {
                done = done && SetText(driver, L"DriverDesc", node.driverDesc);
            }
            if (!node.driverFriendlyName.empty()) {
                done = done && SetText(driver, L"FriendlyName", node.driverFriendlyName);
            }
            RegCloseKey(driver);
        }
    }
    return done;
}

}  // namespace peers
