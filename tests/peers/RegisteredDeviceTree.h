#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "peers/DeviceTree.h"

namespace peers {

// A described device tree made real in the Wine prefix: each node is a
// device registered with SetupDi, its values written below its real "Enum"
// key, its driver key below "Control\Class", its interfaces registered.
// What the tree made and what is still there goes again with the object.
class RegisteredDeviceTree {
public:
    explicit RegisteredDeviceTree(const DeviceTree& tree);
    ~RegisteredDeviceTree();
    RegisteredDeviceTree(const RegisteredDeviceTree&) = delete;
    RegisteredDeviceTree& operator=(const RegisteredDeviceTree&) = delete;

    // Empty when every node was registered; otherwise what failed.
    const std::wstring& Error() const { return m_error; }

    // Whether the node is registered in the prefix (its "Enum" key exists).
    static bool IsRegistered(const std::wstring& instanceId);
    static bool KeyExists(const std::wstring& path);
    // Removes a node with SetupDi, whatever made it.
    static void Remove(const std::wstring& instanceId);

private:
    bool Register(const DescribedNode& node);
    bool WriteValues(const DescribedNode& node);

    std::vector<DescribedNode> m_nodes;
    std::wstring m_error;
};

}  // namespace peers
