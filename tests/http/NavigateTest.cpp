// Navigate on a scripted connection that is no socket: the order of its
// calls, the exact bytes it is given, the send loop, the hand-over to a
// connection that does HTTP itself, the retry after 401, progress and the
// exception path.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "doubles/MockDeviceConnection.h"
#include "doubles/ScriptedProgress.h"
#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "http/HTTPTestSupport.h"
#include "iostack/IOStatus.h"

using namespace QVIOStack;
using doubles::MockDeviceConnection;
using doubles::ScriptedProgress;
using http_test::ObservedClient;
using http_test::ScriptedDevice;
using ::testing::_;
using ::testing::AnyNumber;
using ::testing::InSequence;
using ::testing::Invoke;
using ::testing::NiceMock;
using ::testing::NotNull;
using ::testing::Return;

namespace {

const std::string kGetA = "GET /a HTTP/1.1\r\nHOST: 10.0.0.5:80\r\n\r\n";
const std::string kOK = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";

// Takes at most `most` bytes of a write.
auto TakeAtMost(std::vector<std::string>* writes, unsigned long most)
{
    return [writes, most](const void* buffer, unsigned long size, unsigned long* written, QVUtils::IProgress*) {
        const unsigned long n = std::min(size, most);
        writes->emplace_back(static_cast<const char*>(buffer), n);
        *written = n;
        return 0UL;
    };
}

// A device that answers every request with 200 and no content, unless a
// test scripts other answers.
struct Navigate : ::testing::Test {
    Navigate() { device.defaultAnswer = kOK; }
    ObservedClient& Client()
    {
        client = std::make_unique<ObservedClient>(connection);
        return *client;
    }

    ScriptedDevice device;
    NiceMock<MockDeviceConnection>* connection = &device.Connection();
    std::vector<std::string>& writes = device.requests;
    std::unique_ptr<ObservedClient> client;
};

TEST_F(Navigate, RunsOnAConnectionThatIsNotASocket)
{
    ObservedClient& http = Client();
    {
        InSequence order;
        EXPECT_CALL(*connection, Open(NotNull())).WillOnce(Return(0));
        EXPECT_CALL(*connection, IsHTTPCapable()).WillOnce(Return(false));
        EXPECT_CALL(*connection, LockRead());
        EXPECT_CALL(*connection, GetReadTimeout()).WillOnce(Return(8000));
        EXPECT_CALL(*connection, SetReadTimeout(100));
        EXPECT_CALL(*connection, Read(NotNull(), 4096, NotNull(), nullptr)).WillOnce(Return(IOError_Timeout));
        EXPECT_CALL(*connection, SetReadTimeout(8000));
        EXPECT_CALL(*connection, UnlockRead());
        EXPECT_CALL(*connection, LockWrite());
        EXPECT_CALL(*connection, Write(NotNull(), kGetA.size(), NotNull(), NotNull()));
        EXPECT_CALL(*connection, UnlockWrite());
        EXPECT_CALL(*connection, LockRead());
        EXPECT_CALL(*connection, Read(NotNull(), 4096, NotNull(), NotNull()));
        EXPECT_CALL(*connection, UnlockRead());
        EXPECT_CALL(*connection, Close()).WillOnce(Return(0));
    }
    EXPECT_EQ(0u, http.Navigate(L"/a", 0, nullptr));
    EXPECT_EQ(std::vector<std::string>{kGetA}, writes);
    EXPECT_EQ(1, http.reads);
    EXPECT_EQ(0u, http.lastRead);
    EXPECT_EQ(200u, http.GetStatusCode());
    EXPECT_EQ(kOK, device.read);
}

TEST_F(Navigate, DrainingReadsUntilNothingComes)
{
    int reads = 0;
    EXPECT_CALL(*connection, Read(_, 4096, _, nullptr))
        .Times(3)
        .WillRepeatedly(Invoke([&reads](void*, unsigned long, unsigned long* count, QVUtils::IProgress*) {
            *count = ++reads < 3 ? 10 : 0;
            return 0UL;
        }));
    EXPECT_CALL(*connection, Read(_, _, _, NotNull())).Times(AnyNumber());
    EXPECT_EQ(0u, Client().Navigate(L"/a", 0, nullptr));
}

TEST_F(Navigate, EmptyDeviceResponeAlwaysSucceedsAndRestoresTheReadTimeout)
{
    ObservedClient& http = Client();
    EXPECT_CALL(*connection, GetReadTimeout()).WillOnce(Return(1234));
    EXPECT_CALL(*connection, SetReadTimeout(100));
    EXPECT_CALL(*connection, Read(_, 4096, _, nullptr)).WillOnce(Return(IOError_Fail));
    EXPECT_CALL(*connection, SetReadTimeout(1234));
    EXPECT_EQ(0u, http.EmptyDeviceRespone());
}

TEST_F(Navigate, NullPortGivesHostWithoutColon)
{
    ON_CALL(*connection, GetPort()).WillByDefault(Return(nullptr));
    EXPECT_EQ(0u, Client().Navigate(L"/a", 0, nullptr));
    ON_CALL(*connection, GetPort()).WillByDefault(Return(L""));
    EXPECT_EQ(0u, client->Navigate(L"/a", 0, nullptr));
    const std::string expected = "GET /a HTTP/1.1\r\nHOST: 10.0.0.5\r\n\r\n";
    EXPECT_EQ((std::vector<std::string>{expected, expected}), writes);
}

TEST_F(Navigate, TwiceOnOneParameterObjectReplacesHostAndKeepsAuthorization)
{
    CHTTPNavigateParams params;
    params.SetURI(L"/a");
    params.AddExtraHeader(L"Authorization", L"Basic Og==");
    ObservedClient& http = Client();
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(L"10.0.0.5:80", std::wstring(params.GetExtraHeader(L"HOST")));

    ScriptedDevice second;
    second.defaultAnswer = kOK;
    ON_CALL(second.Connection(), GetAddress()).WillByDefault(Return(L"10.0.0.6"));
    ON_CALL(second.Connection(), GetPort()).WillByDefault(Return(L"8080"));
    ASSERT_EQ(0u, http.Initialize(&second.Connection()));
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(L"10.0.0.6:8080", std::wstring(params.GetExtraHeader(L"HOST")));
    EXPECT_EQ(L"Basic Og==", std::wstring(params.GetExtraHeader(L"Authorization")));
    EXPECT_EQ(std::vector<std::string>{"GET /a HTTP/1.1\r\nAuthorization: Basic Og==\r\nHOST: 10.0.0.5:80\r\n\r\n"},
              writes);
    EXPECT_EQ(
        std::vector<std::string>{"GET /a HTTP/1.1\r\nAuthorization: Basic Og==\r\nHOST: 10.0.0.6:8080\r\n\r\n"},
        second.requests);
    client.reset();
}

// Parameters whose data pointer is null when the request is built and set
// when it is sent.
class LateDataParams : public CHTTPNavigateParams {
public:
    const void* GetData() override { return ++calls == 1 ? nullptr : "xyz"; }
    int calls = 0;
};

TEST_F(Navigate, NullDataWithALengthWritesNoContentLinesButTheSendReadsTheData)
{
    LateDataParams params;
    params.SetHTTPRequestMethod(2);
    params.SetURI(L"/d");
    params.SetDataLength(3, false);
    EXPECT_EQ(0u, Client().Navigate(&params, nullptr));
    EXPECT_EQ(2, params.calls);
    EXPECT_EQ(std::vector<std::string>{"POST /d HTTP/1.1\r\nHOST: 10.0.0.5:80\r\n\r\nxyz"}, writes);
}

TEST_F(Navigate, RequestTextGoesOutInCodePage1252)
{
    EXPECT_EQ(0u, Client().Navigate(L"/caf\u00e9\u20ac\u4e2d", 0, nullptr));
    EXPECT_EQ(std::vector<std::string>{"GET /caf\xe9\x80? HTTP/1.1\r\nHOST: 10.0.0.5:80\r\n\r\n"}, writes);
}

TEST_F(Navigate, Status404GivesNavigateResult0)
{
    device.Answer("HTTP/1.1 404 Not Found\r\nContent-Length: 9\r\n\r\nNot found");
    ObservedClient& http = Client();
    EXPECT_EQ(0u, http.Navigate(L"/missing", 0, nullptr));
    EXPECT_EQ(404u, http.GetStatusCode());
    EXPECT_EQ(0u, http.lastRead);
}

TEST_F(Navigate, ExceptionPathClosesTheSessionOnceAndTheExceptionReachesTheCaller)
{
    ObservedClient& http = Client();
    EXPECT_CALL(*connection, Write(_, _, _, _)).WillOnce(Invoke([](const void*, unsigned long, unsigned long*,
                                                                   QVUtils::IProgress*) -> unsigned long {
        throw std::runtime_error("wire cut");
    }));
    EXPECT_CALL(*connection, LockWrite()).Times(1);
    EXPECT_CALL(*connection, UnlockWrite()).Times(1);
    EXPECT_CALL(*connection, Close()).Times(1).WillOnce(Return(0));
    EXPECT_THROW(http.Navigate(L"/a", 0, nullptr), std::runtime_error);
    EXPECT_EQ(0, http.reads);
}

TEST_F(Navigate, ConnectionThatDoesHTTPTakesTheExchangeOver)
{
    ObservedClient& http = Client();
    CHTTPNavigateParams params;
    params.SetURI(L"/a");
    EXPECT_CALL(*connection, IsHTTPCapable()).WillRepeatedly(Return(true));
    EXPECT_CALL(*connection, Navigate(&params, &http, NotNull()))
        .WillOnce(Invoke([](IHTTPNavigateParams*, IHTTPClient* c, QVUtils::IProgress*) {
            c->SetHeaders("HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nX-A: 1\r\n\r\n");
            c->SetStatusCode(200);
            c->SetContent("<a/>", 4);
            return 0UL;
        }));
    EXPECT_CALL(*connection, Write(_, _, _, _)).Times(0);
    EXPECT_CALL(*connection, Read(_, _, _, _)).Times(0);
    EXPECT_CALL(*connection, Close()).Times(1).WillOnce(Return(0));
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(0, http.reads);
    EXPECT_EQ(L"GET /a HTTP/1.1\r\nHOST: 10.0.0.5:80\r\n\r\n", std::wstring(http.GetRequest()));
    EXPECT_EQ(200u, http.GetStatusCode());
    EXPECT_EQ(L"text/xml", std::wstring(http.GetContentType()));
    EXPECT_EQ(L"1", std::wstring(http.GetHeaderEntry(L"x-a")));
    EXPECT_EQ(4u, http.GetContentLength());
    ASSERT_NE(nullptr, http.GetContent());
    EXPECT_EQ("<a/>", std::string(reinterpret_cast<const char*>(http.GetContent()), 4));
}

TEST_F(Navigate, FailureOfTheConnectionsOwnExchangeIsErrorFail)
{
    ObservedClient& http = Client();
    EXPECT_CALL(*connection, IsHTTPCapable()).WillRepeatedly(Return(true));
    EXPECT_CALL(*connection, Navigate(_, _, _)).WillOnce(Return(IOError_Fail));
    EXPECT_CALL(*connection, Close()).Times(1).WillOnce(Return(0));
    EXPECT_EQ(Error_Fail, http.Navigate(L"/a", 0, nullptr));
}

TEST_F(Navigate, AWriteOfAtLeastWhatIsLeftEndsTheLoopWithTheRestUnsent)
{
    const unsigned long most = static_cast<unsigned long>(kGetA.size()) - 3;
    EXPECT_CALL(*connection, Write(_, _, _, _)).WillOnce(Invoke(TakeAtMost(&writes, most)));
    ObservedClient& http = Client();
    EXPECT_EQ(0u, http.Navigate(L"/a", 0, nullptr));
    EXPECT_EQ(std::vector<std::string>{kGetA.substr(0, most)}, writes);
    EXPECT_EQ(1, http.reads);
}

void KeepSent(const void* bytes, unsigned long count, void* param)
{
    static_cast<std::vector<std::string>*>(param)->emplace_back(static_cast<const char*>(bytes), count);
}

TEST_F(Navigate, ASmallerWriteIsFollowedByOneForTheRest)
{
    std::vector<std::string> seen;
    CHTTPNavigateParams params;
    params.SetURI(L"/a");
    params.SetSendStatusCallback(KeepSent);
    params.SetSendStatusParam(&seen);
    EXPECT_CALL(*connection, Write(_, _, _, _))
        .WillOnce(Invoke(TakeAtMost(&writes, 10)))
        .WillOnce(Invoke(TakeAtMost(&writes, 1000)));
    EXPECT_EQ(0u, Client().Navigate(&params, nullptr));
    const std::vector<std::string> expected{kGetA.substr(0, 10), kGetA.substr(10)};
    EXPECT_EQ(expected, writes);
    EXPECT_EQ(expected, seen);
}

struct WriteOutcome {
    unsigned long ioStatus;
    unsigned long written;
    unsigned long httpStatus;
};

class WriteFailure : public Navigate, public ::testing::WithParamInterface<WriteOutcome> {};

TEST_P(WriteFailure, EndsTheExchangeWithoutReading)
{
    const WriteOutcome outcome = GetParam();
    EXPECT_CALL(*connection, Write(_, _, _, _))
        .WillOnce(Invoke([outcome](const void*, unsigned long, unsigned long* written, QVUtils::IProgress*) {
            *written = outcome.written;
            return outcome.ioStatus;
        }));
    EXPECT_CALL(*connection, Close()).Times(1).WillOnce(Return(0));
    ObservedClient& http = Client();
    EXPECT_EQ(outcome.httpStatus, http.Navigate(L"/a", 0, nullptr));
    EXPECT_EQ(0, http.reads);
}

INSTANTIATE_TEST_SUITE_P(Outcomes, WriteFailure,
                         ::testing::Values(WriteOutcome{IOError_Fail, 0, Error_IO_Write_Fail},
                                           WriteOutcome{IOError_Timeout, 0, Error_Timeout},
                                           WriteOutcome{0, 0, Error_Timeout},
                                           WriteOutcome{IOError_Fail, 5, Error_IO_Write_Fail}));

TEST_F(Navigate, Unauthorized401WithASchemeIsTriedOnceMore)
{
    device.Answer("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\n"
                  "Content-Length: 0\r\n\r\n");
    ObservedClient& http = Client();
    CHTTPNavigateParams params;
    params.SetURI(L"/a");
    EXPECT_CALL(*connection, Open(_)).Times(2).WillRepeatedly(Return(0));
    EXPECT_CALL(*connection, Close()).Times(2).WillRepeatedly(Return(0));
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(2, http.reads);
    EXPECT_EQ(200u, http.GetStatusCode());
    EXPECT_EQ((std::vector<std::string>{kGetA,
                                        "GET /a HTTP/1.1\r\nAuthorization: Basic Og==\r\nHOST: 10.0.0.5:80\r\n\r\n"}),
              writes);
}

TEST_F(Navigate, ASchemeSetBeforehandSendsAuthorizationAtOnceAndSpendsTheRetry)
{
    device.defaultAnswer = "HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n";
    ObservedClient& http = Client();
    CHTTPNavigateParams params;
    params.SetURI(L"/a");
    params.SetAuthScheme(1);
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(1, http.reads);
    EXPECT_EQ(401u, http.GetStatusCode());
    EXPECT_EQ(std::vector<std::string>{"GET /a HTTP/1.1\r\nAuthorization: Basic Og==\r\nHOST: 10.0.0.5:80\r\n\r\n"},
              writes);
}

TEST_F(Navigate, Unauthorized401WithoutSchemeOrAfterATryStays)
{
    device.defaultAnswer = "HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n";
    ObservedClient& http = Client();
    CHTTPNavigateParams params;
    params.SetURI(L"/a");
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    params.SetAuthScheme(2);
    params.SetTriedAuthenticating(true);
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(2, http.reads);
    EXPECT_EQ(401u, http.GetStatusCode());
}

TEST_F(Navigate, ReadFailureIsTheResultAndThePositiveReadStatusGivesWayToClose)
{
    // The device closes before it answers, then after an answer without a
    // length: a read failure, and the closed end of the content.
    device.quiet = IOError_Fail;
    device.Answer(std::vector<http_test::ReadStep>{});
    device.Answer("HTTP/1.1 200 OK\r\n\r\nab");
    ObservedClient& http = Client();
    EXPECT_CALL(*connection, Close()).WillOnce(Return(IOError_Fail)).WillOnce(Return(0));
    EXPECT_EQ(Error_IO_Read_Fail, http.Navigate(L"/a", 0, nullptr));
    EXPECT_EQ(Error_IO_Read_Fail, http.lastRead);
    EXPECT_EQ(0u, http.Navigate(L"/a", 0, nullptr));
    EXPECT_EQ(1u, http.lastRead);
    EXPECT_EQ("ab", std::string(reinterpret_cast<const char*>(http.GetContent()), http.GetContentLength()));
}

TEST_F(Navigate, CloseFailureAfterASuccessfulExchangeIsCloseFail)
{
    EXPECT_CALL(*connection, Close()).WillOnce(Return(IOError_Fail));
    EXPECT_EQ(Error_Close_Fail, Client().Navigate(L"/a", 0, nullptr));
}

TEST_F(Navigate, OpenFailureEndsBeforeAnyTransferOrClose)
{
    EXPECT_CALL(*connection, Open(_)).WillOnce(Return(IOError_DeviceGone));
    EXPECT_CALL(*connection, Close()).Times(0);
    EXPECT_EQ(Error_Device_Gone, Client().Navigate(L"/a", 0, nullptr));
    EXPECT_TRUE(writes.empty());
}

TEST_F(Navigate, ClientCredentialsOverrideThoseOfTheRequest)
{
    CHTTPNavigateParams params;
    params.SetURI(L"/a");
    params.SetUserName(L"guest");
    params.SetPassword(L"none");
    ObservedClient& http = Client();
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(L"guest", std::wstring(params.GetUserName()));
    http.SetUserName(L"admin");
    http.SetPassword(L"secret");
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(L"admin", std::wstring(params.GetUserName()));
    EXPECT_EQ(L"secret", std::wstring(params.GetPassword()));
}

TEST_F(Navigate, ProgressSeesSixStepsWithTheirCodes)
{
    ScriptedProgress progress;
    EXPECT_EQ(0u, Client().Navigate(L"/a", 0, &progress));
    // Building, opening, sending; reading: its start, the one read, the
    // header read's step, the parsed header, its end, and the rest of its
    // share given at once; then the step after reading, the redirection
    // check's own step finished unused, and the step after it.
    EXPECT_EQ((std::vector<unsigned long>{0, 3, 10, 10, 10, 10, 0, 11, 11, 11, 11, 11, 11, 0, 0, 0, 0}),
              progress.codes);
    ASSERT_FALSE(progress.percents.empty());
    EXPECT_DOUBLE_EQ(100.0, progress.percents.back());
}

TEST_F(Navigate, AStopAfterBuildingOpensNothing)
{
    ScriptedProgress progress([](double, unsigned long code) { return code != 3; });
    EXPECT_CALL(*connection, Open(_)).Times(0);
    EXPECT_EQ(Error_Aborted, Client().Navigate(L"/a", 0, &progress));
}

TEST_F(Navigate, AStopDuringTheExchangeStillClosesTheSession)
{
    ScriptedProgress progress([](double, unsigned long code) { return code != 11; });
    EXPECT_CALL(*connection, Close()).Times(1).WillOnce(Return(0));
    ObservedClient& http = Client();
    EXPECT_EQ(Error_Aborted, http.Navigate(L"/a", 0, &progress));
    EXPECT_EQ(0, http.reads);
    EXPECT_EQ(std::vector<std::string>{kGetA}, writes);
}

}  // namespace
