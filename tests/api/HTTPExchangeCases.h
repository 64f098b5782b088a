// What an HTTP request of an address and its response do, on any channel
// that carries HTTP to a device: each suite that includes this instantiates
// the cases with its transport. A transport has
//   using Fixture = ...;                  the test fixture it stands on
//   Orvane::HTTPRequest* Request(answer); a request (one reference) on an
//                                         address whose device answers every
//                                         request with the bytes `answer`
//   bool WaitRequests(count);             waits for that many requests
//   std::vector<std::string> Requests();  each request's bytes as they came
//   std::string Host();                   the text of the HOST header
// and is made in the test's body.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "orvane64.h"

namespace http_cases {

const std::string kOk = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 2\r\n\r\nok";

template <typename Transport>
class HTTPExchange : public Transport::Fixture {
protected:
    void TearDown() override
    {
        // A request goes before its address.
        if (request != nullptr) {
            request->Dispose();
            request = nullptr;
        }
        m_transport.reset();
        Transport::Fixture::TearDown();
    }
    void RequestOn(const std::string& answer)
    {
        m_transport = std::make_unique<Transport>();
        request = m_transport->Request(answer);
        ASSERT_NE(nullptr, request);
    }
    Transport& Peer() { return *m_transport; }

    Orvane::HTTPRequest* request = nullptr;

private:
    std::unique_ptr<Transport> m_transport;
};

TYPED_TEST_SUITE_P(HTTPExchange);

TYPED_TEST_P(HTTPExchange, TheRequestGoesOutWithItsHeadersInKeyOrderAndItsBody)
{
    this->RequestOn(kOk);
    Orvane::HTTPRequest* request = this->request;
    EXPECT_EQ(0u, request->SetMethod(L"post"));
    request->SetURI(L"/jobs");
    request->SetHeader(L"b", L"2");
    request->SetHeader(L"X-Gone", L"0");
    request->SetHeader(L"A", L"1");
    request->SetHeader(L"X-Gone", nullptr);
    request->SetContentType(L"text/plain");
    request->SetContent("hello", 5);
    Orvane::HTTPResponse* response = nullptr;
    EXPECT_EQ(0u, request->GetResponse(&response));
    ASSERT_TRUE(this->Peer().WaitRequests(1));
    EXPECT_EQ("POST /jobs HTTP/1.1\r\n"
              "Content-Length: 5\r\n"
              "Content-Type: text/plain\r\n"
              "A: 1\r\n"
              "HOST: " + this->Peer().Host() + "\r\n"
              "b: 2\r\n"
              "\r\n"
              "hello",
              this->Peer().Requests()[0]);
}

TYPED_TEST_P(HTTPExchange, AResponseGivesStatusHeadersAndTheBodyZeroTerminated)
{
    this->RequestOn("HTTP/1.1 200 OK\r\nServer: loopback\r\nContent-Type: text/plain\r\n"
                    "Content-Length: 5\r\n\r\nhello");
    this->request->SetURI(L"/hello.txt");
    Orvane::HTTPResponse* response = nullptr;
    ASSERT_EQ(0u, this->request->GetResponse(&response));
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

TYPED_TEST_P(HTTPExchange, A404IsAResponseNotAFailure)
{
    this->RequestOn("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
    this->request->SetURI(L"/missing");
    Orvane::HTTPResponse* response = nullptr;
    ASSERT_EQ(0u, this->request->GetResponse(&response));
    ASSERT_NE(nullptr, response);
    EXPECT_EQ(404u, response->GetStatusCode());
    EXPECT_EQ(0u, response->GetContentAvailable());
    EXPECT_EQ(nullptr, response->GetContent());
}

TYPED_TEST_P(HTTPExchange, AChunkedBodyComesWhole)
{
    this->RequestOn("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                    "5\r\nhello\r\n7;x=y\r\n, world\r\n0\r\n\r\n");
    this->request->SetURI(L"/chunked");
    Orvane::HTTPResponse* response = nullptr;
    ASSERT_EQ(0u, this->request->GetResponse(&response));
    ASSERT_NE(nullptr, response);
    EXPECT_EQ(12u, response->GetContentAvailable());
    const unsigned char* content = response->GetContent();
    ASSERT_NE(nullptr, content);
    EXPECT_STREQ("hello, world", reinterpret_cast<const char*>(content));
}

TYPED_TEST_P(HTTPExchange, TheRequestIsSentAgainWithChangedSettings)
{
    this->RequestOn(kOk);
    Orvane::HTTPRequest* request = this->request;
    request->SetURI(L"/first");
    request->SetHeader(L"X-Job", L"7");
    Orvane::HTTPResponse* first = nullptr;
    ASSERT_EQ(0u, request->GetResponse(&first));
    request->SetURI(L"/second");
    request->SetMethod(L"DELETE");
    request->SetHeader(L"X-Job", nullptr);
    Orvane::HTTPResponse* second = nullptr;
    ASSERT_EQ(0u, request->GetResponse(&second));
    ASSERT_NE(nullptr, second);
    EXPECT_EQ(200u, second->GetStatusCode());
    ASSERT_TRUE(this->Peer().WaitRequests(2));
    const std::string host = "HOST: " + this->Peer().Host() + "\r\n";
    EXPECT_EQ("GET /first HTTP/1.1\r\n" + host + "X-Job: 7\r\n\r\n", this->Peer().Requests()[0]);
    // The last header erased: its former text still goes out.
    EXPECT_EQ("DELETE /second HTTP/1.1\r\n" + host + "X-Job: 7\r\n\r\n", this->Peer().Requests()[1]);
}

REGISTER_TYPED_TEST_SUITE_P(HTTPExchange, TheRequestGoesOutWithItsHeadersInKeyOrderAndItsBody,
                            AResponseGivesStatusHeadersAndTheBodyZeroTerminated, A404IsAResponseNotAFailure,
                            AChunkedBodyComesWhole, TheRequestIsSentAgainWithChangedSettings);

}  // namespace http_cases
