#pragma once

#include <string>

#include "iostack/CIONetwork.h"
#include "peers/LoopbackPeer.h"

namespace iostack_test {

// A network connection whose session count a test can read.
class TestableNetwork : public QVIOStack::CIONetwork {
public:
    long SessionCount() const { return m_lSessionCount; }
};

// Makes a counted connection on a peer's address; released by Dispose.
inline TestableNetwork* ConnectionTo(const peers::LoopbackPeer& peer)
{
    auto* connection = new TestableNetwork();
    connection->AddRef();
    connection->Initialize(peer.ServiceAddress().c_str());
    return connection;
}

}  // namespace iostack_test
