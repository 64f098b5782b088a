#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

namespace QVWinApi {

// Winsock 2 and name resolution.
// Operations in slot order, the destructor last.
class IWinSockApi {
public:
    virtual int WSAStartup(WORD wVersionRequested, LPWSADATA lpWSAData) = 0;
    virtual INT WSAStringToAddressW(LPWSTR AddressString, INT AddressFamily,
            LPWSAPROTOCOL_INFOW lpProtocolInfo, LPSOCKADDR lpAddress, LPINT lpAddressLength) = 0;
    virtual int WSACleanup() = 0;
    virtual SOCKET WSASocketW(int af, int type, int protocol, LPWSAPROTOCOL_INFOW lpProtocolInfo,
            GROUP g, DWORD dwFlags) = 0;
    virtual int setsockopt(SOCKET s, int level, int optname, const char* optval, int optlen) = 0;
    virtual WSAEVENT WSACreateEvent() = 0;
    virtual int WSAEventSelect(SOCKET s, WSAEVENT hEventObject, long lNetworkEvents) = 0;
    virtual int WSAConnect(SOCKET s, const sockaddr* name, int namelen, LPWSABUF lpCallerData,
            LPWSABUF lpCalleeData, LPQOS lpSQOS, LPQOS lpGQOS) = 0;
    virtual int WSAEnumNetworkEvents(SOCKET s, WSAEVENT hEventObject,
            LPWSANETWORKEVENTS lpNetworkEvents) = 0;
    virtual BOOL WSAResetEvent(WSAEVENT hEvent) = 0;
    virtual int shutdown(SOCKET s, int how) = 0;
    virtual int closesocket(SOCKET s) = 0;
    virtual BOOL WSACloseEvent(WSAEVENT hEvent) = 0;
    virtual int WSADuplicateSocketW(SOCKET s, DWORD dwProcessId,
            LPWSAPROTOCOL_INFOW lpProtocolInfo) = 0;
    virtual int bind(SOCKET s, const sockaddr* name, int namelen) = 0;
    virtual int listen(SOCKET s, int backlog) = 0;
    virtual SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen) = 0;
    virtual int recv(SOCKET s, char* buf, int len, int flags) = 0;
    virtual int send(SOCKET s, const char* buf, int len, int flags) = 0;
    virtual int getaddrinfo(PCSTR pNodeName, PCSTR pServiceName, const ADDRINFOA* pHints,
            PADDRINFOA* ppResult) = 0;
    virtual void freeaddrinfo(PADDRINFOA pAddrInfo) = 0;
    virtual INT WSAAddressToStringW(LPSOCKADDR lpsaAddress, DWORD dwAddressLength,
            LPWSAPROTOCOL_INFOW lpProtocolInfo, LPWSTR lpszAddressString,
            LPDWORD lpdwAddressStringLength) = 0;
    virtual int WSAGetLastError() = 0;
    virtual ~IWinSockApi() = default;
};

}  // namespace QVWinApi

// The object through which the logic reaches these services.
extern QVWinApi::IWinSockApi* g_pWinSockApi;
