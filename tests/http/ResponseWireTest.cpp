// Whole exchanges over a real TCP connection to a loopback device: the
// request byte for byte, and the response read by its known length, in
// chunks, or until the device closes, as the device sends it in pieces.
#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "http/HTTPTestSupport.h"

using namespace QVIOStack;
using http_test::ObservedClient;
using http_test::RequestEnd;
using peers::LoopbackPeer;

namespace {

// A device that reads one request, then sends its response in pieces with a
// pause between them, and then stays silent or closes its side.
class RespondingDevice {
public:
    enum class End { StaySilent, Close };

    RespondingDevice(std::vector<std::string> pieces, End end) : m_pieces(std::move(pieces)), m_end(end) {}

    LoopbackPeer::Session Session()
    {
        return [this](peers::PeerSocket& s) {
            std::string received;
            char buffer[4096];
            int n;
            while (RequestEnd(received) == std::string::npos && (n = s.Receive(buffer, sizeof(buffer))) > 0) {
                received.append(buffer, n);
            }
            {
                std::lock_guard<std::mutex> guard(m_lock);
                m_request = received;
            }
            for (const std::string& piece : m_pieces) {
                s.Send(piece);
                Sleep(30);
            }
            if (m_end == End::Close) {
                shutdown(s.socket, SD_SEND);
            }
            LoopbackPeer::Silent(s);
        };
    }

    std::string Request()
    {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_request;
    }

private:
    const std::vector<std::string> m_pieces;
    const End m_end;
    std::mutex m_lock;
    std::string m_request;
};

std::string ContentOf(CHTTPClient& client)
{
    const unsigned char* content = client.GetContent();
    return content ? std::string(reinterpret_cast<const char*>(content), client.GetContentLength()) : "(null)";
}

// One exchange with a device that answers with `pieces`.
struct Exchange {
    Exchange(std::vector<std::string> pieces, RespondingDevice::End end)
        : device(std::move(pieces), end), peer(device.Session())
    {
        connection = new CIONetwork();
        connection->AddRef();
        connection->Initialize(peer.ServiceAddress().c_str());
        client = std::make_unique<ObservedClient>(connection);
    }
    ~Exchange()
    {
        client.reset();
        connection->Dispose();
    }
    std::string Get(const wchar_t* uri)
    {
        return "GET " + std::string(uri, uri + wcslen(uri)) + " HTTP/1.1\r\nHOST: 127.0.0.1:"
               + std::to_string(peer.Port()) + "\r\n\r\n";
    }

    RespondingDevice device;
    LoopbackPeer peer;
    CIONetwork* connection = nullptr;
    std::unique_ptr<ObservedClient> client;
};

TEST(ResponseWire, KnownLengthResponseInPieces)
{
    Exchange exchange({"HTTP/1.1 200 OK\r\nContent-Ty", "pe: text/plain\r\nContent-Length: 11\r\n\r\nhel", "lo world"},
                      RespondingDevice::End::StaySilent);
    ASSERT_EQ(0u, exchange.client->Navigate(L"/known", 0, nullptr));
    EXPECT_EQ(exchange.Get(L"/known"), exchange.device.Request());
    EXPECT_EQ(0u, exchange.client->lastRead);
    EXPECT_EQ(200u, exchange.client->GetStatusCode());
    EXPECT_EQ("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 11\r\n\r\n",
              std::string(exchange.client->GetHeader()));
    EXPECT_EQ(L"text/plain", std::wstring(exchange.client->GetContentType()));
    EXPECT_EQ("hello world", ContentOf(*exchange.client));
    EXPECT_EQ(30000u, exchange.connection->GetReadTimeout());
}

TEST(ResponseWire, ChunkedResponseInPieces)
{
    std::string big;
    for (int i = 0; big.size() < 10000; ++i) {
        big += std::to_string(i) + ";";
    }
    big.resize(10000);
    const std::vector<std::string> pieces{"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5;note=\"first\"\r\nhel",
                                          "lo\r\n2710\r\n" + big.substr(0, 3000), big.substr(3000) + "\r", "\n1a\r\n",
                                          "abcdefghijklmnopqrstuvwxyz\r\n0", "\r\n\r\n"};
    Exchange exchange(pieces, RespondingDevice::End::StaySilent);
    std::string seen;
    CHTTPNavigateParams params;
    params.SetURI(L"/chunked");
    params.SetReadStatusParam(&seen);
    params.SetReadStatusCallback([](const void* data, unsigned long count, void* param) {
        static_cast<std::string*>(param)->append(static_cast<const char*>(data), count);
    });
    ASSERT_EQ(0u, exchange.client->Navigate(&params, nullptr));
    // Every byte up to the last chunk's size line was read; the final blank
    // line is left to the drain before a next request.
    std::string sent;
    for (const std::string& piece : pieces) {
        sent += piece;
    }
    EXPECT_EQ(sent.substr(0, sent.size() - 2), seen);
    EXPECT_EQ(exchange.Get(L"/chunked"), exchange.device.Request());
    EXPECT_EQ(0u, exchange.client->lastRead);
    const std::string expected = "hello" + big + "abcdefghijklmnopqrstuvwxyz";
    EXPECT_EQ(std::to_wstring(expected.size()), std::wstring(exchange.client->GetHeaderEntry(L"Content-Length")));
    EXPECT_EQ(expected, ContentOf(*exchange.client));
}

TEST(ResponseWire, ResponseEndedByTheDevicesClose)
{
    const std::string body(6000, 'c');
    Exchange exchange({"HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\n" + body.substr(0, 1000), body.substr(1000)},
                      RespondingDevice::End::Close);
    ASSERT_EQ(0u, exchange.client->Navigate(L"/close", 0, nullptr));
    EXPECT_EQ(exchange.Get(L"/close"), exchange.device.Request());
    // The closed socket reads nothing until the short timeout of this way of
    // reading: its normal end.
    EXPECT_EQ(0u, exchange.client->lastRead);
    EXPECT_EQ(200u, exchange.client->GetStatusCode());
    EXPECT_EQ(L"6000", std::wstring(exchange.client->GetHeaderEntry(L"Content-Length")));
    EXPECT_EQ(body, ContentOf(*exchange.client));
    EXPECT_EQ(30000u, exchange.connection->GetReadTimeout());
}

TEST(ResponseWire, CallersBufferAndCallbacksOverTCP)
{
    Exchange exchange({"HTTP/1.1 200 OK\r\nContent-Length: 20\r\n\r\n0123", "456789", "abcdefghij"},
                      RespondingDevice::End::StaySilent);
    unsigned char bytes[32] = {};
    ContentBuffer buffer{bytes, sizeof(bytes), 0};
    std::string seen;
    CHTTPNavigateParams params;
    params.SetURI(L"/buffer");
    params.SetContentBuffer(&buffer);
    params.SetReadStatusParam(&seen);
    params.SetReadStatusCallback([](const void* data, unsigned long count, void* param) {
        static_cast<std::string*>(param)->append(static_cast<const char*>(data), count);
    });
    ASSERT_EQ(0u, exchange.client->Navigate(&params, nullptr));
    EXPECT_EQ(20u, buffer.ulBufferUsed);
    EXPECT_EQ("0123456789abcdefghij", std::string(reinterpret_cast<char*>(bytes), 20));
    EXPECT_EQ("HTTP/1.1 200 OK\r\nContent-Length: 20\r\n\r\n0123456789abcdefghij", seen);
    EXPECT_EQ(nullptr, exchange.client->GetContent());
}

}  // namespace
