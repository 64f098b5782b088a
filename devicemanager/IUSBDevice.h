#pragma once

#include <list>
#include <string>

#include "devicemanager/IDevice.h"

namespace QVDeviceManager {

// A device on the USB bus: its node in the platform's device tree and the
// faulty nodes below it.
class IUSBDevice : public IDevice {
public:
    virtual const std::wstring& GetDevNodeInstanceID() = 0;
    virtual const std::list<std::wstring>& GetBadDevNodeInstanceIDList() = 0;

protected:
    ~IUSBDevice() = default;
};

}  // namespace QVDeviceManager
