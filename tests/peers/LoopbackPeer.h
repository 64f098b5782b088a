#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace peers {

// The device's side of one accepted connection. Receive waits in short
// slices, so that a session ends when its peer is stopped: under Wine a
// blocked recv does not wake when another thread shuts the socket down.
class PeerSocket {
public:
    PeerSocket(SOCKET s, const std::atomic<bool>& stopping) : socket(s), m_stopping(stopping) {}
    // Bytes received; 0 when the other side closed or the peer stops.
    int Receive(char* buffer, int size);
    bool Send(const void* data, int size);
    bool Send(const std::string& data) { return Send(data.data(), static_cast<int>(data.size())); }
    // Ends the connection with a reset rather than a close: the other side's
    // transfers under way fail. The peer does not close the socket again.
    void Reset();
    bool WasReset() const { return m_reset; }

    const SOCKET socket;

private:
    const std::atomic<bool>& m_stopping;
    bool m_reset = false;
};

// A TCP peer on 127.0.0.1 with an ephemeral port, run on threads of the test
// process. Each accepted connection runs the session function on a thread of
// its own; the destructor stops every session and joins.
class LoopbackPeer {
public:
    using Session = std::function<void(PeerSocket&)>;

    enum class PortChoice { Ephemeral, StreamRange, HTTPRange };

    // StreamRange takes a free port from 9100 downwards, within the ports
    // on which an address makes streams; HTTPRange one from 8080 downwards,
    // within those on which it makes HTTP requests.
    explicit LoopbackPeer(Session session, PortChoice port = PortChoice::Ephemeral, int backlog = SOMAXCONN,
                          bool acceptConnections = true);
    // At a fixed port of another loopback address ("127.x.y.z", host
    // order), for a device whose port the caller cannot choose.
    LoopbackPeer(Session session, unsigned long loopbackAddress, unsigned short port);
    ~LoopbackPeer();
    LoopbackPeer(const LoopbackPeer&) = delete;
    LoopbackPeer& operator=(const LoopbackPeer&) = delete;

    unsigned short Port() const { return m_port; }
    // "127.0.0.1:port", the text a device address is made from.
    std::wstring ServiceAddress() const;
    int Accepted() const { return m_accepted.load(); }
    // Waits until `count` connections were accepted; false after `ms`.
    bool WaitAccepted(int count, unsigned ms = 5000);

    // Sessions.
    static void Echo(PeerSocket& s);
    static void CloseAtOnce(PeerSocket& s);
    static void Silent(PeerSocket& s);
    // Reads everything into `sink` until the other side closes.
    static Session Record(std::string* sink, std::mutex* lock);
    // Sends `reply`, then reads until the other side closes.
    static Session Reply(std::string reply);

    // Sends filler bytes until the other side closes: a device that always
    // has more to say.
    static void Endless(PeerSocket& s);

private:
    void Listen(sockaddr_in address, int backlog, bool acceptConnections);
    void AcceptLoop(bool acceptConnections);
    void RunSession(SOCKET s);

    Session m_session;
    SOCKET m_listener = INVALID_SOCKET;
    unsigned short m_port = 0;
    std::atomic<int> m_accepted{0};
    std::atomic<bool> m_stopping{false};
    std::mutex m_lock;
    std::condition_variable m_acceptedChanged;
    std::vector<SOCKET> m_connections;
    std::vector<std::thread> m_sessions;
    std::thread m_acceptThread;
};

// Winsock for the test process: started once, for the process's lifetime.
void EnsureWinsock();

}  // namespace peers
