#pragma once

#include <list>
#include <string>

#include "devicemanager/IDeviceFunction.h"
#include "utils/IProgress.h"

namespace QVDeviceManager {

class IBluetoothDevice;
class INetworkDevice;
class IUSBDevice;

// A device known to the device manager, USB or network, with up to one
// function per type. The manager owns it. Operations in slot order.
class IDevice {
public:
    virtual bool IsInstalled() = 0;
    virtual bool IsOnline() = 0;
    // False for a type outside 1..7.
    virtual bool HasFunction(FUNCTION_TYPE type) = 0;
    virtual bool HasAnyFunction(const std::list<FUNCTION_TYPE>& types) = 0;
    virtual bool HasBadDevNode() = 0;
    virtual bool IsDriverMissing() = 0;
    virtual const std::wstring& GetModelName() = 0;
    virtual const std::wstring& GetSerialNumber() = 0;
    virtual const std::wstring& GetContainerID() = 0;
    virtual CONNECTION_TYPE GetConnectionType() = 0;
    virtual unsigned long GetBluetoothDevice(IBluetoothDevice** out) = 0;
    virtual unsigned long GetNetworkDevice(INetworkDevice** out) = 0;
    virtual unsigned long GetUSBDevice(IUSBDevice** out) = 0;
    // 0, or DM_E_NOT_SUPPORTED (some other function exists), DM_E_DEVICE_GONE
    // (no function at all), DM_E_INVALID_ARGUMENT (null out).
    virtual unsigned long GetFunction(FUNCTION_TYPE type, IDeviceFunction** out) = 0;
    virtual unsigned long Refresh(QVUtils::IProgress* progress) = 0;
    virtual unsigned long Install(QVUtils::IProgress* progress) = 0;
    virtual unsigned long Uninstall(QVUtils::IProgress* progress) = 0;
    virtual bool IsMarked() = 0;
    virtual void SetMarked(bool marked) = 0;

protected:
    ~IDevice() = default;
};

}  // namespace QVDeviceManager
