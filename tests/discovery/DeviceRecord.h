#pragma once

#include <string>

#include "discovery/IDiscoveredDevice.h"

namespace discoverytest {

// Every field of a record on one line: identifier, hardware address, host
// name, IP address, manufacturer, model, serial number, service flags,
// adapter type, separated by "|".
inline std::wstring Describe(const QVDiscovery::IDiscoveredDevice& device)
{
    return std::wstring(device.GetId()) + L"|" + device.GetHardwareAddress() + L"|" + device.GetHostName() + L"|"
        + device.GetIPAddress() + L"|" + device.GetManufacturer() + L"|" + device.GetModel() + L"|"
        + device.GetSerialNumber() + L"|" + std::to_wstring(device.GetServices()) + L"|"
        + std::to_wstring(device.GetAdapterType());
}

}  // namespace discoverytest
