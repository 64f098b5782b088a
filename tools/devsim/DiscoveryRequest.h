// A WS-Discovery request as the simulator reads it: Probe or Resolve, its
// MessageID, the qualified names of a Probe's types resolved to their
// namespaces, and the endpoint a Resolve asks for. A light reader of the
// message text, enough for the requests of the family's hosts and of
// other WS-Discovery clients.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace devsim {

class DiscoveryRequest {
public:
    enum class Kind { Other, Probe, Resolve };
    // A qualified name as namespace and local name.
    using QName = std::pair<std::string, std::string>;

    static DiscoveryRequest Read(const std::string& message);

    // Whether a device of these types answers: every type of the Probe
    // must be one of them; a Probe without types matches every device.
    bool Matches(const std::vector<QName>& deviceTypes) const;

    Kind kind = Kind::Other;
    std::string messageId;
    std::vector<QName> types;
    std::string endpoint;
    // A type whose prefix the message does not declare: no device matches.
    bool unresolvedType = false;
};

}  // namespace devsim
