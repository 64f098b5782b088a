#include "DescribedDevices.h"

#include "devicemanager/CDevNodeCache.h"

namespace bench {

DescribedDevices::DescribedDevices(int count)
    : m_tree(peers::DeviceTree().ManyPrinters(count)), m_registered(m_tree), m_api(m_tree),
      m_override(g_pSetupApi, m_api)
{
}

DescribedDevices::~DescribedDevices()
{
    QVDeviceManager::CDevNodeCache::Global().Invalidate();
}

}  // namespace bench
