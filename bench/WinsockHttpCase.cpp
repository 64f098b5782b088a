#include "WinsockHttpCase.h"

#include <cstdlib>
#include <cstring>

namespace bench {

namespace {

constexpr unsigned long long kPageSize = 1024;

}  // namespace

WinsockHttpCase::WinsockHttpCase(const std::string& id, int port, bool keptSession)
    : BenchCase(id, Unit::PerSecond), m_port(port), m_keptSession(keptSession)
{
    m_request = "GET /page HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) + "\r\n"
        + (keptSession ? "" : "Connection: close\r\n") + "\r\n";
}

WinsockHttpCase::~WinsockHttpCase()
{
    End();
}

bool WinsockHttpCase::Begin()
{
    if (m_keptSession) {
        m_socket = Connect();
        return m_socket != INVALID_SOCKET;
    }
    return true;
}

SOCKET WinsockHttpCase::Connect() const
{
    SOCKET s = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<u_short>(m_port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (s != INVALID_SOCKET
        && connect(s, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        closesocket(s);
        s = INVALID_SOCKET;
    }
    return s;
}

unsigned long long WinsockHttpCase::Step()
{
    if (m_keptSession) {
        return Exchange(m_socket) == kPageSize ? 1 : 0;
    }
    const SOCKET s = Connect();
    if (s == INVALID_SOCKET) {
        return 0;
    }
    const unsigned long long got = Exchange(s);
    closesocket(s);
    return got == kPageSize ? 1 : 0;
}

unsigned long long WinsockHttpCase::Exchange(SOCKET s)
{
    if (send(s, m_request.data(), static_cast<int>(m_request.size()), 0)
        != static_cast<int>(m_request.size())) {
        return 0;
    }
    char answer[8192];
    size_t have = 0;
    size_t headerEnd = 0;
    unsigned long long length = 0;
    for (;;) {
        const int n = recv(s, answer + have, static_cast<int>(sizeof(answer) - 1 - have), 0);
        if (n <= 0) {
            return 0;
        }
        have += static_cast<size_t>(n);
        answer[have] = '\0';
        if (headerEnd == 0) {
            const char* end = std::strstr(answer, "\r\n\r\n");
            if (end == nullptr) {
                continue;
            }
            headerEnd = static_cast<size_t>(end - answer) + 4;
            const char* field = std::strstr(answer, "Content-Length: ");
            if (field == nullptr) {
                return 0;
            }
            length = std::strtoull(field + 16, nullptr, 10);
        }
        if (have - headerEnd >= length) {
            return length;
        }
    }
}

void WinsockHttpCase::End()
{
    if (m_socket != INVALID_SOCKET) {
        closesocket(m_socket);
        m_socket = INVALID_SOCKET;
    }
}

}  // namespace bench
