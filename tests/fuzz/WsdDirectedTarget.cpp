// The reply to a directed Probe, as a device's web server sends it: a new
// session per input sends the Probe over HTTP on loopback and reads the
// reply from the same connection, and an accepted ProbeMatches is made
// into the discovered-device record.
#include <winsock2.h>
#include <ws2tcpip.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "discovery/CDiscoveredDeviceXpWSD.h"
#include "discovery/CWSDSession.h"
#include "discovery/DatagramPeer.h"
#include "discovery/HttpDevicePeer.h"
#include "fuzz/FuzzTarget.h"

namespace {

using fuzz::Check;
using QVDiscovery::CWSDSession;

constexpr const char* kWebDevice = "127.0.30.4";
constexpr unsigned kReplyMs = 5000;

// The device's web server: answers every connection's request with the
// input in hand (its request's identifier put in for @RELATES_TO@), then
// closes. Waits in short slices so that it can stop: under Wine a blocked
// call does not wake when another thread closes the socket.
class ReplyServer {
public:
    ReplyServer()
    {
        m_listener = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
        sockaddr_in local = {};
        local.sin_family = AF_INET;
        local.sin_port = htons(80);
        inet_pton(AF_INET, kWebDevice, &local.sin_addr);
        const BOOL reuse = TRUE;
        setsockopt(m_listener, SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&reuse), sizeof reuse);
        m_listening = bind(m_listener, reinterpret_cast<sockaddr*>(&local), sizeof local) == 0
            && listen(m_listener, 4) == 0;
        if (m_listening) {
            m_thread = std::thread([this] { Serve(); });
        }
    }
    ~ReplyServer()
    {
        m_stopping = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
        closesocket(m_listener);
    }
    ReplyServer(const ReplyServer&) = delete;
    ReplyServer& operator=(const ReplyServer&) = delete;

    bool Listening() const { return m_listening; }
    void SetReply(const std::string& reply)
    {
        std::lock_guard<std::mutex> hold(m_lock);
        m_reply = reply;
    }

private:
    bool Readable(SOCKET s)
    {
        while (!m_stopping) {
            fd_set set;
            FD_ZERO(&set);
            FD_SET(s, &set);
            timeval slice = {0, 50000};
            if (select(0, &set, nullptr, nullptr, &slice) == 1) {
                return true;
            }
        }
        return false;
    }

    void Serve()
    {
        while (Readable(m_listener)) {
            SOCKET connection = accept(m_listener, nullptr, nullptr);
            if (connection == INVALID_SOCKET) {
                continue;
            }
            std::string request;
            char buffer[4096];
            size_t end = std::string::npos;
            while (end == std::string::npos && Readable(connection)) {
                const int got = recv(connection, buffer, sizeof buffer, 0);
                if (got <= 0) {
                    break;
                }
                request.append(buffer, got);
                const size_t header = request.find("\r\n\r\n");
                const size_t length = request.find("Content-Length: ");
                if (header != std::string::npos && length != std::string::npos
                    && request.size() >= header + 4 + std::strtoul(request.c_str() + length + 16, nullptr, 10)) {
                    end = header;
                }
            }
            std::string reply;
            {
                std::lock_guard<std::mutex> hold(m_lock);
                reply = m_reply;
            }
            const std::string id = wsdtest::MessageIdOf(request);
            for (size_t at; (at = reply.find("@RELATES_TO@")) != std::string::npos;) {
                reply.replace(at, 12, id);
            }
            for (size_t sent = 0; sent < reply.size();) {
                const int n = send(connection, reply.data() + sent, static_cast<int>(reply.size() - sent), 0);
                if (n <= 0) {
                    break;
                }
                sent += n;
            }
            shutdown(connection, SD_SEND);
            closesocket(connection);
        }
    }

    SOCKET m_listener = INVALID_SOCKET;
    bool m_listening = false;
    std::atomic<bool> m_stopping{false};
    std::mutex m_lock;
    std::string m_reply;
    std::thread m_thread;
};

std::unique_ptr<ReplyServer> g_server;

void SetUp()
{
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
    g_server = std::make_unique<ReplyServer>();
    Check(g_server->Listening(), "the device's web server could not listen on loopback port 80");
}

uint32_t RunDirected(const unsigned char* data, size_t size)
{
    g_server->SetReply(std::string(reinterpret_cast<const char*>(data), size));
    CWSDSession session;
    Check(session.SendProbe("", kWebDevice, nullptr, 0), "the directed Probe did not go out");
    if (size == 0) {
        // A device that closes without a word gives no read event: the
        // search's own time limit ends that wait.
        return 3;
    }
    // The reply's end is the server's close at the latest.
    Check(wsdtest::WaitAndReset(session.GetReadEvent(), kReplyMs), "no reply came on the Probe's connection");
    uint32_t outcome = 0;
    if (session.ReceiveBegin()) {
        outcome = 1;
        struct wsd__ProbeMatchesZQType matches {};
        if (session.ReceiveProbeMatches(&matches)) {
            const wsd__ProbeMatchZQType& match = matches.wsd__ProbeMatch[0];
            const QVDiscovery::CDiscoveredDeviceXpWSD device(match.zqd__VendorExtension,
                                                             match.wsa__EndpointReference.wsa__Address, false);
            Check(device.GetId() != nullptr && device.GetServices() <= 63 && device.GetAdapterType() <= 2,
                  "a record out of its ranges");
            outcome = 2;
        }
    }
    session.ReceiveEnd();
    return outcome;
}

const fuzz::TargetRegistration kRegistration{{
    "wsd_directed",
    {fuzz::CorpusFolder("wsd_directed"), ORVANE_WSD_CORPUS},
    {"HTTP/1.1 200 OK\r\n", "Content-Length: ", "Content-Type: application/soap+xml\r\n", "\r\n\r\n",
     "Transfer-Encoding: chunked\r\n", "<wsa:RelatesTo>@RELATES_TO@</wsa:RelatesTo>", "<d:ProbeMatches>",
     "<d:ProbeMatch>", "<zq:VendorExtension>", "<d:UUID>", "</", "<", ">"},
    65536,
    kReplyMs + 30000,
    0,
    SetUp,
    [] { g_server.reset(); },
    RunDirected,
}};

}  // namespace
