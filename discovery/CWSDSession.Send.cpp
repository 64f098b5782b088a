// The requests: a Probe to a group or directed to one device, a Resolve to
// a group.
#include "discovery/CWSDSession.h"

#include <ws2tcpip.h>

#include <cstdio>

#include "discovery/CMessageId.h"
#include "discovery/WSDAddress.h"
#include "discovery/WSDConstants.h"
#include "logging/LogTrace.h"
#include "winapi/IWinSockApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDiscovery {

namespace {

constexpr size_t kEndpointSize = 1024;
// The reply of a directed Probe, in seconds (gSOAP's unit for positive values).
constexpr int kDirectedReceiveTimeout = 1000;

// The header of a request: its identifier, the anonymous reply address,
// the discovery destination and the action. It hangs on the context while
// the message is written.
class CRequestHeader {
public:
    CRequestHeader(struct soap* soap, std::string& messageId, const char* action) : m_soap(soap)
    {
        soap_default_wsa__EndpointReferenceType(soap, &m_replyTo);
        m_replyTo.wsa__Address = const_cast<char*>(kWSAAnonymous);
        soap_default_SOAP_ENV__Header(soap, &m_header);
        m_header.wsa__MessageID = &messageId[0];
        m_header.wsa__ReplyTo = &m_replyTo;
        m_header.wsa__To = const_cast<char*>(kWSDiscoveryTo);
        m_header.wsa__Action = const_cast<char*>(action);
        soap->header = &m_header;
    }
    ~CRequestHeader() { m_soap->header = nullptr; }
    CRequestHeader(const CRequestHeader&) = delete;
    CRequestHeader& operator=(const CRequestHeader&) = delete;

private:
    struct soap* m_soap;
    struct wsa__EndpointReferenceType m_replyTo;
    struct SOAP_ENV__Header m_header;
};

void FormatEndpoint(char (&endpoint)[kEndpointSize], const char* ipv4Template, const char* ipv6Template,
                    const char* address)
{
    std::snprintf(endpoint, kEndpointSize, IsIPv6Address(address) ? ipv6Template : ipv4Template, address,
                  kWSDPort);
}

// The outgoing interface of multicast: gSOAP does not apply its own option
// to a socket it did not open itself, so the session sets it.
int SetMulticastInterface(SOCKET socket, const char* localAddress)
{
    int status;
    if (IsIPv6Address(localAddress)) {
        const DWORD index = InterfaceIndexOf(localAddress);
        status = g_pWinSockApi->setsockopt(socket, IPPROTO_IPV6, IPV6_MULTICAST_IF,
                                           reinterpret_cast<const char*>(&index), sizeof(index));
    } else {
        const unsigned long address = ::inet_addr(localAddress);
        status = g_pWinSockApi->setsockopt(socket, IPPROTO_IP, IP_MULTICAST_IF,
                                           reinterpret_cast<const char*>(&address), sizeof(address));
    }
    return status == 0 ? 0 : g_pWinSockApi->WSAGetLastError();
}

}  // namespace

template <typename Body>
bool CWSDSession::Write(const Body& body, const char* tag,
                        int (*out)(struct soap*, const char*, int, const Body*, const char*))
{
    if (soap_envelope_begin_out(&m_soap) || soap_putheader(&m_soap) || soap_body_begin_out(&m_soap)
        || out(&m_soap, tag, -1, &body, "") || soap_body_end_out(&m_soap) || soap_envelope_end_out(&m_soap)
        || soap_end_send(&m_soap)) {
        soap_closesock(&m_soap);
        return false;
    }
    return true;
}

bool CWSDSession::SendProbe(const char* localAddress, const char* targetAddress, const char* types,
                            int connectFlags)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CWSDSession::SendProbe");
    if (!CMessageId::Create(m_messageId)) {
        QV_LOG_ERROR(L"CMessageId::Create() failed");
        return false;
    }
    const CRequestHeader header(&m_soap, m_messageId, kWSDProbeAction);
    const bool multicast = (connectFlags & SO_BROADCAST) != 0;
    struct wsd__ProbeType probe;
    soap_default_wsd__ProbeType(&m_soap, &probe);
    // A directed Probe names no types: the device answers for itself.
    if (multicast) {
        probe.wsd__Types = const_cast<char*>(types ? types : kWSDDefaultTypes);
    }
    m_soap.connect_flags = connectFlags;
    m_soap.encodingStyle = nullptr;
    soap_begin(&m_soap);
    soap_serializeheader(&m_soap);
    soap_serialize_wsd__ProbeType(&m_soap, &probe);

    char endpoint[kEndpointSize] = {};
    if (multicast) {
        FormatEndpoint(endpoint, kWSDUdpTemplateIPv4, kWSDUdpTemplateIPv6, targetAddress);
        if (soap_connect(&m_soap, endpoint, nullptr) != SOAP_OK) {
            QV_LOG_ERROR(L"soap_connect(%S) failed, err=%d", endpoint, m_soap.error);
            return false;
        }
        if (localAddress != nullptr && *localAddress != '\0') {
            if (const int error = SetMulticastInterface(m_soap.socket, localAddress)) {
                QV_LOG_ERROR(IsIPv6Address(localAddress) ? L"setsockopt(IPV6_MULTICAST_IF) failed, err=%d"
                                                         : L"setsockopt(IP_MULTICAST_IF) failed, err=%d",
                             error);
                return false;
            }
        }
    } else {
        // Over HTTP: gSOAP leaves UDP of itself for an "http:" endpoint.
        FormatEndpoint(endpoint, kWSDDirectedTemplateIPv4, kWSDDirectedTemplateIPv6, targetAddress);
        if (soap_connect(&m_soap, endpoint, nullptr) != SOAP_OK) {
            QV_LOG_ERROR(L"soap_connect(%S) failed, err=%d", endpoint, m_soap.error);
            return false;
        }
        m_soap.recv_timeout = kDirectedReceiveTimeout;
    }
    return Write(probe, "wsd:Probe", &soap_out_wsd__ProbeType);
}

bool CWSDSession::SendResolve(const char* localAddress, const char* groupAddress, const char* deviceId)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CWSDSession::SendResolve");
    if (!CMessageId::Create(m_messageId)) {
        QV_LOG_ERROR(L"CMessageId::Create() failed");
        return false;
    }
    char endpoint[kEndpointSize] = {};
    FormatEndpoint(endpoint, kWSDUdpTemplateIPv4, kWSDUdpTemplateIPv6, groupAddress);
    const CRequestHeader header(&m_soap, m_messageId, kWSDResolveAction);
    struct wsd__ResolveType resolve;
    soap_default_wsd__ResolveType(&m_soap, &resolve);
    resolve.wsa__EndpointReference.wsa__Address = const_cast<char*>(deviceId);
    m_soap.connect_flags = SO_BROADCAST;
    m_soap.encodingStyle = nullptr;
    soap_begin(&m_soap);
    soap_serializeheader(&m_soap);
    soap_serialize_wsd__ResolveType(&m_soap, &resolve);
    if (soap_connect(&m_soap, endpoint, nullptr) != SOAP_OK) {
        QV_LOG_ERROR(L"soap_connect(%S) failed, err=%d", endpoint, m_soap.error);
        return false;
    }
    if (localAddress != nullptr && *localAddress != '\0') {
        if (const int error = SetMulticastInterface(m_soap.socket, localAddress)) {
            QV_LOG_ERROR(IsIPv6Address(localAddress) ? L"setsockopt(IPV6_MULTICAST_IF) failed, err=%d"
                                                     : L"setsockopt(IP_MULTICAST_IF) failed, err=%d",
                         error);
            return false;
        }
    }
    return Write(resolve, "wsd:Resolve", &soap_out_wsd__ResolveType);
}

}  // namespace QVDiscovery
