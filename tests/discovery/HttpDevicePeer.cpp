#include "discovery/HttpDevicePeer.h"

#include <ws2tcpip.h>

#include <cstdlib>
#include <cstring>
#include <regex>

#include "peers/LoopbackPeer.h"

namespace wsdtest {

HttpDevicePeer::HttpDevicePeer(const char* address, Responder respond, bool keepOpen)
    : m_respond(std::move(respond)), m_keepOpen(keepOpen), m_hServed(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      m_hStop(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
    peers::EnsureWinsock();
    // An address with a colon is IPv6.
    const bool ipv6 = std::strchr(address, ':') != nullptr;
    sockaddr_storage local = {};
    int localLength = 0;
    if (ipv6) {
        auto& in6 = reinterpret_cast<sockaddr_in6&>(local);
        in6.sin6_family = AF_INET6;
        in6.sin6_port = htons(80);
        inet_pton(AF_INET6, address, &in6.sin6_addr);
        localLength = sizeof(in6);
    } else {
        auto& in4 = reinterpret_cast<sockaddr_in&>(local);
        in4.sin_family = AF_INET;
        in4.sin_port = htons(80);
        in4.sin_addr.s_addr = inet_addr(address);
        localLength = sizeof(in4);
    }
    m_listener = socket(ipv6 ? AF_INET6 : AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (bind(m_listener, reinterpret_cast<sockaddr*>(&local), localLength) != 0 || listen(m_listener, 1) != 0) {
        closesocket(m_listener);
        m_listener = INVALID_SOCKET;
        return;
    }
    m_thread = std::thread([this] { Serve(); });
}

HttpDevicePeer::~HttpDevicePeer()
{
    m_stopping = true;
    SetEvent(m_hStop);
    if (m_thread.joinable()) {
        m_thread.join();
    }
    if (m_listener != INVALID_SOCKET) {
        closesocket(m_listener);
    }
    CloseHandle(m_hServed);
    CloseHandle(m_hStop);
}

std::string HttpDevicePeer::Request(unsigned ms)
{
    WaitForSingleObject(m_hServed, ms);
    return m_request;
}

namespace {

// Waits in short slices so that the peer can stop: under Wine a blocked
// call does not wake when another thread closes the socket.
bool Readable(SOCKET s, const std::atomic<bool>& stopping)
{
    while (!stopping) {
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

}  // namespace

void HttpDevicePeer::Serve()
{
    if (!Readable(m_listener, m_stopping)) {
        return;
    }
    SOCKET s = accept(m_listener, nullptr, nullptr);
    std::string request;
    size_t wanted = std::string::npos;
    char buffer[4096];
    while (request.size() < wanted && Readable(s, m_stopping)) {
        const int got = recv(s, buffer, sizeof(buffer), 0);
        if (got <= 0) {
            break;
        }
        request.append(buffer, got);
        const size_t end = request.find("\r\n\r\n");
        const size_t length = request.find("Content-Length: ");
        if (end != std::string::npos && length != std::string::npos && length < end) {
            wanted = end + 4 + std::strtoul(request.c_str() + length + 16, nullptr, 10);
        }
    }
    m_request = request;
    const std::string reply = m_respond(request);
    send(s, reply.data(), static_cast<int>(reply.size()), 0);
    SetEvent(m_hServed);
    if (m_keepOpen) {
        WaitForSingleObject(m_hStop, INFINITE);
    }
    closesocket(s);
}

std::string HttpReply(const std::string& body, long contentLength)
{
    return "HTTP/1.1 200 OK\r\nContent-Type: application/soap+xml; charset=utf-8\r\nContent-Length: "
        + std::to_string(contentLength < 0 ? static_cast<long>(body.size()) : contentLength)
        + "\r\nConnection: close\r\n\r\n" + body;
}

}  // namespace wsdtest

namespace wsdtest {

std::string MessageIdOf(const std::string& request)
{
    std::smatch match;
    static const std::regex id("<wsa:MessageID[^>]*>([^<]*)</wsa:MessageID>");
    return std::regex_search(request, match, id) ? match[1].str() : std::string();
}

}  // namespace wsdtest
