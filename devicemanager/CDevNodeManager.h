#pragma once

#include <windows.h>

#include <vector>

#include "devicemanager/CDevNode.h"
#include "utils/IProgress.h"

namespace QVDeviceManager {

// Lists the nodes of the device tree, walks the nodes below one, and
// removes a node with all below it. No state. Virtual operations in slot
// order.
class CDevNodeManager {
public:
    virtual ~CDevNodeManager() = default;
    // The present nodes of a class (any class when null) and enumerator.
    virtual unsigned long GetDevices(const GUID* classGuid, const wchar_t* enumerator, std::vector<CDevNode>* nodes,
                                     QVUtils::IProgress* progress);
    // Appends all nodes below `node`, parents before their children.
    virtual unsigned long GetDeviceChildren(const CDevNode& node, std::vector<CDevNode>* nodes,
                                            QVUtils::IProgress* progress);
    // Removes the node and all below it, children first; DM_E_REBOOT_REQUIRED
    // when the platform asks for a restart.
    virtual unsigned long UninstallDevice(const CDevNode& node, QVUtils::IProgress* progress);

    // A platform error as the library's status.
    static unsigned long MapWin32Error(DWORD code);

private:
    unsigned long AddChildren(const CDevNode& node, std::vector<CDevNode>& nodes, QVUtils::IProgress* progress);
    unsigned long RemoveDevNodes(const std::vector<CDevNode>& nodes, QVUtils::IProgress* progress);
    unsigned long RemoveDevNode(const CDevNode& node);
};

}  // namespace QVDeviceManager
