#pragma once

#include <memory>

#include "doubles/ApiOverride.h"
#include "doubles/DescribedSetupApi.h"
#include "peers/DeviceTree.h"
#include "peers/RegisteredDeviceTree.h"

namespace bench {

// The tests' described tree of 200 USB printers, registered in the bench's
// prefix and answered at the configuration manager's seam (Wine has no
// CM_ calls) while the object lives.
class DescribedDevices {
public:
    explicit DescribedDevices(int count);
    ~DescribedDevices();
    DescribedDevices(const DescribedDevices&) = delete;
    DescribedDevices& operator=(const DescribedDevices&) = delete;

    bool Ready() const { return m_registered.Error().empty(); }
    doubles::DescribedSetupApi& Api() { return m_api; }

private:
    peers::DeviceTree m_tree;
    peers::RegisteredDeviceTree m_registered;
    doubles::DescribedSetupApi m_api;
    doubles::ApiOverride<QVWinApi::ISetupApi> m_override;
};

}  // namespace bench
