#pragma once

#include <string>

#include "devicemanager/DeviceManagerTypes.h"

namespace QVDeviceManager {

// One function of a device (print, scan, configuration, ...), owned by its
// device. Operations in slot order.
class IDeviceFunction {
public:
    virtual FUNCTION_TYPE GetFunctionType() = 0;
    virtual const std::wstring& GetFriendlyName() = 0;
    virtual const std::wstring& GetDriverName() = 0;
    virtual const std::wstring& GetAddress() = 0;
    virtual ~IDeviceFunction() = default;
    // A null text counts as empty.
    virtual void Init(const wchar_t* friendlyName, const wchar_t* driverName, const wchar_t* address) = 0;
    virtual void Clear() = 0;
};

}  // namespace QVDeviceManager
