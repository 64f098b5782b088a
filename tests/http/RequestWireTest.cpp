// The request as it reaches a device over TCP: byte for byte, in one write.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "http/HTTPTestSupport.h"

using namespace QVIOStack;
using http_test::CountingNetwork;
using http_test::ObservedClient;
using http_test::Recording;
using peers::LoopbackPeer;

namespace {

std::string Narrow(const std::wstring& text)
{
    return std::string(text.begin(), text.end());
}

struct RequestWire : ::testing::Test {
    void SetUp() override
    {
        peer = std::make_unique<LoopbackPeer>(recording.Session());
        connection = new CountingNetwork();
        connection->AddRef();
        ASSERT_EQ(0u, connection->Initialize(peer->ServiceAddress().c_str()));
        client = std::make_unique<ObservedClient>(connection);
    }
    void TearDown() override
    {
        client.reset();
        connection->Dispose();
        peer.reset();
    }
    std::string Host() const { return "HOST: 127.0.0.1:" + std::to_string(peer->Port()) + "\r\n"; }

    Recording recording;
    std::unique_ptr<LoopbackPeer> peer;
    CountingNetwork* connection = nullptr;
    std::unique_ptr<ObservedClient> client;
};

TEST_F(RequestWire, PostWithBodyIsOneWriteInWireOrder)
{
    CHTTPNavigateParams params;
    params.SetHTTPRequestMethod(2);
    params.SetURI(L"/cgi/x");
    params.SetData("hello");
    params.SetDataLength(5, false);
    params.SetDataType(L"text/plain");
    ASSERT_EQ(0u, client->Navigate(&params, nullptr));

    const std::string expected = "POST /cgi/x HTTP/1.1\r\n"
                                 "Content-Length: 5\r\n"
                                 "Content-Type: text/plain\r\n"
                                 + Host() + "\r\nhello";
    EXPECT_EQ(expected, recording.Bytes());
    EXPECT_EQ(1, connection->writes);
    EXPECT_EQ(expected.substr(0, expected.size() - 5), Narrow(client->GetRequest()));
    EXPECT_EQ(1, client->reads);
    EXPECT_EQ(0u, client->lastRead);
    EXPECT_EQ(200u, client->GetStatusCode());
    EXPECT_EQ(1, peer->Accepted());
}

TEST_F(RequestWire, RootGoesBeforeTheURI)
{
    client->SetRoot(L"/dev");
    EXPECT_EQ(L"/dev", std::wstring(client->GetRoot()));
    ASSERT_EQ(0u, client->Navigate(L"/info.xml", 0, nullptr));
    EXPECT_EQ("GET /dev/info.xml HTTP/1.1\r\n" + Host() + "\r\n", recording.Bytes());
    client->SetRoot(nullptr);
    EXPECT_EQ(L"", std::wstring(client->GetRoot()));
}

TEST_F(RequestWire, MapHeadersFollowTheContentLinesInCodeUnitOrder)
{
    CHTTPNavigateParams params;
    params.SetHTTPRequestMethod(1);
    params.SetURI(L"/put");
    params.AddExtraHeader(L"x-trace", L"7");
    params.AddExtraHeader(L"Zeta", L"z");
    params.AddExtraHeader(L"Authorization", L"Basic Og==");
    params.SetData("{}");
    params.SetDataLength(2, false);
    params.SetDataType(L"application/json");
    ASSERT_EQ(0u, client->Navigate(&params, nullptr));
    EXPECT_EQ("PUT /put HTTP/1.1\r\n"
              "Content-Length: 2\r\n"
              "Content-Type: application/json\r\n"
              "Authorization: Basic Og==\r\n"
                  + Host() + "Zeta: z\r\n"
                  "x-trace: 7\r\n"
                  "\r\n{}",
              recording.Bytes());
}

TEST_F(RequestWire, FlaggedBodyHasNoContentLengthAndAnEmptyTypeStillHasItsLine)
{
    CHTTPNavigateParams params;
    params.SetHTTPRequestMethod(2);
    params.SetURI(L"/p");
    params.SetData("abc");
    params.SetDataLength(3, true);
    ASSERT_EQ(0u, client->Navigate(&params, nullptr));
    EXPECT_EQ("POST /p HTTP/1.1\r\nContent-Type: \r\n" + Host() + "\r\nabc", recording.Bytes());
}

TEST_F(RequestWire, ClearFlagZeroLengthAndDataSendContentLengthZero)
{
    CHTTPNavigateParams params;
    params.SetHTTPRequestMethod(2);
    params.SetURI(L"/p");
    params.SetData("ignored");
    params.SetDataLength(0, false);
    ASSERT_EQ(0u, client->Navigate(&params, nullptr));
    EXPECT_EQ("POST /p HTTP/1.1\r\nContent-Length: 0\r\nContent-Type: \r\n" + Host() + "\r\n", recording.Bytes());
}

TEST_F(RequestWire, BodyIsCopiedAsTextButCountedWhole)
{
    // Behind the zero byte, what goes out is whatever follows the copy.
    static const char body[] = "ab\0cd";
    CHTTPNavigateParams params;
    params.SetHTTPRequestMethod(2);
    params.SetURI(L"/z");
    params.SetData(body);
    params.SetDataLength(5, false);
    ASSERT_EQ(0u, client->Navigate(&params, nullptr));
    const std::string head = "POST /z HTTP/1.1\r\nContent-Length: 5\r\nContent-Type: \r\n" + Host() + "\r\n";
    const std::string received = recording.Bytes();
    ASSERT_EQ(head.size() + 5, received.size());
    EXPECT_EQ(head, received.substr(0, head.size()));
    EXPECT_EQ(std::string("ab\0", 3), received.substr(head.size(), 3));
    EXPECT_EQ(1, connection->writes);
}

TEST_F(RequestWire, UnknownMethodOrEmptyURISendsNothing)
{
    EXPECT_EQ(Error_InvalidArgument, client->Navigate(L"/x", 5, nullptr));
    EXPECT_EQ(Error_InvalidArgument, client->Navigate(L"", 0, nullptr));
    EXPECT_EQ(Error_InvalidArgument, client->Navigate(static_cast<const wchar_t*>(nullptr), 0, nullptr));
    EXPECT_EQ(Error_InvalidArgument, client->Navigate(static_cast<IHTTPNavigateParams*>(nullptr), nullptr));
    CHTTPNavigateParams noURI;
    EXPECT_EQ(Error_InvalidArgument, client->Navigate(&noURI, nullptr));
    EXPECT_EQ(0, connection->writes);
    EXPECT_EQ(0, client->reads);
    EXPECT_EQ(0, peer->Accepted());
}

class MethodText : public RequestWire, public ::testing::WithParamInterface<std::pair<unsigned long, const char*>> {};

TEST_P(MethodText, StartsTheRequestLine)
{
    ASSERT_EQ(0u, client->Navigate(L"/status", GetParam().first, nullptr));
    EXPECT_EQ(std::string(GetParam().second) + "/status HTTP/1.1\r\n" + Host() + "\r\n", recording.Bytes());
}

INSTANTIATE_TEST_SUITE_P(AllMethods, MethodText,
                         ::testing::Values(std::make_pair(0UL, "GET "), std::make_pair(1UL, "PUT "),
                                           std::make_pair(2UL, "POST "), std::make_pair(3UL, "DELETE "),
                                           std::make_pair(4UL, "HEAD ")));

TEST_F(RequestWire, OpenSessionKeepsOneConnectionAcrossNavigates)
{
    ASSERT_EQ(0u, client->OpenSession(nullptr, 0));
    ASSERT_EQ(0u, client->Navigate(L"/one", 0, nullptr));
    ASSERT_EQ(0u, client->Navigate(L"/two", 0, nullptr));
    EXPECT_TRUE(connection->IsOpen());
    EXPECT_EQ(0u, client->CloseSession());
    EXPECT_EQ("GET /one HTTP/1.1\r\n" + Host() + "\r\nGET /two HTTP/1.1\r\n" + Host() + "\r\n", recording.Bytes());
    EXPECT_EQ(1, peer->Accepted());
    EXPECT_EQ(2, connection->writes);
}

TEST_F(RequestWire, EachNavigateWithoutASessionOpensAndClosesTheConnection)
{
    ASSERT_EQ(0u, client->Navigate(L"/one", 0, nullptr));
    EXPECT_FALSE(connection->IsOpen());
    ASSERT_EQ(0u, client->Navigate(L"/two", 0, nullptr));
    EXPECT_FALSE(connection->IsOpen());
    EXPECT_TRUE(peer->WaitAccepted(2));
}

// A device that says something unasked as soon as it is connected, and
// answers with the content "reply" once a request has come.
struct StaleDevice {
    LoopbackPeer::Session Session()
    {
        return [this](peers::PeerSocket& s) {
            s.Send("stale");
            sent = true;
            std::string request;
            char buffer[4096];
            int n;
            while (request.find("\r\n\r\n") == std::string::npos && (n = s.Receive(buffer, sizeof(buffer))) > 0) {
                request.append(buffer, n);
            }
            s.Send("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nreply");
            LoopbackPeer::Silent(s);
        };
    }
    std::atomic<bool> sent{false};
};

std::string ContentOf(CHTTPClient& client)
{
    const unsigned char* content = client.GetContent();
    return content ? std::string(reinterpret_cast<const char*>(content), client.GetContentLength()) : "";
}

void WaitUntil(const std::atomic<bool>& flag)
{
    for (int i = 0; i < 250 && !flag; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

TEST(StaleBytes, AreDrainedBeforeTheRequestUnlessFlagBit0IsSet)
{
    StaleDevice device;
    LoopbackPeer peer(device.Session());
    auto* connection = new CountingNetwork();
    connection->AddRef();
    connection->Initialize(peer.ServiceAddress().c_str());
    CHTTPClient client(connection);
    ASSERT_EQ(0u, client.OpenSession(nullptr, 0));
    WaitUntil(device.sent);
    ASSERT_EQ(0u, client.Navigate(L"/a", 0, nullptr));
    EXPECT_EQ("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n", std::string(client.GetHeader()));
    EXPECT_EQ("reply", ContentOf(client));
    EXPECT_EQ(30000u, connection->GetReadTimeout());
    client.CloseSession();

    StaleDevice second;
    LoopbackPeer secondPeer(second.Session());
    connection->Initialize(secondPeer.ServiceAddress().c_str());
    ASSERT_EQ(0u, client.OpenSession(nullptr, 0));
    WaitUntil(second.sent);
    CHTTPNavigateParams params;
    params.SetURI(L"/a");
    params.SetFlags(1);
    ASSERT_EQ(0u, client.Navigate(&params, nullptr));
    // The stale bytes lead the header; the status line is still found.
    EXPECT_EQ("staleHTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n", std::string(client.GetHeader()));
    EXPECT_EQ(200u, client.GetStatusCode());
    EXPECT_EQ("reply", ContentOf(client));
    client.CloseSession();
    connection->Dispose();
}

}  // namespace
