#pragma once

#include "devicemanager/CDevicesT.h"
#include "devicemanager/CUSBDevice.h"

namespace QVDeviceManager {

// The USB devices of this machine: one for each node of the enumerator
// "USB" that is a device of interest.
class CUSBDevices : public CDevicesT<CUSBDevice> {
public:
    unsigned long GetInstalledDevices(QVUtils::IProgress* progress) override;
};

}  // namespace QVDeviceManager
