// The trace of an HTTP request's life with logging fully on, read back from
// the UTF-16 log file.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "api/AddressFactory.h"
#include "doubles/ApiOverride.h"
#include "doubles/LogFileLines.h"
#include "doubles/LoggingRegistry.h"
#include "doubles/TempFolder.h"
#include "logging/LogFlags.h"
#include "logging/LogModules.h"
#include "peers/HTTPAnswer.h"
#include "peers/ClosedPort.h"
#include "peers/LoopbackPeer.h"
#include "winapi/CKernelApi.h"

using namespace Orvane;
using peers::HTTPAnswer;
using peers::LoopbackPeer;

namespace {

// The platform's tick count moved ahead by a test-set amount.
class LaterClock : public QVWinApi::CKernelApi {
public:
    DWORD GetTickCount() override { return QVWinApi::CKernelApi::GetTickCount() + shift; }
    DWORD shift = 0;
};

// Each module is made to read the new settings by a poll interval that
// passes just before it looks.
void PollEachModule(LaterClock& clock)
{
    for (QVLogging::CLogModule* module :
         {g_pOrvaneAPILog, g_pUtilsLog, g_pHTTPClientLibLog, g_pIONetworkLog, g_pIOCommonLog}) {
        clock.shift += 0x01000000;
        module->LogSimpleString(static_cast<const wchar_t*>(nullptr), 0, QVLogging::kCategoryDebug, L"");
    }
}

bool AnyLineStartsWith(const std::vector<std::wstring>& lines, const std::wstring& head)
{
    for (const std::wstring& line : lines) {
        if (line.rfind(head, 0) == 0) {
            return true;
        }
    }
    return false;
}

TEST(HTTPRequestLog, EveryOperationOfARequestAndItsResponseIsTraced)
{
    doubles::LoggingRegistry registry;
    doubles::TempFolder folder(L"orvane-http-request-log");
    const std::wstring logFile = folder / L"http.log";
    registry.SetString(L"", L"LogFileName", logFile);
    registry.SetDword(L"", L"LogCategories", 0x30000C90);  // info, error, entry, exit, return, error text
    registry.SetDword(L"", L"LogInfoDetailLevel", 7);
    registry.SetDword(L"", L"LogOptions", 0);
    LaterClock clock;
    doubles::ApiOverride<QVWinApi::IKernelApi> later(g_pKernelApi, clock);
    PollEachModule(clock);

    const peers::ClosedPort closed(8080, 8000);
    const unsigned short closedPort = closed.Port();
    HTTPAnswer answer("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 2\r\n\r\nok");
    LoopbackPeer peer(answer.Session(), LoopbackPeer::PortChoice::HTTPRange);

    Address* address = AddressFactory::CreateFromIPAddress(L"127.0.0.1");
    HTTPRequest* request = nullptr;
    EXPECT_EQ(0u, address->CreateHTTPRequest(&request, 8081));
    EXPECT_EQ(nullptr, request);

    ASSERT_EQ(0u, address->CreateHTTPRequest(&request, closedPort));
    ASSERT_NE(nullptr, request);
    HTTPResponse* response = nullptr;
    request->SetURI(L"/");
    EXPECT_EQ(0x80004005u, request->GetResponse(&response));
    request->Dispose();

    ASSERT_EQ(0u, address->CreateHTTPRequest(&request, peer.Port()));
    EXPECT_EQ(0x80004001u, request->SetMethod(L"PATCH"));
    EXPECT_EQ(0u, request->SetMethod(L"put"));
    request->SetURI(L"/a");
    request->SetUserName(L"admin");
    request->SetPassword(L"orvane");
    request->SetHeader(L"X-Job", L"7");
    request->SetContentType(L"text/plain");
    request->SetContent("abc", 3);
    ASSERT_EQ(0u, request->GetResponse(&response));
    EXPECT_EQ(200u, response->GetStatusCode());
    EXPECT_STREQ(L"text/plain", response->GetContentType());
    EXPECT_EQ(nullptr, response->GetHeader(L"Location"));
    EXPECT_NE(nullptr, response->GetContent());
    ASSERT_EQ(0u, request->GetResponse(&response));
    address->Dispose();
    request->Dispose();

    const std::vector<std::wstring> lines = doubles::ReadLogLines(logFile);
    doubles::ExpectLinesInOrder(lines, {
        // No request on a port outside the HTTP ports.
        L"(->) QVNetAddress::CreateHTTPRequest",
        L"(<-) QVNetAddress::CreateHTTPRequest",
        // A request on a port where nobody listens.
        L"(->) QVNetAddress::CreateHTTPRequest",
        L"(->) CIONetwork::Initialize",
        L"(->) CHTTPClient::CHTTPClient",
        L"(->) QVHTTPRequest::QVHTTPRequest",
        L"(<-) QVHTTPRequest::QVHTTPRequest",
        L"(<-) QVNetAddress::CreateHTTPRequest",
        L"(->) QVHTTPRequest::SetURI",
        L"(->) QVHTTPRequest::GetResponse",
        L"(->) CHTTPClient::Navigate",
        L"(<-) CHTTPClient::Navigate",
        L"(##) QVHTTPRequest::GetResponse Navigate returned 0x83E8F5FC",
        L"(<-) QVHTTPRequest::GetResponse",
        L"(**) [Err: 0x80004005] ",
        L"(->) QVHTTPRequest::~QVHTTPRequest",
        L"(->) CHTTPClient::~CHTTPClient",
        L"(<-) QVHTTPRequest::~QVHTTPRequest",
        // A request that is answered, sent twice.
        L"(->) QVNetAddress::CreateHTTPRequest",
        L"(<-) QVNetAddress::CreateHTTPRequest",
        L"(->) QVHTTPRequest::SetMethod",
        L"(##) QVHTTPRequest::SetMethod method \"PATCH\" is not supported",
        L"(<-) QVHTTPRequest::SetMethod",
        L"(**) [Err: 0x80004001] ",
        L"(->) QVHTTPRequest::SetMethod",
        L"(<-) QVHTTPRequest::SetMethod",
        L"(->) QVHTTPRequest::SetURI",
        L"(->) QVHTTPRequest::SetUserName",
        L"(->) QVHTTPRequest::SetPassword",
        L"(->) QVHTTPRequest::SetHeader",
        L"(->) QVHTTPRequest::SetContent",
        L"(->) QVHTTPRequest::GetResponse",
        L"(->) CHTTPClient::Navigate",
        L"(<-) CHTTPClient::Navigate",
        L"(->) QVHTTPResponse::QVHTTPResponse",
        L"(<-) QVHTTPRequest::GetResponse",
        L"(->) QVHTTPResponse::GetStatusCode",
        L"(->) QVHTTPResponse::GetContentType",
        L"(->) QVHTTPResponse::GetHeader",
        L"(->) QVHTTPResponse::GetContent",
        L"(->) QVHTTPResponse::GetContentAvailable",
        L"(<-) QVHTTPResponse::GetContent",
        // The second answer replaces the first.
        L"(->) QVHTTPRequest::GetResponse",
        L"(<-) CHTTPClient::Navigate",
        L"(->) QVHTTPResponse::~QVHTTPResponse",
        L"(->) QVHTTPResponse::QVHTTPResponse",
        L"(<-) QVHTTPRequest::GetResponse",
        // Released: the request, its response, then the client.
        L"(->) QVHTTPRequest::~QVHTTPRequest",
        L"(->) QVHTTPResponse::~QVHTTPResponse",
        L"(->) CHTTPClient::~CHTTPClient",
        L"(<-) QVHTTPRequest::~QVHTTPRequest",
    });
    // The content type is set without a trace of its own.
    EXPECT_FALSE(AnyLineStartsWith(lines, L"(->) QVHTTPRequest::SetContentType"));
    if (::testing::Test::HasFailure()) {
        for (const std::wstring& line : lines) {
            std::printf("%ls\n", line.c_str());
        }
    }
}

}  // namespace
