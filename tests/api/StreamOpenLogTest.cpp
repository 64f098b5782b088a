// A stream whose connection cannot be opened: the stream's error line
// carries the connection's status, read back from a real UTF-16 log file.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "api/AddressFactory.h"
#include "doubles/ApiOverride.h"
#include "doubles/LogFileLines.h"
#include "doubles/ModuleLogFile.h"
#include "doubles/UnansweredConnect.h"
#include "logging/LogModules.h"
#include "peers/ClosedPort.h"

using namespace Orvane;

namespace {

struct StreamOpenLog : ::testing::Test {
    ~StreamOpenLog() override
    {
        if (stream) {
            stream->Dispose();
        }
        address->Dispose();
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    void ExpectInOrder(const std::vector<std::wstring>& expected) const
    {
        doubles::ExpectLinesInOrder(log.Lines(), expected);
    }

    doubles::ModuleLogFile log{{g_pOrvaneAPILog, g_pIONetworkLog}, L"stream-open"};
    Address* address = AddressFactory::CreateFromIPAddress(L"127.0.0.1");
    Stream* stream = nullptr;
};

TEST_F(StreamOpenLog, RefusedPortWritesOpenFailedWithTheConnectionsStatus)
{
    const peers::ClosedPort closed(9100, 8000);
    ASSERT_NE(0, closed.Port());
    ASSERT_EQ(0u, address->CreateStream(closed.Port(), &stream));
    ASSERT_EQ(static_cast<unsigned long>(E_FAIL), stream->Open());
    ExpectInOrder({
        L"(->) QVStream::Open",
        L"(->) CIONetwork::Open",
        L"(##) FAIL: Other failure 10061 occurred during connect attempt",
        L"(<-) CIONetwork::Open",
        L"(##) Open failed with error 0x83e8f4ff",
        L"(->) CIONetwork::IsOpen",
        L"(<-) CIONetwork::IsOpen",
        L"(<-) QVStream::Open",
        L"(**) [Err: 0x80004005] ",
    });
    EXPECT_EQ(1u, log.Count(L"(##) Open failed with error 0x83e8f4ff"));
}

TEST_F(StreamOpenLog, TimedOutConnectWritesOpenFailedWithTheTimeoutStatus)
{
    doubles::UnansweredConnect winsock(WSAETIMEDOUT);
    doubles::ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    ASSERT_EQ(0u, address->CreateStream(9100, &stream));
    ASSERT_EQ(static_cast<unsigned long>(E_FAIL), stream->Open());
    ExpectInOrder({
        L"(->) QVStream::Open",
        L"(##) TIMEOUT: WSA_WAIT_TIMEOUT or WSAETIMEDOUT during connect attempt",
        L"(##) Open failed with error 0x83e8f4fe",
        L"(<-) QVStream::Open",
    });
    EXPECT_EQ(1u, log.Count(L"(##) Open failed with error 0x83e8f4fe"));
    EXPECT_EQ(static_cast<unsigned long>(ERROR_TIMEOUT), stream->GetSystemErrorCode());
}

}  // namespace
