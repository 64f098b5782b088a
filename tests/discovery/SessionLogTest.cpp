// The session's failure lines, read back from a real log file. Sockets,
// addresses and messages are real; only the two event calls that Wine does
// not fail on demand go through a double of the Winsock layer.
#include <gtest/gtest.h>

#include <cstdio>

#include "discovery/CWSDSession.h"
#include "discovery/DatagramPeer.h"
#include "discovery/WSDMessages.h"
#include "doubles/ApiOverride.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"
#include "winapi/CWinSockApi.h"

using QVDiscovery::CWSDSession;
using namespace wsdtest;

namespace {

constexpr const char* kListener = "127.0.18.40";

struct SessionLog : ::testing::Test {
    ~SessionLog() override
    {
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    // Binds, sends `datagram` from a plain socket and begins reading it.
    bool BeginWith(const std::string& datagram)
    {
        if (!device.Bound() || !session.Bind(kListener)) {
            return false;
        }
        HANDLE readEvent = session.GetReadEvent();
        return device.SendTo(datagram, kListener, 3702) && WaitAndReset(readEvent) && session.ReceiveBegin();
    }

    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"wsd-session", 0x30000E90};
    DatagramPeer device{"127.0.18.41", 0};
    CWSDSession session;
};

// Winsock that fails the creation of an event or its selection: Wine does
// neither on demand.
class FailingEvents : public QVWinApi::CWinSockApi {
public:
    explicit FailingEvents(bool failCreate) : m_failCreate(failCreate) {}
    WSAEVENT WSACreateEvent() override
    {
        if (m_failCreate) {
            ::WSASetLastError(WSA_NOT_ENOUGH_MEMORY);
            return WSA_INVALID_EVENT;
        }
        return QVWinApi::CWinSockApi::WSACreateEvent();
    }
    int WSAEventSelect(SOCKET, WSAEVENT, long) override
    {
        ::WSASetLastError(WSAENOTSOCK);
        return SOCKET_ERROR;
    }
    int WSAGetLastError() override { return ::WSAGetLastError(); }

private:
    bool m_failCreate;
};

TEST_F(SessionLog, WithoutASocketThereIsNoReadEvent)
{
    EXPECT_EQ(nullptr, session.GetReadEvent());
}

TEST_F(SessionLog, AFailedEventCreationIsLogged)
{
    ASSERT_TRUE(session.Bind(kListener));
    FailingEvents winsock(true);
    doubles::ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    EXPECT_EQ(nullptr, session.GetReadEvent());
    EXPECT_EQ(1u, log.Count(L"(##) WSACreateEvent failed, err=8"));
}

TEST_F(SessionLog, AFailedEventSelectionIsLoggedAndTheEventForgotten)
{
    ASSERT_TRUE(session.Bind(kListener));
    {
        FailingEvents winsock(false);
        doubles::ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
        EXPECT_EQ(nullptr, session.GetReadEvent());
    }
    EXPECT_EQ(1u, log.Count(L"(##) WSAEventSelect failed, err=10038"));
    // Forgotten: the next call makes a new one.
    EXPECT_NE(nullptr, session.GetReadEvent());
}

// (Wine binds a UDP socket to an IPv4 address that is not the machine's:
// an IPv6 one it refuses.)
TEST_F(SessionLog, BindingAnAddressThatIsNotLocalIsLogged)
{
    EXPECT_FALSE(session.Bind("fd99::1"));
    EXPECT_EQ(1u, log.Count(L"(##) soap_bind(fd99::1, 3702) failed, err=28"));
}

TEST_F(SessionLog, JoiningAnAddressThatIsNoGroupIsLogged)
{
    ASSERT_TRUE(session.Bind(kListener));
    EXPECT_FALSE(session.AddMembership(kListener, "10.0.0.1"));
    EXPECT_EQ(1u, log.Count(L"(##) setsockopt(IP_ADD_MEMBERSHIP, 10.0.0.1) failed, err=10022"));
}

TEST_F(SessionLog, JoiningOnAnInterfaceThatDoesNotExistIsLogged)
{
    ASSERT_TRUE(session.Bind("::1"));
    EXPECT_FALSE(session.AddMembership("::1%9999", "FF02::C"));
    EXPECT_EQ(1u, log.Count(L"(##) setsockopt(IPV6_ADD_MEMBERSHIP, FF02::C) failed, err=10022"));
}

TEST_F(SessionLog, AnOutgoingInterfaceThatIsNotLocalFailsTheProbe)
{
    EXPECT_FALSE(session.SendProbe("10.255.255.1", "239.255.255.250", nullptr, SO_BROADCAST));
    EXPECT_EQ(1u, log.Count(L"(##) setsockopt(IP_MULTICAST_IF) failed, err=10022"));
}

TEST_F(SessionLog, AnIPv6InterfaceThatDoesNotExistFailsTheResolve)
{
    EXPECT_FALSE(session.SendResolve("fe80::1%9999", "FF02::C", "urn:uuid:dev-1"));
    EXPECT_EQ(1u, log.Count(L"(##) setsockopt(IPV6_MULTICAST_IF) failed, err=10022"));
}

TEST_F(SessionLog, ADirectedProbeToAClosedPortIsLogged)
{
    EXPECT_FALSE(session.SendProbe("", "127.0.18.42", nullptr, 0));
    EXPECT_EQ(1u, log.Count(L"(##) soap_connect(http://127.0.18.42/StableWSDiscoveryEndpoint/"
                            L"schemas-xmlsoap-org_ws_2005_04_discovery) failed, err=28"));
}

TEST_F(SessionLog, AnEmptyDatagramFailsTheReceive)
{
    EXPECT_FALSE(BeginWith(""));
    EXPECT_EQ(1u, log.Count(L"(##) soap_begin_recv() failed, err=-1"));
}

// gSOAP takes XML that is no envelope as plain XML: it has no header, so
// no identifier, and is dropped as a duplicate.
TEST_F(SessionLog, AnEnvelopeOfAnotherNamespaceHasNoIdentifier)
{
    EXPECT_FALSE(BeginWith("<e:Envelope xmlns:e=\"urn:other\"><e:Body/></e:Envelope>"));
    EXPECT_EQ(1u, log.Count(L"(##) Message ID ((null)) is a duplicate"));
}

TEST_F(SessionLog, AnHttpErrorStatusFailsTheReceive)
{
    EXPECT_FALSE(BeginWith("HTTP/1.1 404 Not Found\r\nContent-Length: 28\r\n\r\n<Envelope><Body/></Envelope>"));
    EXPECT_EQ(1u, log.Count(L"(##) soap_begin_recv() failed, err=404"));
}

TEST_F(SessionLog, AnEnvelopeWithoutABodyFailsTheReceive)
{
    EXPECT_FALSE(BeginWith("<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Header/></s:Envelope>"));
    EXPECT_EQ(1u, log.Count(L"(##) soap_body_begin_in() failed, err=6"));
}

TEST_F(SessionLog, ATruncatedByeIsLogged)
{
    const std::string bye = Incoming(MessageIdHeader("uuid:s-1"), "<d:Bye>" + Children("urn:uuid:dev-1", "", nullptr) + "</d:Bye>");
    ASSERT_TRUE(BeginWith(bye.substr(0, bye.find("</d:Bye>"))));
    struct wsd__HelloZQType hello = {};
    struct wsd__ByeZQType message = {};
    EXPECT_FALSE(session.ReceiveHello(&hello));
    EXPECT_EQ(0u, log.Count(L"(##) soap_in_wsd__HelloZQType() failed, err=3"));
    EXPECT_FALSE(session.ReceiveBye(&message));
    session.ReceiveEnd();
    EXPECT_EQ(1u, log.Count(L"(##) soap_in_wsd__ByeZQType() failed, err=-1"));
}

}  // namespace
