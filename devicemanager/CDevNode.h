#pragma once

#include <windows.h>
#include <cfgmgr32.h>

#include <string>
#include <vector>

#include "utils/IProgress.h"

namespace QVDeviceManager {

// A handle on one node of the platform's device tree and the questions
// asked of it. Copied by value; a handle of 0 is no node. Parent and child
// come from the device node cache.
class CDevNode {
public:
    CDevNode() = default;
    explicit CDevNode(DEVINST handle) : m_hDevInst(handle) {}
    // Locates the node of an instance id, also when it is not present; 0
    // when there is none.
    explicit CDevNode(const wchar_t* instanceId);
    virtual ~CDevNode() = default;
    CDevNode(const CDevNode&) = default;
    CDevNode& operator=(const CDevNode&) = default;

    DEVINST GetHandle() const { return m_hDevInst; }
    bool Exists() const;
    bool GetClassGuid(GUID& out) const;
    // The device instance id, at most 200 characters.
    bool GetDeviceID(std::wstring& out) const;
    // What follows the last backslash of the device id.
    bool GetSerialNumber(std::wstring& out) const;
    bool GetParent(CDevNode& out, QVUtils::IProgress* progress) const;
    bool GetChild(CDevNode& out, QVUtils::IProgress* progress) const;
    // A text property (CM_DRP_*).
    bool GetProperty(ULONG number, std::wstring& out) const;
    // A list property: each string an entry.
    bool GetPropertyList(ULONG number, std::vector<std::wstring>& out) const;
    // A property of type REG_DWORD.
    bool GetPropertyDword(ULONG number, DWORD& out) const;
    // Values of the node's key below "System\CurrentControlSet\Enum", and of
    // its "Device Parameters": CRegUtil statuses.
    unsigned long GetEnumValue(const wchar_t* name, std::wstring& out) const;
    unsigned long GetParameterValue(const wchar_t* name, DWORD& out) const;
    unsigned long GetPortName(std::wstring& out) const;
    // A text of the node's driver key, when that key is the node's own.
    bool GetDriverValue(const wchar_t* name, std::wstring& out) const;
    // The device path of the node's first interface of that class.
    bool GetDevicePath(const GUID& interfaceClass, std::wstring& out) const;
    // The drive ("E:") of a storage node's volume.
    bool GetDrivePath(std::wstring& out) const;

private:
    bool ReadProperty(ULONG number, ULONG& type, std::vector<BYTE>& data) const;
    std::wstring EnumKey() const;
    bool GetDriverKey(std::wstring& out) const;

    DEVINST m_hDevInst = 0;
};

}  // namespace QVDeviceManager
