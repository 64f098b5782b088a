#pragma once

namespace bench {

// A listening TCP socket on 127.0.0.1, bound to the first free port of a
// range, tried from a random place in it.
class TcpListener {
public:
    TcpListener() = default;
    ~TcpListener();
    TcpListener(const TcpListener&) = delete;
    TcpListener& operator=(const TcpListener&) = delete;

    // False when no port of [low, high] could be bound.
    bool Open(int low, int high);
    int Socket() const { return m_socket; }
    int Port() const { return m_port; }

    // A connected socket to 127.0.0.1:port, blocking; -1 on failure.
    static int Connect(int port);

private:
    int m_socket = -1;
    int m_port = 0;
};

}  // namespace bench
