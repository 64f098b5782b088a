// orvane-bench-native: the Linux side of `make bench`.
//   serve                   sink, source and web server on loopback; prints
//                           "ports SINK SOURCE HTTP" and serves until killed
//   ceiling SINK SOURCE RUNS MIB   the native loopback limit, as result lines
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "LoopbackSink.h"
#include "LoopbackSource.h"
#include "NativeCeiling.h"
#include "PageServer.h"

namespace {

// The ports the library accepts: streams on 80..9100, HTTP on 80..8080.
constexpr int kStreamLow = 8100;
constexpr int kStreamHigh = 9100;
constexpr int kHttpLow = 8000;
constexpr int kHttpHigh = 8080;

int Serve()
{
    bench::LoopbackSink sink;
    bench::LoopbackSource source;
    bench::PageServer web;
    if (!sink.Open(kStreamLow, kStreamHigh) || !source.Open(kStreamLow, kStreamHigh)
        || !web.Open(kHttpLow, kHttpHigh)) {
        std::fprintf(stderr, "orvane-bench-native: no free loopback port\n");
        return 1;
    }
    std::printf("ports %d %d %d\n", sink.Port(), source.Port(), web.Port());
    std::fflush(stdout);
    std::thread([&] { source.Run(); }).detach();
    std::thread([&] { web.Run(); }).detach();
    sink.Run();
    return 0;
}

int Ceiling(int sinkPort, int sourcePort, int runs, unsigned long long mib)
{
    bench::NativeCeiling ceiling(runs, mib << 20);
    ceiling.Write("stream.write.65536.native", sinkPort, 65536);
    ceiling.Write("stream.write.512.native", sinkPort, 512);
    ceiling.Read("stream.read.65536.native", sourcePort, 65536);
    ceiling.Read("stream.read.512.native", sourcePort, 512);
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && std::strcmp(argv[1], "serve") == 0) {
        return Serve();
    }
    if (argc == 6 && std::strcmp(argv[1], "ceiling") == 0) {
        return Ceiling(std::atoi(argv[2]), std::atoi(argv[3]), std::atoi(argv[4]),
                       std::strtoull(argv[5], nullptr, 10));
    }
    std::fprintf(stderr, "usage: orvane-bench-native serve | ceiling SINK SOURCE RUNS MIB\n");
    return 2;
}
