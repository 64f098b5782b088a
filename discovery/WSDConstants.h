#pragma once

// Fixed texts of WS-Discovery on the wire.
namespace QVDiscovery {

// The one host of the vendor's three schema namespaces.
#define QV_WSD_VENDOR_SCHEMA_HOST "http://schemas.zq.com"

constexpr const char* kWSDiscoveryTo = "urn:schemas-xmlsoap-org:ws:2005:04:discovery";
constexpr const char* kWSDProbeAction = "http://schemas.xmlsoap.org/ws/2005/04/discovery/Probe";
constexpr const char* kWSDResolveAction = "http://schemas.xmlsoap.org/ws/2005/04/discovery/Resolve";
constexpr const char* kWSAAnonymous = "http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous";
// The type list of a search that names none.
constexpr const char* kWSDDefaultTypes = "zqd:zqDevice";

constexpr const char* kWSDGroupIPv4 = "239.255.255.250";
constexpr const char* kWSDGroupIPv6 = "FF02::C";
constexpr long kWSDPort = 3702;
constexpr const char* kWSDUdpTemplateIPv4 = "soap.udp://%s:%ld";
constexpr const char* kWSDUdpTemplateIPv6 = "soap.udp://[%s]:%ld";
constexpr const char* kWSDDirectedTemplateIPv4 =
    "http://%s/StableWSDiscoveryEndpoint/schemas-xmlsoap-org_ws_2005_04_discovery";
constexpr const char* kWSDDirectedTemplateIPv6 =
    "http://[%s]/StableWSDiscoveryEndpoint/schemas-xmlsoap-org_ws_2005_04_discovery";

}  // namespace QVDiscovery
