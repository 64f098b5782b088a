#pragma once

#include "devicemanager/IDevice.h"

namespace QVDeviceManager {

// A device on the network. Its record and installation operations come with
// the network device.
class INetworkDevice : public IDevice {
protected:
    ~INetworkDevice() = default;
};

}  // namespace QVDeviceManager
