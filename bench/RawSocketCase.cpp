#include "RawSocketCase.h"

#include <ws2tcpip.h>

namespace bench {

RawSocketCase::~RawSocketCase()
{
    End();
}

bool RawSocketCase::Begin()
{
    m_socket = WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, WSA_FLAG_OVERLAPPED);
    m_event = WSACreateEvent();
    if (m_socket == INVALID_SOCKET || m_event == WSA_INVALID_EVENT) {
        return false;
    }
    if (m_receiveBuffer != 0
        && setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, reinterpret_cast<const char*>(&m_receiveBuffer),
                      sizeof(m_receiveBuffer)) != 0) {
        return false;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<u_short>(Port()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return connect(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
}

unsigned long long RawSocketCase::Step()
{
    WSABUF chunk{static_cast<ULONG>(Chunk().size()), Chunk().data()};
    WSAOVERLAPPED overlapped{};
    overlapped.hEvent = m_event;
    DWORD done = 0;
    DWORD flags = 0;
    const int result = Writes()
        ? WSASend(m_socket, &chunk, 1, &done, 0, &overlapped, nullptr)
        : WSARecv(m_socket, &chunk, 1, &done, &flags, &overlapped, nullptr);
    if (result == 0) {
        return done;
    }
    if (WSAGetLastError() != WSA_IO_PENDING
        || !WSAGetOverlappedResult(m_socket, &overlapped, &done, TRUE, &flags)) {
        return 0;
    }
    return done;
}

void RawSocketCase::End()
{
    if (m_socket != INVALID_SOCKET) {
        closesocket(m_socket);
        m_socket = INVALID_SOCKET;
    }
    if (m_event != WSA_INVALID_EVENT) {
        WSACloseEvent(m_event);
        m_event = WSA_INVALID_EVENT;
    }
}

}  // namespace bench
