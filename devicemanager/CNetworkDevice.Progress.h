#pragma once

#include "devicemanager/CNetworkDevice.h"
#include "devicemanager/IDeviceDiscoveryCallback.h"

namespace QVDeviceManager {

// The callback of a device search that only reports progress: the other
// calls leave their trace, and progress goes on to the progress object,
// whose answer stops the search or not.
class CNetworkDevice::CDeviceDiscoveryProgress : public IDeviceDiscoveryCallback {
public:
    explicit CDeviceDiscoveryProgress(QVUtils::IProgress* progress) : m_pProgress(progress) {}

    void OnAddDevice(IDevice* device) override;
    void OnRemoveDevice(IDevice* device) override;
    void OnSearchComplete(unsigned long status) override;
    void OnSearchFailed(unsigned long status) override;
    bool OnSearchProgress(double percent, unsigned long code, ...) override;

private:
    QVUtils::IProgress* m_pProgress;
};

}  // namespace QVDeviceManager
