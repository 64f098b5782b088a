// The failure lines of the search machinery and of the own server's
// searches on one address, read back from a real log file. Each comes from
// a real failure where this machine can give one (a port already taken);
// otherwise from a double at the platform seam that fails
// one call (threads, waits, events, socket options), since Wine cannot be
// made to fail those on demand. A failing multicast option also keeps the
// request off the wire. Copies of a large record fail under an allocation
// limit of the test program's.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <string>

#include "discovery/CDiscoveryServerXpWSD.h"
#include "discovery/CWSDSession.h"
#include "discovery/DiscoveryClients.h"
#include "discovery/DiscoveryStatus.h"
#include "discovery/HttpDevicePeer.h"
#include "doubles/ApiOverride.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"
#include "peers/AllocationLimit.h"
#include "peers/LoopbackPeer.h"
#include "winapi/CKernelApi.h"
#include "winapi/CWinSockApi.h"

using namespace QVDiscovery;
using namespace discoverytest;
using wsdtest::HttpDevicePeer;

namespace {

using OwnServer = CDiscoveryServerXpWSD<CWSDSession>;

// The kernel seam with one failure: the Nth thread start, or the first
// wait on this many handles. ERROR_NOT_ENOUGH_MEMORY and
// ERROR_INVALID_HANDLE are what the log then reports.
class FailingKernel : public QVWinApi::CKernelApi {
public:
    uintptr_t _beginthreadex(void* security, unsigned stackSize, unsigned(__stdcall* start)(void*), void* args,
                             unsigned flags, unsigned* id) override
    {
        if (++m_threads == failThread) {
            ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return 0;
        }
        return QVWinApi::CKernelApi::_beginthreadex(security, stackSize, start, args, flags, id);
    }
    DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL all, DWORD ms) override
    {
        if (count == failWaitOn && !m_waitFailed.exchange(true)) {
            ::SetLastError(ERROR_INVALID_HANDLE);
            return WAIT_FAILED;
        }
        return QVWinApi::CKernelApi::WaitForMultipleObjects(count, handles, all, ms);
    }

    int failThread = 0;
    DWORD failWaitOn = 0;

private:
    std::atomic<int> m_threads{0};
    std::atomic<bool> m_waitFailed{false};
};

// The socket seam with one failure: a socket option by name, or the Nth
// event made.
class FailingWinSock : public QVWinApi::CWinSockApi {
public:
    int setsockopt(SOCKET s, int level, int name, const char* value, int length) override
    {
        if (level == IPPROTO_IP && name == failOption) {
            ::WSASetLastError(WSAEADDRNOTAVAIL);
            return SOCKET_ERROR;
        }
        return QVWinApi::CWinSockApi::setsockopt(s, level, name, value, length);
    }
    WSAEVENT WSACreateEvent() override
    {
        if (++m_events == failEvent) {
            ::WSASetLastError(WSA_NOT_ENOUGH_MEMORY);
            return WSA_INVALID_EVENT;
        }
        return QVWinApi::CWinSockApi::WSACreateEvent();
    }

    int failOption = -1;
    int failEvent = 0;

private:
    std::atomic<int> m_events{0};
};

struct FailureLog : ::testing::Test {
    FailureLog() { EXPECT_EQ(DISCOVERY_OK, server.RegisterClient(&client)); }
    ~FailureLog() override
    {
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    // The errors alone.
    std::vector<std::wstring> Errors() const
    {
        std::vector<std::wstring> errors;
        for (const std::wstring& line : log.Lines()) {
            if (line.rfind(L"(##) ", 0) == 0) {
                errors.push_back(line);
            }
        }
        return errors;
    }
    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"server-failure-log", 0x30000EF0};
    OwnServer server;
    RecordingClient client;
};

// The search on one local address, called as its discovery thread would.
struct AddressSearch {
    AddressSearch(OwnServer& server, unsigned long type, const char* local, const wchar_t* target)
    {
        args.server = &server;
        args.localAddress = local;
        args.stopEvent = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
        args.request.type = type;
        args.request.target = target;
        args.addQueue = &adds;
        args.removeQueue = &removes;
        adds.GetEventHandle();
        removes.GetEventHandle();
    }
    ~AddressSearch() { ::CloseHandle(args.stopEvent); }

    CDiscoveryServer::CAddEventQueue adds;
    CDiscoveryServer::CRemoveEventQueue removes;
    DiscoveryThreadArgs args;
};

}  // namespace

TEST_F(FailureLog, MainDiscoveryThreadThatCannotStartFailsTheSearchAndStopsTheEventThread)
{
    FailingKernel kernel;
    kernel.failThread = 2;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    EXPECT_EQ(DISCOVERY_E_INTERNAL, server.SearchByAddress(L"127.0.18.70", 0));
    EXPECT_EQ(std::vector<std::wstring>{L"failed 12"}, client.Calls());
    EXPECT_EQ(std::vector<std::wstring>{L"(##) _beginthreadex Failed, err=8"}, Errors());
    EXPECT_EQ(1u, log.Count(L"(DB) Event thread has stopped"));
}

TEST_F(FailureLog, FailedWaitForEitherThreadIsLoggedAndBothAreStillJoined)
{
    FailingKernel kernel;
    kernel.failWaitOn = 2;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    EXPECT_EQ(DISCOVERY_E_INTERNAL, server.SearchByAddress(L"127.0.18.71", 0));
    EXPECT_EQ(std::vector<std::wstring>{L"failed 12"}, client.Calls());
    EXPECT_EQ(1u, log.Count(L"(##) WaitForMultipleObjects failed with (6)"));
    EXPECT_EQ(1u, log.Count(L"(DB) Event thread has stopped"));
    EXPECT_EQ(1u, log.Count(L"(DB) Main Discovery thread has stopped"));
}

TEST_F(FailureLog, EventThreadWhoseWaitFailsEndsWithTheEventWaitError)
{
    FailingKernel kernel;
    kernel.failWaitOn = 3;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    // Nothing listens there: the directed Probe fails too, with its own status.
    EXPECT_EQ(DISCOVERY_E_NETWORK, server.SearchByAddress(L"127.0.18.72", 0));
    EXPECT_EQ(std::vector<std::wstring>{L"failed 13"}, client.Calls());
    EXPECT_EQ(1u, log.Count(L"(##) WaitForMultipleObjects failed!!"));
}

TEST_F(FailureLog, AddressThreadThatCannotStartGivesInternal)
{
    FailingKernel kernel;
    kernel.failThread = 3;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    EXPECT_EQ(DISCOVERY_E_INTERNAL, server.SearchByAddress(L"127.0.18.73", 0));
    EXPECT_EQ(std::vector<std::wstring>{L"failed 12"}, client.Calls());
    EXPECT_EQ(std::vector<std::wstring>{L"(##) _beginthreadex failed, err=8"}, Errors());
}

TEST_F(FailureLog, FailedWaitForTheAddressThreadStopsAndJoinsIt)
{
    FailingKernel kernel;
    kernel.failWaitOn = 1;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    HttpDevicePeer web("127.0.18.74", [](const std::string&) { return std::string(); }, true);
    ASSERT_TRUE(web.Listening());
    EXPECT_EQ(DISCOVERY_E_INTERNAL, server.SearchByAddress(L"127.0.18.74", 0));
    EXPECT_EQ(std::vector<std::wstring>{L"failed 12"}, client.Calls());
    EXPECT_EQ(1u, log.Count(L"(##) WaitForMultipleObjects failed, err=6"));
    EXPECT_EQ(1u, log.Count(L"(DB) Event thread or adapter () has stopped"));
}

TEST_F(FailureLog, HelloByeSessionThatCannotBindGivesNetwork)
{
    // The discovery port on 127.0.0.1 held without address reuse: the
    // session's bind, which asks for reuse, fails for real. (Wine lets a
    // datagram socket bind to an address this machine does not have.)
    peers::EnsureWinsock();
    const SOCKET holder = ::socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    sockaddr_in port{};
    port.sin_family = AF_INET;
    port.sin_port = htons(3702);
    port.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(0, ::bind(holder, reinterpret_cast<sockaddr*>(&port), sizeof(port)))
        << "127.0.0.1:3702 is in use on this machine: " << ::WSAGetLastError();
    AddressSearch search(server, DISCOVERY_SEARCH_BY_TYPE, "127.0.0.1", nullptr);
    EXPECT_EQ(DISCOVERY_E_NETWORK, server.DiscoveryThreadProc(search.args));
    ::closesocket(holder);
    EXPECT_EQ(1u, log.Count(L"(##) HelloByeSession.Bind(127.0.0.1, SO_REUSEADDR) failed"));
}

TEST_F(FailureLog, HelloByeSessionThatCannotJoinGivesNetwork)
{
    FailingWinSock winsock;
    winsock.failOption = IP_ADD_MEMBERSHIP;
    doubles::ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    AddressSearch search(server, DISCOVERY_SEARCH_BY_TYPE, "127.0.0.1", nullptr);
    EXPECT_EQ(DISCOVERY_E_NETWORK, server.DiscoveryThreadProc(search.args));
    EXPECT_EQ(1u, log.Count(L"(##) HelloByeSession.AddMembership(127.0.0.1, 239.255.255.250) failed"));
}

TEST_F(FailureLog, HelloByeSessionWithoutReadEventGivesInternal)
{
    FailingWinSock winsock;
    winsock.failEvent = 1;
    doubles::ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    AddressSearch search(server, DISCOVERY_SEARCH_BY_TYPE, "127.0.0.1", nullptr);
    EXPECT_EQ(DISCOVERY_E_INTERNAL, server.DiscoveryThreadProc(search.args));
    EXPECT_EQ(1u, log.Count(L"(##) HelloByeSession.GetReadEvent() failed"));
}

TEST_F(FailureLog, ProbeSessionThatCannotSendGivesNetwork)
{
    // The multicast interface refused: the Probe is never sent.
    FailingWinSock winsock;
    winsock.failOption = IP_MULTICAST_IF;
    doubles::ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    AddressSearch search(server, DISCOVERY_SEARCH_BY_TYPE, "127.0.0.1", L"zqd:FailTest");
    EXPECT_EQ(DISCOVERY_E_NETWORK, server.DiscoveryThreadProc(search.args));
    EXPECT_EQ(1u, log.Count(L"(##) ProbeSession.SendProbe(127.0.0.1, 239.255.255.250, zqd:FailTest, SO_BROADCAST) "
                            L"failed.\n"));
}

TEST_F(FailureLog, ProbeSessionWithoutReadEventGivesInternal)
{
    // The Probe goes out on loopback, where it stays on this machine.
    FailingWinSock winsock;
    winsock.failEvent = 2;
    doubles::ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    AddressSearch search(server, DISCOVERY_SEARCH_BY_TYPE, "127.0.0.1", L"zqd:FailTest");
    EXPECT_EQ(DISCOVERY_E_INTERNAL, server.DiscoveryThreadProc(search.args));
    EXPECT_EQ(1u, log.Count(L"(##) ProbeSession.GetReadEvent() failed.\n"));
}

TEST_F(FailureLog, ResolveSessionThatCannotSendGivesNetwork)
{
    FailingWinSock winsock;
    winsock.failOption = IP_MULTICAST_IF;
    doubles::ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    AddressSearch search(server, DISCOVERY_SEARCH_BY_ID, "127.0.0.1", L"urn:uuid:fail-1");
    EXPECT_EQ(DISCOVERY_E_NETWORK, server.DiscoveryThreadProc(search.args));
    EXPECT_EQ(1u, log.Count(L"(##) ResolveSession.SendResolve(127.0.0.1, 239.255.255.250, urn:uuid:fail-1, "
                            L"SO_BROADCAST) failed.\n"));
}

TEST_F(FailureLog, ResolveSessionWithoutReadEventGivesInternal)
{
    FailingWinSock winsock;
    winsock.failEvent = 1;
    doubles::ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    AddressSearch search(server, DISCOVERY_SEARCH_BY_ID, "127.0.0.1", L"urn:uuid:fail-2");
    EXPECT_EQ(DISCOVERY_E_INTERNAL, server.DiscoveryThreadProc(search.args));
    EXPECT_EQ(1u, log.Count(L"(##) ResolveSession.GetReadEvent() failed.\n"));
}

TEST_F(FailureLog, DirectedSessionWithoutReadEventGivesInternal)
{
    FailingWinSock winsock;
    winsock.failEvent = 1;
    doubles::ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    HttpDevicePeer web("127.0.18.75", [](const std::string&) { return std::string(); }, true);
    ASSERT_TRUE(web.Listening());
    AddressSearch search(server, DISCOVERY_SEARCH_BY_ADDRESS, "", L"127.0.18.75");
    EXPECT_EQ(DISCOVERY_E_INTERNAL, server.DiscoveryThreadProc(search.args));
    EXPECT_EQ(1u, log.Count(L"(##) WSDSession.GetReadEvent() failed"));
}

namespace {

// A record whose identifier takes 200 KB, beyond the limit below, which
// leaves room for the log's own work.
const std::wstring kLargeId(100000, L'x');
constexpr size_t kLimit = 64 * 1024;

}  // namespace

TEST_F(FailureLog, QueueThatCannotCopyTheDeviceGivesOutOfMemory)
{
    CDiscoveryServer::CAddEventQueue queue;
    const NamedDevice device(kLargeId.c_str());
    unsigned long status;
    {
        const peers::AllocationLimit limit(kLimit);
        status = queue.QueueEvent(device, 1);
    }
    EXPECT_EQ(DISCOVERY_E_OUTOFMEMORY, status);
    EXPECT_EQ(std::vector<std::wstring>{L"(##) m_qEvents.push failed due to std::bad_alloc"}, Errors());
    EXPECT_EQ(DISCOVERY_OK, queue.FireEvents(server));
    EXPECT_TRUE(client.Calls().empty());
}

TEST_F(FailureLog, EventThatCannotBeTakenFromTheQueueStaysThereAndGivesOutOfMemory)
{
    CDiscoveryServer::CAddEventQueue queue;
    ASSERT_EQ(DISCOVERY_OK, queue.QueueEvent(NamedDevice(kLargeId.c_str()), 2));
    unsigned long status;
    {
        const peers::AllocationLimit limit(kLimit);
        status = queue.FireEvents(server);
    }
    EXPECT_EQ(DISCOVERY_E_OUTOFMEMORY, status);
    EXPECT_EQ(std::vector<std::wstring>{L"(##) Unable to fire events due to std::bad_alloc"}, Errors());
    EXPECT_EQ(0, queue.GetEventCount());
    EXPECT_TRUE(client.Calls().empty());
    // With memory again the event is delivered, once.
    EXPECT_EQ(DISCOVERY_OK, queue.FireEvents(server));
    EXPECT_EQ(std::vector<std::wstring>{L"add " + kLargeId}, client.Calls());
    EXPECT_EQ(1, queue.GetEventCount());
}
