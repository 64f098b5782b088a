// The trace of authentication and redirection with logging on for the HTTP
// client and the utilities, read back from the UTF-16 log file: the scopes,
// the lines of what can't be done, and no password anywhere.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "doubles/ApiOverride.h"
#include "doubles/LogFileLines.h"
#include "doubles/LoggingRegistry.h"
#include "doubles/TempFolder.h"
#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "http/HTTPTestSupport.h"
#include "logging/LogFlags.h"
#include "logging/LogModules.h"
#include "winapi/CKernelApi.h"

using namespace QVIOStack;
using http_test::ObservedClient;
using http_test::ScriptedDevice;

namespace {

// The platform's tick count moved ahead by a test-set amount.
class LaterClock : public QVWinApi::CKernelApi {
public:
    DWORD GetTickCount() override { return QVWinApi::CKernelApi::GetTickCount() + shift; }
    DWORD shift = 0;
};

// Each module reads the logging settings anew: a poll interval passes just
// before it looks.
void PollModules(LaterClock& clock)
{
    for (QVLogging::CLogModule* module : {g_pHTTPClientLibLog, g_pUtilsLog}) {
        clock.shift += 0x01000000;
        module->LogSimpleString(static_cast<const wchar_t*>(nullptr), 0, QVLogging::kCategoryDebug, L"");
    }
}

TEST(AuthenticationLog, RetryAndRedirectionAreTracedWithoutThePassword)
{
    LaterClock clock;
    const doubles::ApiOverride<QVWinApi::IKernelApi> later(g_pKernelApi, clock);
    doubles::TempFolder folder(L"orvane-auth-log");
    const std::wstring logFile = folder / L"auth.log";
    {
        doubles::LoggingRegistry registry;
        registry.SetString(L"", L"LogFileName", logFile);
        registry.SetDword(L"", L"LogCategories", QVLogging::kCategoryError | QVLogging::kCategoryEntry
                                                     | QVLogging::kCategoryExit | QVLogging::kCategoryErrorText);
        registry.SetDword(L"", L"LogOptions", 0);
        PollModules(clock);

        ScriptedDevice device;
        device.Answer("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Digest realm=\"r\", nonce=\"n\", "
                      "qop=\"auth\"\r\nContent-Length: 0\r\n\r\n");
        device.defaultAnswer = "HTTP/1.1 302 Found\r\nLocation: /relative\r\nContent-Length: 0\r\n\r\n";
        ObservedClient http(&device.Connection());
        CHTTPNavigateParams params;
        params.SetURI(L"/a");
        params.SetUserName(L"admin");
        params.SetPassword(L"Circle Of Life");
        EXPECT_EQ(Error_BadLocation, http.Navigate(&params, nullptr));

        CHTTPNavigateParams unknown;
        unknown.SetURI(L"/b");
        unknown.SetAuthScheme(7);
        EXPECT_EQ(Error_BadLocation, http.Navigate(&unknown, nullptr));
    }
    PollModules(clock);

    const std::vector<std::wstring> lines = doubles::ReadLogLines(logFile);
    doubles::ExpectLinesInOrder(lines, {
        L"(->) CHTTPClient::Navigate",
        L"(->) CHTTPClient::ReadResponse",
        L"(->) CHTTPClient::SetupAuthentication",
        L"(<-) CHTTPClient::SetupAuthentication",
        L"(<-) CHTTPClient::ReadResponse",
        L"(->) CHTTPClient::Navigate",
        L"(->) CHTTPClient::BuildRequest",
        L"(->) MD5::MD5",
        L"(->) MD5::Start",
        L"(->) MD5::Finish",
        L"(<-) MD5::MD5",
        L"(<-) CHTTPClient::BuildRequest",
        L"(->) CHTTPClient::HandleRedirection",
        L"(##) CHTTPClient::HandleRedirection Error_BadLocation Location: /relative, URI: /a",
        L"(<-) CHTTPClient::HandleRedirection",
        L"(**) [Err: 0x83E8F5F6",
        L"(<-) CHTTPClient::Navigate",
        L"(<-) CHTTPClient::Navigate",
        L"(->) CHTTPClient::Navigate",
        L"(->) CHTTPClient::BuildRequest",
        L"(##) CHTTPClient::BuildRequest unknown authentication scheme 7, no Authorization header",
        L"(<-) CHTTPClient::BuildRequest",
    });
    for (const std::wstring& line : lines) {
        EXPECT_EQ(std::wstring::npos, line.find(L"Circle Of Life"));
    }
    if (::testing::Test::HasFailure()) {
        for (const std::wstring& line : lines) {
            std::printf("%ls\n", line.c_str());
        }
    }
}

}  // namespace
