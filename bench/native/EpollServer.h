#pragma once

#include <cstddef>
#include <vector>

#include "TcpListener.h"

namespace bench {

// A loopback server in one thread: accepts any number of connections, all
// non-blocking under one epoll, reads each one dry whenever it is readable
// and closes it when the peer goes. What becomes of the bytes is up to the
// subclass; by default they are dropped.
class EpollServer {
public:
    // Each read takes up to `readSize` bytes.
    explicit EpollServer(size_t readSize) : m_buffer(readSize) {}
    virtual ~EpollServer() = default;

    bool Open(int low, int high) { return m_listener.Open(low, high); }
    int Port() const { return m_listener.Port(); }
    // Serves until the process ends.
    void Run();

protected:
    // Bytes that arrived on `connection`.
    virtual void Received(int /*connection*/, const char* /*data*/, size_t /*size*/) {}
    // `connection` has been read dry and is still open; false closes it.
    virtual bool Drained(int /*connection*/) { return true; }
    // `connection` has been closed.
    virtual void Closed(int /*connection*/) {}

private:
    // Reads until nothing more waits; false when the peer has gone.
    bool ReadDry(int connection);

    TcpListener m_listener;
    std::vector<char> m_buffer;
};

}  // namespace bench
