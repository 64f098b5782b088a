#include "discovery/CWSDSession.h"

#include <ws2tcpip.h>

#include "discovery/WSDAddress.h"
#include "discovery/WSDConstants.h"
#include "discovery/WSDNamespaces.h"
#include "logging/LogTrace.h"
#include "winapi/IWinSockApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDiscovery {

namespace {

constexpr unsigned long kCacheCapacity = 1000;
constexpr int kIPv6AddressLength = 28;

}  // namespace

CWSDSession::CWSDSession() : m_cache(kCacheCapacity)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CWSDSession::CWSDSession");
    soap_init(&m_soap);
    soap_set_namespaces(&m_soap, g_WSDNamespaces);
    // Texts stay UTF-8 both ways, as on the wire: without SOAP_C_UTFSTRING
    // gSOAP reads them into Latin-1 and writes them out as if they were.
    m_soap.mode = m_soap.imode = m_soap.omode = SOAP_IO_UDP | SOAP_C_UTFSTRING;
    // The receive path is only entered when the read event says that data
    // is there, and must never wait: -1 is one microsecond to gSOAP.
    m_soap.recv_timeout = -1;
}

CWSDSession::~CWSDSession()
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CWSDSession::~CWSDSession");
    if (m_hReadEvent != nullptr) {
        g_pWinSockApi->WSACloseEvent(m_hReadEvent);
    }
    soap_destroy(&m_soap);
    soap_end(&m_soap);
    soap_done(&m_soap);
}

HANDLE CWSDSession::GetReadEvent()
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CWSDSession::GetReadEvent");
    if (!soap_valid_socket(m_soap.socket)) {
        return nullptr;
    }
    if (m_hReadEvent != nullptr) {
        return m_hReadEvent;
    }
    HANDLE event = g_pWinSockApi->WSACreateEvent();
    if (event == WSA_INVALID_EVENT) {
        QV_LOG_ERROR(L"WSACreateEvent failed, err=%d", g_pWinSockApi->WSAGetLastError());
        return nullptr;
    }
    if (g_pWinSockApi->WSAEventSelect(m_soap.socket, event, FD_READ) == SOCKET_ERROR) {
        QV_LOG_ERROR(L"WSAEventSelect failed, err=%d", g_pWinSockApi->WSAGetLastError());
        g_pWinSockApi->WSACloseEvent(event);
        return nullptr;
    }
    m_hReadEvent = event;
    return m_hReadEvent;
}

bool CWSDSession::Bind(const char* localAddress)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CWSDSession::Bind");
    // The discovery port is shared with the system's own listener.
    m_soap.bind_flags = SO_REUSEADDR;
    if (!soap_valid_socket(soap_bind(&m_soap, localAddress, kWSDPort, 0))) {
        QV_LOG_ERROR(L"soap_bind(%S, %ld) failed, err=%d", localAddress ? localAddress : "(null)", kWSDPort,
                     m_soap.error);
        return false;
    }
    return true;
}

bool CWSDSession::AddMembership(const char* localAddress, const char* groupAddress)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CWSDSession::AddMembership");
    if (IsIPv6Address(localAddress)) {
        ipv6_mreq request = {};
        ADDRINFOA* result = nullptr;
        if (g_pWinSockApi->getaddrinfo(groupAddress, nullptr, nullptr, &result) == 0 && result != nullptr) {
            if (result->ai_addrlen == kIPv6AddressLength) {
                request.ipv6mr_multiaddr = reinterpret_cast<const sockaddr_in6*>(result->ai_addr)->sin6_addr;
            }
            g_pWinSockApi->freeaddrinfo(result);
        }
        request.ipv6mr_interface = InterfaceIndexOf(localAddress);
        if (g_pWinSockApi->setsockopt(m_soap.master, IPPROTO_IPV6, IPV6_ADD_MEMBERSHIP,
                                      reinterpret_cast<const char*>(&request), sizeof(request)) != 0) {
            QV_LOG_ERROR(L"setsockopt(IPV6_ADD_MEMBERSHIP, %S) failed, err=%d", groupAddress,
                         g_pWinSockApi->WSAGetLastError());
            return false;
        }
        return true;
    }
    ip_mreq request = {};
    request.imr_multiaddr.s_addr = ::inet_addr(groupAddress);
    request.imr_interface.s_addr = ::inet_addr(localAddress);
    if (g_pWinSockApi->setsockopt(m_soap.master, IPPROTO_IP, IP_ADD_MEMBERSHIP,
                                  reinterpret_cast<const char*>(&request), sizeof(request)) != 0) {
        QV_LOG_ERROR(L"setsockopt(IP_ADD_MEMBERSHIP, %S) failed, err=%d", groupAddress,
                     g_pWinSockApi->WSAGetLastError());
        return false;
    }
    return true;
}

}  // namespace QVDiscovery
