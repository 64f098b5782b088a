#include "discovery/DatagramPeer.h"

#include "peers/LoopbackPeer.h"

namespace wsdtest {

namespace {

bool ToAddress(const char* address, unsigned short port, sockaddr_storage& out, int& length)
{
    addrinfo hints = {};
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_flags = AI_NUMERICHOST;
    addrinfo* result = nullptr;
    if (getaddrinfo(address, std::to_string(port).c_str(), &hints, &result) != 0 || result == nullptr) {
        return false;
    }
    memcpy(&out, result->ai_addr, result->ai_addrlen);
    length = static_cast<int>(result->ai_addrlen);
    freeaddrinfo(result);
    return true;
}

}  // namespace

DatagramPeer::DatagramPeer(const char* address, unsigned short port)
{
    peers::EnsureWinsock();
    sockaddr_storage local;
    int length = 0;
    if (!ToAddress(address, port, local, length)) {
        return;
    }
    m_socket = socket(local.ss_family, SOCK_DGRAM, IPPROTO_UDP);
    m_bound = m_socket != INVALID_SOCKET && bind(m_socket, reinterpret_cast<sockaddr*>(&local), length) == 0;
}

DatagramPeer::~DatagramPeer()
{
    if (m_socket != INVALID_SOCKET) {
        closesocket(m_socket);
    }
}

bool DatagramPeer::Receive(std::string& datagram, unsigned ms)
{
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(m_socket, &readable);
    timeval timeout = {static_cast<long>(ms / 1000), static_cast<long>(ms % 1000) * 1000};
    if (select(0, &readable, nullptr, nullptr, &timeout) != 1) {
        return false;
    }
    datagram.resize(65536);
    m_fromLength = sizeof(m_from);
    const int got = recvfrom(m_socket, &datagram[0], static_cast<int>(datagram.size()), 0,
                             reinterpret_cast<sockaddr*>(&m_from), &m_fromLength);
    if (got < 0) {
        return false;
    }
    datagram.resize(got);
    return true;
}

bool DatagramPeer::Reply(const std::string& datagram)
{
    return sendto(m_socket, datagram.data(), static_cast<int>(datagram.size()), 0,
                  reinterpret_cast<const sockaddr*>(&m_from), m_fromLength)
        == static_cast<int>(datagram.size());
}

bool DatagramPeer::SendTo(const std::string& datagram, const char* address, unsigned short port)
{
    sockaddr_storage to;
    int length = 0;
    return ToAddress(address, port, to, length)
        && sendto(m_socket, datagram.data(), static_cast<int>(datagram.size()), 0,
                  reinterpret_cast<const sockaddr*>(&to), length)
               == static_cast<int>(datagram.size());
}

bool WaitAndReset(HANDLE readEvent, unsigned ms)
{
    if (readEvent == nullptr || WaitForSingleObject(readEvent, ms) != WAIT_OBJECT_0) {
        return false;
    }
    return WSAResetEvent(readEvent) != FALSE;
}

}  // namespace wsdtest
