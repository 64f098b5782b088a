#include "EpollServer.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace bench {

namespace {

void WatchReadable(int poller, int fd)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    epoll_ctl(poller, EPOLL_CTL_ADD, fd, &event);
}

}  // namespace

void EpollServer::Run()
{
    const int poller = epoll_create1(0);
    WatchReadable(poller, m_listener.Socket());
    epoll_event events[64];
    for (;;) {
        const int n = epoll_wait(poller, events, 64, -1);
        for (int i = 0; i < n; ++i) {
            const int fd = events[i].data.fd;
            if (fd == m_listener.Socket()) {
                const int connection = accept4(fd, nullptr, nullptr, SOCK_NONBLOCK);
                if (connection >= 0) {
                    WatchReadable(poller, connection);
                }
                continue;
            }
            if (!ReadDry(fd) || !Drained(fd)) {
                epoll_ctl(poller, EPOLL_CTL_DEL, fd, nullptr);
                close(fd);
                Closed(fd);
            }
        }
    }
}

bool EpollServer::ReadDry(int connection)
{
    for (;;) {
        const ssize_t got = recv(connection, m_buffer.data(), m_buffer.size(), 0);
        if (got <= 0) {
            return got < 0 && (errno == EAGAIN || errno == EINTR);
        }
        Received(connection, m_buffer.data(), static_cast<size_t>(got));
    }
}

}  // namespace bench
