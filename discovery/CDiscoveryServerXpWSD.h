#pragma once

#include "discovery/CDiscoveryServer.h"

namespace QVDiscovery {

// The server of the library's own WS-Discovery: one discovery thread for
// each usable local address, up to 15, each searching through sessions of
// type Session.
template <typename Session>
class CDiscoveryServerXpWSD : public CDiscoveryServer {
public:
    // The public searches of the base; the private ones of the same names
    // search on one address.
    using CDiscoveryServer::SearchByAddress;
    using CDiscoveryServer::SearchById;
    using CDiscoveryServer::SearchByType;

    unsigned long GetSearchTimeout(unsigned long type) override;
    unsigned long MainDiscoveryThreadProc(DiscoveryThreadArgs& args) override;
    virtual unsigned long DiscoveryThreadProc(DiscoveryThreadArgs& args);

private:
    static unsigned __stdcall DiscoveryThread(void* args);
    unsigned long StartThreads(DiscoveryThreadArgs& main, DiscoveryThreadArgs* blocks, HANDLE* threads,
                               DWORD& started);
    unsigned long SearchById(DiscoveryThreadArgs& args);
    unsigned long SearchByAddress(DiscoveryThreadArgs& args);
    unsigned long SearchByType(DiscoveryThreadArgs& args);
};

class CWSDSession;
extern template class CDiscoveryServerXpWSD<CWSDSession>;

}  // namespace QVDiscovery
