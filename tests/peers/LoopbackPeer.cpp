#include "peers/LoopbackPeer.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace peers {

void EnsureWinsock()
{
    static const bool started = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data) == 0;
    }();
    if (!started) {
        throw std::runtime_error("WSAStartup failed");
    }
}

LoopbackPeer::LoopbackPeer(Session session, PortChoice port, int backlog, bool acceptConnections)
    : m_session(std::move(session))
{
    EnsureWinsock();
    m_listener = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bool bound = false;
    if (port == PortChoice::Ephemeral) {
        bound = bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
    }
    if (port != PortChoice::Ephemeral) {
        const unsigned short highest = port == PortChoice::StreamRange ? 9100 : 8080;
        for (unsigned short candidate = highest; !bound && candidate >= highest - 1100; --candidate) {
            address.sin_port = htons(candidate);
            bound = bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
        }
    }
    if (!bound) {
        throw std::runtime_error("loopback listener could not be set up");
    }
    Listen(address, backlog, acceptConnections);
}

LoopbackPeer::LoopbackPeer(Session session, unsigned long loopbackAddress, unsigned short port)
    : m_session(std::move(session))
{
    EnsureWinsock();
    m_listener = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(loopbackAddress);
    address.sin_port = htons(port);
    if (bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        throw std::runtime_error("loopback listener could not be bound: " + std::to_string(WSAGetLastError()));
    }
    Listen(address, SOMAXCONN, true);
}

void LoopbackPeer::Listen(sockaddr_in address, int backlog, bool acceptConnections)
{
    int length = sizeof(address);
    if (m_listener == INVALID_SOCKET || listen(m_listener, backlog) != 0
        || getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::runtime_error("loopback listener could not be set up");
    }
    m_port = ntohs(address.sin_port);
    m_acceptThread = std::thread(&LoopbackPeer::AcceptLoop, this, acceptConnections);
}

void LoopbackPeer::Endless(PeerSocket& s)
{
    const std::string filler(4096, 'z');
    while (s.Send(filler)) {
    }
}

LoopbackPeer::~LoopbackPeer()
{
    m_stopping = true;
    m_acceptThread.join();
    closesocket(m_listener);
    for (auto& t : m_sessions) {
        t.join();
    }
    for (SOCKET s : m_connections) {
        closesocket(s);
    }
}

std::wstring LoopbackPeer::ServiceAddress() const
{
    return L"127.0.0.1:" + std::to_wstring(m_port);
}

bool LoopbackPeer::WaitAccepted(int count, unsigned ms)
{
    std::unique_lock<std::mutex> guard(m_lock);
    return m_acceptedChanged.wait_for(guard, std::chrono::milliseconds(ms),
                                      [&] { return m_accepted.load() >= count; });
}

void LoopbackPeer::AcceptLoop(bool acceptConnections)
{
    // Polls, so that stopping never depends on a blocked accept waking up.
    while (!m_stopping) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(m_listener, &readable);
        timeval slice{0, 20000};
        if (select(0, &readable, nullptr, nullptr, &slice) != 1 || !acceptConnections) {
            // Without accepting, connections stay in the backlog.
            if (!acceptConnections) {
                Sleep(20);
            }
            continue;
        }
        SOCKET s = accept(m_listener, nullptr, nullptr);
        if (s == INVALID_SOCKET) {
            continue;
        }
        std::lock_guard<std::mutex> guard(m_lock);
        m_connections.push_back(s);
        m_sessions.emplace_back(&LoopbackPeer::RunSession, this, s);
        ++m_accepted;
        m_acceptedChanged.notify_all();
    }
}

void LoopbackPeer::RunSession(SOCKET s)
{
    PeerSocket peerSocket(s, m_stopping);
    m_session(peerSocket);
    if (peerSocket.WasReset()) {
        std::lock_guard<std::mutex> guard(m_lock);
        m_connections.erase(std::find(m_connections.begin(), m_connections.end(), s));
    }
}

void PeerSocket::Reset()
{
    // A zero linger time makes the close send a reset.
    const linger abortive{1, 0};
    setsockopt(socket, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&abortive), sizeof(abortive));
    closesocket(socket);
    m_reset = true;
}

int PeerSocket::Receive(char* buffer, int size)
{
    while (!m_stopping) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(socket, &readable);
        timeval slice{0, 20000};
        const int ready = select(0, &readable, nullptr, nullptr, &slice);
        if (ready < 0) {
            return 0;
        }
        if (ready == 1) {
            const int n = recv(socket, buffer, size, 0);
            return n > 0 ? n : 0;
        }
    }
    return 0;
}

bool PeerSocket::Send(const void* data, int size)
{
    return send(socket, static_cast<const char*>(data), size, 0) == size;
}

void LoopbackPeer::Echo(PeerSocket& s)
{
    char buffer[4096];
    int n;
    while ((n = s.Receive(buffer, sizeof(buffer))) > 0) {
        if (!s.Send(buffer, n)) {
            return;
        }
    }
}

void LoopbackPeer::CloseAtOnce(PeerSocket& s)
{
    shutdown(s.socket, SD_BOTH);
}

void LoopbackPeer::Silent(PeerSocket& s)
{
    char buffer[4096];
    while (s.Receive(buffer, sizeof(buffer)) > 0) {
    }
}

LoopbackPeer::Session LoopbackPeer::Record(std::string* sink, std::mutex* lock)
{
    return [sink, lock](PeerSocket& s) {
        char buffer[65536];
        int n;
        while ((n = s.Receive(buffer, sizeof(buffer))) > 0) {
            std::lock_guard<std::mutex> guard(*lock);
            sink->append(buffer, n);
        }
    };
}

LoopbackPeer::Session LoopbackPeer::Reply(std::string reply)
{
    return [reply](PeerSocket& s) {
        s.Send(reply);
        Silent(s);
    };
}

}  // namespace peers
