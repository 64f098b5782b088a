#pragma once

#include <string>

namespace QVDiscovery {

// Makes the identifiers of outgoing messages: "uuid:" and a fresh UUID in
// lower-case text. gSOAP's own random source is an unseeded rand(), so two
// processes would send the same identifiers.
class CMessageId {
public:
    static bool Create(std::string& id);
};

}  // namespace QVDiscovery
