// The search machinery that every server shares, run by a server whose main
// discovery thread is the test's own: threads, events and the log file are
// real; the network plays no part here.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <utility>

#include "discovery/DiscoveryClients.h"
#include "discovery/DiscoveryLib.h"
#include "discovery/DiscoveryStatus.h"
#include "doubles/ApiOverride.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"
#include "winapi/CKernelApi.h"
#include "winapi/CWinSockApi.h"

using namespace QVDiscovery;
using namespace discoverytest;

namespace {

// A server whose main discovery thread runs the test's procedure.
class ScriptedServer : public CDiscoveryServer {
public:
    unsigned long GetSearchTimeout(unsigned long type) override
    {
        timeoutAsked.push_back(type);
        return seconds;
    }
    unsigned long MainDiscoveryThreadProc(DiscoveryThreadArgs& args) override
    {
        ++mainCalls;
        request = args.request;
        return main(args);
    }

    // Waits for the stop event, as a search by type does.
    static unsigned long UntilStopped(DiscoveryThreadArgs& args)
    {
        ::WaitForSingleObject(args.stopEvent, INFINITE);
        return DISCOVERY_E_STOPPED;
    }

    unsigned long seconds = 12;
    std::function<unsigned long(DiscoveryThreadArgs&)> main = UntilStopped;
    std::vector<unsigned long> timeoutAsked;
    int mainCalls = 0;
    SearchRequest request;
};

// Counts the threads started.
class CountingThreads : public QVWinApi::CKernelApi {
public:
    uintptr_t _beginthreadex(void* security, unsigned stackSize, unsigned(__stdcall* start)(void*), void* args,
                             unsigned flags, unsigned* id) override
    {
        ++started;
        return QVWinApi::CKernelApi::_beginthreadex(security, stackSize, start, args, flags, id);
    }
    int started = 0;
};

struct DiscoveryServer : ::testing::Test {
    DiscoveryServer() { EXPECT_EQ(DISCOVERY_OK, server.RegisterClient(&client)); }
    ~DiscoveryServer() override
    {
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    // Entries, exits, errors, warnings and debug lines.
    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"discovery-server", 0x30000EF0};
    ScriptedServer server;
    RecordingClient client;
};

}  // namespace

TEST_F(DiscoveryServer, RegisterAndUnregisterStatuses)
{
    RecordingClient other;
    EXPECT_EQ(DISCOVERY_E_INVALIDARG, server.RegisterClient(nullptr));
    EXPECT_EQ(DISCOVERY_E_ALREADY_REGISTERED, server.RegisterClient(&client));
    EXPECT_EQ(DISCOVERY_E_NOT_REGISTERED, server.UnregisterClient(&other));
    EXPECT_EQ(DISCOVERY_E_INVALIDARG, server.UnregisterClient(nullptr));
    EXPECT_EQ(DISCOVERY_OK, server.UnregisterClient(&client));
    EXPECT_EQ(DISCOVERY_E_NOT_REGISTERED, server.UnregisterClient(&client));
}

TEST_F(DiscoveryServer, SearchByIdWithEmptyStringStartsNoThread)
{
    CountingThreads kernel;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    EXPECT_EQ(DISCOVERY_E_INVALIDARG, server.SearchById(L"", 1));
    EXPECT_EQ(DISCOVERY_E_INVALIDARG, server.SearchById(nullptr, 1));
    EXPECT_EQ(DISCOVERY_E_INVALIDARG, server.SearchByAddress(L"", 1));
    EXPECT_EQ(DISCOVERY_E_INVALIDARG, server.SearchByAddress(nullptr, 1));
    EXPECT_EQ(0, kernel.started);
    EXPECT_EQ(0, server.mainCalls);
    EXPECT_TRUE(client.Calls().empty());
}

TEST_F(DiscoveryServer, SearchByTypeWithNullTypeRunsTheDefaultSearch)
{
    CountingThreads kernel;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    server.main = [](DiscoveryThreadArgs& args) {
        return args.addQueue->QueueEvent(NamedDevice(L"urn:uuid:default"), args.request.context);
    };
    EXPECT_EQ(DISCOVERY_OK, server.SearchByType(nullptr, 42));
    EXPECT_EQ(2, kernel.started);
    EXPECT_EQ(DISCOVERY_SEARCH_BY_TYPE, server.request.type);
    EXPECT_EQ(nullptr, server.request.target);
    EXPECT_EQ(0u, server.request.oneThread);
    EXPECT_EQ(std::vector<unsigned long>{DISCOVERY_SEARCH_BY_TYPE}, server.timeoutAsked);
    EXPECT_EQ((std::vector<std::wstring>{L"add urn:uuid:default", L"complete"}), client.Calls());
    EXPECT_EQ(100, client.Percents().back());
    for (uintptr_t context : client.contexts) {
        EXPECT_EQ(42u, context);
    }
}

TEST_F(DiscoveryServer, SearchByAddressAsksForOneThread)
{
    server.main = [](DiscoveryThreadArgs& args) {
        return args.addQueue->QueueEvent(NamedDevice(L"urn:uuid:a"), args.request.context);
    };
    EXPECT_EQ(DISCOVERY_OK, server.SearchByAddress(L"127.0.0.1", 7));
    EXPECT_EQ(DISCOVERY_SEARCH_BY_ADDRESS, server.request.type);
    EXPECT_STREQ(L"127.0.0.1", server.request.target);
    EXPECT_EQ(1u, server.request.oneThread);
    EXPECT_EQ(DISCOVERY_OK, server.SearchById(L"urn:uuid:a", 7));
    EXPECT_EQ(DISCOVERY_SEARCH_BY_ID, server.request.type);
    EXPECT_EQ(0u, server.request.oneThread);
}

TEST_F(DiscoveryServer, ProgressFalseAtOnceEndsTheSearchWithNotFound)
{
    client.onProgress = [](unsigned char) { return false; };
    EXPECT_EQ(DISCOVERY_E_NOT_FOUND, server.SearchByType(L"zqd:zqDevice", 3));
    EXPECT_EQ(std::vector<std::wstring>{L"failed 11"}, client.Calls());
}

TEST_F(DiscoveryServer, FirstClientFalseFromProgressSkipsTheSecondForThatTick)
{
    auto other = std::make_unique<RecordingClient>();
    ASSERT_EQ(DISCOVERY_OK, server.RegisterClient(other.get()));
    // The set is ordered by pointer.
    const bool ownFirst = std::less<RecordingClient*>()(&client, other.get());
    RecordingClient* first = ownFirst ? &client : other.get();
    RecordingClient* second = ownFirst ? other.get() : &client;
    bool once = true;
    first->onProgress = [&once](unsigned char) { return !std::exchange(once, false); };
    EXPECT_EQ(DISCOVERY_E_NOT_FOUND, server.SearchByType(nullptr, 0));
    const std::vector<int> firstPercents = first->Percents();
    ASSERT_EQ(2u, firstPercents.size());
    EXPECT_EQ(100, firstPercents[1]);
    EXPECT_EQ(std::vector<int>{100}, second->Percents());
    server.UnregisterClient(other.get());
}

TEST_F(DiscoveryServer, ClientThrowingInAddStillCountsAsDelivered)
{
    client.throwInAdd = true;
    server.main = [](DiscoveryThreadArgs& args) {
        args.addQueue->QueueEvent(NamedDevice(L"urn:uuid:t"), args.request.context);
        return DISCOVERY_E_NETWORK;
    };
    EXPECT_EQ(DISCOVERY_OK, server.SearchByType(nullptr, 0));
    EXPECT_EQ((std::vector<std::wstring>{L"add urn:uuid:t", L"complete"}), client.Calls());
    EXPECT_EQ(1u, log.Count(L"(WN) IDiscoveryClient->Add threw an exception"));
}

TEST_F(DiscoveryServer, ThrowingClientsAreLoggedAndPassedOver)
{
    ThrowingClient thrower;
    ASSERT_EQ(DISCOVERY_OK, server.RegisterClient(&thrower));
    server.main = [](DiscoveryThreadArgs& args) {
        args.addQueue->QueueEvent(NamedDevice(L"urn:uuid:x"), args.request.context);
        args.removeQueue->QueueEvent(NamedDevice(L"urn:uuid:x"), args.request.context);
        return DISCOVERY_OK;
    };
    EXPECT_EQ(DISCOVERY_OK, server.SearchById(L"urn:uuid:x", 0));
    // The main thread's error stands beside the event thread's "not found".
    server.main = [](DiscoveryThreadArgs&) { return DISCOVERY_E_NETWORK; };
    EXPECT_EQ(DISCOVERY_E_NETWORK, server.SearchById(L"urn:uuid:x", 0));
    // The other client hears everything.
    EXPECT_EQ((std::vector<std::wstring>{L"add urn:uuid:x", L"remove urn:uuid:x", L"complete", L"failed 13"}),
              client.Calls());
    EXPECT_EQ(1u, log.Count(L"(WN) IDiscoveryClient->Add threw an exception"));
    EXPECT_EQ(1u, log.Count(L"(WN) IDiscoveryClient->Remove threw an exception"));
    EXPECT_EQ(1u, log.Count(L"(WN) IDiscoveryClient->SearchComplete threw an exception"));
    EXPECT_EQ(1u, log.Count(L"(WN) IDiscoveryClient->SearchFailed threw an exception"));
    EXPECT_LE(2u, log.Count(L"(WN) IDiscoveryClient->SearchProgress threw an exception"));
}

// Remove is queued first, but both queues wait while the client is inside a
// progress call: the add queue comes first in the wait.
TEST_F(DiscoveryServer, BothQueuesWaitingServesAddBeforeRemove)
{
    HANDLE inProgress = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE release = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    client.onProgress = [&](unsigned char) {
        ::SetEvent(inProgress);
        ::WaitForSingleObject(release, 10000);
        return true;
    };
    server.main = [&](DiscoveryThreadArgs& args) {
        ::WaitForSingleObject(inProgress, 10000);
        args.removeQueue->QueueEvent(NamedDevice(L"urn:uuid:r"), 0);
        args.addQueue->QueueEvent(NamedDevice(L"urn:uuid:a"), 0);
        ::SetEvent(release);
        return DISCOVERY_OK;
    };
    EXPECT_EQ(DISCOVERY_OK, server.SearchById(L"urn:uuid:a", 0));
    EXPECT_EQ((std::vector<std::wstring>{L"add urn:uuid:a", L"remove urn:uuid:r", L"complete"}), client.Calls());
    ::CloseHandle(inProgress);
    ::CloseHandle(release);
}

TEST_F(DiscoveryServer, MainThreadErrorWithNoDeviceIsTheStatus)
{
    server.main = [](DiscoveryThreadArgs&) { return DISCOVERY_E_NETWORK; };
    EXPECT_EQ(DISCOVERY_E_NETWORK, server.SearchByAddress(L"127.0.0.1", 0));
    EXPECT_EQ(std::vector<std::wstring>{L"failed 13"}, client.Calls());
}

TEST_F(DiscoveryServer, ThreadsLogTheirStartAndStop)
{
    server.main = [](DiscoveryThreadArgs& args) {
        return args.addQueue->QueueEvent(NamedDevice(L"urn:uuid:l"), 0);
    };
    EXPECT_EQ(DISCOVERY_OK, server.SearchById(L"urn:uuid:l", 0));
    EXPECT_EQ(1u, log.Count(L"(DB) Main Discovery thread has started"));
    EXPECT_EQ(1u, log.Count(L"(DB) Main Discovery thread has stopped"));
    EXPECT_EQ(1u, log.Count(L"(DB) Event thread has started"));
    EXPECT_EQ(1u, log.Count(L"(DB) Event thread has stopped"));
}

// The one test of this machinery that waits out a time limit, of one second.
// The loop's reports follow the time elapsed, so they never go down; a wait
// that wakes late reports past 100 (elapsed x 100 / limit), and the last
// report, after the loop, is 100 itself.
TEST_F(DiscoveryServer, TimeLimitWithNoDeviceGivesNotFound)
{
    server.seconds = 1;
    EXPECT_EQ(DISCOVERY_E_NOT_FOUND, server.SearchByType(nullptr, 0));
    EXPECT_EQ(std::vector<std::wstring>{L"failed 11"}, client.Calls());
    const std::vector<int> percents = client.Percents();
    ASSERT_LE(50u, percents.size());
    EXPECT_EQ(100, percents.back());
    for (size_t i = 1; i + 1 < percents.size(); ++i) {
        EXPECT_LE(percents[i - 1], percents[i]);
    }
}

namespace {

// Winsock whose start or stop fails: Wine's do not on demand.
class FailingWinsock : public QVWinApi::CWinSockApi {
public:
    int WSAStartup(WORD version, LPWSADATA data) override
    {
        return failStart ? WSASYSNOTREADY : QVWinApi::CWinSockApi::WSAStartup(version, data);
    }
    int WSACleanup() override
    {
        if (failCleanup) {
            ::WSASetLastError(WSAEINPROGRESS);
            return SOCKET_ERROR;
        }
        return QVWinApi::CWinSockApi::WSACleanup();
    }
    int WSAGetLastError() override { return ::WSAGetLastError(); }
    bool failStart = false;
    bool failCleanup = false;
};

}  // namespace

TEST_F(DiscoveryServer, InitAndTermAreCounted)
{
    EXPECT_EQ(DISCOVERY_E_INTERNAL, TermDiscoveryLib());
    EXPECT_EQ(DISCOVERY_OK, InitDiscoveryLib());
    EXPECT_EQ(DISCOVERY_OK, InitDiscoveryLib());
    EXPECT_EQ(DISCOVERY_OK, TermDiscoveryLib());
    EXPECT_EQ(DISCOVERY_OK, TermDiscoveryLib());
    EXPECT_EQ(DISCOVERY_E_INTERNAL, TermDiscoveryLib());
}

TEST_F(DiscoveryServer, WinsockFailuresAreLoggedAndLeaveTheCount)
{
    FailingWinsock winsock;
    doubles::ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    winsock.failStart = true;
    EXPECT_EQ(DISCOVERY_E_WINSOCK, InitDiscoveryLib());
    EXPECT_EQ(1u, log.Count(L"(##) WSAStartup failed, err=10091"));
    EXPECT_EQ(DISCOVERY_E_INTERNAL, TermDiscoveryLib());
    winsock.failStart = false;
    ASSERT_EQ(DISCOVERY_OK, InitDiscoveryLib());
    winsock.failCleanup = true;
    EXPECT_EQ(DISCOVERY_E_WINSOCK, TermDiscoveryLib());
    EXPECT_EQ(1u, log.Count(L"(##) WSACleanup failed, err=10036"));
    winsock.failCleanup = false;
    EXPECT_EQ(DISCOVERY_OK, TermDiscoveryLib());
    EXPECT_EQ(DISCOVERY_E_INTERNAL, TermDiscoveryLib());
}
