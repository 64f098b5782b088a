#pragma once

#include "devicemanager/IDevice.h"

namespace Orvane {

// Opens a USB or Dot4 device of the device manager for an address. A device
// returned stays the manager's: it goes back through CloseDevice.
class IUSBDeviceManager {
public:
    virtual ~IUSBDeviceManager() = default;
    // By the friendly name of its print function; null if none.
    virtual QVDeviceManager::IDevice* OpenUSBDeviceByQueue(const wchar_t* name) = 0;
    // By serial number or port name; null if none.
    virtual QVDeviceManager::IDevice* OpenUSBDeviceByPort(const wchar_t* name) = 0;
    virtual QVDeviceManager::IDevice* OpenDot4Device(const wchar_t* name) = 0;
    virtual unsigned long CloseDevice(QVDeviceManager::IDevice* device) = 0;
};

}  // namespace Orvane
