// The lines the TCP connection and its base write on their failure and
// recovery paths, read back from a real UTF-16 log file: on loopback, and
// through Winsock doubles for a connect that is never answered.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <vector>

#include "doubles/ApiOverride.h"
#include "doubles/LogFileLines.h"
#include "doubles/ModuleLogFile.h"
#include "doubles/ScriptedProgress.h"
#include "doubles/UnansweredConnect.h"
#include "iostack/NetworkTestSupport.h"
#include "logging/LogModules.h"
#include "peers/ClosedPort.h"
#include "winapi/CKernelApi.h"

using namespace QVIOStack;
using doubles::ScriptedProgress;
using iostack_test::ConnectionTo;
using iostack_test::TestableNetwork;
using peers::LoopbackPeer;

namespace {

// The error line of a scope that ended with an I/O status: the status has
// no system text, so the text of the failed lookup follows.
std::wstring ErrorLineOf(const wchar_t* status)
{
    return std::wstring(L"(**) [Err: ") + status + L", [GLE: 0x0000013D] ";
}

// A pointer as the trace prints it with "%d".
std::wstring Low32(const void* pointer)
{
    return std::to_wstring(static_cast<int>(reinterpret_cast<uintptr_t>(pointer)));
}

// What Close writes when it finds a valid socket and no session counted,
// the class name spelt as it is there.
const wchar_t* const kMisspeltCloseLine = L"(##) CIONetowrk::Close entered with valid m_hIO handle, but m_lSessionCount = 0";

// Cleanup of a connection whose socket is still valid.
std::vector<std::wstring> CleanupOfAValidSocket()
{
    return {
        L"(->) CIONetwork::Cleanup",
        L"(->) CIONetwork::Close",
        kMisspeltCloseLine,
        L"(I0) CIONetwork::Close: shutting down socket",
        L"(<-) CIONetwork::Close",
        L"(<-) CIONetwork::Cleanup",
    };
}

// The parts one after the other.
std::vector<std::wstring> Joined(std::initializer_list<std::vector<std::wstring>> parts)
{
    std::vector<std::wstring> joined;
    for (const std::vector<std::wstring>& part : parts) {
        joined.insert(joined.end(), part.begin(), part.end());
    }
    return joined;
}

struct ConnectionLog : ::testing::Test {
    ~ConnectionLog() override
    {
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    void TearDown() override
    {
        if (connection) {
            connection->Dispose();
        }
    }
    // Each text starts a line, in this order.
    void ExpectInOrder(const std::vector<std::wstring>& expected) const
    {
        doubles::ExpectLinesInOrder(log.Lines(), expected);
    }
    size_t CountStartingWith(const std::wstring& head) const
    {
        size_t count = 0;
        for (const std::wstring& line : log.Lines()) {
            count += line.rfind(head, 0) == 0 ? 1 : 0;
        }
        return count;
    }

    // A connection to `target` that is not opened yet.
    void ConnectionOn(const std::wstring& target)
    {
        connection = new TestableNetwork();
        connection->AddRef();
        connection->Initialize(target.c_str());
    }

    // Opens a connection whose connect fails with `error` and reaches no
    // network.
    unsigned long OpenWithUnansweredConnect(int error, unsigned long openTimeout = 30000)
    {
        doubles::UnansweredConnect winsock(error);
        doubles::ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
        ConnectionOn(L"192.0.2.7:9100");
        connection->SetOpenTimeout(openTimeout);
        return connection->Open(nullptr);
    }

    // The lines of an open whose connect timed out, with `attempt` between
    // its entry and the timeout line, which stands once.
    void ExpectConnectTimeout(const std::vector<std::wstring>& attempt) const
    {
        const std::wstring timeout = L"(##) TIMEOUT: WSA_WAIT_TIMEOUT or WSAETIMEDOUT during connect attempt";
        ExpectInOrder(Joined({
            {L"(->) CIONetwork::Open"},
            attempt,
            {timeout, L"(<-) CIONetwork::Open", ErrorLineOf(L"0x83E8F4FE")},
        }));
        EXPECT_EQ(1u, log.Count(timeout));
    }

    doubles::ModuleLogFile log{{g_pIONetworkLog, g_pIOCommonLog}, L"connection"};
    TestableNetwork* connection = nullptr;
};

TEST_F(ConnectionLog, OpenAfterThePeerClosedWritesTheClosedSocketLineAndTheMisspeltCloseLine)
{
    iostack_test::FirstConnectionClosingPeer device;
    connection = ConnectionTo(device.Peer());
    ASSERT_EQ(0u, connection->Open(nullptr));
    ASSERT_TRUE(device.WaitUntilClosed());
    ASSERT_EQ(0u, connection->Open(nullptr));

    // Cleanup zeroes the count before it closes the dead socket: the close
    // line tells the count it found, with the name as it is spelt there.
    ExpectInOrder(Joined({
        {
            L"(->) CIONetwork::Open",
            L"(I0) Open called and socket is already valid",
            L"(->) CIONetwork::IsOpen",
            L"(I5) WaitForSingleObject returned 0",
            L"(I0) WSAEnumNetworkEvents indicates FD_CLOSE occurred (",
            L"(<-) CIONetwork::IsOpen",
            L"(I0) CIONetwork::Open: socket has been closed, ready for Cleanup()",
        },
        CleanupOfAValidSocket(),
        {
            L"(I0) Still don't have socket, calling WSASocket to create local socket",
            L"(I0) WSAConnect succeeded",
            L"(<-) CIONetwork::Open",
        },
    }));
    EXPECT_EQ(1u, log.Count(L"(I0) CIONetwork::Open: socket has been closed, ready for Cleanup()"));
    EXPECT_EQ(1u, log.Count(kMisspeltCloseLine));
    EXPECT_EQ(2, connection->SessionCount());
}

TEST_F(ConnectionLog, DisposingAnOpenConnectionWritesTheMisspeltCloseLine)
{
    LoopbackPeer peer(LoopbackPeer::Silent);
    connection = ConnectionTo(peer);
    ASSERT_EQ(0u, connection->Open(nullptr));
    EXPECT_EQ(0u, log.Count(kMisspeltCloseLine));
    connection->Dispose();
    connection = nullptr;
    ExpectInOrder(CleanupOfAValidSocket());
    EXPECT_EQ(1u, log.Count(kMisspeltCloseLine));
}

TEST_F(ConnectionLog, StopAfterTheConnectWritesTheMisspeltAbort2LineAndTheConnectionStands)
{
    LoopbackPeer peer(LoopbackPeer::Silent);
    connection = ConnectionTo(peer);
    int calls = 0;
    ScriptedProgress progress([&](double, unsigned long) { return ++calls < 3; });
    ASSERT_EQ(0u, connection->Open(&progress));
    ExpectInOrder({
        L"(->) CIONetwork::Open",
        L"(I0) WSAConnect returned err = 10035",
        L"(I0) WaitForSingleObject returned 0",
        L"(I0) ABORT2: LocalProgess.Step is false",
        L"(I0) WSAConnect succeeded",
        L"(<-) CIONetwork::Open",
    });
    EXPECT_EQ(1u, log.Count(L"(I0) ABORT2: LocalProgess.Step is false"));
    EXPECT_EQ(0u, CountStartingWith(L"(**) "));  // Open succeeded: no error line
}

TEST_F(ConnectionLog, StopBeforeTheConnectWritesTheAbortLineAndTheStatus)
{
    LoopbackPeer peer(LoopbackPeer::Silent);
    connection = ConnectionTo(peer);
    ScriptedProgress stop([](double, unsigned long) { return false; });
    ASSERT_EQ(IOError_Aborted, connection->Open(&stop));
    ExpectInOrder({
        L"(->) CIONetwork::Open",
        L"(I0) ABORT: rediscovery success but LocalProgress.Step is false",
        L"(->) CIONetwork::Cleanup",
        L"(<-) CIONetwork::Cleanup",
        L"(<-) CIONetwork::Open",
        ErrorLineOf(L"0x83E8F4FD"),
    });
    EXPECT_EQ(0u, CountStartingWith(L"(I0) WSAConnect"));
}

TEST_F(ConnectionLog, RefusedConnectWritesOtherFailureWithItsCode)
{
    const peers::ClosedPort closed(9100, 8000);
    ASSERT_NE(0, closed.Port());
    ConnectionOn(closed.Target());
    ASSERT_EQ(IOError_Fail, connection->Open(nullptr));
    ExpectInOrder({
        L"(->) CIONetwork::Open",
        L"(I0) WSAConnect returned err = ",
        L"(##) FAIL: Other failure 10061 occurred during connect attempt",
        L"(->) CIONetwork::Cleanup",
        L"(<-) CIONetwork::Cleanup",
        L"(<-) CIONetwork::Open",
        ErrorLineOf(L"0x83E8F4FF"),
    });
    EXPECT_EQ(1u, log.Count(L"(##) FAIL: Other failure 10061 occurred during connect attempt"));
}

TEST_F(ConnectionLog, ConnectTimedOutBySocketWritesTheTimeoutLine)
{
    ASSERT_EQ(IOError_Timeout, OpenWithUnansweredConnect(WSAETIMEDOUT));
    ExpectConnectTimeout({L"(I0) WSAConnect returned err = 10060"});
    EXPECT_EQ(0u, CountStartingWith(L"(I0) WaitForSingleObject"));
}

TEST_F(ConnectionLog, ConnectUnansweredWithinTheOpenTimeoutWritesTheWaitAndTheTimeoutLine)
{
    ASSERT_EQ(IOError_Timeout, OpenWithUnansweredConnect(WSAEWOULDBLOCK, 50));
    ExpectConnectTimeout({L"(I0) WSAConnect returned err = 10035", L"(I0) WaitForSingleObject returned 258"});
}

TEST_F(ConnectionLog, NullArgumentsWriteTheInvalidArgumentLinesOfReadAndWrite)
{
    ConnectionOn(L"127.0.0.1:9100");
    char buffer[4];
    unsigned long count = 0;
    EXPECT_EQ(IOError_Fail, connection->Read(nullptr, sizeof(buffer), &count, nullptr));
    EXPECT_EQ(IOError_Fail, connection->Read(buffer, sizeof(buffer), nullptr, nullptr));
    EXPECT_EQ(IOError_Fail, connection->Write(nullptr, sizeof(buffer), &count, nullptr));
    EXPECT_EQ(IOError_Fail, connection->Write(buffer, sizeof(buffer), nullptr, nullptr));
    std::wstring missing;
    EXPECT_TRUE(log.InOrder({
        L"(->) CIOCommon::Read, ulBufferSize=4",
        L"(##) Invalid argument, pBuffer = 0, pulBytesRead = " + Low32(&count),
        L"(<-) CIOCommon::Read",
        L"(->) CIOCommon::Read, ulBufferSize=4",
        L"(##) Invalid argument, pBuffer = " + Low32(buffer) + L", pulBytesRead = 0",
        L"(<-) CIOCommon::Read",
        L"(->) CIOCommon::Write",
        L"(##) Invalid argument, pBuffer = 0, pulBytesWritten = " + Low32(&count),
        L"(<-) CIOCommon::Write",
        L"(->) CIOCommon::Write",
        L"(##) Invalid argument, pBuffer = " + Low32(buffer) + L", pulBytesWritten = 0",
        L"(<-) CIOCommon::Write",
    }, &missing)) << "missing, or out of order: " << std::string(missing.begin(), missing.end());
    // Nothing was moved, so no data line either.
    EXPECT_EQ(0u, CountStartingWith(L"(I7) "));
}

TEST_F(ConnectionLog, ReadAndWriteOnAClosedConnectionWriteTheInvalidHandleLine)
{
    ConnectionOn(L"127.0.0.1:9100");
    char buffer[4];
    unsigned long count = 0;
    EXPECT_EQ(IOError_Fail, connection->Read(buffer, sizeof(buffer), &count, nullptr));
    EXPECT_EQ(IOError_Fail, connection->Write(buffer, sizeof(buffer), &count, nullptr));
    ExpectInOrder({
        L"(->) CIOCommon::Read, ulBufferSize=4",
        L"(##) m_hIO == INVALID_HANDLE_VALUE, returning IOError_Fail",
        L"(<-) CIOCommon::Read",
        ErrorLineOf(L"0x83E8F4FF"),
        L"(->) CIOCommon::Write",
        L"(##) m_hIO == INVALID_HANDLE_VALUE, returning IOError_Fail",
        L"(<-) CIOCommon::Write",
        ErrorLineOf(L"0x83E8F4FF"),
    });
    EXPECT_EQ(2u, log.Count(L"(##) m_hIO == INVALID_HANDLE_VALUE, returning IOError_Fail"));
    EXPECT_EQ(0u, CountStartingWith(L"(I7) "));
}

TEST_F(ConnectionLog, WriteStoppedBeforehandWritesItsAbortLineAsInformationAndReadHasNone)
{
    std::string received;
    std::mutex lock;
    LoopbackPeer peer(LoopbackPeer::Record(&received, &lock));
    connection = ConnectionTo(peer);
    ASSERT_EQ(0u, connection->Open(nullptr));
    ScriptedProgress stop([](double, unsigned long) { return false; });
    unsigned long count = 0;
    ASSERT_EQ(IOError_Aborted, connection->Write("data", 4, &count, &stop));
    // Category 16 alone: the informational tag at level 0, no error tag.
    ExpectInOrder({
        L"(->) CIOCommon::Write",
        L"(I0) Operation was aborted before CIOCommon::Write",
        L"(<-) CIOCommon::Write",
        ErrorLineOf(L"0x83E8F4FD"),
    });
    EXPECT_EQ(0u, CountStartingWith(L"(I4) WriteFile"));

    // A read has no such test before it starts.
    connection->SetReadTimeout(10000);
    connection->SetReadWaitInterval(20);
    char buffer[8];
    ASSERT_EQ(IOError_Aborted, connection->Read(buffer, sizeof(buffer), &count, &stop));
    ExpectInOrder({L"(->) CIOCommon::Read, ulBufferSize=8", L"(<-) CIOCommon::Read", ErrorLineOf(L"0x83E8F4FD")});
    EXPECT_EQ(1u, log.Count(L"(I0) Operation was aborted before CIOCommon::Write"));
}

}  // namespace

namespace {

// Wine makes events whenever asked: a failed CreateEventW can only come
// from a double at the platform layer.
class FailingCreateEvent : public QVWinApi::CKernelApi {
public:
    HANDLE CreateEventW(LPSECURITY_ATTRIBUTES, BOOL, BOOL, LPCWSTR) override
    {
        ++calls;
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    int calls = 0;
};

TEST_F(ConnectionLog, AFailedCreateEventWritesItsLineAndAKeptEventNeedsNoNewOne)
{
    LoopbackPeer peer(LoopbackPeer::Reply("abcdef"));
    connection = ConnectionTo(peer);
    ASSERT_EQ(0u, connection->Open(nullptr));
    connection->SetReadTimeout(10000);
    char buffer[3];
    unsigned long count = 5;
    FailingCreateEvent failing;
    {
        // No read has run yet, so there is no event to reuse.
        doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, failing);
        EXPECT_EQ(IOError_Fail, connection->Read(buffer, sizeof(buffer), &count, nullptr));
    }
    EXPECT_EQ(0u, count);
    ExpectInOrder({
        L"(->) CIOCommon::Read, ulBufferSize=3",
        L"(##) CreateEvent failed with err = 8",
        L"(<-) CIOCommon::Read",
        ErrorLineOf(L"0x83E8F4FF"),
    });

    // A read that works keeps its event; the next read needs no new one.
    ASSERT_EQ(0u, connection->Read(buffer, sizeof(buffer), &count, nullptr));
    EXPECT_EQ("abc", std::string(buffer, count));
    {
        doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, failing);
        EXPECT_EQ(0u, connection->Read(buffer, sizeof(buffer), &count, nullptr));
        EXPECT_EQ("def", std::string(buffer, count));
        // Writes keep their own event: the first write needs a new one.
        EXPECT_EQ(IOError_Fail, connection->Write("x", 1, &count, nullptr));
    }
    EXPECT_EQ(2, failing.calls);
    EXPECT_EQ(2u, log.Count(L"(##) CreateEvent failed with err = 8"));
}

}  // namespace
