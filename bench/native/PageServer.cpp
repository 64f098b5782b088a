#include "PageServer.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <map>

namespace bench {

PageServer::PageServer()
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

void PageServer::Run()
{
    const int poller = epoll_create1(0);
    epoll_event listening{};
    listening.events = EPOLLIN;
    listening.data.fd = m_listener.Socket();
    epoll_ctl(poller, EPOLL_CTL_ADD, m_listener.Socket(), &listening);
    std::map<int, std::string> pending;
    char buffer[16384];
    epoll_event events[64];
    for (;;) {
        const int n = epoll_wait(poller, events, 64, -1);
        for (int i = 0; i < n; ++i) {
            const int fd = events[i].data.fd;
            if (fd == m_listener.Socket()) {
                const int connection = accept4(fd, nullptr, nullptr, SOCK_NONBLOCK);
                if (connection >= 0) {
                    epoll_event event{};
                    event.events = EPOLLIN;
                    event.data.fd = connection;
                    epoll_ctl(poller, EPOLL_CTL_ADD, connection, &event);
                    pending[connection].clear();
                }
                continue;
            }
            bool keep = true;
            for (;;) {
                const ssize_t got = recv(fd, buffer, sizeof(buffer), 0);
                if (got > 0) {
                    pending[fd].append(buffer, static_cast<size_t>(got));
                    continue;
                }
                if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
                    keep = false;
                }
                break;
            }
            if (keep) {
                keep = Answer(fd, pending[fd]);
            }
            if (!keep) {
                epoll_ctl(poller, EPOLL_CTL_DEL, fd, nullptr);
                close(fd);
                pending.erase(fd);
            }
        }
    }
}

bool PageServer::Answer(int connection, std::string& pending)
{
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
