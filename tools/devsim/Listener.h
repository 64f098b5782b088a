// A non-blocking listening TCP socket on one address and port.
#pragma once

#include <winsock2.h>

#include <string>

namespace devsim {

class Listener {
public:
    Listener() = default;
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    // Binds exclusively (a port in use is an error) and listens; false,
    // with the reason in *error, on failure. Port 0 picks a free port.
    bool Open(const std::string& address, unsigned short port, std::string* error);
    SOCKET Socket() const { return m_socket; }
    // "address:port" as bound.
    const std::string& Name() const { return m_name; }
    // A waiting connection, made non-blocking, with its peer's name;
    // INVALID_SOCKET when none waits.
    SOCKET Accept(std::string* peer);

    // "address:port" of a socket address.
    static std::string NameOf(const sockaddr* address, int length);

private:
    SOCKET m_socket = INVALID_SOCKET;
    std::string m_name;
};

}  // namespace devsim
