// The TCP connection: its text footing, open and close with session counts,
// the disconnection watch and reconnection, on loopback.
#include <gtest/gtest.h>

#include <string>

#include "doubles/ScriptedProgress.h"
#include "iostack/NetworkTestSupport.h"

using namespace QVIOStack;
using doubles::ScriptedProgress;
using iostack_test::ConnectionTo;
using iostack_test::TestableNetwork;
using peers::LoopbackPeer;

namespace {

std::wstring Text(const wchar_t* text)
{
    return text ? text : L"(null)";
}

TEST(NetworkFooting, AddressWithoutPortGetsPort8080)
{
    TestableNetwork connection;
    EXPECT_EQ(0u, connection.Initialize(L"192.0.2.7"));
    EXPECT_EQ(L"192.0.2.7", Text(connection.GetAddress()));
    EXPECT_EQ(L"8080", Text(connection.GetPort()));
    EXPECT_EQ(L"192.0.2.7", Text(connection.GetServiceAddress()));
}

TEST(NetworkFooting, AddressWithPortKeepsTheWholeTextAsServiceAddress)
{
    TestableNetwork connection;
    EXPECT_EQ(0u, connection.Initialize(L"192.0.2.7:9100"));
    EXPECT_EQ(L"192.0.2.7", Text(connection.GetAddress()));
    EXPECT_EQ(L"9100", Text(connection.GetPort()));
    EXPECT_EQ(L"192.0.2.7:9100", Text(connection.GetServiceAddress()));
}

TEST(NetworkFooting, DotlessNameIsRefused)
{
    TestableNetwork connection;
    EXPECT_EQ(IOError_Fail, connection.Initialize(L"printer"));
    EXPECT_EQ(IOError_Fail, connection.Initialize(L""));
    EXPECT_EQ(IOError_Fail, connection.Initialize(nullptr));
}

TEST(NetworkFooting, NamesAreAcceptedButNotResolvedWhenOpening)
{
    TestableNetwork dotted;
    EXPECT_EQ(0u, dotted.Initialize(L"printer.local"));
    EXPECT_EQ(L"printer.local", Text(dotted.GetAddress()));
    EXPECT_EQ(L"8080", Text(dotted.GetPort()));
    EXPECT_EQ(IOError_Fail, dotted.Open(nullptr));
    EXPECT_FALSE(dotted.IsOpen());

    // A colon before any dot: the whole text is the address.
    TestableNetwork colon;
    EXPECT_EQ(0u, colon.Initialize(L"printer:9100"));
    EXPECT_EQ(L"printer:9100", Text(colon.GetAddress()));
    EXPECT_EQ(L"8080", Text(colon.GetPort()));
    EXPECT_EQ(IOError_Fail, colon.Open(nullptr));
    EXPECT_FALSE(colon.IsOpen());
}

TEST(NetworkFooting, BracketedIPv6WithPort)
{
    TestableNetwork connection;
    EXPECT_EQ(0u, connection.Initialize(L"[fe80::1]:80"));
    EXPECT_EQ(L"fe80::1", Text(connection.GetAddress()));
    EXPECT_EQ(L"80", Text(connection.GetPort()));
    // The clone is built from the footing: IPv6 goes back into brackets.
    IDeviceConnection* clone = connection.Clone(false);
    ASSERT_NE(nullptr, clone);
    EXPECT_EQ(L"[fe80::1]:80", Text(clone->GetServiceAddress()));
    EXPECT_EQ(0u, clone->Dispose());
}

TEST(NetworkFooting, OpeningBracketWithoutClosingOneFails)
{
    TestableNetwork connection;
    EXPECT_EQ(IOError_Fail, connection.Initialize(L"[fe80::1:80"));
}

TEST(NetworkFooting, IPv6WithoutBracketsIsAnAddressWithoutPort)
{
    TestableNetwork connection;
    EXPECT_EQ(0u, connection.Initialize(L"fe80::1"));
    EXPECT_EQ(L"fe80::1", Text(connection.GetAddress()));
    EXPECT_EQ(L"8080", Text(connection.GetPort()));
    IDeviceConnection* clone = connection.Clone(false);
    ASSERT_NE(nullptr, clone);
    EXPECT_EQ(L"[fe80::1]:8080", Text(clone->GetServiceAddress()));
    EXPECT_EQ(0u, clone->Dispose());
}

TEST(NetworkFooting, IPv6Test)
{
    EXPECT_TRUE(CIONetwork::IsIPv6(L"fe80::1"));
    EXPECT_TRUE(CIONetwork::IsIPv6(L"::1"));
    EXPECT_TRUE(CIONetwork::IsIPv6(L"2001:db8:0:0:0:0:0:1"));
    EXPECT_TRUE(CIONetwork::IsIPv6(L"fe80::1%12"));
    EXPECT_TRUE(CIONetwork::IsIPv6(L"fe80::/64"));
    EXPECT_TRUE(CIONetwork::IsIPv6(L"::ffff:192.0.2.7"));
    EXPECT_FALSE(CIONetwork::IsIPv6(L""));
    EXPECT_FALSE(CIONetwork::IsIPv6(L"192.0.2.7"));
    EXPECT_FALSE(CIONetwork::IsIPv6(L"printer:9100"));
    EXPECT_FALSE(CIONetwork::IsIPv6(L"fe80::1%eth0"));
    EXPECT_FALSE(CIONetwork::IsIPv6(L"1::2::3"));
    EXPECT_FALSE(CIONetwork::IsIPv6(L"1:2:3:4:5:6:7:8:9"));
    EXPECT_FALSE(CIONetwork::IsIPv6(L"::ffff:192.0.2"));
    EXPECT_FALSE(CIONetwork::IsIPv6(L"::ffff:192..2.7"));
    EXPECT_FALSE(CIONetwork::IsIPv6(L"ab:12"));  // one colon is not enough
}

struct NetworkConnection : ::testing::Test {
    void TearDown() override
    {
        if (connection) {
            connection->Dispose();
        }
    }
    TestableNetwork* connection = nullptr;
};

TEST_F(NetworkConnection, SecondOpenOnALiveSocketOnlyCountsAndSecondCloseCloses)
{
    std::string received;
    std::mutex lock;
    LoopbackPeer peer(LoopbackPeer::Record(&received, &lock));
    connection = ConnectionTo(peer);
    ASSERT_EQ(0u, connection->Open(nullptr));
    ASSERT_EQ(0u, connection->Open(nullptr));
    EXPECT_EQ(2, connection->SessionCount());
    ASSERT_TRUE(peer.WaitAccepted(1));
    EXPECT_EQ(1, peer.Accepted());

    EXPECT_EQ(0u, connection->Close());
    EXPECT_EQ(1, connection->SessionCount());
    EXPECT_TRUE(connection->IsOpen());
    unsigned long count = 0;
    EXPECT_EQ(0u, connection->Write("still", 5, &count, nullptr));

    EXPECT_EQ(0u, connection->Close());
    EXPECT_EQ(0, connection->SessionCount());
    EXPECT_FALSE(connection->IsOpen());
    EXPECT_EQ(IOError_Fail, connection->Write("gone", 4, &count, nullptr));
}

TEST_F(NetworkConnection, CloseWithoutOpenDoesNothing)
{
    connection = new TestableNetwork();
    connection->AddRef();
    connection->Initialize(L"127.0.0.1:9100");
    EXPECT_EQ(0u, connection->Close());
    EXPECT_EQ(0, connection->SessionCount());
    EXPECT_FALSE(connection->IsOpen());
}

TEST_F(NetworkConnection, AfterThePeerClosedOpenReconnectsKeepingTheSessionCount)
{
    iostack_test::FirstConnectionClosingPeer device;
    connection = ConnectionTo(device.Peer());
    ASSERT_EQ(0u, connection->Open(nullptr));
    ASSERT_TRUE(device.WaitUntilClosed());  // the peer's close reaches the socket's event
    // Open's own IsOpen sees the close: the socket is rebuilt, and the
    // session of the first user is kept.
    ASSERT_EQ(0u, connection->Open(nullptr));
    EXPECT_EQ(2, connection->SessionCount());
    EXPECT_TRUE(device.Peer().WaitAccepted(2));
    EXPECT_TRUE(connection->IsOpen());
}

TEST_F(NetworkConnection, PeerCloseMakesIsOpenFalse)
{
    LoopbackPeer peer(LoopbackPeer::CloseAtOnce);
    connection = ConnectionTo(peer);
    ASSERT_EQ(0u, connection->Open(nullptr));
    bool open = true;
    for (int i = 0; i < 500 && (open = connection->IsOpen()); ++i) {
        Sleep(10);
    }
    EXPECT_FALSE(open);
    EXPECT_EQ(1, connection->SessionCount());
}

TEST_F(NetworkConnection, IsOpenAfterTheCloseWatchFiredSaysTrueAgainUntilCleanedUp)
{
    LoopbackPeer peer(LoopbackPeer::CloseAtOnce);
    connection = ConnectionTo(peer);
    ASSERT_EQ(0u, connection->Open(nullptr));
    bool open = true;
    for (int i = 0; i < 500 && (open = connection->IsOpen()); ++i) {
        Sleep(10);
    }
    ASSERT_FALSE(open);
    // The event was reset by the first answer: the dead socket looks alive.
    EXPECT_TRUE(connection->IsOpen());
}

TEST_F(NetworkConnection, OpenStoppedBeforeTheConnectIsAbortedAndLeavesNoSocket)
{
    LoopbackPeer peer(LoopbackPeer::Silent);
    connection = ConnectionTo(peer);
    ScriptedProgress stop([](double, unsigned long) { return false; });
    EXPECT_EQ(IOError_Aborted, connection->Open(&stop));
    EXPECT_FALSE(connection->IsOpen());
    EXPECT_EQ(0, connection->SessionCount());
    EXPECT_FALSE(peer.WaitAccepted(1, 200));
}

TEST_F(NetworkConnection, StopAfterTheConnectDoesNotUndoIt)
{
    LoopbackPeer peer(LoopbackPeer::Silent);
    connection = ConnectionTo(peer);
    int calls = 0;
    // Two steps pass; the third, asked after the connect, says stop.
    ScriptedProgress progress([&](double, unsigned long) { return ++calls < 3; });
    EXPECT_EQ(0u, connection->Open(&progress));
    EXPECT_EQ(3, calls);
    EXPECT_TRUE(connection->IsOpen());
}

TEST_F(NetworkConnection, ConnectWithNoAnswerWithinTheOpenTimeoutTimesOut)
{
    // A listener that never accepts, with its backlog filled: further
    // connection attempts get no answer.
    LoopbackPeer peer(LoopbackPeer::Silent, LoopbackPeer::PortChoice::Ephemeral, 1, false);
    std::vector<SOCKET> fillers;
    for (int i = 0; i < 4; ++i) {
        SOCKET s = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
        u_long nonBlocking = 1;
        ioctlsocket(s, FIONBIO, &nonBlocking);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(peer.Port());
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connect(s, reinterpret_cast<sockaddr*>(&address), sizeof(address));
        fillers.push_back(s);
    }
    Sleep(200);
    connection = ConnectionTo(peer);
    connection->SetOpenTimeout(500);
    EXPECT_EQ(IOError_Timeout, connection->Open(nullptr));
    EXPECT_FALSE(connection->IsOpen());
    for (SOCKET s : fillers) {
        closesocket(s);
    }
}

TEST_F(NetworkConnection, RefusedConnectFails)
{
    unsigned short freePort;
    {
        LoopbackPeer gone(LoopbackPeer::Silent);
        freePort = gone.Port();
    }
    connection = new TestableNetwork();
    connection->AddRef();
    connection->Initialize((L"127.0.0.1:" + std::to_wstring(freePort)).c_str());
    EXPECT_EQ(IOError_Fail, connection->Open(nullptr));
    EXPECT_FALSE(connection->IsOpen());
}

TEST_F(NetworkConnection, ConnectsOverIPv6Loopback)
{
    peers::EnsureWinsock();
    SOCKET listener = socket(AF_INET6, SOCK_STREAM, IPPROTO_TCP);
    ASSERT_NE(INVALID_SOCKET, listener);
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    int length = sizeof(address);
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        closesocket(listener);
        GTEST_SKIP() << "no IPv6 loopback on this machine";
    }
    listen(listener, 1);
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    connection = new TestableNetwork();
    connection->AddRef();
    ASSERT_EQ(0u, connection->Initialize((L"[::1]:" + std::to_wstring(ntohs(address.sin6_port))).c_str()));
    EXPECT_EQ(0u, connection->Open(nullptr));
    EXPECT_TRUE(connection->IsOpen());
    connection->Close();
    closesocket(listener);
}

TEST(NetworkConnectionFactory, PlainConnectionHasTheNetworkDefaults)
{
    IDeviceConnection* plain = CreateIONetwork(false);
    ASSERT_NE(nullptr, plain);
    EXPECT_EQ(1u, plain->AddRef());
    EXPECT_FALSE(plain->IsHTTPCapable());
    EXPECT_EQ(IOError_Fail, plain->Navigate(nullptr, nullptr, nullptr));
    EXPECT_EQ(30000u, plain->GetOpenTimeout());
    EXPECT_EQ(30000u, plain->GetReadTimeout());
    EXPECT_EQ(30000u, plain->GetWriteTimeout());
    EXPECT_EQ(1000u, plain->GetReadWaitInterval());
    EXPECT_EQ(1000u, plain->GetWriteWaitInterval());
    EXPECT_EQ(0u, plain->Dispose());
}

}  // namespace
