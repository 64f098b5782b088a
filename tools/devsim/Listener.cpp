#include "devsim/Listener.h"

#include <ws2tcpip.h>

#include "common/ErrorText.h"

namespace devsim {

Listener::~Listener()
{
    if (m_socket != INVALID_SOCKET) {
        closesocket(m_socket);
    }
}

std::string Listener::NameOf(const sockaddr* address, int length)
{
    char host[NI_MAXHOST] = "?";
    char service[NI_MAXSERV] = "?";
    getnameinfo(address, static_cast<socklen_t>(length), host, sizeof(host), service, sizeof(service),
                NI_NUMERICHOST | NI_NUMERICSERV);
    const bool v6 = address->sa_family == AF_INET6;
    return (v6 ? "[" : "") + std::string(host) + (v6 ? "]:" : ":") + service;
}

bool Listener::Open(const std::string& address, unsigned short port, std::string* error)
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_PASSIVE;
    addrinfo* found = nullptr;
    if (getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &found) != 0 || found == nullptr) {
        *error = "'" + address + "' is no numeric address";
        return false;
    }
    m_socket = socket(found->ai_family, SOCK_STREAM, IPPROTO_TCP);
    BOOL exclusive = TRUE;
    u_long nonBlocking = 1;
    const bool ok = m_socket != INVALID_SOCKET
                    && setsockopt(m_socket, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&exclusive),
                                  sizeof(exclusive)) == 0
                    && bind(m_socket, found->ai_addr, static_cast<int>(found->ai_addrlen)) == 0
                    && listen(m_socket, SOMAXCONN) == 0 && ioctlsocket(m_socket, FIONBIO, &nonBlocking) == 0;
    freeaddrinfo(found);
    if (!ok) {
        *error = "cannot listen on " + address + ":" + std::to_string(port) + ": error "
                 + tools::ErrorText::Describe(static_cast<unsigned long>(WSAGetLastError()));
        return false;
    }
    sockaddr_storage bound{};
    int length = sizeof(bound);
    getsockname(m_socket, reinterpret_cast<sockaddr*>(&bound), &length);
    m_name = NameOf(reinterpret_cast<sockaddr*>(&bound), length);
    return true;
}

SOCKET Listener::Accept(std::string* peer)
{
    sockaddr_storage from{};
    int length = sizeof(from);
    const SOCKET accepted = accept(m_socket, reinterpret_cast<sockaddr*>(&from), &length);
    if (accepted == INVALID_SOCKET) {
        return INVALID_SOCKET;
    }
    u_long nonBlocking = 1;
    ioctlsocket(accepted, FIONBIO, &nonBlocking);
    *peer = NameOf(reinterpret_cast<sockaddr*>(&from), length);
    return accepted;
}

}  // namespace devsim
