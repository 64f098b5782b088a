#pragma once

#include <atomic>
#include <string>

#include "iostack/CIONetwork.h"
#include "peers/CloseBarrier.h"
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

// A device that closes its first connection at once and keeps the later
// ones open, silent.
class FirstConnectionClosingPeer {
public:
    FirstConnectionClosingPeer()
        : m_peer([this](peers::PeerSocket& s) {
              if (m_closed == 0) {
                  peers::LoopbackPeer::CloseAtOnce(s);
                  m_closed = 1;
              } else {
                  peers::LoopbackPeer::Silent(s);
              }
          })
    {
    }
    const peers::LoopbackPeer& Peer() const { return m_peer; }
    peers::LoopbackPeer& Peer() { return m_peer; }
    // Waits until the first connection's close has reached the socket
    // events of this process; false if it did not.
    bool WaitUntilClosed()
    {
        while (m_closed == 0) {
            Sleep(1);
        }
        return peers::WaitForEarlierClosesToArrive();
    }

private:
    std::atomic<int> m_closed{0};
    peers::LoopbackPeer m_peer;
};

}  // namespace iostack_test
