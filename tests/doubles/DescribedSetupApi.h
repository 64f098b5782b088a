#pragma once

#include <windows.h>
#include <setupapi.h>
#include <cfgmgr32.h>

#include <atomic>
#include <cwchar>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "peers/DeviceTree.h"
#include "winapi/CSetupApi.h"

namespace doubles {

// The configuration manager's calls over a described device tree that is
// registered in the prefix (peers::RegisteredDeviceTree). SetupDi calls stay
// Wine's own. A double because Wine cannot give these: its CM_ calls for
// properties and node status and CM_Locate_DevNodeW answer 0x13, and its
// device handles (DevInst) live only as long as the set that made them,
// while the platform's stay valid for the session. So the double hands out
// one handle per instance id, answers properties from the node's real
// "Enum" key (the values Wine's SetupDi reads and writes), and status and problem
// from the description. It also counts the calls, and can fail one.
class DescribedSetupApi : public QVWinApi::CSetupApi {
public:
    explicit DescribedSetupApi(const peers::DeviceTree& tree)
    {
        for (const peers::DescribedNode& node : tree.Nodes()) {
            m_status[Upper(node.instanceId)] = {node.status, node.problem};
        }
    }

    // The handle of an instance id, made on first use.
    DEVINST HandleOf(const std::wstring& instanceId)
    {
        std::lock_guard<std::mutex> lock(m_lock);
        const std::wstring key = Upper(instanceId);
        const auto found = m_handles.find(key);
        if (found != m_handles.end()) {
            return found->second;
        }
        const DEVINST handle = static_cast<DEVINST>(m_ids.size() + 1);
        m_handles[key] = handle;
        m_ids.push_back(instanceId);
        return handle;
    }

    // The class installer asks for a restart after removing this node.
    void NeedsRebootAfterRemoving(const std::wstring& instanceId) { m_reboot.insert(Upper(instanceId)); }
    // CM_Get_Device_IDW reports `reported` for the node `instanceId`: Wine
    // refuses to register ids of 200 characters or more.
    void ReportIdAs(const std::wstring& instanceId, const std::wstring& reported)
    {
        m_reported[Upper(instanceId)] = reported;
    }
    // Reading property `property` of the node `instanceId` fails with CR_FAILURE.
    void FailProperty(const std::wstring& instanceId, ULONG property) { m_failProperty[Upper(instanceId)] = property; }
    // The `n`-th CM_ call from now (1 = the next) fails with CR_FAILURE.
    void FailCmCall(long n) { m_failAt = m_cmCalls + n; }

    std::atomic<long> m_cmCalls{0};
    std::atomic<long> m_setupDiCalls{0};
    std::atomic<long> m_allClassLists{0};
    // Sets made and destroyed through the seam: equal when none leaked.
    std::atomic<long> m_setsMade{0};
    std::atomic<long> m_setsDestroyed{0};
    // Instance ids in the order the class installer removed them.
    std::vector<std::wstring> m_removed;

    CONFIGRET CM_Locate_DevNodeW(PDEVINST handle, DEVINSTID_W id, ULONG) override
    {
        if (Failing()) {
            return CR_FAILURE;
        }
        if (id == nullptr || !Exists(id)) {
            return CR_NO_SUCH_DEVNODE;
        }
        *handle = HandleOf(id);
        return CR_SUCCESS;
    }
    CONFIGRET CM_Get_DevNode_Status(PULONG status, PULONG problem, DEVINST handle, ULONG) override
    {
        std::wstring id;
        if (Failing()) {
            return CR_FAILURE;
        }
        if (!IdOf(handle, id) || !Exists(id)) {
            return CR_NO_SUCH_DEVINST;
        }
        const auto found = m_status.find(Upper(id));
        *status = found == m_status.end() ? 0x180A : found->second.first;
        *problem = found == m_status.end() ? 0 : found->second.second;
        return CR_SUCCESS;
    }
    CONFIGRET CM_Get_Device_IDW(DEVINST handle, PWCHAR buffer, ULONG chars, ULONG) override
    {
        std::wstring id;
        if (Failing()) {
            return CR_FAILURE;
        }
        if (!IdOf(handle, id) || !Exists(id)) {
            return CR_NO_SUCH_DEVINST;
        }
        const auto reported = m_reported.find(Upper(id));
        if (reported != m_reported.end()) {
            id = reported->second;
        }
        if (id.size() + 1 > chars) {
            return CR_BUFFER_SMALL;
        }
        wcscpy(buffer, id.c_str());
        return CR_SUCCESS;
    }
    CONFIGRET CM_Get_DevNode_Registry_PropertyW(DEVINST handle, ULONG property, PULONG type, PVOID buffer,
                                                PULONG length, ULONG) override
    {
        std::wstring id;
        if (Failing()) {
            return CR_FAILURE;
        }
        if (!IdOf(handle, id)) {
            return CR_NO_SUCH_DEVINST;
        }
        const auto failing = m_failProperty.find(Upper(id));
        if (failing != m_failProperty.end() && failing->second == property) {
            return CR_FAILURE;
        }
        const wchar_t* name = ValueName(property);
        HKEY key = nullptr;
        if (name == nullptr) {
            return CR_INVALID_PROPERTY;
        }
        if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, (kEnum + id).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
            return CR_NO_SUCH_DEVINST;
        }
        DWORD valueType = 0;
        DWORD size = buffer ? *length : 0;
        const LSTATUS read = ::RegQueryValueExW(key, name, nullptr, &valueType, static_cast<BYTE*>(buffer), &size);
        ::RegCloseKey(key);
        if (read == ERROR_FILE_NOT_FOUND) {
            return CR_NO_SUCH_VALUE;
        }
        if (type != nullptr) {
            *type = valueType;
        }
        *length = size;
        return read == ERROR_SUCCESS && buffer != nullptr ? CR_SUCCESS : CR_BUFFER_SMALL;
    }
    // Wine's CM_Set_DevNode_Registry_PropertyW is an unimplemented stub that
    // ends the process: the hardware ids go where Wine's SetupDi keeps them.
    CONFIGRET CM_Set_DevNode_Registry_PropertyW(DEVINST handle, ULONG property, PCVOID buffer, ULONG length,
                                                ULONG) override
    {
        std::wstring id;
        if (Failing()) {
            return CR_FAILURE;
        }
        if (!IdOf(handle, id) || property != CM_DRP_HARDWAREID) {
            return CR_NO_SUCH_DEVINST;
        }
        return ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, (kEnum + id).c_str(), L"HardwareID", REG_MULTI_SZ, buffer,
                                 length) == ERROR_SUCCESS
                   ? CR_SUCCESS
                   : CR_REGISTRY_ERROR;
    }
    BOOL SetupDiCreateDeviceInfoW(HDEVINFO set, PCWSTR name, const GUID* classGuid, PCWSTR description, HWND parent,
                                  DWORD flags, PSP_DEVINFO_DATA data) override
    {
        ++m_setupDiCalls;
        return QVWinApi::CSetupApi::SetupDiCreateDeviceInfoW(set, name, classGuid, description, parent, flags, data)
            && Stable(set, data);
    }
    HDEVINFO SetupDiGetClassDevsW(const GUID* classGuid, PCWSTR enumerator, HWND parent, DWORD flags) override
    {
        ++m_setupDiCalls;
        if (classGuid == nullptr && enumerator == nullptr) {
            ++m_allClassLists;
        }
        const HDEVINFO set = QVWinApi::CSetupApi::SetupDiGetClassDevsW(classGuid, enumerator, parent, flags);
        m_setsMade += set != INVALID_HANDLE_VALUE ? 1 : 0;
        return set;
    }
    HDEVINFO SetupDiCreateDeviceInfoList(const GUID* classGuid, HWND parent) override
    {
        ++m_setupDiCalls;
        const HDEVINFO set = QVWinApi::CSetupApi::SetupDiCreateDeviceInfoList(classGuid, parent);
        m_setsMade += set != INVALID_HANDLE_VALUE ? 1 : 0;
        return set;
    }
    BOOL SetupDiDestroyDeviceInfoList(HDEVINFO set) override
    {
        ++m_setupDiCalls;
        const BOOL destroyed = QVWinApi::CSetupApi::SetupDiDestroyDeviceInfoList(set);
        m_setsDestroyed += destroyed ? 1 : 0;
        return destroyed;
    }
    BOOL SetupDiCallClassInstaller(DI_FUNCTION function, HDEVINFO set, PSP_DEVINFO_DATA data) override
    {
        ++m_setupDiCalls;
        std::wstring id;
        if (function == DIF_REMOVE && data != nullptr && IdOf(data->DevInst, id)) {
            m_removed.push_back(id);
        }
        return QVWinApi::CSetupApi::SetupDiCallClassInstaller(function, set, data);
    }
    BOOL SetupDiEnumDeviceInfo(HDEVINFO set, DWORD index, PSP_DEVINFO_DATA data) override
    {
        ++m_setupDiCalls;
        return QVWinApi::CSetupApi::SetupDiEnumDeviceInfo(set, index, data) && Stable(set, data);
    }
    BOOL SetupDiOpenDeviceInfoW(HDEVINFO set, PCWSTR id, HWND parent, DWORD flags, PSP_DEVINFO_DATA data) override
    {
        ++m_setupDiCalls;
        return QVWinApi::CSetupApi::SetupDiOpenDeviceInfoW(set, id, parent, flags, data) && Stable(set, data);
    }
    BOOL SetupDiGetDeviceInstallParamsW(HDEVINFO set, PSP_DEVINFO_DATA data, PSP_DEVINSTALL_PARAMS_W params) override
    {
        ++m_setupDiCalls;
        std::wstring id;
        if (data != nullptr && IdOf(data->DevInst, id) && m_reboot.count(Upper(id)) != 0) {
            params->Flags = DI_NEEDREBOOT;
            return TRUE;
        }
        return QVWinApi::CSetupApi::SetupDiGetDeviceInstallParamsW(set, data, params);
    }

private:
    static std::wstring Upper(std::wstring text)
    {
        for (wchar_t& c : text) {
            c = static_cast<wchar_t>(towupper(c));
        }
        return text;
    }
    bool Failing()
    {
        return ++m_cmCalls == m_failAt;
    }
    bool IdOf(DEVINST handle, std::wstring& id)
    {
        std::lock_guard<std::mutex> lock(m_lock);
        if (handle == 0 || handle > m_ids.size()) {
            return false;
        }
        id = m_ids[handle - 1];
        return true;
    }
    // A node is registered while its key below "Enum" exists.
    static bool Exists(const std::wstring& id)
    {
        HKEY key = nullptr;
        if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, (kEnum + id).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
            return false;
        }
        ::RegCloseKey(key);
        return true;
    }
    // The value below the node's "Enum" key that holds a property, as
    // Wine's SetupDi keeps them.
    static const wchar_t* ValueName(ULONG property)
    {
        switch (property) {
        case CM_DRP_HARDWAREID:
            return L"HardwareID";
        case CM_DRP_COMPATIBLEIDS:
            return L"CompatibleIDs";
        case CM_DRP_SERVICE:
            return L"Service";
        case CM_DRP_CLASSGUID:
            return L"ClassGUID";
        case CM_DRP_DRIVER:
            return L"Driver";
        case CM_DRP_CONFIGFLAGS:
            return L"ConfigFlags";
        case CM_DRP_FRIENDLYNAME:
            return L"FriendlyName";
        default:
            return nullptr;
        }
    }
    // Wine's handle of the set replaced by the one of the instance id.
    bool Stable(HDEVINFO set, PSP_DEVINFO_DATA data)
    {
        wchar_t id[MAX_DEVICE_ID_LEN + 64] = {};
        if (!::SetupDiGetDeviceInstanceIdW(set, data, id, MAX_DEVICE_ID_LEN + 64, nullptr)) {
            return false;
        }
        data->DevInst = HandleOf(id);
        return true;
    }

    static constexpr const wchar_t* kEnum = L"System\\CurrentControlSet\\Enum\\";

    std::mutex m_lock;
    std::map<std::wstring, DEVINST> m_handles;
    std::vector<std::wstring> m_ids;
    std::map<std::wstring, std::pair<ULONG, ULONG>> m_status;
    std::set<std::wstring> m_reboot;
    std::map<std::wstring, std::wstring> m_reported;
    std::map<std::wstring, ULONG> m_failProperty;
    long m_failAt = -1;
};

}  // namespace doubles
