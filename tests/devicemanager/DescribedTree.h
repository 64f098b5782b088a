#pragma once

#include <string>

#include "devicemanager/CDevNode.h"
#include "devicemanager/CDevNodeCache.h"
#include "doubles/ApiOverride.h"
#include "doubles/DescribedSetupApi.h"
#include "peers/DeviceTree.h"
#include "peers/RegisteredDeviceTree.h"

namespace devicemanager_test {

// One described tree, fed to both halves for the life of the object: the
// nodes registered in the prefix, and the configuration manager's calls
// answered over them. The library's node cache starts empty and is left
// empty, since its handles belong to this tree's double.
class DescribedTree {
public:
    explicit DescribedTree(const peers::DeviceTree& tree)
        : m_tree(tree), m_registered(m_tree), m_api(m_tree), m_override(g_pSetupApi, m_api)
    {
        QVDeviceManager::CDevNodeCache::Global().Invalidate();
    }
    ~DescribedTree() { QVDeviceManager::CDevNodeCache::Global().Invalidate(); }
    DescribedTree(const DescribedTree&) = delete;
    DescribedTree& operator=(const DescribedTree&) = delete;

    // Empty when the prefix took every node.
    const std::wstring& Error() const { return m_registered.Error(); }
    QVDeviceManager::CDevNode Node(const std::wstring& instanceId) const
    {
        return QVDeviceManager::CDevNode(instanceId.c_str());
    }
    doubles::DescribedSetupApi& Api() { return m_api; }
    peers::DeviceTree& Tree() { return m_tree; }

private:
    peers::DeviceTree m_tree;
    peers::RegisteredDeviceTree m_registered;
    doubles::DescribedSetupApi m_api;
    doubles::ApiOverride<QVWinApi::ISetupApi> m_override;
};

inline std::string Narrow(const std::wstring& text)
{
    return std::string(text.begin(), text.end());
}

}  // namespace devicemanager_test
