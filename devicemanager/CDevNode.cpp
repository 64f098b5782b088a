#include "devicemanager/CDevNode.h"

#include <cwchar>

#include "devicemanager/CDevNodeCache.h"
#include "devicemanager/CRegUtil.h"
#include "devicemanager/DeviceManagerTypes.h"
#include "logging/LogTrace.h"
#include "winapi/ISetupApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

namespace {

constexpr ULONG kLocatePhantom = 1;  // CM_LOCATE_DEVNODE_PHANTOM
constexpr ULONG kDeviceIdChars = 200;
constexpr wchar_t kEnumRoot[] = L"System\\CurrentControlSet\\Enum\\";

}  // namespace

CDevNode::CDevNode(const wchar_t* instanceId)
{
    DEVINST handle = 0;
    if (instanceId != nullptr
        && g_pSetupApi->CM_Locate_DevNodeW(&handle, const_cast<wchar_t*>(instanceId), kLocatePhantom) == CR_SUCCESS) {
        m_hDevInst = handle;
    }
}

bool CDevNode::Exists() const
{
    std::wstring id;
    return GetDeviceID(id);
}

bool CDevNode::GetClassGuid(GUID& out) const
{
    std::wstring text;
    if (!GetProperty(CM_DRP_CLASSGUID, text)) {
        return false;
    }
    unsigned int d1 = 0, d2 = 0, d3 = 0, b[8] = {};
    if (swscanf(text.c_str(), L"{%8x-%4x-%4x-%2x%2x-%2x%2x%2x%2x%2x%2x}", &d1, &d2, &d3, &b[0], &b[1], &b[2],
                &b[3], &b[4], &b[5], &b[6], &b[7])
        != 11) {
        return false;
    }
    out.Data1 = d1;
    out.Data2 = static_cast<unsigned short>(d2);
    out.Data3 = static_cast<unsigned short>(d3);
    for (int i = 0; i < 8; ++i) {
        out.Data4[i] = static_cast<unsigned char>(b[i]);
    }
    return true;
}

bool CDevNode::GetDeviceID(std::wstring& out) const
{
    if (m_hDevInst == 0) {
        return false;
    }
    wchar_t id[kDeviceIdChars] = {};
    if (g_pSetupApi->CM_Get_Device_IDW(m_hDevInst, id, kDeviceIdChars, 0) != CR_SUCCESS) {
        return false;
    }
    out.assign(id, wcsnlen(id, kDeviceIdChars));
    return true;
}

bool CDevNode::GetSerialNumber(std::wstring& out) const
{
    std::wstring id;
    if (!GetDeviceID(id)) {
        return false;
    }
    const size_t slash = id.rfind(L'\\');
    if (slash == std::wstring::npos) {
        return false;
    }
    out = id.substr(slash + 1);
    return true;
}

bool CDevNode::GetParent(CDevNode& out, QVUtils::IProgress* progress) const
{
    DEVINST parent = 0;
    if (!CDevNodeCache::Global().GetParent(m_hDevInst, parent, progress) || parent == 0) {
        return false;
    }
    out = CDevNode(parent);
    return true;
}

bool CDevNode::GetChild(CDevNode& out, QVUtils::IProgress* progress) const
{
    DEVINST child = 0;
    if (!CDevNodeCache::Global().GetFirstChild(m_hDevInst, child, progress)) {
        return false;
    }
    out = CDevNode(child);
    return true;
}

bool CDevNode::ReadProperty(ULONG number, ULONG& type, std::vector<BYTE>& data) const
{
    ULONG size = 0;
    const CONFIGRET sized = g_pSetupApi->CM_Get_DevNode_Registry_PropertyW(m_hDevInst, number, &type, nullptr, &size, 0);
    if ((sized != CR_SUCCESS && sized != CR_BUFFER_SMALL) || size == 0) {
        return false;
    }
    data.assign(size + sizeof(wchar_t) * 2, 0);
    return g_pSetupApi->CM_Get_DevNode_Registry_PropertyW(m_hDevInst, number, &type, data.data(), &size, 0)
        == CR_SUCCESS;
}

bool CDevNode::GetProperty(ULONG number, std::wstring& out) const
{
    ULONG type = 0;
    std::vector<BYTE> data;
    if (!ReadProperty(number, type, data)) {
        return false;
    }
    out = reinterpret_cast<const wchar_t*>(data.data());
    return true;
}

bool CDevNode::GetPropertyList(ULONG number, std::vector<std::wstring>& out) const
{
    ULONG type = 0;
    ULONG size = 0;
    if (g_pSetupApi->CM_Get_DevNode_Registry_PropertyW(m_hDevInst, number, &type, nullptr, &size, 0) != CR_BUFFER_SMALL
        || type != REG_MULTI_SZ || size == 0) {
        return false;
    }
    std::vector<BYTE> data(size + sizeof(wchar_t) * 2, 0);
    if (g_pSetupApi->CM_Get_DevNode_Registry_PropertyW(m_hDevInst, number, &type, data.data(), &size, 0) != CR_SUCCESS) {
        return false;
    }
    out.clear();
    for (const wchar_t* entry = reinterpret_cast<const wchar_t*>(data.data()); *entry != L'\0';
         entry += wcslen(entry) + 1) {
        out.emplace_back(entry);
    }
    return true;
}

bool CDevNode::GetPropertyDword(ULONG number, DWORD& out) const
{
    ULONG type = 0;
    DWORD value = 0;
    ULONG size = sizeof value;
    if (g_pSetupApi->CM_Get_DevNode_Registry_PropertyW(m_hDevInst, number, &type, &value, &size, 0) != CR_SUCCESS
        || type != REG_DWORD || size != sizeof value) {
        return false;
    }
    out = value;
    return true;
}

std::wstring CDevNode::EnumKey() const
{
    std::wstring id;
    return GetDeviceID(id) ? kEnumRoot + id : std::wstring();
}

unsigned long CDevNode::GetEnumValue(const wchar_t* name, std::wstring& out) const
{
    const std::wstring key = EnumKey();
    return key.empty() ? DM_E_INVALID_ARGUMENT : CRegUtil::GetValue(HKEY_LOCAL_MACHINE, key.c_str(), name, out);
}

unsigned long CDevNode::GetParameterValue(const wchar_t* name, DWORD& out) const
{
    const std::wstring key = EnumKey();
    return key.empty() ? DM_E_INVALID_ARGUMENT
                       : CRegUtil::GetValue(HKEY_LOCAL_MACHINE, (key + L"\\Device Parameters").c_str(), name, out);
}

unsigned long CDevNode::GetPortName(std::wstring& out) const
{
    const std::wstring key = EnumKey();
    return key.empty() ? DM_E_INVALID_ARGUMENT
                       : CRegUtil::GetValue(HKEY_LOCAL_MACHINE, (key + L"\\Device Parameters").c_str(), L"PortName", out);
}

}  // namespace QVDeviceManager
