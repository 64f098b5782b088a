#include "NativeCeiling.h"

#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <vector>

#include "../Samples.h"
#include "TcpListener.h"

namespace bench {

namespace {

// One run: `move` sends or receives one chunk on a new connection, again
// until `bytes` have gone or it fails; MB/s.
template <typename Move>
double TimedRun(int port, unsigned long long bytes, Move move)
{
    const int s = TcpListener::Connect(port);
    if (s < 0) {
        return 0;
    }
    const auto start = std::chrono::steady_clock::now();
    unsigned long long moved = 0;
    while (moved < bytes) {
        const ssize_t n = move(s);
        if (n <= 0) {
            break;
        }
        moved += static_cast<unsigned long long>(n);
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    close(s);
    return moved / seconds / 1e6;
}

// A warm-up run of a quarter, then `runs` runs; prints the result line `id`.
template <typename Move>
void Measure(const std::string& id, int port, int runs, unsigned long long bytesPerRun, Move move)
{
    TimedRun(port, bytesPerRun / 4, move);
    Samples samples;
    for (int i = 0; i < runs; ++i) {
        samples.Add(TimedRun(port, bytesPerRun, move));
    }
    samples.Print(id, "MB/s");
}

}  // namespace

void NativeCeiling::Write(const std::string& id, int port, size_t chunk)
{
    std::vector<char> block(chunk, 'w');
    Measure(id, port, m_runs, m_bytesPerRun,
            [&](int s) { return send(s, block.data(), chunk, MSG_NOSIGNAL); });
}

void NativeCeiling::Read(const std::string& id, int port, size_t chunk)
{
    std::vector<char> block(chunk);
    Measure(id, port, m_runs, m_bytesPerRun, [&](int s) { return recv(s, block.data(), chunk, 0); });
}

}  // namespace bench
