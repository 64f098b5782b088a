#include "peers/LoopbackPeer.h"

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

LoopbackPeer::LoopbackPeer(Session session, int backlog, bool acceptConnections)
    : m_session(std::move(session))
{
    EnsureWinsock();
    m_listener = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int length = sizeof(address);
    if (m_listener == INVALID_SOCKET
        || bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0
        || listen(m_listener, backlog) != 0
        || getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::runtime_error("loopback listener could not be set up");
    }
    m_port = ntohs(address.sin_port);
    m_acceptThread = std::thread(&LoopbackPeer::AcceptLoop, this, acceptConnections);
}

LoopbackPeer::~LoopbackPeer()
{
    m_stopping = true;
    closesocket(m_listener);
    m_acceptThread.join();
    {
        std::lock_guard<std::mutex> guard(m_lock);
        for (SOCKET s : m_connections) {
            shutdown(s, SD_BOTH);
        }
    }
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
    if (!acceptConnections) {
        // Connections stay in the backlog until the listener closes.
        while (!m_stopping) {
            Sleep(10);
        }
        return;
    }
    for (;;) {
        SOCKET s = accept(m_listener, nullptr, nullptr);
        if (s == INVALID_SOCKET) {
            return;
        }
        std::lock_guard<std::mutex> guard(m_lock);
        if (m_stopping) {
            closesocket(s);
            return;
        }
        m_connections.push_back(s);
        m_sessions.emplace_back(m_session, s);
        ++m_accepted;
        m_acceptedChanged.notify_all();
    }
}

void LoopbackPeer::Echo(SOCKET s)
{
    char buffer[4096];
    int n;
    while ((n = recv(s, buffer, sizeof(buffer), 0)) > 0) {
        if (send(s, buffer, n, 0) != n) {
            return;
        }
    }
}

void LoopbackPeer::CloseAtOnce(SOCKET s)
{
    shutdown(s, SD_BOTH);
}

void LoopbackPeer::Silent(SOCKET s)
{
    char buffer[4096];
    while (recv(s, buffer, sizeof(buffer), 0) > 0) {
    }
}

LoopbackPeer::Session LoopbackPeer::Record(std::string* sink, std::mutex* lock)
{
    return [sink, lock](SOCKET s) {
        char buffer[65536];
        int n;
        while ((n = recv(s, buffer, sizeof(buffer), 0)) > 0) {
            std::lock_guard<std::mutex> guard(*lock);
            sink->append(buffer, n);
        }
    };
}

LoopbackPeer::Session LoopbackPeer::Reply(std::string reply)
{
    return [reply](SOCKET s) {
        send(s, reply.data(), static_cast<int>(reply.size()), 0);
        Silent(s);
    };
}

}  // namespace peers
