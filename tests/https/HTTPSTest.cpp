// HTTPS to a device with a self-signed certificate, through the HTTP client
// over the secure connection and the platform's WinINet, against the real
// servers that https-device.sh starts on loopback. The ports come in the
// environment: ORVANE_HTTPS_PORT (443), ORVANE_HTTPS_ALT_PORT (7627) and
// ORVANE_SILENT_TLS_PORT (accepts TCP, never answers TLS).
#include <gtest/gtest.h>

#include <windows.h>
#include <wininet.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "doubles/ApiOverride.h"
#include "doubles/ModuleLogFile.h"
#include "http/CHTTPClient.h"
#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "iostack/CIONetwork.h"
#include "logging/LogModules.h"
#include "winapi/CWinInetApi.h"

using namespace QVIOStack;

namespace {

std::wstring Environment(const wchar_t* name)
{
    wchar_t value[64] = {};
    const DWORD length = ::GetEnvironmentVariableW(name, value, 64);
    return length > 0 && length < 64 ? value : L"";
}

std::wstring Text(const wchar_t* text)
{
    return text ? text : L"(null)";
}

// The platform's WinINet, with the calls the tests look at recorded. The
// certificate dialog is never shown: it is counted and refused.
class RecordingWinInet : public QVWinApi::CWinInetApi {
public:
    HINTERNET HttpOpenRequestW(HINTERNET connect, LPCWSTR verb, LPCWSTR object, LPCWSTR version,
                               LPCWSTR referrer, LPCWSTR* acceptTypes, DWORD flags,
                               DWORD_PTR context) override
    {
        HINTERNET request = CWinInetApi::HttpOpenRequestW(connect, verb, object, version, referrer,
                                                          acceptTypes, flags, context);
        requests.push_back(request);
        return request;
    }
    BOOL HttpSendRequestW(HINTERNET request, LPCWSTR headers, DWORD headersLength, LPVOID data,
                          DWORD length) override
    {
        ++sends;
        return CWinInetApi::HttpSendRequestW(request, headers, headersLength, data, length);
    }
    BOOL InternetSetOptionW(HINTERNET handle, DWORD option, LPVOID buffer, DWORD length) override
    {
        if (option == INTERNET_OPTION_SECURITY_FLAGS) {
            securityFlags.push_back(*static_cast<DWORD*>(buffer));
        }
        return CWinInetApi::InternetSetOptionW(handle, option, buffer, length);
    }
    BOOL InternetReadFileExA(HINTERNET request, LPINTERNET_BUFFERSA buffers, DWORD flags,
                             DWORD_PTR context) override
    {
        readsAsked.push_back(buffers->dwBufferLength);
        readFlags.push_back(flags);
        return CWinInetApi::InternetReadFileExA(request, buffers, flags, context);
    }
    DWORD InternetErrorDlg(HWND, HINTERNET, DWORD, DWORD, LPVOID*) override
    {
        ++dialogs;
        return ERROR_CANCELLED;
    }
    BOOL InternetCloseHandle(HINTERNET handle) override
    {
        closed.push_back(handle);
        return CWinInetApi::InternetCloseHandle(handle);
    }

    std::vector<HINTERNET> requests;
    int sends = 0;
    std::vector<DWORD> securityFlags;
    std::vector<DWORD> readsAsked;
    std::vector<DWORD> readFlags;
    int dialogs = 0;
    std::vector<HINTERNET> closed;
};

std::string LongBody()
{
    std::string body;
    char line[32];
    for (int i = 0; i < 50; ++i) {
        std::snprintf(line, sizeof(line), "%04d:abcdefghijklmno\n", i);
        body += line;
    }
    return body;
}

struct HTTPS : ::testing::Test {
    void SetUp() override
    {
        ASSERT_EQ(L"443", Environment(L"ORVANE_HTTPS_PORT")) << "run through tests/https/https-device.sh";
        ASSERT_EQ(L"7627", Environment(L"ORVANE_HTTPS_ALT_PORT"));
        ASSERT_NE(L"", Environment(L"ORVANE_SILENT_TLS_PORT"));
    }
    ~HTTPS() override
    {
        if (client) {
            client->Dispose();
        }
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    // A client on a secure connection from the factory, on that text.
    void ConnectTo(const std::wstring& serviceAddress)
    {
        IDeviceConnection* connection = CreateIONetwork(true);
        ASSERT_NE(nullptr, connection);
        ASSERT_EQ(0u, connection->Initialize(serviceAddress.c_str()));
        client = new CHTTPClient(connection);
        client->AddRef();
    }
    unsigned long Get(const wchar_t* uri)
    {
        params.SetHTTPRequestMethod(0);
        params.SetURI(uri);
        return client->Navigate(&params, nullptr);
    }
    std::string Content()
    {
        const unsigned char* content = client->GetContent();
        return content ? std::string(reinterpret_cast<const char*>(content), client->GetContentLength()) : "";
    }
    // Nothing but the one expected failure of the first send.
    void ExpectTheUnknownAuthorityAcceptedOnTheSecondSend()
    {
        EXPECT_EQ(1u, log.Count(L"(##) HttpSendRequest failed, last error = 12045"));
        EXPECT_EQ(2, winInet.sends);
        EXPECT_EQ(0, winInet.dialogs);
        EXPECT_EQ(std::vector<DWORD>{SECURITY_FLAG_IGNORE_CERT_CN_INVALID | SECURITY_FLAG_IGNORE_CERT_DATE_INVALID
                                     | SECURITY_FLAG_IGNORE_UNKNOWN_CA},
                  winInet.securityFlags);
    }

    RecordingWinInet winInet;
    doubles::ApiOverride<QVWinApi::IWinInetApi> swap{g_pWinInetApi, winInet};
    doubles::ModuleLogFile log{g_pIONetworkLog, L"https"};
    CHTTPNavigateParams params;
    CHTTPClient* client = nullptr;
};

TEST_F(HTTPS, SelfSignedDeviceOnTheDefaultPort443)
{
    ConnectTo(L"127.0.0.1");
    EXPECT_EQ(L"443", Text(client->GetDeviceConnection()->GetPort()));
    ASSERT_EQ(0u, Get(L"/status"));
    ExpectTheUnknownAuthorityAcceptedOnTheSecondSend();
    EXPECT_EQ(1u, log.Count(L"(I0) HTTP Response code =  200"));
    EXPECT_EQ(200u, client->GetStatusCode());
    EXPECT_EQ(std::string("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nX-Device: orvane-https\r\n"
                          "Content-Length: 21\r\n\r\n"),
              std::string(client->GetHeader()));
    EXPECT_EQ(L"orvane-https", Text(client->GetHeaderEntry(L"X-Device")));
    EXPECT_EQ(L"text/plain", Text(client->GetContentType()));
    EXPECT_EQ("hello from the device", Content());
    EXPECT_EQ(21u, client->GetContentLength());
    // The client's session ended with the exchange.
    EXPECT_FALSE(client->GetDeviceConnection()->IsOpen());
}

TEST_F(HTTPS, SelfSignedDeviceOnPort7627WithABodyOfManyPortions)
{
    ConnectTo(L"127.0.0.1:7627");
    ASSERT_EQ(0u, Get(L"/long"));
    ExpectTheUnknownAuthorityAcceptedOnTheSecondSend();
    EXPECT_EQ(200u, client->GetStatusCode());
    const std::string body = LongBody();
    ASSERT_EQ(1050u, body.size());
    EXPECT_EQ(body, Content());
    // At least four full portions, the rest, and the read that finds the end.
    EXPECT_GE(winInet.readsAsked.size(), 6u);
    for (size_t i = 0; i < winInet.readsAsked.size(); ++i) {
        EXPECT_EQ(255u, winInet.readsAsked[i]) << i;
        EXPECT_EQ(static_cast<DWORD>(IRF_NO_WAIT), winInet.readFlags[i]) << i;
    }
}

TEST_F(HTTPS, Unauthorized401WithoutSchemeIsAnOrdinaryStatusWithItsBody)
{
    ConnectTo(L"127.0.0.1");
    ASSERT_EQ(0u, Get(L"/401"));
    EXPECT_EQ(401u, client->GetStatusCode());
    EXPECT_EQ(1u, log.Count(L"(I0) HTTP Response code =  401"));
    EXPECT_EQ("denied", Content());
    EXPECT_EQ(std::string("HTTP/1.1 401 Unauthorized\r\nContent-Type: text/plain\r\nX-Device: orvane-https\r\n"
                          "Content-Length: 6\r\n\r\n"),
              std::string(client->GetHeader()));
}

TEST_F(HTTPS, DeviceThatNeverAnswersTLSIsClosedByTheWatchdog)
{
    ConnectTo(L"127.0.0.1:" + Environment(L"ORVANE_SILENT_TLS_PORT"));
    client->GetDeviceConnection()->SetReadTimeout(2000);
    EXPECT_EQ(Error_Fail, Get(L"/status"));
    EXPECT_EQ(1u, log.Count(L"(##) No answer within 2000 ms, closing the request"));
    EXPECT_EQ(1u, log.Count(L"(##) HttpSendRequest failed, last error = 1460"));
    EXPECT_EQ(1, winInet.sends);
    ASSERT_EQ(1u, winInet.requests.size());
    EXPECT_EQ(1, std::count(winInet.closed.begin(), winInet.closed.end(), winInet.requests[0]));
    EXPECT_EQ(0u, client->GetStatusCode());
    EXPECT_EQ(nullptr, client->GetContent());
}

TEST_F(HTTPS, BodyTypeAndExtraHeadersGoOnTheWire)
{
    const std::wstring port = Environment(L"ORVANE_ECHO_TLS_PORT");
    ConnectTo(L"127.0.0.1:" + port);
    params.SetData("a=1&b=2");
    params.SetDataLength(7, false);
    params.SetDataType(L"application/x-www-form-urlencoded");
    params.SetExtraHeaders(L"X-Job: 7");
    params.SetHTTPRequestMethod(2);
    params.SetURI(L"/jobs");
    ASSERT_EQ(0u, client->Navigate(&params, nullptr));
    ExpectTheUnknownAuthorityAcceptedOnTheSecondSend();
    const std::string wire = Content();
    const std::string head = wire.substr(0, wire.find("\r\n\r\n") + 2);
    EXPECT_EQ(0u, head.find("POST /jobs HTTP/1.1\r\n")) << wire;
    // The host as the client names it, not as WinINet would.
    const std::string host(port.begin(), port.end());
    for (const std::string& line : {std::string("Content-Length: 7\r\n"),
                                    std::string("Content-Type: application/x-www-form-urlencoded\r\n"),
                                    "HOST: 127.0.0.1:" + host + "\r\n", std::string("X-Job: 7\r\n")}) {
        EXPECT_NE(std::string::npos, head.find("\r\n" + line)) << line << wire;
    }
    EXPECT_EQ("\r\n\r\na=1&b=2", wire.substr(head.size() - 2));
}

TEST_F(HTTPS, ConnectionOpenedByTheCallerServesTwoExchanges)
{
    ConnectTo(L"127.0.0.1:7627");
    ASSERT_EQ(0u, client->OpenSession(nullptr, 0));
    ASSERT_EQ(0u, Get(L"/status"));
    EXPECT_EQ("hello from the device", Content());
    ASSERT_EQ(0u, Get(L"/401"));
    EXPECT_EQ("denied", Content());
    EXPECT_EQ(0u, client->CloseSession());
    // Each exchange is its own request: the unknown authority is met again.
    EXPECT_EQ(2u, log.Count(L"(##) HttpSendRequest failed, last error = 12045"));
    EXPECT_EQ(0, winInet.dialogs);
}

}  // namespace
