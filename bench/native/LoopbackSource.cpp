#include "LoopbackSource.h"

#include <sys/socket.h>
#include <unistd.h>

#include <thread>
#include <vector>

namespace bench {

void LoopbackSource::Run()
{
    for (;;) {
        const int connection = accept(m_listener.Socket(), nullptr, nullptr);
        if (connection >= 0) {
            std::thread(Feed, connection).detach();
        }
    }
}

void LoopbackSource::Feed(int connection)
{
    std::vector<char> block(64 * 1024);
    for (size_t i = 0; i < block.size(); ++i) {
        block[i] = static_cast<char>('A' + i % 26);
    }
    while (send(connection, block.data(), block.size(), MSG_NOSIGNAL) > 0) {
    }
    close(connection);
}

}  // namespace bench
