#include "PageServer.h"

#include <sys/socket.h>

#include <algorithm>
#include <cctype>
#include <cerrno>

namespace bench {

PageServer::PageServer()
    : EpollServer(16384)
{
    std::string page(kPageSize, 'x');
    for (size_t i = 0; i < page.size(); ++i) {
        page[i] = static_cast<char>('a' + i % 26);
    }
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: "
        + std::to_string(kPageSize) + "\r\n";
    m_keepResponse = head + "\r\n" + page;
    m_closeResponse = head + "Connection: close\r\n\r\n" + page;
}

void PageServer::Received(int connection, const char* data, size_t size)
{
    m_pending[connection].append(data, size);
}

bool PageServer::Drained(int connection)
{
    std::string& pending = m_pending[connection];
    for (;;) {
        const size_t end = pending.find("\r\n\r\n");
        if (end == std::string::npos) {
            return true;
        }
        std::string head = pending.substr(0, end + 2);
        pending.erase(0, end + 4);
        std::transform(head.begin(), head.end(), head.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        const bool closing = head.find("\r\nconnection: close\r\n") != std::string::npos;
        const std::string& response = closing ? m_closeResponse : m_keepResponse;
        // The answer is small: a loopback socket takes it whole.
        size_t sent = 0;
        while (sent < response.size()) {
            const ssize_t n = send(connection, response.data() + sent, response.size() - sent,
                                   MSG_NOSIGNAL);
            if (n <= 0 && errno != EAGAIN && errno != EINTR) {
                return false;
            }
            sent += n > 0 ? static_cast<size_t>(n) : 0;
        }
        if (closing) {
            return false;
        }
    }
}

}  // namespace bench
