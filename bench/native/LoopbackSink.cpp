#include "LoopbackSink.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace bench {

void LoopbackSink::Run()
{
    const int poller = epoll_create1(0);
    epoll_event listening{};
    listening.events = EPOLLIN;
    listening.data.fd = m_listener.Socket();
    epoll_ctl(poller, EPOLL_CTL_ADD, m_listener.Socket(), &listening);
    std::vector<char> buffer(1 << 20);
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
                }
                continue;
            }
            for (;;) {
                const ssize_t got = recv(fd, buffer.data(), buffer.size(), 0);
                if (got > 0) {
                    continue;
                }
                if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
                    epoll_ctl(poller, EPOLL_CTL_DEL, fd, nullptr);
                    close(fd);
                }
                break;
            }
        }
    }
}

}  // namespace bench
