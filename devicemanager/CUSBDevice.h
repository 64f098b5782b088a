#pragma once

#include <list>
#include <string>

#include "devicemanager/CDevNode.h"
#include "devicemanager/CDeviceT.h"

namespace QVDeviceManager {

// A device on the USB bus as the device tree shows it: one composite or
// single device node and the nodes below it, whose classes, services and
// values make the device's functions.
class CUSBDevice : public CDeviceT<IUSBDevice> {
public:
    // A serial number, or a port name such as USB001 found through its
    // USBPRINT node.
    unsigned long Init(const wchar_t* id, QVUtils::IProgress* progress) override;
    // DM_E_INVALID_ARGUMENT for a node that isn't a device of interest.
    unsigned long Init(const CDevNode& devNode, QVUtils::IProgress* progress) override;
    bool IsInstalled() override;
    bool IsOnline() override;
    CONNECTION_TYPE GetConnectionType() override { return CONNECTION_TYPE_USB; }
    unsigned long Refresh(QVUtils::IProgress* progress) override;
    // Installed by the platform when plugged in: nothing to do here.
    unsigned long Install(QVUtils::IProgress* progress) override;
    // Purges the queues, removes the nodes and the drivers of print and fax.
    unsigned long Uninstall(QVUtils::IProgress* progress) override;
    const std::wstring& GetDevNodeInstanceID() override { return m_instanceID; }
    const std::list<std::wstring>& GetBadDevNodeInstanceIDList() override { return m_badDevNodeIDs; }

private:
    unsigned long SerialOfPort(std::wstring& id);
    void CheckDevNode(const CDevNode& node);
    void ScanDevNode(const CDevNode& node);
    void ScanPrinter(const CDevNode& node, const std::wstring& instanceId);
    void ScanUSB(const CDevNode& node);
    void AddFunction(FUNCTION_TYPE type, const std::wstring& friendlyName, const CDevNode& node,
                     const std::wstring& address);
    void UninstallPrinter(FUNCTION_TYPE type, bool& reboot, unsigned long& status);

    CDevNode m_devNode;
    std::wstring m_instanceID;
    std::list<std::wstring> m_badDevNodeIDs;
};

}  // namespace QVDeviceManager
