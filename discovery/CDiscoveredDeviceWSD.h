#pragma once

#include "discovery/CDiscoveredDevice.h"

struct _WSDXML_ELEMENT;

namespace QVDiscovery {

// The record filled from what the system's provider hands over: the body
// part of a message's extended XML (may be null), the transport address the
// message came from and the endpoint reference's address (each may be
// null). IPv4 only.
class CDiscoveredDeviceWSD : public CDiscoveredDevice {
public:
    CDiscoveredDeviceWSD(const _WSDXML_ELEMENT* body, const wchar_t* remoteAddress, const wchar_t* endpointAddress);

private:
    // One child's text into the field its name stands for.
    void Take(const wchar_t* localName, const wchar_t* text);
};

}  // namespace QVDiscovery
