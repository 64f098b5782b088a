// HTTP requests made by a network address: the ports that give one, the
// request's life, and what a request and its response do over loopback
// (the exchanges every transport shares, in HTTPExchangeCases.h, and those
// of a network connection).
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "api/AddressFactory.h"
#include "api/HTTPExchangeCases.h"
#include "peers/HTTPAnswer.h"
#include "peers/LoopbackPeer.h"

using namespace Orvane;
using peers::HTTPAnswer;
using peers::LoopbackPeer;

namespace {

constexpr unsigned long kFail = 0x80004005;

using http_cases::kOk;

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

// A device on loopback that gives one fixed answer, and an address on it.
class NetworkTransport {
public:
    using Fixture = ::testing::Test;

    ~NetworkTransport() { m_address->Dispose(); }
    HTTPRequest* Request(const std::string& answer)
    {
        m_answer = std::make_unique<HTTPAnswer>(answer);
        m_peer = std::make_unique<LoopbackPeer>(m_answer->Session(), LoopbackPeer::PortChoice::HTTPRange);
        HTTPRequest* request = nullptr;
        EXPECT_EQ(0u, m_address->CreateHTTPRequest(&request, m_peer->Port()));
        return request;
    }
    bool WaitRequests(size_t count) { return m_answer->WaitRequests(count); }
    std::vector<std::string> Requests() { return m_answer->Requests(); }
    std::string Host() { return "127.0.0.1:" + std::to_string(m_peer->Port()); }

private:
    Address* m_address = AddressFactory::CreateFromIPAddress(L"127.0.0.1");
    std::unique_ptr<HTTPAnswer> m_answer;
    std::unique_ptr<LoopbackPeer> m_peer;
};

}  // namespace

namespace http_cases {
INSTANTIATE_TYPED_TEST_SUITE_P(Network, HTTPExchange, NetworkTransport);
}  // namespace http_cases

namespace {

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

}  // namespace
