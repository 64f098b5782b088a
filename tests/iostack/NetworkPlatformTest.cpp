// The TCP connection reaches Winsock through the platform layer: failures
// injected there show up as the connection's statuses.
#include <gtest/gtest.h>

#include "doubles/ApiOverride.h"
#include "iostack/NetworkTestSupport.h"
#include "winapi/CWinSockApi.h"

using namespace QVIOStack;
using doubles::ApiOverride;
using iostack_test::TestableNetwork;

namespace {

// Winsock with scripted failures; everything else reaches the platform.
class FailingWinSock : public QVWinApi::CWinSockApi {
public:
    int WSAStartup(WORD version, LPWSADATA data) override
    {
        ++startups;
        return failStartup ? WSASYSNOTREADY : QVWinApi::CWinSockApi::WSAStartup(version, data);
    }
    int WSACleanup() override
    {
        ++cleanups;
        return failStartup ? SOCKET_ERROR : QVWinApi::CWinSockApi::WSACleanup();
    }
    int setsockopt(SOCKET s, int level, int name, const char* value, int length) override
    {
        if (level == SOL_SOCKET && name == SO_RCVBUF) {
            receiveBuffer = *reinterpret_cast<const int*>(value);
            receiveBufferLength = length;
        }
        return failSetsockopt ? SOCKET_ERROR : QVWinApi::CWinSockApi::setsockopt(s, level, name, value, length);
    }
    int WSAConnect(SOCKET, const sockaddr*, int, LPWSABUF, LPWSABUF, LPQOS, LPQOS) override
    {
        ++connects;
        return SOCKET_ERROR;
    }
    int WSAGetLastError() override { return connectError; }

    bool failStartup = false;
    bool failSetsockopt = false;
    int connectError = WSAECONNREFUSED;
    int connects = 0;
    int startups = 0;
    int cleanups = 0;
    int receiveBuffer = 0;
    int receiveBufferLength = 0;
};

TEST(NetworkPlatform, FailedStartupFailsOpenAndIsStillBalancedByTheDestructor)
{
    FailingWinSock winsock;
    winsock.failStartup = true;
    ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    {
        TestableNetwork connection;
        connection.Initialize(L"127.0.0.1:9100");
        EXPECT_EQ(IOError_Fail, connection.Open(nullptr));
        EXPECT_FALSE(connection.IsOpen());
        // Started once only: a second Open does not start again.
        EXPECT_EQ(IOError_Fail, connection.Open(nullptr));
        EXPECT_EQ(1, winsock.startups);
    }
    EXPECT_EQ(1, winsock.cleanups);
}

TEST(NetworkPlatform, ReceiveBufferIsSetTo17520AndItsFailureFailsOpen)
{
    FailingWinSock winsock;
    winsock.failSetsockopt = true;
    ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    TestableNetwork connection;
    connection.Initialize(L"127.0.0.1:9100");
    EXPECT_EQ(IOError_Fail, connection.Open(nullptr));
    EXPECT_EQ(17520, winsock.receiveBuffer);
    EXPECT_EQ(4, winsock.receiveBufferLength);
    EXPECT_FALSE(connection.IsOpen());
}

TEST(NetworkPlatform, ConnectTimedOutBySystemIsATimeout)
{
    FailingWinSock winsock;
    winsock.connectError = WSAETIMEDOUT;
    ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    TestableNetwork connection;
    connection.Initialize(L"127.0.0.1:9100");
    EXPECT_EQ(IOError_Timeout, connection.Open(nullptr));
    EXPECT_FALSE(connection.IsOpen());
}

TEST(NetworkPlatform, OtherConnectFailuresAreFailures)
{
    FailingWinSock winsock;
    winsock.connectError = WSAENETUNREACH;
    ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    TestableNetwork connection;
    connection.Initialize(L"127.0.0.1:9100");
    EXPECT_EQ(IOError_Fail, connection.Open(nullptr));
    EXPECT_EQ(1, winsock.connects);
}

}  // namespace
