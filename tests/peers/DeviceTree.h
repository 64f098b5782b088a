#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <vector>

namespace peers {

// One node of a test device tree, as the platform would show it: its
// identity and class, the values of its key below "Enum", its driver key,
// its interfaces, and the status the configuration manager reports.
struct DescribedNode {
    std::wstring instanceId;  // "USB\VID_1234&PID_5678\ZQ0001"
    std::wstring classGuid;   // "{36FC9E60-C465-11CF-8056-444553540000}"
    std::wstring service;
    std::vector<std::wstring> hardwareIds;
    std::vector<std::wstring> compatibleIds;
    DWORD configFlags = 0;
    bool configFlagsAsText = false;  // a value of the wrong type
    std::wstring friendlyName;
    std::wstring parentIdPrefix;
    std::wstring containerId;
    // Driver key "{class}\NNNN" below "Control\Class", with its values; a
    // key that points nowhere has none of them written.
    std::wstring driverKey;
    bool driverKeyWritten = true;
    std::wstring matchingDeviceId;
    std::wstring driverDesc;
    std::wstring driverFriendlyName;
    std::map<std::wstring, DWORD> parameters;  // DWORDs of "Device Parameters"
    std::wstring portName;
    std::vector<GUID> interfaces;
    ULONG status = 0x0000180A;  // DN_DRIVER_LOADED | DN_STARTED | DN_NT_ENUMERATOR | DN_NT_DRIVER
    ULONG problem = 0;
};

// The platform's class and interface identifiers the tree uses.
namespace classes {
extern const wchar_t kUSB[];
extern const wchar_t kPrinter[];
extern const wchar_t kImage[];
extern const wchar_t kDiskDrive[];
}  // namespace classes
extern const GUID kInterfaceUSBPrint;
extern const GUID kInterfaceImage;
extern const GUID kInterfaceEwsFxBulk;

// A list of nodes, built from the kinds of device the tests meet. Serial
// numbers of devices are given; interface nodes are named from the parent's
// "ParentIdPrefix".
class DeviceTree {
public:
    // A USB printer: the device node, and its USBPRINT node on `port`.
    DeviceTree& SingleFunctionPrinter(const std::wstring& vidPid, const std::wstring& serial, const std::wstring& port);
    // A composite MFP: print (USBPRINT on `port`), scan (image), fax (a second
    // USBPRINT printer marked "Fax") and configuration (the EWS bulk driver).
    DeviceTree& CompositeMFP(const std::wstring& vidPid, const std::wstring& serial, const std::wstring& port,
                             const std::wstring& faxPort);
    // A device whose two interface nodes are the same kind (two image nodes).
    DeviceTree& TwoIdenticalInterfaces(const std::wstring& vidPid, const std::wstring& serial);
    // A printer still in the tree after it was unplugged: problem `problem`.
    DeviceTree& Unplugged(const std::wstring& vidPid, const std::wstring& serial, const std::wstring& port,
                          ULONG problem);
    // `count` single-function printers, PID_1000 upwards.
    DeviceTree& ManyPrinters(int count);
    DeviceTree& Add(const DescribedNode& node);

    std::vector<DescribedNode>& Nodes() { return m_nodes; }
    const std::vector<DescribedNode>& Nodes() const { return m_nodes; }
    DescribedNode* Find(const std::wstring& instanceId);

    // The id of a device's interface node `index` (MI_xx) below its prefix.
    static std::wstring InterfaceId(const std::wstring& vidPid, const std::wstring& prefix, int index);

private:
    std::wstring NextPrefix(int depth);
    std::wstring NextDriverKey(const std::wstring& classGuid);

    std::vector<DescribedNode> m_nodes;
    int m_prefixes = 0;
    std::map<std::wstring, int> m_driverKeys;
};

}  // namespace peers
