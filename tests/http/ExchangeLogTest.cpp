// The lines the HTTP exchange writes to the "HTTPClientLib" log module: the
// failures of the connection's Open, Write and own exchange, the exception
// handler's failed close, headers handed back that don't parse, the scopes
// of draining and sending, and the scopes of every request parameter
// operation. Read back from a real UTF-16 log file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "doubles/ModuleLogFile.h"
#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "http/HTTPTestSupport.h"
#include "iostack/IOStatus.h"
#include "logging/LogModules.h"

using namespace QVIOStack;
using doubles::ModuleLogFile;
using http_test::ObservedClient;
using http_test::ScriptedDevice;
using ::testing::_;
using ::testing::Invoke;
using ::testing::Return;

namespace {

std::string Narrow(const std::wstring& text)
{
    return std::string(text.begin(), text.end());
}

struct ExchangeLog : ::testing::Test {
    ExchangeLog() { device.defaultAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"; }

    // The lines of the file that start with `prefix`.
    std::vector<std::wstring> LinesStartingWith(const std::wstring& prefix) const
    {
        std::vector<std::wstring> found;
        for (const std::wstring& line : log.Lines()) {
            if (line.rfind(prefix, 0) == 0) {
                found.push_back(line);
            }
        }
        return found;
    }
    void ExpectInOrder(const std::vector<std::wstring>& lines) const
    {
        std::wstring missing;
        EXPECT_TRUE(log.InOrder(lines, &missing)) << "missing, or out of order: " << Narrow(missing) << "\n"
                                                  << Narrow(log.Text());
    }

    ScriptedDevice device;
    ObservedClient client{&device.Connection()};
    ModuleLogFile log{g_pHTTPClientLibLog, L"exchange"};
};

TEST_F(ExchangeLog, OpenThatFailsWritesItsResultAsAnErrorLine)
{
    EXPECT_CALL(device.Connection(), Open(_))
        .WillOnce(Return(IOError_Fail))
        .WillOnce(Return(5UL))
        .WillOnce(Return(IOError_Busy))
        .WillOnce(Return(0UL));
    EXPECT_EQ(Error_Open_Fail, client.Navigate(L"/a", 0, nullptr));
    EXPECT_EQ(Error_Open_Fail, client.OpenSession(nullptr, 0));
    EXPECT_EQ(Error_Device_Busy, client.OpenSession(nullptr, 0));
    EXPECT_EQ(0u, client.OpenSession(nullptr, 0));
    EXPECT_EQ((std::vector<std::wstring>{
                  L"(##) CHTTPClient::OpenSession m_pIDeviceConnection->Open returned 0x83E8F4FF",
                  L"(##) CHTTPClient::OpenSession m_pIDeviceConnection->Open returned 0x00000005",
                  L"(##) CHTTPClient::OpenSession m_pIDeviceConnection->Open returned 0x83E8F4FC",
              }),
              LinesStartingWith(L"(##) "));
    ExpectInOrder({L"(->) CHTTPClient::OpenSession",
                   L"(##) CHTTPClient::OpenSession m_pIDeviceConnection->Open returned 0x83E8F4FF",
                   L"(<-) CHTTPClient::OpenSession"});
}

TEST_F(ExchangeLog, FailureOfTheConnectionsOwnExchangeIsWrittenInNavigate)
{
    EXPECT_CALL(device.Connection(), IsHTTPCapable()).WillRepeatedly(Return(true));
    EXPECT_CALL(device.Connection(), Navigate(_, _, _)).WillOnce(Return(IOError_Timeout));
    EXPECT_EQ(Error_Fail, client.Navigate(L"/a", 0, nullptr));
    EXPECT_EQ(1u, log.Count(L"(##) CHTTPClient::Navigate Error_Fail Navigate returned 0x83E8F4FE"));
    ExpectInOrder({L"(->) CHTTPClient::Navigate", L"(->) CHTTPClient::OpenSession",
                   L"(<-) CHTTPClient::OpenSession",
                   L"(##) CHTTPClient::Navigate Error_Fail Navigate returned 0x83E8F4FE",
                   L"(->) CHTTPClient::CloseSession", L"(<-) CHTTPClient::CloseSession"});
}

TEST_F(ExchangeLog, WriteThatFailsIsWrittenInsideTheSendDataScope)
{
    EXPECT_CALL(device.Connection(), Write(_, _, _, _)).WillOnce(Return(IOError_Fail));
    EXPECT_EQ(Error_IO_Write_Fail, client.Navigate(L"/a", 0, nullptr));
    EXPECT_EQ(1u, log.Count(L"(##) CHTTPClient::SendData m_pIDeviceConnection->Write returned 0x83E8F4FF"));
    ExpectInOrder({L"(->) CHTTPClient::SendRequest", L"(->) CHTTPClient::SendData",
                   L"(##) CHTTPClient::SendData m_pIDeviceConnection->Write returned 0x83E8F4FF",
                   L"(<-) CHTTPClient::SendData", L"(<-) CHTTPClient::SendRequest"});
}

TEST_F(ExchangeLog, AnExchangeDrainsAndSendsInScopesOfTheirOwn)
{
    EXPECT_EQ(0u, client.Navigate(L"/a", 0, nullptr));
    ExpectInOrder({L"(->) CHTTPClient::Navigate", L"(->) CHTTPClient::EmptyDeviceRespone",
                   L"(<-) CHTTPClient::EmptyDeviceRespone", L"(->) CHTTPClient::SendRequest",
                   L"(->) CHTTPClient::SendData", L"(<-) CHTTPClient::SendData", L"(<-) CHTTPClient::SendRequest",
                   L"(->) CHTTPClient::ReadResponse", L"(<-) CHTTPClient::ReadResponse",
                   L"(<-) CHTTPClient::Navigate"});
    EXPECT_TRUE(LinesStartingWith(L"(##) ").empty()) << Narrow(log.Text());
}

TEST_F(ExchangeLog, TheFlagThatKeepsStaleBytesLeavesTheDrainOut)
{
    CHTTPNavigateParams params;
    params.SetURI(L"/a");
    params.SetFlags(1);
    EXPECT_EQ(0u, client.Navigate(&params, nullptr));
    EXPECT_EQ(0u, log.Count(L"(->) CHTTPClient::EmptyDeviceRespone"));
    EXPECT_EQ(1u, log.Count(L"(->) CHTTPClient::SendData"));
}

TEST_F(ExchangeLog, CloseThatFailsInTheExceptionHandlerIsWritten)
{
    EXPECT_CALL(device.Connection(), Write(_, _, _, _))
        .WillRepeatedly(Invoke([](const void*, unsigned long, unsigned long*, QVUtils::IProgress*) -> unsigned long {
            throw std::runtime_error("wire cut");
        }));
    EXPECT_CALL(device.Connection(), Close()).WillOnce(Return(IOError_Fail)).WillOnce(Return(0UL));
    EXPECT_THROW(client.Navigate(L"/a", 0, nullptr), std::runtime_error);
    EXPECT_THROW(client.Navigate(L"/a", 0, nullptr), std::runtime_error);
    EXPECT_EQ(1u, log.Count(L"(##) CHTTPClient::Navigate: CloseSession from exception handler failed."));
    ExpectInOrder({L"(->) CHTTPClient::SendData", L"(->) CHTTPClient::CloseSession",
                   L"(<-) CHTTPClient::CloseSession",
                   L"(##) CHTTPClient::Navigate: CloseSession from exception handler failed.",
                   L"(<-) CHTTPClient::Navigate"});
}

TEST_F(ExchangeLog, HandedBackHeadersThatDoNotParseAreWritten)
{
    client.SetHeaders("HTTP/1.1 200\r\n\r\n");
    client.SetHeaders("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    EXPECT_EQ(1u, log.Count(L"(##) Failure parsing response headers"));
    EXPECT_EQ(1u, log.Count(L"(->) CHTTPClient::SetupAuthentication"));
    ExpectInOrder({L"(->) CHTTPClient::SetHeaders", L"(->) CHTTPClient::ParseResponseHeader",
                   L"(<-) CHTTPClient::ParseResponseHeader", L"(##) Failure parsing response headers",
                   L"(<-) CHTTPClient::SetHeaders", L"(->) CHTTPClient::SetHeaders",
                   L"(->) CHTTPClient::SetupAuthentication"});
}

// Each of the 50 operations once, in slot order.
void CallEveryOperation(IHTTPNavigateParams& params)
{
    bool noContentLength = false;
    ContentBuffer buffer{nullptr, 0, 0};
    std::wstring text;
    params.GetURI();
    params.SetURI(L"/a");
    params.GetUserName();
    params.SetUserName(L"u");
    params.GetPassword();
    params.SetPassword(L"p");
    params.GetHTTPRequestMethod();
    params.SetHTTPRequestMethod(2);
    params.GetExtraHeaders();
    params.SetExtraHeaders(std::map<std::wstring, std::wstring>{{L"A", L"1"}});
    params.SetExtraHeaders(L"B: 2");
    params.GetExtraHeader(L"B");
    params.AddExtraHeader(L"C", L"3");
    params.GetDataType();
    params.SetDataType(L"text/plain");
    params.GetDataLength(&noContentLength);
    params.SetDataLength(4, false);
    params.GetData();
    params.SetData("body");
    params.GetFlags();
    params.SetFlags(1);
    params.GetContentBuffer();
    params.SetContentBuffer(&buffer);
    params.GetSendStatusParam();
    params.SetSendStatusParam(&buffer);
    params.GetReadStatusParam();
    params.SetReadStatusParam(&buffer);
    params.GetReadContentParam();
    params.SetReadContentParam(&buffer);
    params.GetSendStatusCallback();
    params.SetSendStatusCallback(nullptr);
    params.GetReadStatusCallback();
    params.SetReadStatusCallback(nullptr);
    params.GetReadContentCallback();
    params.SetReadContentCallback(nullptr);
    params.GetAuthScheme();
    params.SetAuthScheme(3);
    params.TriedAuthenticating();
    params.SetTriedAuthenticating(true);
    params.GetRealm();
    params.SetRealm(L"r");
    params.GetOpaque();
    params.SetOpaque(L"o");
    params.GetNonce();
    params.SetNonce(L"n");
    params.GetCNonce();
    params.SetCNonce(L"c");
    params.IncrNonceCount();
    params.ResetNonceCount();
    params.GetHTTPMethodText(text);
}

TEST_F(ExchangeLog, EveryRequestParameterOperationHasAScopeOfItsQualifiedName)
{
    CHTTPNavigateParams params;
    CallEveryOperation(params);
    const std::vector<std::wstring> names = {
        L"GetURI", L"SetURI", L"GetUserNameW", L"SetUserName", L"GetPassword", L"SetPassword",
        L"GetHTTPRequestMethod", L"SetHTTPRequestMethod", L"GetExtraHeaders", L"SetExtraHeaders",
        L"SetExtraHeaders", L"GetExtraHeader", L"AddExtraHeader", L"GetDataType", L"SetDataType",
        L"GetDataLength", L"SetDataLength", L"GetData", L"SetData", L"GetFlags", L"SetFlags",
        L"GetContentBuffer", L"SetContentBuffer", L"GetSendStatusParam", L"SetSendStatusParam",
        L"GetReadStatusParam", L"SetReadStatusParam", L"GetReadContentParam", L"SetReadContentParam",
        L"GetSendStatusCallback", L"SetSendStatusCallback", L"GetReadStatusCallback", L"SetReadStatusCallback",
        L"GetReadContentCallback", L"SetReadContentCallback", L"GetAuthScheme", L"SetAuthScheme",
        L"TriedAuthenticating", L"SetTriedAuthenticating", L"GetRealm", L"SetRealm", L"GetOpaque",
        L"SetOpaque", L"GetNonce", L"SetNonce", L"GetCNonce", L"SetCNonce", L"IncrNonceCount",
        L"ResetNonceCount", L"GetHTTPMethodText"};
    ASSERT_EQ(50u, names.size());
    // An entry and an exit line each, one after the other: no operation
    // calls another one of the object.
    std::vector<std::wstring> expected;
    for (const std::wstring& name : names) {
        expected.push_back(L"(->) CHTTPNavigateParams::" + name);
        expected.push_back(L"(<-) CHTTPNavigateParams::" + name);
    }
    std::vector<std::wstring> traced;
    for (const std::wstring& line : log.Lines()) {
        if (line.find(L" CHTTPNavigateParams::") == 4) {
            traced.push_back(line);
        }
    }
    ASSERT_EQ(expected.size(), traced.size()) << Narrow(log.Text());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(expected[i], traced[i]) << "line " << i;
    }
}

}  // namespace
