#include "peers/ClosedPort.h"

#include "peers/LoopbackPeer.h"

namespace peers {

ClosedPort::ClosedPort(unsigned short highest, unsigned short lowest)
{
    EnsureWinsock();
    m_socket = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    for (unsigned port = highest; port >= lowest && m_port == 0; --port) {
        address.sin_port = htons(static_cast<unsigned short>(port));
        if (bind(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0) {
            m_port = static_cast<unsigned short>(port);
        }
    }
}

ClosedPort::~ClosedPort()
{
    closesocket(m_socket);
}

}  // namespace peers
