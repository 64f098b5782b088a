#pragma once

#include "discovery/CDiscoveredDevice.h"

struct zqd__VendorExtensionType;

namespace QVDiscovery {

// The record filled from a message of the own server: the vendor extension
// as gSOAP read it (may be null) and the endpoint address (may be null).
class CDiscoveredDeviceXpWSD : public CDiscoveredDevice {
public:
    CDiscoveredDeviceXpWSD(const zqd__VendorExtensionType* extension, const char* endpointAddress, bool ipv6);
};

}  // namespace QVDiscovery
