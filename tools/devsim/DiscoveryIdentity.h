// What the simulator says about itself when it is discovered: its endpoint,
// its types, and the family's extension block (identity, hardware address,
// host name, addresses, serial number, device id, services, adapter type).
#pragma once

#include <string>
#include <vector>

namespace devsim {

struct DiscoveryIdentity {
    // The endpoint address is "urn:uuid:" and this; the extension carries
    // it bare.
    std::string uuid = "6f72766e-6465-4673-896d-000000000001";
    // Qualified names over the simulator's own prefixes (zqd, dd, pwg, wsd).
    std::string types = "zqd:zqDevice";
    std::string hardwareAddress = "00:00:5E:00:53:01";
    std::string hostName = "orvane-devsim";
    std::string ipv4;
    std::vector<std::string> ipv6;
    std::string serialNumber = "ORV0000001";
    std::string deviceId = "MFG:Orvane;MDL:Virtual Printer;CMD:PCL,PDF;";
    std::string services = "Print9100 EWS";
    std::string adapterType = "Ethernet";

    std::string Endpoint() const { return "urn:uuid:" + uuid; }
};

}  // namespace devsim
