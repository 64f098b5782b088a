#pragma once

#include "devicemanager/IDevice.h"
#include "utils/IProgress.h"

namespace QVDeviceManager {

// A collection of devices that owns them. Operations in slot order.
class IDevices {
public:
    virtual unsigned long GetCount() = 0;
    // Null for an index out of range.
    virtual IDevice* GetDevice(unsigned long index) = 0;
    virtual ~IDevices() = default;
    virtual unsigned long GetInstalledDevices(QVUtils::IProgress* progress) = 0;
    // Destroys all devices.
    virtual void Clear() = 0;
    // Takes the device out: the caller receives it, or with a null `device`
    // it is destroyed. DM_E_INVALID_ARGUMENT for an index out of range.
    virtual unsigned long Detach(unsigned long index, IDevice** device) = 0;
};

}  // namespace QVDeviceManager
