#pragma once

#include "devicemanager/IDeviceManager.h"

namespace QVDeviceManager {

class CDevNodeCache;

// Counted: the first Init makes the device tree's cache, the last Term
// destroys it with every manager left open. Not for concurrent use.
unsigned long InitDeviceManagerLib();
unsigned long TermDeviceManagerLib();
unsigned long OpenDeviceManager(IDeviceManager** manager);
unsigned long CloseDeviceManager(IDeviceManager* manager);

// The cache made by InitDeviceManagerLib, null outside Init and Term.
CDevNodeCache* DeviceManagerCache();

}  // namespace QVDeviceManager
