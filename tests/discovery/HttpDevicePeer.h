#pragma once

#include <winsock2.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace wsdtest {

// A device's web server for one directed Probe, on port 80 of a loopback
// address of the test's (IPv6 when it has a colon): takes one connection,
// reads the request whole by its Content-Length, answers with what
// `respond` makes of the request,
// then closes, or with `keepOpen` holds the connection until the peer goes.
class HttpDevicePeer {
public:
    using Responder = std::function<std::string(const std::string& request)>;
    HttpDevicePeer(const char* address, Responder respond, bool keepOpen = false);
    ~HttpDevicePeer();
    HttpDevicePeer(const HttpDevicePeer&) = delete;
    HttpDevicePeer& operator=(const HttpDevicePeer&) = delete;

    bool Listening() const { return m_listener != INVALID_SOCKET; }
    // The request as received; waits for the session to end, at most `ms`.
    std::string Request(unsigned ms = 5000);

private:
    void Serve();

    SOCKET m_listener = INVALID_SOCKET;
    Responder m_respond;
    bool m_keepOpen;
    std::string m_request;
    HANDLE m_hServed;
    HANDLE m_hStop;
    std::atomic<bool> m_stopping{false};
    std::thread m_thread;
};

// An HTTP reply carrying `body`, with the length given or, by default, the
// body's own.
std::string HttpReply(const std::string& body, long contentLength = -1);
// The wsa:MessageID of a request.
std::string MessageIdOf(const std::string& request);

}  // namespace wsdtest
