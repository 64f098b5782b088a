#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include <string>

namespace wsdtest {

// A UDP socket of the test's own on a given address and port: the other
// side of a session, plain Winsock, no gSOAP.
class DatagramPeer {
public:
    DatagramPeer(const char* address, unsigned short port);
    ~DatagramPeer();
    DatagramPeer(const DatagramPeer&) = delete;
    DatagramPeer& operator=(const DatagramPeer&) = delete;

    bool Bound() const { return m_bound; }
    // One datagram, waiting at most `ms`; false when none came.
    bool Receive(std::string& datagram, unsigned ms = 5000);
    // To the sender of the last datagram received.
    bool Reply(const std::string& datagram);
    bool SendTo(const std::string& datagram, const char* address, unsigned short port);

private:
    SOCKET m_socket = INVALID_SOCKET;
    bool m_bound = false;
    sockaddr_storage m_from = {};
    int m_fromLength = 0;
};

// Waits for a session's read event and resets it, as a discovery thread
// does before it reads.
bool WaitAndReset(HANDLE readEvent, unsigned ms = 5000);

}  // namespace wsdtest
