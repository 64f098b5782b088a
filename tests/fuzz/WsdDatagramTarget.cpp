// WS-Discovery messages as a device sends them, each one datagram on
// loopback to a real session: Hello and Bye to a listening session, Probe
// and Resolve matches to the session that asked, each accepted message made
// into the discovered-device record as the own server does.
#include <winsock2.h>
#include <ws2tcpip.h>

#include <memory>
#include <string>

#include "discovery/CDiscoveredDeviceXpWSD.h"
#include "discovery/CWSDSession.h"
#include "discovery/DatagramPeer.h"
#include "fuzz/FuzzTarget.h"

namespace {

using fuzz::Check;
using QVDiscovery::CDiscoveredDeviceXpWSD;
using QVDiscovery::CWSDSession;
using wsdtest::DatagramPeer;

// Addresses of this program's own; the discovery suite uses others.
constexpr const char* kListener = "127.0.30.1";
constexpr const char* kDevice = "127.0.30.2";
// The largest datagram IPv4 carries.
constexpr size_t kLargestDatagram = 65507;
constexpr unsigned kDeliveryMs = 5000;
// More messages than a session's cache of identifiers keeps.
constexpr int kCacheFill = 1000;

// Where the device is asked: takes the Probe on the discovery port and
// tells who sent it. It closes before the listening session binds, since
// under Wine a second socket on the port takes datagrams meant for the
// session's address.
class ProbeCatcher {
public:
    ProbeCatcher()
    {
        m_socket = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(3702);
        inet_pton(AF_INET, kDevice, &address.sin_addr);
        m_bound = bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        const DWORD waitMs = kDeliveryMs;
        setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&waitMs), sizeof waitMs);
    }
    ~ProbeCatcher() { closesocket(m_socket); }
    ProbeCatcher(const ProbeCatcher&) = delete;
    ProbeCatcher& operator=(const ProbeCatcher&) = delete;

    // Waits for the request; its sender's address and port.
    bool Receive(std::string& sender, unsigned short& port)
    {
        char buffer[kLargestDatagram];
        sockaddr_in from = {};
        int fromLength = sizeof from;
        if (!m_bound || recvfrom(m_socket, buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&from), &fromLength) < 0) {
            return false;
        }
        char text[INET_ADDRSTRLEN] = {};
        inet_ntop(AF_INET, &from.sin_addr, text, sizeof text);
        sender = text;
        port = ntohs(from.sin_port);
        return true;
    }

private:
    SOCKET m_socket = INVALID_SOCKET;
    bool m_bound = false;
};

struct Sessions {
    CWSDSession listener;
    CWSDSession requester;
    std::unique_ptr<DatagramPeer> device;
    std::string requesterAddress;
    unsigned short requesterPort = 0;
    HANDLE listenerEvent = nullptr;
    HANDLE requesterEvent = nullptr;
    unsigned long long serial = 0;
};

std::unique_ptr<Sessions> g_sessions;

void CheckRecord(const CDiscoveredDeviceXpWSD& device)
{
    Check(device.GetId() != nullptr && device.GetServices() <= 63 && device.GetAdapterType() <= 2,
          "a record out of its ranges");
}

void FillCaches(Sessions& s);

void SetUp()
{
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
    g_sessions = std::make_unique<Sessions>();
    Sessions& s = *g_sessions;
    {
        ProbeCatcher catcher;
        Check(s.requester.SendProbe("127.0.0.1", kDevice, nullptr, SO_BROADCAST), "no Probe went out");
        Check(catcher.Receive(s.requesterAddress, s.requesterPort), "the device got no Probe");
    }
    Check(s.listener.Bind(kListener), "the listening session could not bind");
    s.device = std::make_unique<DatagramPeer>(kDevice, 0);
    Check(s.device->Bound(), "the device could not bind on loopback");
    s.listenerEvent = s.listener.GetReadEvent();
    s.requesterEvent = s.requester.GetReadEvent();
    Check(s.listenerEvent != nullptr && s.requesterEvent != nullptr, "a session has no read event");
    FillCaches(s);
}

// Fills both sessions' caches of message identifiers to their bound, with
// identifiers as long as a device's (each a block of its own), so that
// memory counted after it stays flat.
void FillCaches(Sessions& s)
{
    const std::string open = "<soap:Envelope xmlns:soap=\"http://www.w3.org/2003/05/soap-envelope\" "
                             "xmlns:wsa=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\"><soap:Header>"
                             "<wsa:MessageID>urn:uuid:warm-up-message-";
    const std::string close = "</wsa:MessageID></soap:Header><soap:Body></soap:Body></soap:Envelope>";
    for (int i = 0; i < kCacheFill; ++i) {
        const std::string id = std::to_string(i);
        Check(s.device->SendTo(open + "l" + id + close, kListener, 3702) && wsdtest::WaitAndReset(s.listenerEvent),
              "a datagram on loopback did not arrive");
        Check(s.listener.ReceiveBegin(), "a plain message was refused");
        s.listener.ReceiveEnd();
        Check(s.device->SendTo(open + "r" + id + close, s.requesterAddress.c_str(), s.requesterPort)
                  && wsdtest::WaitAndReset(s.requesterEvent),
              "a datagram on loopback did not arrive");
        Check(s.requester.ReceiveBegin(), "a plain message was refused");
        s.requester.ReceiveEnd();
    }
}

void TearDown()
{
    g_sessions.reset();
}

// Each message gets an identifier of its own, so that the duplicate test
// passes it through to the body; replies relate to the Probe sent.
std::string Prepare(std::string message, Sessions& s)
{
    const size_t id = message.find("MessageID>");
    if (id != std::string::npos) {
        message.insert(id + 10, "n" + std::to_string(++s.serial) + "-");
    }
    for (size_t at; (at = message.find("@RELATES_TO@")) != std::string::npos;) {
        message.replace(at, 12, s.requester.MessageId());
    }
    return message.substr(0, kLargestDatagram);
}

uint32_t RunDatagram(const unsigned char* data, size_t size)
{
    Sessions& s = *g_sessions;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    // A message that relates to a request goes to the session that asked.
    const bool reply = bytes.find("RelatesTo") != std::string::npos;
    const std::string message = Prepare(bytes, s);
    if (message.empty()) {
        return 0;
    }
    CWSDSession& session = reply ? s.requester : s.listener;
    const bool sent = reply ? s.device->SendTo(message, s.requesterAddress.c_str(), s.requesterPort)
                            : s.device->SendTo(message, kListener, 3702);
    // In the run's own network namespace no other socket can take it.
    Check(sent && wsdtest::WaitAndReset(reply ? s.requesterEvent : s.listenerEvent, kDeliveryMs),
          "a datagram on loopback did not arrive");
    uint32_t outcome = reply ? 2 : 4;
    if (session.ReceiveBegin()) {
        outcome |= 1;
        if (reply) {
            struct wsd__ProbeMatchesZQType probeMatches {};
            struct wsd__ResolveMatchesZQType resolveMatches {};
            if (session.ReceiveProbeMatches(&probeMatches)) {
                const wsd__ProbeMatchZQType& match = probeMatches.wsd__ProbeMatch[0];
                CheckRecord(CDiscoveredDeviceXpWSD(match.zqd__VendorExtension, match.wsa__EndpointReference.wsa__Address,
                                                   false));
                outcome |= 8;
            } else if (session.ReceiveResolveMatches(&resolveMatches)) {
                const wsd__ResolveMatchZQType& match = *resolveMatches.wsd__ResolveMatch;
                CheckRecord(CDiscoveredDeviceXpWSD(match.zqd__VendorExtension, match.wsa__EndpointReference.wsa__Address,
                                                   true));
                outcome |= 16;
            }
        } else {
            struct wsd__HelloZQType hello {};
            struct wsd__ByeZQType bye {};
            if (session.ReceiveHello(&hello)) {
                CheckRecord(CDiscoveredDeviceXpWSD(hello.zqd__VendorExtension, hello.wsa__EndpointReference.wsa__Address,
                                                   false));
                outcome |= 32;
            } else if (session.ReceiveBye(&bye)) {
                CheckRecord(
                    CDiscoveredDeviceXpWSD(bye.zqd__VendorExtension, bye.wsa__EndpointReference.wsa__Address, true));
                outcome |= 64;
            }
        }
    }
    session.ReceiveEnd();
    return outcome;
}

const fuzz::TargetRegistration kRegistration{{
    "wsd_datagram",
    {fuzz::CorpusFolder("wsd_datagram"), ORVANE_WSD_CORPUS},
    {"<wsa:MessageID>", "</wsa:MessageID>", "<wsa:RelatesTo>@RELATES_TO@</wsa:RelatesTo>", "<d:Hello>", "<d:Bye>",
     "<d:ProbeMatches>", "<d:ProbeMatch>", "<d:ResolveMatches>", "<d:ResolveMatch>", "<zqd:VendorExtension>",
     "<dd:UUID>", "<dd:IPv4Address>", "<dd:IPv6Address><item>fe80::1</item></dd:IPv6Address>", "<dd:SimAddress>",
     "<pwg:DeviceId>MFG:A;MDL:B;</pwg:DeviceId>", "<pwg:Services>Print9100 Fax</pwg:Services>", "&#x10FFFF;",
     "<![CDATA[", "]]>", "<!DOCTYPE x [<!ENTITY a \"b\">]>", "&a;", "xmlns:d=\"http://schemas.xmlsoap.org/ws/2005/04/discovery\"",
     "mustUnderstand=\"true\"", "</", "/>", "<", ">", "=\""},
    kLargestDatagram,
    kDeliveryMs + 30000,
    0,
    SetUp,
    TearDown,
    RunDatagram,
}};

}  // namespace
