// The namespaces of the simulator's discovery messages and the prefixes it
// writes them with.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace devsim {

#define DEVSIM_VENDOR_HOST "http://schemas.zq.com"

constexpr const char* kEnvelopeNamespace = "http://www.w3.org/2003/05/soap-envelope";
constexpr const char* kAddressingNamespace = "http://schemas.xmlsoap.org/ws/2004/08/addressing";
constexpr const char* kDiscoveryNamespace = "http://schemas.xmlsoap.org/ws/2005/04/discovery";
constexpr const char* kVendorDiscoveryNamespace = DEVSIM_VENDOR_HOST "/schemas/imaging/con/discovery/2006/09/19";
constexpr const char* kVendorDictionaryNamespace = DEVSIM_VENDOR_HOST "/schemas/imaging/con/dictionaries/1.0";
constexpr const char* kVendorPwgNamespace = DEVSIM_VENDOR_HOST "/schemas/imaging/con/pwg/sm/1.0";

// Where a device takes the directed Probe, on port 80 of its addresses.
constexpr const char* kDirectedPath = "/StableWSDiscoveryEndpoint/schemas-xmlsoap-org_ws_2005_04_discovery";

// Prefix and namespace, in the order the envelope declares them.
inline const std::vector<std::pair<std::string, std::string>>& DiscoveryPrefixes()
{
    static const std::vector<std::pair<std::string, std::string>> prefixes = {
        {"SOAP-ENV", kEnvelopeNamespace},
        {"wsa", kAddressingNamespace},
        {"wsd", kDiscoveryNamespace},
        {"zqd", kVendorDiscoveryNamespace},
        {"dd", kVendorDictionaryNamespace},
        {"pwg", kVendorPwgNamespace}};
    return prefixes;
}

}  // namespace devsim
