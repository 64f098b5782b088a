#pragma once

namespace QVDiscovery {

class IDiscoveryServer;

// Bracket each use of the library; counted, Winsock started at the first
// and stopped at the last.
unsigned long InitDiscoveryLib();
unsigned long TermDiscoveryLib();

// The system's server where "wsdapi.dll" offers its discovery provider,
// the library's own otherwise; `reserved` is ignored.
unsigned long CreateDiscoveryServer(unsigned long reserved, IDiscoveryServer** server);
unsigned long DestroyDiscoveryServer(IDiscoveryServer* server);

}  // namespace QVDiscovery
