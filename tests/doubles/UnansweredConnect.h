#pragma once

#include "winapi/CWinSockApi.h"

namespace doubles {

// Winsock whose connect never reaches the network: WSAConnect fails, and
// the last error is `error` from then on. With WSAEWOULDBLOCK the connect
// looks pending, and its event never fires. Everything else reaches the
// platform.
class UnansweredConnect : public QVWinApi::CWinSockApi {
public:
    explicit UnansweredConnect(int error) : m_error(error) {}

    int WSAConnect(SOCKET, const sockaddr*, int, LPWSABUF, LPWSABUF, LPQOS, LPQOS) override
    {
        return SOCKET_ERROR;
    }
    int WSAGetLastError() override { return m_error; }

private:
    int m_error;
};

}  // namespace doubles
