#pragma once

#include <string>

#include "devicemanager/DeviceManagerTypes.h"

namespace QVDeviceManager {

// One function of a device (print, scan, configuration, ...). The device
// manager owns it. So far the connections need only its address.
class IDeviceFunction {
public:
    virtual FUNCTION_TYPE GetFunctionType() = 0;
    virtual const std::wstring& GetAddress() = 0;

protected:
    ~IDeviceFunction() = default;
};

}  // namespace QVDeviceManager
