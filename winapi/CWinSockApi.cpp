#include "winapi/CWinSockApi.h"

namespace QVWinApi {

int CWinSockApi::WSAStartup(WORD wVersionRequested, LPWSADATA lpWSAData)
{
    return ::WSAStartup(wVersionRequested, lpWSAData);
}

INT CWinSockApi::WSAStringToAddressW(LPWSTR AddressString, INT AddressFamily,
        LPWSAPROTOCOL_INFOW lpProtocolInfo, LPSOCKADDR lpAddress, LPINT lpAddressLength)
{
    return ::WSAStringToAddressW(AddressString, AddressFamily, lpProtocolInfo, lpAddress, lpAddressLength);
}

int CWinSockApi::WSACleanup()
{
    return ::WSACleanup();
}

SOCKET CWinSockApi::WSASocketW(int af, int type, int protocol, LPWSAPROTOCOL_INFOW lpProtocolInfo,
        GROUP g, DWORD dwFlags)
{
    return ::WSASocketW(af, type, protocol, lpProtocolInfo, g, dwFlags);
}

int CWinSockApi::setsockopt(SOCKET s, int level, int optname, const char* optval, int optlen)
{
    return ::setsockopt(s, level, optname, optval, optlen);
}

WSAEVENT CWinSockApi::WSACreateEvent()
{
    return ::WSACreateEvent();
}

int CWinSockApi::WSAEventSelect(SOCKET s, WSAEVENT hEventObject, long lNetworkEvents)
{
    return ::WSAEventSelect(s, hEventObject, lNetworkEvents);
}

int CWinSockApi::WSAConnect(SOCKET s, const sockaddr* name, int namelen, LPWSABUF lpCallerData,
        LPWSABUF lpCalleeData, LPQOS lpSQOS, LPQOS lpGQOS)
{
    return ::WSAConnect(s, name, namelen, lpCallerData, lpCalleeData, lpSQOS, lpGQOS);
}

int CWinSockApi::WSAEnumNetworkEvents(SOCKET s, WSAEVENT hEventObject,
        LPWSANETWORKEVENTS lpNetworkEvents)
{
    return ::WSAEnumNetworkEvents(s, hEventObject, lpNetworkEvents);
}

BOOL CWinSockApi::WSAResetEvent(WSAEVENT hEvent)
{
    return ::WSAResetEvent(hEvent);
}

int CWinSockApi::shutdown(SOCKET s, int how)
{
    return ::shutdown(s, how);
}

int CWinSockApi::closesocket(SOCKET s)
{
    return ::closesocket(s);
}

BOOL CWinSockApi::WSACloseEvent(WSAEVENT hEvent)
{
    return ::WSACloseEvent(hEvent);
}

int CWinSockApi::WSADuplicateSocketW(SOCKET s, DWORD dwProcessId,
        LPWSAPROTOCOL_INFOW lpProtocolInfo)
{
    return ::WSADuplicateSocketW(s, dwProcessId, lpProtocolInfo);
}

int CWinSockApi::bind(SOCKET s, const sockaddr* name, int namelen)
{
    return ::bind(s, name, namelen);
}

int CWinSockApi::listen(SOCKET s, int backlog)
{
    return ::listen(s, backlog);
}

SOCKET CWinSockApi::accept(SOCKET s, sockaddr* addr, int* addrlen)
{
    return ::accept(s, addr, addrlen);
}

int CWinSockApi::recv(SOCKET s, char* buf, int len, int flags)
{
    return ::recv(s, buf, len, flags);
}

int CWinSockApi::send(SOCKET s, const char* buf, int len, int flags)
{
    return ::send(s, buf, len, flags);
}

int CWinSockApi::getaddrinfo(PCSTR pNodeName, PCSTR pServiceName, const ADDRINFOA* pHints,
        PADDRINFOA* ppResult)
{
    return ::getaddrinfo(pNodeName, pServiceName, pHints, ppResult);
}

void CWinSockApi::freeaddrinfo(PADDRINFOA pAddrInfo)
{
    ::freeaddrinfo(pAddrInfo);
}

INT CWinSockApi::WSAAddressToStringW(LPSOCKADDR lpsaAddress, DWORD dwAddressLength,
        LPWSAPROTOCOL_INFOW lpProtocolInfo, LPWSTR lpszAddressString,
        LPDWORD lpdwAddressStringLength)
{
    return ::WSAAddressToStringW(lpsaAddress, dwAddressLength, lpProtocolInfo, lpszAddressString, lpdwAddressStringLength);
}

int CWinSockApi::WSAGetLastError()
{
    return ::WSAGetLastError();
}

}  // namespace QVWinApi

namespace {

QVWinApi::CWinSockApi s_winSockApi;

}  // namespace

QVWinApi::IWinSockApi* g_pWinSockApi = &s_winSockApi;
