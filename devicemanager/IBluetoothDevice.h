#pragma once

#include "devicemanager/IDevice.h"

namespace QVDeviceManager {

// A Bluetooth device: named for the connection type, implemented by nothing.
class IBluetoothDevice : public IDevice {
protected:
    ~IBluetoothDevice() = default;
};

}  // namespace QVDeviceManager
