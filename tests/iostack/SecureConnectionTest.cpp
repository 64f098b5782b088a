// The secure connection: its footing, sessions and the whole HTTPS exchange
// it does through WinINet, here against a scripted WinINet.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "doubles/ApiOverride.h"
#include "doubles/ScriptedProgress.h"
#include "doubles/ScriptedWinInet.h"
#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "iostack/CGuardedSend.h"
#include "iostack/SecureTestSupport.h"
#include "winapi/CKernelApi.h"

using namespace QVIOStack;
using doubles::ApiOverride;
using doubles::ScriptedProgress;
using doubles::ScriptedWinInet;
using iostack_test::CountingClient;
using iostack_test::FakeDevice;
using iostack_test::TestableSecure;

namespace {

constexpr DWORD kSecurityFlagsOfTheRequest = SECURITY_FLAG_IGNORE_CERT_CN_INVALID
    | SECURITY_FLAG_IGNORE_CERT_DATE_INVALID;

std::wstring Text(const wchar_t* text)
{
    return text ? text : L"(null)";
}

TEST(SecureFooting, TextWithoutPortGivesPort443)
{
    TestableSecure connection;
    EXPECT_EQ(0u, connection.Initialize(L"192.0.2.7"));
    EXPECT_EQ(L"192.0.2.7", Text(connection.GetAddress()));
    EXPECT_EQ(L"443", Text(connection.GetPort()));
    EXPECT_EQ(L"192.0.2.7", Text(connection.GetServiceAddress()));
}

TEST(SecureFooting, TextWithPortKeepsItAndTheRulesOfTheNetworkConnection)
{
    TestableSecure connection;
    EXPECT_EQ(0u, connection.Initialize(L"192.0.2.7:7627"));
    EXPECT_EQ(L"7627", Text(connection.GetPort()));
    EXPECT_EQ(L"192.0.2.7:7627", Text(connection.GetServiceAddress()));
    EXPECT_EQ(0u, connection.Initialize(L"[fe80::1]"));
    EXPECT_EQ(L"fe80::1", Text(connection.GetAddress()));
    EXPECT_EQ(L"443", Text(connection.GetPort()));
    EXPECT_EQ(IOError_Fail, connection.Initialize(L"printer"));
    EXPECT_EQ(IOError_Fail, connection.Initialize(L"[fe80::1:80"));
    EXPECT_EQ(IOError_Fail, connection.Initialize(L""));
    EXPECT_EQ(IOError_Fail, connection.Initialize(nullptr));
}

TEST(SecureFooting, FactoryMakesTheSecureConnectionForTheAsking)
{
    IDeviceConnection* secure = CreateIONetwork(true);
    ASSERT_NE(nullptr, secure);
    EXPECT_NE(nullptr, dynamic_cast<CIOSecureT<CIONetwork>*>(secure));
    EXPECT_EQ(1u, secure->AddRef());
    EXPECT_TRUE(secure->IsHTTPCapable());
    EXPECT_EQ(30000u, secure->GetOpenTimeout());
    EXPECT_EQ(30000u, secure->GetReadTimeout());
    EXPECT_EQ(30000u, secure->GetWriteTimeout());
    EXPECT_EQ(0u, secure->Initialize(L"192.0.2.7"));

    // A clone keeps the footing and, asked for, the security.
    IDeviceConnection* clone = secure->Clone(true);
    ASSERT_NE(nullptr, clone);
    EXPECT_TRUE(clone->IsHTTPCapable());
    EXPECT_EQ(L"443", Text(clone->GetPort()));
    EXPECT_EQ(0u, clone->Dispose());

    IDeviceConnection* made = dynamic_cast<CIOSecureT<CIONetwork>*>(secure)->CreateInstance();
    ASSERT_NE(nullptr, made);
    EXPECT_TRUE(made->IsHTTPCapable());
    EXPECT_EQ(nullptr, made->GetAddress());
    EXPECT_EQ(1u, made->AddRef());
    EXPECT_EQ(0u, made->Dispose());
    EXPECT_EQ(0u, secure->Dispose());
}

TEST(SecureConnection, ReadAndWriteOnAnOpenSecureConnectionFail)
{
    // The platform's own WinINet: opening touches no network.
    TestableSecure connection;
    ASSERT_EQ(0u, connection.Initialize(L"192.0.2.7"));
    ASSERT_EQ(0u, connection.Open(nullptr));
    EXPECT_TRUE(connection.IsOpen());
    char buffer[8];
    unsigned long count = 7;
    EXPECT_EQ(IOError_Fail, connection.Read(buffer, sizeof(buffer), &count, nullptr));
    EXPECT_EQ(0u, count);
    EXPECT_EQ(IOError_Fail, connection.Write("x", 1, &count, nullptr));
    EXPECT_EQ(0u, connection.Close());
    EXPECT_FALSE(connection.IsOpen());
}

struct SecureSession : ::testing::Test {
    // The test's own reference: a client's Dispose never deletes the object.
    SecureSession() { connection.AddRef(); }

    ScriptedWinInet winInet;
    ApiOverride<QVWinApi::IWinInetApi> swap{g_pWinInetApi, winInet};
    TestableSecure connection;
};

TEST_F(SecureSession, OpenMakesAnAsynchronousSessionAndAConnectionToTheAddress)
{
    ASSERT_EQ(0u, connection.Initialize(L"192.0.2.7:7627"));
    EXPECT_EQ(0u, connection.Open(nullptr));
    EXPECT_EQ(L"ZQ", winInet.agentText);
    EXPECT_EQ(static_cast<DWORD>(INTERNET_OPEN_TYPE_DIRECT), winInet.openAccessType);
    EXPECT_EQ(nullptr, winInet.openProxy);
    EXPECT_EQ(nullptr, winInet.openBypass);
    EXPECT_EQ(static_cast<DWORD>(INTERNET_FLAG_ASYNC), winInet.openFlags);
    EXPECT_EQ(ScriptedWinInet::Session(), winInet.callbackHandle);
    EXPECT_EQ(&CInternetRequest::StatusCallback, winInet.statusCallback);
    EXPECT_EQ(ScriptedWinInet::Session(), winInet.connectSession);
    EXPECT_EQ(L"192.0.2.7", winInet.serverName);
    EXPECT_EQ(7627, winInet.serverPort);
    EXPECT_EQ(nullptr, winInet.connectUser);
    EXPECT_EQ(nullptr, winInet.connectPassword);
    EXPECT_EQ(static_cast<DWORD>(INTERNET_SERVICE_HTTP), winInet.connectService);
    EXPECT_TRUE(connection.IsOpen());
    EXPECT_EQ(1, connection.SessionCount());
    EXPECT_TRUE(connection.IgnoresUnknownCA());
}

TEST_F(SecureSession, SecondOpenCountsAndTheSecondCloseClosesConnectionThenSession)
{
    connection.Initialize(L"192.0.2.7");
    ASSERT_EQ(0u, connection.Open(nullptr));
    ASSERT_EQ(0u, connection.Open(nullptr));
    EXPECT_EQ(1, winInet.opens);
    EXPECT_EQ(2, connection.SessionCount());
    EXPECT_EQ(0u, connection.Close());
    EXPECT_TRUE(winInet.closed.empty());
    EXPECT_TRUE(connection.IsOpen());
    EXPECT_EQ(0u, connection.Close());
    EXPECT_EQ((std::vector<HINTERNET>{ScriptedWinInet::Connect(), ScriptedWinInet::Session()}), winInet.closed);
    EXPECT_FALSE(connection.IsOpen());
    EXPECT_EQ(0, connection.SessionCount());
}

TEST_F(SecureSession, CloseWithoutOpenDoesNothingAndLeavesTheCountAtZero)
{
    connection.Initialize(L"192.0.2.7");
    EXPECT_EQ(0u, connection.Close());
    EXPECT_TRUE(winInet.closed.empty());
    EXPECT_EQ(0, connection.SessionCount());
}

TEST_F(SecureSession, CleanupClosesWhateverTheCount)
{
    connection.Initialize(L"192.0.2.7");
    connection.Open(nullptr);
    connection.Open(nullptr);
    connection.Cleanup();
    EXPECT_EQ(2u, winInet.closed.size());
    EXPECT_FALSE(connection.IsOpen());
    EXPECT_EQ(0, connection.SessionCount());
}

TEST_F(SecureSession, OpenWithoutAddressFails)
{
    EXPECT_EQ(IOError_Fail, connection.Open(nullptr));
    EXPECT_EQ(0, winInet.opens);
    EXPECT_FALSE(connection.IsOpen());
}

TEST_F(SecureSession, FailedInternetOpenFailsOpen)
{
    connection.Initialize(L"192.0.2.7");
    winInet.openError = ERROR_NOT_ENOUGH_MEMORY;
    EXPECT_EQ(IOError_Fail, connection.Open(nullptr));
    EXPECT_FALSE(connection.IsOpen());
}

TEST_F(SecureSession, FailedInternetConnectFailsOpenAndClosesTheSession)
{
    connection.Initialize(L"192.0.2.7");
    winInet.connectError = ERROR_INTERNET_INVALID_URL;
    EXPECT_EQ(IOError_Fail, connection.Open(nullptr));
    EXPECT_FALSE(connection.IsOpen());
    EXPECT_EQ((std::vector<HINTERNET>{ScriptedWinInet::Session()}), winInet.closed);
    EXPECT_EQ(0, connection.SessionCount());
}

TEST_F(SecureSession, StopAtEachOfTheThreeStepsLeavesNothingOpen)
{
    connection.Initialize(L"192.0.2.7");
    for (int stopAt = 1; stopAt <= 3; ++stopAt) {
        int calls = 0;
        ScriptedProgress progress([&](double, unsigned long) { return ++calls < stopAt; });
        EXPECT_EQ(IOError_Aborted, connection.Open(&progress)) << stopAt;
        EXPECT_FALSE(connection.IsOpen()) << stopAt;
        EXPECT_EQ(stopAt == 1 ? 0 : 1, winInet.opens) << stopAt;
        winInet.opens = 0;
    }
}

TEST_F(SecureSession, OpenOnADeviceTakesTheAddressOfItsFunction)
{
    FakeDevice device;
    ASSERT_EQ(0u, connection.Initialize(&device, {QVDeviceManager::FUNCTION_TYPE()}));
    ASSERT_EQ(0u, connection.Open(nullptr));
    EXPECT_EQ(L"192.0.2.9", winInet.serverName);
    EXPECT_EQ(7627, winInet.serverPort);
    EXPECT_EQ(L"192.0.2.9:7627", Text(connection.GetServiceAddress()));
}

TEST_F(SecureSession, OpenOnADeviceThatIsGoneFails)
{
    FakeDevice device;
    device.refreshStatus = 0x83E8FAFB;  // DM_E_DEVICE_GONE
    ASSERT_EQ(0u, connection.Initialize(&device, {QVDeviceManager::FUNCTION_TYPE()}));
    EXPECT_EQ(IOError_DeviceGone, connection.Open(nullptr));
    EXPECT_EQ(0, winInet.opens);
}

// One exchange on an open connection, through the connection's own Navigate.
struct SecureNavigate : SecureSession {
    SecureNavigate()
    {
        connection.Initialize(L"192.0.2.7");
        connection.Open(nullptr);
        params.SetURI(L"/status");
    }
    unsigned long Navigate() { return connection.Navigate(&params, &client, nullptr); }

    CHTTPNavigateParams params;
    CountingClient client;
};

TEST_F(SecureNavigate, RequestIsOpenedWithTheMethodTheURIAndTheFlags04A43000)
{
    params.SetHTTPRequestMethod(0);
    ASSERT_EQ(0u, Navigate());
    EXPECT_EQ(ScriptedWinInet::Connect(), winInet.requestConnect);
    EXPECT_EQ(L"GET", winInet.requestVerb);
    EXPECT_EQ(L"/status", winInet.requestObject);
    EXPECT_EQ(nullptr, winInet.requestVersion);
    EXPECT_EQ(nullptr, winInet.requestReferrer);
    EXPECT_EQ(nullptr, winInet.requestAcceptTypes);
    EXPECT_EQ(0x04A43000u, winInet.requestFlags);
    EXPECT_EQ(1u, winInet.requestContext);
    EXPECT_EQ(1, winInet.sends);
    EXPECT_EQ(nullptr, winInet.sendExtraHeaders);
    EXPECT_EQ(0u, winInet.sendExtraLength);
    EXPECT_EQ(1u, winInet.ClosedCount(winInet.lastRequest));
}

TEST_F(SecureNavigate, TheConnectionsTimeoutsGoToTheRequest)
{
    connection.SetOpenTimeout(1111);
    connection.SetWriteTimeout(2222);
    connection.SetReadTimeout(3333);
    ASSERT_EQ(0u, Navigate());
    EXPECT_EQ(std::vector<DWORD>{1111}, winInet.OptionValues(INTERNET_OPTION_CONNECT_TIMEOUT));
    EXPECT_EQ(std::vector<DWORD>{2222}, winInet.OptionValues(INTERNET_OPTION_SEND_TIMEOUT));
    EXPECT_EQ(std::vector<DWORD>{3333}, winInet.OptionValues(INTERNET_OPTION_RECEIVE_TIMEOUT));
}

TEST_F(SecureNavigate, BodyLengthTypeAndExtraHeadersAreAddedToBeCoalesced)
{
    params.SetData("abcd");
    params.SetDataLength(4, false);
    params.SetDataType(L"text/plain");
    params.SetExtraHeaders(L"X-One: 1\r\nX-Two: 2");
    ASSERT_EQ(0u, Navigate());
    ASSERT_EQ(3u, winInet.headers.size());
    EXPECT_EQ(L"Content-Length: 4\r\n", winInet.headers[0].text);
    EXPECT_EQ(L"Content-Type: text/plain\r\n", winInet.headers[1].text);
    EXPECT_EQ(L"X-One: 1\r\nX-Two: 2\r\n", winInet.headers[2].text);
    for (const auto& header : winInet.headers) {
        EXPECT_EQ(0x40000000u, header.modifiers);
    }
    EXPECT_EQ(std::vector<std::string>{"abcd"}, winInet.sentData);
}

TEST_F(SecureNavigate, NoBodyAndNoExtraHeadersAddNothing)
{
    ASSERT_EQ(0u, Navigate());
    EXPECT_TRUE(winInet.headers.empty());
    EXPECT_EQ(std::vector<std::string>{"(null)"}, winInet.sentData);
}

TEST_F(SecureNavigate, BodyWithoutTypeGivesOnlyItsLength)
{
    params.SetData("");
    params.SetDataLength(0, false);
    params.SetExtraHeaders(L"X-One: 1\r\n");
    ASSERT_EQ(0u, Navigate());
    ASSERT_EQ(2u, winInet.headers.size());
    EXPECT_EQ(L"Content-Length: 0\r\n", winInet.headers[0].text);
    EXPECT_EQ(L"X-One: 1\r\n", winInet.headers[1].text);
}

TEST_F(SecureNavigate, UnknownAuthorityIsAcceptedOnTheSecondSendWithoutADialog)
{
    winInet.sendScript = {{FALSE, ERROR_INTERNET_INVALID_CA}, {TRUE, 0}};
    EXPECT_EQ(0u, Navigate());
    EXPECT_EQ(2, winInet.sends);
    EXPECT_TRUE(winInet.dialogs.empty());
    EXPECT_EQ(std::vector<DWORD>{kSecurityFlagsOfTheRequest | SECURITY_FLAG_IGNORE_UNKNOWN_CA},
              winInet.OptionValues(INTERNET_OPTION_SECURITY_FLAGS));
    EXPECT_EQ(200u, client.GetStatusCode());
}

TEST_F(SecureNavigate, UnknownAuthorityTwiceFailsAfterTwoSends)
{
    winInet.sendScript = {{FALSE, ERROR_INTERNET_INVALID_CA}, {FALSE, ERROR_INTERNET_INVALID_CA}};
    EXPECT_EQ(IOError_Fail, Navigate());
    EXPECT_EQ(2, winInet.sends);
    EXPECT_EQ(1u, winInet.ClosedCount(winInet.lastRequest));
    EXPECT_TRUE(winInet.reads.empty());
}

TEST_F(SecureNavigate, QuestionAboutTheAuthorityGoesToTheDialogOnTheDesktop)
{
    connection.AskAboutUnknownCA();
    winInet.sendScript = {{FALSE, ERROR_INTERNET_INVALID_CA}, {TRUE, 0}};
    winInet.dialogAnswer = ERROR_SUCCESS;
    EXPECT_EQ(0u, Navigate());
    ASSERT_EQ(1u, winInet.dialogs.size());
    EXPECT_EQ(winInet.desktop, winInet.dialogs[0].window);
    EXPECT_EQ(winInet.lastRequest, winInet.dialogs[0].request);
    EXPECT_EQ(static_cast<DWORD>(ERROR_INTERNET_INVALID_CA), winInet.dialogs[0].error);
    EXPECT_EQ(23u, winInet.dialogs[0].flags);
    EXPECT_EQ(nullptr, winInet.dialogs[0].data);
    EXPECT_EQ(2, winInet.sends);
    EXPECT_TRUE(connection.IgnoresUnknownCA());
    EXPECT_EQ(std::vector<DWORD>{kSecurityFlagsOfTheRequest | SECURITY_FLAG_IGNORE_UNKNOWN_CA},
              winInet.OptionValues(INTERNET_OPTION_SECURITY_FLAGS));
}

TEST_F(SecureNavigate, RefusalInTheDialogEndsWithTheFailure)
{
    connection.AskAboutUnknownCA();
    winInet.sendScript = {{FALSE, ERROR_INTERNET_INVALID_CA}};
    winInet.dialogAnswer = ERROR_CANCELLED;
    EXPECT_EQ(IOError_Fail, Navigate());
    EXPECT_EQ(1u, winInet.dialogs.size());
    EXPECT_EQ(1, winInet.sends);
    EXPECT_TRUE(winInet.OptionValues(INTERNET_OPTION_SECURITY_FLAGS).empty());
    EXPECT_FALSE(connection.IgnoresUnknownCA());
}

TEST_F(SecureNavigate, EveryOpenSetsTheAuthorityAnswerAgain)
{
    connection.AskAboutUnknownCA();
    connection.Cleanup();
    ASSERT_EQ(0u, connection.Open(nullptr));
    EXPECT_TRUE(connection.IgnoresUnknownCA());
}

TEST_F(SecureNavigate, FailedRevocationCheckIsIgnoredOnTheSecondSend)
{
    winInet.sendScript = {{FALSE, ERROR_INTERNET_SEC_CERT_REV_FAILED}, {TRUE, 0}};
    EXPECT_EQ(0u, Navigate());
    EXPECT_EQ(2, winInet.sends);
    EXPECT_EQ(std::vector<DWORD>{kSecurityFlagsOfTheRequest | SECURITY_FLAG_IGNORE_REVOCATION},
              winInet.OptionValues(INTERNET_OPTION_SECURITY_FLAGS));
}

TEST_F(SecureNavigate, AuthorityThenRevocationEachHandledOnce)
{
    winInet.sendScript = {{FALSE, ERROR_INTERNET_INVALID_CA},
                          {FALSE, ERROR_INTERNET_SEC_CERT_REV_FAILED},
                          {FALSE, ERROR_INTERNET_SEC_CERT_REV_FAILED}};
    EXPECT_EQ(IOError_Fail, Navigate());
    EXPECT_EQ(3, winInet.sends);
    EXPECT_EQ((std::vector<DWORD>{kSecurityFlagsOfTheRequest | SECURITY_FLAG_IGNORE_UNKNOWN_CA,
                                  kSecurityFlagsOfTheRequest | SECURITY_FLAG_IGNORE_UNKNOWN_CA
                                      | SECURITY_FLAG_IGNORE_REVOCATION}),
              winInet.OptionValues(INTERNET_OPTION_SECURITY_FLAGS));
}

TEST_F(SecureNavigate, FlagsThatCannotBeReadAreNotWrittenBack)
{
    winInet.queryOptionError = ERROR_INTERNET_INCORRECT_HANDLE_TYPE;
    winInet.sendScript = {{FALSE, ERROR_INTERNET_INVALID_CA}, {FALSE, ERROR_INTERNET_INVALID_CA}};
    EXPECT_EQ(IOError_Fail, Navigate());
    EXPECT_TRUE(winInet.OptionValues(INTERNET_OPTION_SECURITY_FLAGS).empty());
}

TEST_F(SecureNavigate, OtherSendFailureEndsAtOnce)
{
    winInet.sendScript = {{FALSE, ERROR_INTERNET_CANNOT_CONNECT}};
    EXPECT_EQ(IOError_Fail, Navigate());
    EXPECT_EQ(1, winInet.sends);
    EXPECT_EQ(1u, winInet.ClosedCount(winInet.lastRequest));
}

TEST_F(SecureNavigate, SendThatGoesOnEndsThroughTheStatusCallback)
{
    ScriptedWinInet::Send pending{TRUE, 0};
    pending.pending = true;
    pending.pendingMs = 50;
    winInet.sendScript = {pending};
    winInet.body = "late";
    EXPECT_EQ(0u, Navigate());
    EXPECT_EQ("late", std::string(reinterpret_cast<const char*>(client.GetContent()), client.GetContentLength()));
}

TEST_F(SecureNavigate, UnknownAuthorityReportedThroughTheCallbackIsHandledAlike)
{
    ScriptedWinInet::Send pending{FALSE, ERROR_INTERNET_INVALID_CA};
    pending.pending = true;
    pending.pendingMs = 10;
    winInet.sendScript = {pending, {TRUE, 0}};
    EXPECT_EQ(0u, Navigate());
    EXPECT_EQ(2, winInet.sends);
    EXPECT_TRUE(winInet.dialogs.empty());
}

TEST_F(SecureNavigate, DeviceSilentBeyondTheReadTimeoutIsClosedByTheWatchdog)
{
    ScriptedWinInet::Send never{TRUE, 0};
    never.pending = true;
    never.pendingMs = -1;
    winInet.sendScript = {never};
    connection.SetReadTimeout(300);
    EXPECT_EQ(IOError_Fail, Navigate());
    // Closed once, by the watchdog; nothing read.
    EXPECT_EQ(1u, winInet.ClosedCount(winInet.lastRequest));
    EXPECT_TRUE(winInet.reads.empty());
    EXPECT_EQ(0u, client.GetStatusCode());
    // The request's state waits for WinINet's last word on the handle.
    CInternetRequest::StatusCallback(winInet.lastRequest, 1, INTERNET_STATUS_HANDLE_CLOSING, nullptr, 0);
}

TEST_F(SecureNavigate, SendThatSucceedsAfterTheWatchdogFiredIsATimeout)
{
    ScriptedWinInet::Send slow{TRUE, 0};
    slow.delayMs = 400;
    winInet.sendScript = {slow};
    connection.SetReadTimeout(100);
    EXPECT_EQ(IOError_Fail, Navigate());
    EXPECT_EQ(1, winInet.sends);
    EXPECT_EQ(1u, winInet.ClosedCount(winInet.lastRequest));
    EXPECT_TRUE(winInet.reads.empty());
}

TEST_F(SecureNavigate, Unauthorized401WithoutSchemeIsPassedOnWithItsBody)
{
    winInet.rawHeaders = "HTTP/1.1 401 Unauthorized\r\nContent-Length: 6\r\n\r\n";
    winInet.statusText = L"401";
    winInet.body = "denied";
    EXPECT_EQ(0u, Navigate());
    EXPECT_EQ(0, client.navigations);
    EXPECT_EQ(401u, client.GetStatusCode());
    EXPECT_EQ("denied", std::string(reinterpret_cast<const char*>(client.GetContent()), client.GetContentLength()));
    EXPECT_EQ(winInet.rawHeaders, std::string(client.GetHeader()));
}

TEST_F(SecureNavigate, Unauthorized401WithSchemeStartsTheClientOver)
{
    winInet.statusText = L"401";
    winInet.body = "denied";
    params.SetAuthScheme(1);
    EXPECT_EQ(0u, Navigate());
    EXPECT_EQ(1, client.navigations);
    EXPECT_TRUE(winInet.reads.empty());
    EXPECT_EQ(1u, winInet.ClosedCount(winInet.lastRequest));

    client.answer = Error_Fail;
    EXPECT_EQ(IOError_Fail, Navigate());
    EXPECT_EQ(2, client.navigations);
}

TEST_F(SecureNavigate, Unauthorized401AfterTryingIsPassedOn)
{
    winInet.statusText = L"401";
    params.SetAuthScheme(1);
    params.SetTriedAuthenticating(true);
    EXPECT_EQ(0u, Navigate());
    EXPECT_EQ(0, client.navigations);
    EXPECT_EQ(401u, client.GetStatusCode());
}

TEST_F(SecureNavigate, RawHeadersAndStatusCodeAreHandedBack)
{
    winInet.rawHeaders = "HTTP/1.1 404 Not Found\r\nServer: device\r\nX-Id: 7\r\n\r\n";
    winInet.statusText = L"404";
    EXPECT_EQ(0u, Navigate());
    EXPECT_EQ(winInet.rawHeaders, std::string(client.GetHeader()));
    EXPECT_EQ(L"device", Text(client.GetHeaderEntry(L"server")));
    EXPECT_EQ(L"7", Text(client.GetHeaderEntry(L"X-Id")));
    EXPECT_EQ(404u, client.GetStatusCode());
    EXPECT_EQ((std::vector<DWORD>{HTTP_QUERY_RAW_HEADERS_CRLF, HTTP_QUERY_RAW_HEADERS_CRLF}), winInet.queryLevelsA);
    EXPECT_EQ((std::vector<DWORD>{HTTP_QUERY_STATUS_CODE, HTTP_QUERY_STATUS_CODE}), winInet.queryLevelsW);
}

TEST_F(SecureNavigate, BodyLongerThan255BytesArrivesInPortionsJoinedInOrder)
{
    for (int i = 0; i < 1000; ++i) {
        winInet.body += static_cast<char>('A' + i % 26);
    }
    EXPECT_EQ(0u, Navigate());
    ASSERT_EQ(5u, winInet.reads.size());  // 255, 255, 255, 235, then none
    for (const auto& read : winInet.reads) {
        EXPECT_EQ(56u, read.structSize);
        EXPECT_EQ(255u, read.asked);
        EXPECT_EQ(static_cast<DWORD>(IRF_NO_WAIT), read.flags);
        EXPECT_EQ(1u, read.context);
    }
    ASSERT_EQ(1000u, client.GetContentLength());
    EXPECT_EQ(winInet.body, std::string(reinterpret_cast<const char*>(client.GetContent()), 1000));
}

TEST_F(SecureNavigate, FailedReadEndsTheBodyAndHandsBackWhatCame)
{
    winInet.body = std::string(600, 'x');
    winInet.readFailsAfter = 2;
    EXPECT_EQ(IOError_Fail, Navigate());
    EXPECT_EQ(3u, winInet.reads.size());
    EXPECT_EQ(510u, client.GetContentLength());
    EXPECT_EQ(200u, client.GetStatusCode());
}

TEST_F(SecureNavigate, EmptyBodyGivesNoContentAndLengthZero)
{
    EXPECT_EQ(0u, Navigate());
    EXPECT_EQ(1u, winInet.reads.size());
    EXPECT_EQ(nullptr, client.GetContent());
    EXPECT_EQ(0u, client.GetContentLength());
}

struct Seen {
    std::vector<std::string> sent;
    std::vector<std::string> read;
};

void SeeSent(const void* bytes, unsigned long count, void* param)
{
    static_cast<Seen*>(param)->sent.emplace_back(static_cast<const char*>(bytes), count);
}

void SeeRead(const void* bytes, unsigned long count, void* param)
{
    static_cast<Seen*>(param)->read.emplace_back(static_cast<const char*>(bytes), count);
}

TEST_F(SecureNavigate, CallbacksSeeTheRequestTheDataTheHeaderAndTheContent)
{
    Seen seen;
    params.SetSendStatusCallback(SeeSent);
    params.SetSendStatusParam(&seen);
    params.SetReadStatusCallback(SeeRead);
    params.SetReadStatusParam(&seen);
    params.SetData("a=1");
    params.SetDataLength(3, false);
    winInet.body = "done";
    // The client's request text, as the client built it, in code page 1252.
    ASSERT_EQ(0u, client.Initialize(&connection));
    ASSERT_EQ(0u, client.CHTTPClient::Navigate(&params, nullptr));
    ASSERT_EQ(2u, seen.sent.size());
    EXPECT_EQ(std::string("GET /status HTTP/1.1\r\nContent-Length: 3\r\nContent-Type: \r\nHOST: 192.0.2.7:443\r\n\r\n"),
              seen.sent[0]);
    EXPECT_EQ("a=1", seen.sent[1]);
    ASSERT_EQ(2u, seen.read.size());
    EXPECT_EQ(winInet.rawHeaders, seen.read[0]);
    EXPECT_EQ("done", seen.read[1]);
}

TEST_F(SecureNavigate, FailedRequestOpeningFails)
{
    winInet.requestError = ERROR_INTERNET_INVALID_OPERATION;
    EXPECT_EQ(IOError_Fail, Navigate());
    EXPECT_EQ(0, winInet.sends);
}

TEST_F(SecureNavigate, StopBeforeSendingClosesTheRequest)
{
    ScriptedProgress stop([](double, unsigned long) { return false; });
    EXPECT_EQ(IOError_Aborted, connection.Navigate(&params, &client, &stop));
    EXPECT_EQ(0, winInet.sends);
    EXPECT_EQ(1u, winInet.ClosedCount(winInet.lastRequest));
}

TEST_F(SecureNavigate, StopAfterSendingReadsNothing)
{
    int calls = 0;
    ScriptedProgress progress([&](double, unsigned long) { return ++calls < 2; });
    EXPECT_EQ(IOError_Aborted, connection.Navigate(&params, &client, &progress));
    EXPECT_EQ(1, winInet.sends);
    EXPECT_TRUE(winInet.reads.empty());
    EXPECT_EQ(1u, winInet.ClosedCount(winInet.lastRequest));
}

TEST_F(SecureNavigate, ClientLeavesTheExchangeToTheConnection)
{
    winInet.body = "hello";
    ASSERT_EQ(0u, client.Initialize(&connection));
    connection.Cleanup();
    ASSERT_EQ(0u, client.CHTTPClient::Navigate(&params, nullptr));
    EXPECT_EQ(200u, client.GetStatusCode());
    EXPECT_EQ("hello", std::string(reinterpret_cast<const char*>(client.GetContent()), 5));
    EXPECT_EQ(L"text/plain", Text(client.GetContentType()));
    // The client opened and closed its session around the exchange.
    EXPECT_FALSE(connection.IsOpen());
}

// Kernel whose thread creation fails.
class NoThreads : public QVWinApi::CKernelApi {
public:
    HANDLE CreateThread(LPSECURITY_ATTRIBUTES, SIZE_T, LPTHREAD_START_ROUTINE, LPVOID, DWORD,
                        LPDWORD) override
    {
        ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
};

TEST_F(SecureNavigate, GuardedSendWithoutWatchdogDoesNotSend)
{
    NoThreads kernel;
    ApiOverride<QVWinApi::IKernelApi> noThreads(g_pKernelApi, kernel);
    CInternetRequest request;
    ASSERT_TRUE(request.Open(ScriptedWinInet::Connect(), L"GET", L"/", 0, 1));
    EXPECT_FALSE(CGuardedSend::Send(request, nullptr, 0, 1000));
    EXPECT_EQ(static_cast<DWORD>(ERROR_FUNCTION_NOT_CALLED), ::GetLastError());
    EXPECT_EQ(0, winInet.sends);
}

TEST(GuardedSend, WatchdogWithoutArgumentsEndsWith87)
{
    EXPECT_EQ(87u, CGuardedSend::Watchdog(nullptr));
}

TEST(GuardedSend, WatchdogWhoseEventIsSetInTimeClosesNothing)
{
    ScriptedWinInet winInet;
    ApiOverride<QVWinApi::IWinInetApi> swap(g_pWinInetApi, winInet);
    HANDLE event = ::CreateEventW(nullptr, TRUE, TRUE, nullptr);
    CGuardedSend::WatchdogArguments arguments{reinterpret_cast<HINTERNET>(0x77), 5000, event};
    EXPECT_EQ(static_cast<DWORD>(WAIT_OBJECT_0), CGuardedSend::Watchdog(&arguments));
    EXPECT_TRUE(winInet.closed.empty());
    ::ResetEvent(event);
    arguments.timeout = 10;
    EXPECT_EQ(static_cast<DWORD>(WAIT_TIMEOUT), CGuardedSend::Watchdog(&arguments));
    EXPECT_EQ(std::vector<HINTERNET>{reinterpret_cast<HINTERNET>(0x77)}, winInet.closed);
    ::CloseHandle(event);
}

}  // namespace
