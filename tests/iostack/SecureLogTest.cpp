// The secure connection's lines in the "IONetwork" log: its trace scopes and
// the lines of its failures, read back from a real log file.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "doubles/ApiOverride.h"
#include "doubles/ModuleLogFile.h"
#include "doubles/ScriptedWinInet.h"
#include "http/CHTTPNavigateParams.h"
#include "iostack/SecureTestSupport.h"
#include "logging/LogModules.h"

using namespace QVIOStack;
using doubles::ApiOverride;
using doubles::ModuleLogFile;
using doubles::ScriptedWinInet;
using iostack_test::CountingClient;
using iostack_test::FakeDevice;
using iostack_test::TestableSecure;

namespace {

struct SecureLog : ::testing::Test {
    SecureLog() { connection.AddRef(); }
    ~SecureLog() override
    {
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    void ExpectInOrder(const std::vector<std::wstring>& lines)
    {
        std::wstring missing;
        EXPECT_TRUE(log.InOrder(lines, &missing)) << "missing, or out of order: "
                                                  << std::string(missing.begin(), missing.end());
    }

    ScriptedWinInet winInet;
    ApiOverride<QVWinApi::IWinInetApi> swap{g_pWinInetApi, winInet};
    ModuleLogFile log{g_pIONetworkLog, L"secure"};
    TestableSecure connection;
    CHTTPNavigateParams params;
    CountingClient client;
};

TEST_F(SecureLog, SessionOperationsAreTracedUnderTheirNames)
{
    connection.Initialize(L"192.0.2.7");
    connection.Open(nullptr);
    connection.IsHTTPCapable();
    connection.Close();
    IDeviceConnection* made = connection.CreateInstance();
    delete made;
    ExpectInOrder({
        L"(->) CIONetwork::Initialize, 192.0.2.7",
        L"(->) CIOSecureT::Init",
        L"(->) CIOSecureT::IsOpen",
        L"(<-) CIOSecureT::IsOpen",
        L"(<-) CIOSecureT::Init",
        L"(<-) CIONetwork::Initialize",
        L"(->) CIOSecureT::Open",
        L"(->) CIOSecureT::Cleanup",
        L"(->) CIOSecureT::Close",
        L"(<-) CIOSecureT::Close",
        L"(<-) CIOSecureT::Cleanup",
        L"(<-) CIOSecureT::Open",
        L"(->) CIOSecureT::IsHTTPCapable",
        L"(<-) CIOSecureT::IsHTTPCapable",
        L"(->) CIOSecureT::Close",
        L"(<-) CIOSecureT::Close",
        L"(->) CIOSecureT::CreateInstance",
        L"(<-) CIOSecureT::CreateInstance",
    });
}

TEST_F(SecureLog, FailedInternetOpenIsWrittenWithItsError)
{
    connection.Initialize(L"192.0.2.7");
    winInet.openError = ERROR_NOT_ENOUGH_MEMORY;
    EXPECT_EQ(IOError_Fail, connection.Open(nullptr));
    ExpectInOrder({L"(->) CIOSecureT::Open", L"(##) InternetOpen failed, last error = 8",
                   L"(<-) CIOSecureT::Open"});
}

TEST_F(SecureLog, FailedInternetConnectIsWrittenWithItsError)
{
    connection.Initialize(L"192.0.2.7");
    winInet.connectError = ERROR_INTERNET_INVALID_URL;
    EXPECT_EQ(IOError_Fail, connection.Open(nullptr));
    ExpectInOrder({L"(->) CIOSecureT::Open", L"(##) InternetConnect failed, last error = 12005",
                   L"(<-) CIOSecureT::Open"});
}

TEST_F(SecureLog, FailedRequestIsWrittenWithItsError)
{
    connection.Initialize(L"192.0.2.7");
    connection.Open(nullptr);
    winInet.requestError = ERROR_INTERNET_INVALID_OPERATION;
    EXPECT_EQ(IOError_Fail, connection.Navigate(&params, &client, nullptr));
    ExpectInOrder({L"(->) CIOSecureT::Navigate", L"(##) HttpOpenRequest failed, last error = 12016",
                   L"(<-) CIOSecureT::Navigate"});
}

TEST_F(SecureLog, UnknownAuthorityWritesTheFirstSendsFailureThenTheResponseCode)
{
    connection.Initialize(L"192.0.2.7");
    connection.Open(nullptr);
    winInet.sendScript = {{FALSE, ERROR_INTERNET_INVALID_CA}, {TRUE, 0}};
    EXPECT_EQ(0u, connection.Navigate(&params, &client, nullptr));
    ExpectInOrder({
        L"(->) CIOSecureT::Navigate",
        L"(->) CGuardedSend::Send",
        L"(<-) CGuardedSend::Send",
        L"(##) HttpSendRequest failed, last error = 12045",
        L"(->) CGuardedSend::Send",
        L"(<-) CGuardedSend::Send",
        L"(I0) HTTP Response code =  200",
        L"(<-) CIOSecureT::Navigate",
    });
    EXPECT_EQ(1u, log.Count(L"(##) HttpSendRequest failed, last error = 12045"));
}

TEST_F(SecureLog, SilentDeviceWritesTheWatchdogsCloseAndTheTimeout)
{
    connection.Initialize(L"192.0.2.7");
    connection.Open(nullptr);
    ScriptedWinInet::Send never{TRUE, 0};
    never.pending = true;
    never.pendingMs = -1;
    winInet.sendScript = {never};
    connection.SetReadTimeout(200);
    EXPECT_EQ(IOError_Fail, connection.Navigate(&params, &client, nullptr));
    EXPECT_EQ(1u, log.Count(L"(##) No answer within 200 ms, closing the request"));
    ExpectInOrder({
        L"(->) CIOSecureT::Navigate",
        L"(->) CGuardedSend::Send",
        L"(<-) CGuardedSend::Send",
        L"(##) HttpSendRequest failed, last error = 1460",
        L"(<-) CIOSecureT::Navigate",
    });
    CInternetRequest::StatusCallback(winInet.lastRequest, 1, INTERNET_STATUS_HANDLE_CLOSING, nullptr, 0);
}

TEST_F(SecureLog, FailedReadIsWrittenWithItsError)
{
    connection.Initialize(L"192.0.2.7");
    connection.Open(nullptr);
    winInet.body = "abc";
    winInet.readFailsAfter = 0;
    winInet.readError = ERROR_INTERNET_CONNECTION_RESET;
    EXPECT_EQ(IOError_Fail, connection.Navigate(&params, &client, nullptr));
    ExpectInOrder({L"(I0) HTTP Response code =  200", L"(##) InternetReadFileExA failed, error = 12031",
                   L"(<-) CIOSecureT::Navigate"});
}

TEST_F(SecureLog, RediscoveryWritesTheLinesOfTheNetworkConnection)
{
    FakeDevice device;
    ASSERT_EQ(0u, connection.Initialize(&device, {QVDeviceManager::FUNCTION_TYPE()}));
    device.refreshStatus = 0x83E8FAFB;  // DM_E_DEVICE_GONE
    EXPECT_EQ(IOError_DeviceGone, connection.Open(nullptr));
    device.refreshStatus = 0;
    device.address = L"printer";
    EXPECT_EQ(IOError_Fail, connection.Open(nullptr));
    ExpectInOrder({
        L"(->) CIOSecureT::RediscoverDevice",
        L"(##) Failed to rediscover device",
        L"(<-) CIOSecureT::RediscoverDevice",
        L"(->) CIOSecureT::RediscoverDevice",
        L"(##) Failed to initialize connection with device service address (printer)",
        L"(<-) CIOSecureT::RediscoverDevice",
    });
    EXPECT_EQ(0, winInet.opens);
}

}  // namespace
