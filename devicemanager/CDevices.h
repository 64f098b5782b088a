#pragma once

#include "devicemanager/IDevices.h"

namespace QVDeviceManager {

// The base of the device collections, which the manager casts to.
class CDevices : public IDevices {
};

}  // namespace QVDeviceManager
