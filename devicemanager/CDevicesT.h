#pragma once

#include <memory>
#include <vector>

#include "devicemanager/CDevices.h"

namespace QVDeviceManager {

// A collection that owns device objects of one class (CUSBDevice, ...).
template <typename Device>
class CDevicesT : public CDevices {
public:
    unsigned long GetCount() override { return static_cast<unsigned long>(m_devices.size()); }
    IDevice* GetDevice(unsigned long index) override
    {
        return index < m_devices.size() ? static_cast<IDevice*>(m_devices[index].get()) : nullptr;
    }
    void Clear() override { m_devices.clear(); }
    unsigned long Detach(unsigned long index, IDevice** device) override
    {
        if (index >= m_devices.size()) {
            return DM_E_INVALID_ARGUMENT;
        }
        Device* detached = m_devices[index].release();
        m_devices.erase(m_devices.begin() + index);
        if (device != nullptr) {
            *device = detached;
        } else {
            delete detached;
        }
        return 0;
    }

protected:
    std::vector<std::unique_ptr<Device>> m_devices;
};

}  // namespace QVDeviceManager
