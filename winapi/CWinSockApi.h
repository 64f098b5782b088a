#pragma once

#include "winapi/IWinSockApi.h"

namespace QVWinApi {

// Forwards each operation unchanged to the platform function of its name.
class CWinSockApi : public IWinSockApi {
public:
    constexpr CWinSockApi() = default;

    int WSAStartup(WORD wVersionRequested, LPWSADATA lpWSAData) override;
    INT WSAStringToAddressW(LPWSTR AddressString, INT AddressFamily,
            LPWSAPROTOCOL_INFOW lpProtocolInfo, LPSOCKADDR lpAddress,
            LPINT lpAddressLength) override;
    int WSACleanup() override;
    SOCKET WSASocketW(int af, int type, int protocol, LPWSAPROTOCOL_INFOW lpProtocolInfo, GROUP g,
            DWORD dwFlags) override;
    int setsockopt(SOCKET s, int level, int optname, const char* optval, int optlen) override;
    WSAEVENT WSACreateEvent() override;
    int WSAEventSelect(SOCKET s, WSAEVENT hEventObject, long lNetworkEvents) override;
    int WSAConnect(SOCKET s, const sockaddr* name, int namelen, LPWSABUF lpCallerData,
            LPWSABUF lpCalleeData, LPQOS lpSQOS, LPQOS lpGQOS) override;
    int WSAEnumNetworkEvents(SOCKET s, WSAEVENT hEventObject,
            LPWSANETWORKEVENTS lpNetworkEvents) override;
    BOOL WSAResetEvent(WSAEVENT hEvent) override;
    int shutdown(SOCKET s, int how) override;
    int closesocket(SOCKET s) override;
    BOOL WSACloseEvent(WSAEVENT hEvent) override;
    int WSADuplicateSocketW(SOCKET s, DWORD dwProcessId,
            LPWSAPROTOCOL_INFOW lpProtocolInfo) override;
    int bind(SOCKET s, const sockaddr* name, int namelen) override;
    int listen(SOCKET s, int backlog) override;
    SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen) override;
    int recv(SOCKET s, char* buf, int len, int flags) override;
    int send(SOCKET s, const char* buf, int len, int flags) override;
    int getaddrinfo(PCSTR pNodeName, PCSTR pServiceName, const ADDRINFOA* pHints,
            PADDRINFOA* ppResult) override;
    void freeaddrinfo(PADDRINFOA pAddrInfo) override;
    INT WSAAddressToStringW(LPSOCKADDR lpsaAddress, DWORD dwAddressLength,
            LPWSAPROTOCOL_INFOW lpProtocolInfo, LPWSTR lpszAddressString,
            LPDWORD lpdwAddressStringLength) override;
    int WSAGetLastError() override;
};

}  // namespace QVWinApi
