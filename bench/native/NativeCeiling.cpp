#include "NativeCeiling.h"

#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <vector>

#include "../Samples.h"
#include "TcpListener.h"

namespace bench {

namespace {

// One run: `transfer` moves the bytes over a new connection; MB/s.
template <typename Transfer>
double TimedRun(int port, unsigned long long bytes, Transfer transfer)
{
    const int s = TcpListener::Connect(port);
    if (s < 0) {
        return 0;
    }
    const auto start = std::chrono::steady_clock::now();
    const unsigned long long moved = transfer(s, bytes);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    close(s);
    return moved / seconds / 1e6;
}

}  // namespace

void NativeCeiling::Write(const std::string& id, int port, size_t chunk)
{
    std::vector<char> block(chunk, 'w');
    auto transfer = [&](int s, unsigned long long bytes) {
        unsigned long long sent = 0;
        while (sent < bytes) {
            const ssize_t n = send(s, block.data(), chunk, MSG_NOSIGNAL);
            if (n <= 0) {
                break;
            }
            sent += static_cast<unsigned long long>(n);
        }
        return sent;
    };
    TimedRun(port, m_bytesPerRun / 4, transfer);
    Samples samples;
    for (int i = 0; i < m_runs; ++i) {
        samples.Add(TimedRun(port, m_bytesPerRun, transfer));
    }
    samples.Print(id, "MB/s");
}

void NativeCeiling::Read(const std::string& id, int port, size_t chunk)
{
    std::vector<char> block(chunk);
    auto transfer = [&](int s, unsigned long long bytes) {
        unsigned long long got = 0;
        while (got < bytes) {
            const ssize_t n = recv(s, block.data(), chunk, 0);
            if (n <= 0) {
                break;
            }
            got += static_cast<unsigned long long>(n);
        }
        return got;
    };
    TimedRun(port, m_bytesPerRun / 4, transfer);
    Samples samples;
    for (int i = 0; i < m_runs; ++i) {
        samples.Add(TimedRun(port, m_bytesPerRun, transfer));
    }
    samples.Print(id, "MB/s");
}

}  // namespace bench
