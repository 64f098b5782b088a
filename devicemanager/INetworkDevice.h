#pragma once

#include <string>

#include "devicemanager/IDevice.h"

namespace QVDeviceManager {

// A device on the network, known by its record. Operations in slot order
// after those of IDevice.
class INetworkDevice : public IDevice {
public:
    virtual const std::wstring& GetIPAddress() = 0;
    virtual const std::wstring& GetHostName() = 0;
    virtual const std::wstring& GetGUID() = 0;
    virtual const std::wstring& GetMAC() = 0;
    // 0 unknown, 1 wired, 2 wireless.
    virtual unsigned long GetNetworkType() = 0;
    // Both save an installed device's record and read it back.
    virtual unsigned long SetIPAddress(const wchar_t* address) = 0;
    virtual unsigned long SetHostName(const wchar_t* hostName) = 0;
    virtual void SetMulticastEnabled(bool enabled) = 0;
    virtual bool GetMulticastEnabled() = 0;
    // Not saved by itself: the value reaches the record with the next save.
    virtual void SetDefaultToSearchByIP(bool byIP) = 0;
    virtual bool GetDefaultToSearchByIP() = 0;

protected:
    ~INetworkDevice() = default;
};

}  // namespace QVDeviceManager
