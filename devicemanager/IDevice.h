#pragma once

#include "devicemanager/IDeviceFunction.h"
#include "utils/IProgress.h"

namespace QVDeviceManager {

class INetworkDevice;

// A device known to the device manager, which owns it. So far the
// connections need only to find the device again and ask for a function.
class IDevice {
public:
    virtual unsigned long GetNetworkDevice(INetworkDevice** out) = 0;
    // 0, or DM_E_NOT_SUPPORTED / DM_E_DEVICE_GONE / DM_E_INVALID_ARGUMENT.
    virtual unsigned long GetFunction(FUNCTION_TYPE type, IDeviceFunction** out) = 0;
    virtual unsigned long Refresh(QVUtils::IProgress* progress) = 0;

protected:
    ~IDevice() = default;
};

class INetworkDevice : public IDevice {
protected:
    ~INetworkDevice() = default;
};

}  // namespace QVDeviceManager
