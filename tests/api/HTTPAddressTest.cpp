// HTTP requests made by a network address: the ports that give one, the
// request's life, and what a request and its response do over loopback.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "api/AddressFactory.h"
#include "peers/HTTPAnswer.h"
#include "peers/LoopbackPeer.h"

using namespace Orvane;
using peers::HTTPAnswer;
using peers::LoopbackPeer;

namespace {

constexpr unsigned long kFail = 0x80004005;

const std::string kOk = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 2\r\n\r\nok";

std::string Host(const LoopbackPeer& peer)
{
    return "127.0.0.1:" + std::to_string(peer.Port());
}

struct HTTPAddress : ::testing::Test {
    ~HTTPAddress() override
    {
        if (request) {
            request->Dispose();
        }
        if (address) {
            address->Dispose();
        }
    }
    void RequestOn(const LoopbackPeer& peer)
    {
        ASSERT_EQ(0u, address->CreateHTTPRequest(&request, peer.Port()));
        ASSERT_NE(nullptr, request);
    }
    Address* address = AddressFactory::CreateFromIPAddress(L"127.0.0.1");
    HTTPRequest* request = nullptr;
};

TEST_F(HTTPAddress, Port8081GivesNoRequestAndStatusZero)
{
    for (int port : {8081, 79, 0, -1}) {
        HTTPRequest* out = reinterpret_cast<HTTPRequest*>(1);
        EXPECT_EQ(0u, address->CreateHTTPRequest(&out, port)) << port;
        EXPECT_EQ(nullptr, out) << port;
    }
}

TEST_F(HTTPAddress, Ports80To8080GiveARequest)
{
    for (int port : {80, 631, 8080}) {
        HTTPRequest* out = nullptr;
        EXPECT_EQ(0u, address->CreateHTTPRequest(&out, port));
        ASSERT_NE(nullptr, out) << port;
        EXPECT_EQ(0u, out->Dispose());
    }
}

TEST_F(HTTPAddress, Port9100GivesAStreamButNoRequest)
{
    HTTPRequest* out = reinterpret_cast<HTTPRequest*>(1);
    EXPECT_EQ(0u, address->CreateHTTPRequest(&out, 9100));
    EXPECT_EQ(nullptr, out);
    Stream* stream = nullptr;
    EXPECT_EQ(0u, address->CreateStream(9100, &stream));
    ASSERT_NE(nullptr, stream);
    EXPECT_EQ(0u, stream->Dispose());
}

TEST_F(HTTPAddress, SecurePortsGiveRequestsOverTheSecureConnection)
{
    for (int port : {443, 7627}) {
        HTTPRequest* out = nullptr;
        EXPECT_EQ(0u, address->CreateHTTPRequest(&out, port));
        ASSERT_NE(nullptr, out) << port;
        EXPECT_EQ(0u, out->Dispose());
    }
}

TEST_F(HTTPAddress, ARequestComesWithOneReference)
{
    ASSERT_EQ(0u, address->CreateHTTPRequest(&request, 80));
    ASSERT_NE(nullptr, request);
    EXPECT_EQ(2u, request->AddRef());
    EXPECT_EQ(1u, request->Dispose());
    EXPECT_EQ(0u, request->Dispose());
    request = nullptr;
}

TEST_F(HTTPAddress, TheRequestGoesOutWithItsHeadersInKeyOrderAndItsBody)
{
    HTTPAnswer answer(kOk);
    LoopbackPeer peer(answer.Session(), LoopbackPeer::PortChoice::HTTPRange);
    RequestOn(peer);
    EXPECT_EQ(0u, request->SetMethod(L"post"));
    request->SetURI(L"/jobs");
    request->SetHeader(L"b", L"2");
    request->SetHeader(L"X-Gone", L"0");
    request->SetHeader(L"A", L"1");
    request->SetHeader(L"X-Gone", nullptr);
    request->SetContentType(L"text/plain");
    request->SetContent("hello", 5);
    HTTPResponse* response = nullptr;
    EXPECT_EQ(0u, request->GetResponse(&response));
    ASSERT_TRUE(answer.WaitRequests(1));
    EXPECT_EQ("POST /jobs HTTP/1.1\r\n"
              "Content-Length: 5\r\n"
              "Content-Type: text/plain\r\n"
              "A: 1\r\n"
              "HOST: " + Host(peer) + "\r\n"
              "b: 2\r\n"
              "\r\n"
              "hello",
              answer.Requests()[0]);
}

TEST_F(HTTPAddress, ARequestWorksAfterItsAddressWasDisposed)
{
    HTTPAnswer answer(kOk);
    LoopbackPeer peer(answer.Session(), LoopbackPeer::PortChoice::HTTPRange);
    RequestOn(peer);
    EXPECT_EQ(0u, address->Dispose());
    address = nullptr;
    request->SetURI(L"/status");
    HTTPResponse* response = nullptr;
    EXPECT_EQ(0u, request->GetResponse(&response));
    ASSERT_TRUE(answer.WaitRequests(1));
    EXPECT_EQ("GET /status HTTP/1.1\r\nHOST: " + Host(peer) + "\r\n\r\n", answer.Requests()[0]);
    ASSERT_NE(nullptr, response);
    EXPECT_EQ(200u, response->GetStatusCode());
}

TEST_F(HTTPAddress, ARefusedConnectionIsEFailAndGivesNoResponse)
{
    unsigned short port;
    {
        LoopbackPeer gone(LoopbackPeer::Silent, LoopbackPeer::PortChoice::HTTPRange);
        port = gone.Port();
    }
    ASSERT_EQ(0u, address->CreateHTTPRequest(&request, port));
    ASSERT_NE(nullptr, request);
    request->SetURI(L"/");
    HTTPResponse* response = reinterpret_cast<HTTPResponse*>(1);
    EXPECT_EQ(kFail, request->GetResponse(&response));
    EXPECT_EQ(reinterpret_cast<HTTPResponse*>(1), response);
}

TEST_F(HTTPAddress, AResponseGivesStatusHeadersAndTheBodyZeroTerminated)
{
    HTTPAnswer answer("HTTP/1.1 200 OK\r\nServer: loopback\r\nContent-Type: text/plain\r\n"
                      "Content-Length: 5\r\n\r\nhello");
    LoopbackPeer peer(answer.Session(), LoopbackPeer::PortChoice::HTTPRange);
    RequestOn(peer);
    request->SetURI(L"/hello.txt");
    HTTPResponse* response = nullptr;
    ASSERT_EQ(0u, request->GetResponse(&response));
    ASSERT_NE(nullptr, response);
    EXPECT_EQ(200u, response->GetStatusCode());
    EXPECT_STREQ(L"text/plain", response->GetContentType());
    EXPECT_STREQ(L"loopback", response->GetHeader(L"server"));
    EXPECT_STREQ(L"5", response->GetHeader(L"Content-Length"));
    EXPECT_EQ(nullptr, response->GetHeader(L"Location"));
    EXPECT_EQ(5u, response->GetContentAvailable());
    const unsigned char* content = response->GetContent();
    ASSERT_NE(nullptr, content);
    EXPECT_EQ(0, std::memcmp("hello\0", content, 6));
}

TEST_F(HTTPAddress, A404IsAResponseNotAFailure)
{
    HTTPAnswer answer("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
    LoopbackPeer peer(answer.Session(), LoopbackPeer::PortChoice::HTTPRange);
    RequestOn(peer);
    request->SetURI(L"/missing");
    HTTPResponse* response = nullptr;
    ASSERT_EQ(0u, request->GetResponse(&response));
    ASSERT_NE(nullptr, response);
    EXPECT_EQ(404u, response->GetStatusCode());
    EXPECT_EQ(0u, response->GetContentAvailable());
    EXPECT_EQ(nullptr, response->GetContent());
}

TEST_F(HTTPAddress, AChunkedBodyComesWhole)
{
    HTTPAnswer answer("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                      "5\r\nhello\r\n7;x=y\r\n, world\r\n0\r\n\r\n");
    LoopbackPeer peer(answer.Session(), LoopbackPeer::PortChoice::HTTPRange);
    RequestOn(peer);
    request->SetURI(L"/chunked");
    HTTPResponse* response = nullptr;
    ASSERT_EQ(0u, request->GetResponse(&response));
    ASSERT_NE(nullptr, response);
    EXPECT_EQ(12u, response->GetContentAvailable());
    const unsigned char* content = response->GetContent();
    ASSERT_NE(nullptr, content);
    EXPECT_STREQ("hello, world", reinterpret_cast<const char*>(content));
}

TEST_F(HTTPAddress, ABodyEndedByTheClosedConnectionComesWhole)
{
    HTTPAnswer answer("HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\n<p>no length</p>", true);
    LoopbackPeer peer(answer.Session(), LoopbackPeer::PortChoice::HTTPRange);
    RequestOn(peer);
    request->SetURI(L"/");
    HTTPResponse* response = nullptr;
    ASSERT_EQ(0u, request->GetResponse(&response));
    ASSERT_NE(nullptr, response);
    EXPECT_EQ(16u, response->GetContentAvailable());
    const unsigned char* content = response->GetContent();
    ASSERT_NE(nullptr, content);
    EXPECT_STREQ("<p>no length</p>", reinterpret_cast<const char*>(content));
}

TEST_F(HTTPAddress, TheRequestIsSentAgainWithChangedSettings)
{
    HTTPAnswer answer(kOk);
    LoopbackPeer peer(answer.Session(), LoopbackPeer::PortChoice::HTTPRange);
    RequestOn(peer);
    request->SetURI(L"/first");
    request->SetHeader(L"X-Job", L"7");
    HTTPResponse* first = nullptr;
    ASSERT_EQ(0u, request->GetResponse(&first));
    request->SetURI(L"/second");
    request->SetMethod(L"DELETE");
    request->SetHeader(L"X-Job", nullptr);
    HTTPResponse* second = nullptr;
    ASSERT_EQ(0u, request->GetResponse(&second));
    ASSERT_NE(nullptr, second);
    EXPECT_EQ(200u, second->GetStatusCode());
    ASSERT_TRUE(answer.WaitRequests(2));
    const std::string host = "HOST: " + Host(peer) + "\r\n";
    EXPECT_EQ("GET /first HTTP/1.1\r\n" + host + "X-Job: 7\r\n\r\n", answer.Requests()[0]);
    // The last header erased: its former text still goes out.
    EXPECT_EQ("DELETE /second HTTP/1.1\r\n" + host + "X-Job: 7\r\n\r\n", answer.Requests()[1]);
}

}  // namespace
