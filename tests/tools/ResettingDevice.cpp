#include "tools/ResettingDevice.h"

#include "peers/LoopbackPeer.h"

namespace toolstest {

ResettingDevice::ResettingDevice(size_t bytes)
{
    peers::EnsureWinsock();
    m_listener = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    for (unsigned short port = 9100; port >= 8000 && m_port == 0; --port) {
        address.sin_port = htons(port);
        if (bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0
            && listen(m_listener, 1) == 0) {
            m_port = port;
        }
    }
    m_thread = std::thread([this, bytes] { Serve(bytes); });
}

ResettingDevice::~ResettingDevice()
{
    m_thread.join();
    closesocket(m_listener);
}

void ResettingDevice::Serve(size_t bytes)
{
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(m_listener, &readable);
    timeval wait{20, 0};
    if (m_port == 0 || select(0, &readable, nullptr, nullptr, &wait) != 1) {
        return;
    }
    SOCKET s = accept(m_listener, nullptr, nullptr);
    char buffer[65536];
    int got = 0;
    while (m_received < bytes && (got = recv(s, buffer, sizeof(buffer), 0)) > 0) {
        m_received += static_cast<size_t>(got);
    }
    // A zero linger time makes the close a reset.
    const linger abortive{1, 0};
    setsockopt(s, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&abortive), sizeof(abortive));
    closesocket(s);
}

}  // namespace toolstest
