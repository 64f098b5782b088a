// The simulator's WS-Discovery messages, written as text: Hello, Bye and
// the replies to Probe and Resolve, each with the family's extension
// block. Every message gets a new MessageID and the next number of the
// application sequence.
#pragma once

#include <string>
#include <vector>

#include "devsim/DiscoveryIdentity.h"
#include "devsim/DiscoveryRequest.h"

namespace devsim {

class DiscoveryMessages {
public:
    // The instance id of the application sequence: a new one at each start.
    DiscoveryMessages(DiscoveryIdentity identity, unsigned long instanceId);

    std::string Hello();
    std::string Bye();
    std::string ProbeMatches(const std::string& relatesTo);
    std::string ResolveMatches(const std::string& relatesTo);

    const DiscoveryIdentity& Identity() const { return m_identity; }
    const std::vector<DiscoveryRequest::QName>& Types() const { return m_types; }

    // The qualified names of a type list over the simulator's prefixes;
    // false, with the reason in *error, for a prefix it does not know.
    static bool ResolveTypes(const std::string& types, std::vector<DiscoveryRequest::QName>* out,
                             std::string* error);
    // Text made safe for element content.
    static std::string Escape(const std::string& text);

private:
    std::string Envelope(const char* action, const char* to, const std::string& relatesTo, const std::string& body);
    // The children of Hello, Bye, ProbeMatch and ResolveMatch.
    std::string Children(bool bye) const;
    std::string Extension() const;

    const DiscoveryIdentity m_identity;
    std::vector<DiscoveryRequest::QName> m_types;
    const unsigned long m_instanceId;
    unsigned long m_messageNumber = 0;
};

}  // namespace devsim
