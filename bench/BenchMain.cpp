// orvane-bench.exe: the Windows side of `make bench`. Prints one result
// line per case ("result <id> <median> <min> <max> <runs> <unit>"); with
// --count, runs each case for a fixed number of operations between two
// named markers instead ("ops <id> <n>"), for a wineserver request trace.
//
//   orvane-bench --ports SINK SOURCE HTTP [--runs N] [--mib N] [--seconds S]
//                [--count] [stream] [http] [trace] [resolve] [memory] [devices] [records] [usb]
#include <winsock2.h>
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string>

#include "AppendWriteCase.h"
#include "CaseRunner.h"
#include "ClientNavigateCase.h"
#include "HttpRequestCase.h"
#include "LogLineCase.h"
#include "NamedMutexCase.h"
#include "RawSocketCase.h"
#include "DescribedDevices.h"
#include "DeviceEnumerationCase.h"
#include "RecordListCase.h"
#include "ResolveCase.h"
#include "SpoolerQueueSet.h"
#include "StreamCase.h"
#include "StreamMemoryCase.h"
#include "TraceScopeCase.h"
#include "UsbTransferCase.h"
#include "WinInetCase.h"
#include "WinsockHttpCase.h"
#include "logging/LogModules.h"

namespace {

struct Options {
    int sinkPort = 0;
    int sourcePort = 0;
    int httpPort = 0;
    int runs = 5;
    unsigned long long mibPerRun = 64;
    double seconds = 1.0;
    bool counting = false;
    std::set<std::string> groups;
};

bool Parse(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--ports" && i + 3 < argc) {
            options.sinkPort = std::atoi(argv[++i]);
            options.sourcePort = std::atoi(argv[++i]);
            options.httpPort = std::atoi(argv[++i]);
        } else if (arg == "--runs" && i + 1 < argc) {
            options.runs = std::atoi(argv[++i]);
        } else if (arg == "--mib" && i + 1 < argc) {
            options.mibPerRun = std::strtoull(argv[++i], nullptr, 10);
        } else if (arg == "--seconds" && i + 1 < argc) {
            options.seconds = std::atof(argv[++i]);
        } else if (arg == "--count") {
            options.counting = true;
        } else if (arg == "stream" || arg == "http" || arg == "trace" || arg == "resolve"
                   || arg == "memory" || arg == "devices" || arg == "records"
                   || arg == "usb") {
            options.groups.insert(arg);
        } else {
            return false;
        }
    }
    if (options.groups.empty()) {
        options.groups = {"stream", "http", "trace", "resolve", "memory", "devices", "records", "usb"};
    }
    return options.sinkPort != 0 && options.runs >= 1;
}

// The receive buffer a network connection gives its socket when it opens:
// the fair baseline of a stream read reads through one of the same size.
constexpr int kStreamReceiveBuffer = 17520;

// A path in the Wine prefix's temporary folder.
std::wstring TempPath(const wchar_t* name)
{
    wchar_t folder[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, folder);
    return std::wstring(folder) + name;
}

class Bench {
public:
    explicit Bench(const Options& options) : m_options(options), m_runner(options.runs, options.counting) {}

    bool Stream()
    {
        using bench::Direction;
        using bench::RawSocketCase;
        using bench::StreamCase;
        const bench::RunLength large{m_options.mibPerRun << 20, 0};
        const bench::RunLength small{0, m_options.seconds};
        const int sink = m_options.sinkPort;
        const int source = m_options.sourcePort;
        return Group(large, Make<StreamCase>(100, "stream.write.65536.ours", Direction::Write, sink, 65536UL),
                     Make<RawSocketCase>(100, "stream.write.65536.raw", Direction::Write, sink, 65536UL))
            && Group(small, Make<StreamCase>(500, "stream.write.512.ours", Direction::Write, sink, 512UL),
                     Make<RawSocketCase>(500, "stream.write.512.raw", Direction::Write, sink, 512UL))
            && Group(large, Make<StreamCase>(100, "stream.read.65536.ours", Direction::Read, source, 65536UL),
                     Make<RawSocketCase>(100, "stream.read.65536.fair", Direction::Read, source, 65536UL,
                                         kStreamReceiveBuffer),
                     Make<RawSocketCase>(100, "stream.read.65536.raw", Direction::Read, source, 65536UL, 0))
            && Group(small, Make<StreamCase>(500, "stream.read.512.ours", Direction::Read, source, 512UL),
                     Make<RawSocketCase>(500, "stream.read.512.fair", Direction::Read, source, 512UL,
                                         kStreamReceiveBuffer),
                     Make<RawSocketCase>(500, "stream.read.512.raw", Direction::Read, source, 512UL, 0));
    }

    bool Http()
    {
        const bench::RunLength length{0, m_options.seconds};
        const int port = m_options.httpPort;
        return Group(length, Make<bench::HttpRequestCase>(5, "http.new.ours", port, false),
                     Make<bench::WinInetCase>(50, "http.new.wininet", port, false),
                     Make<bench::WinsockHttpCase>(50, "http.new.winsock", port, false))
            && Group(length, Make<bench::HttpRequestCase>(5, "http.kept.ours", port, true),
                     Make<bench::WinInetCase>(50, "http.kept.wininet", port, true),
                     Make<bench::WinsockHttpCase>(50, "http.kept.winsock", port, true),
                     Make<bench::ClientNavigateCase>(50, "http.kept.nodrain", port));
    }

    bool Trace()
    {
        const bench::RunLength length{0, m_options.seconds};
        const std::wstring lines = TempPath(L"orvane-bench-lines.log");
        const std::wstring appended = TempPath(L"orvane-bench-append.log");
        DeleteFileW(lines.c_str());
        DeleteFileW(appended.c_str());
        QVLogging::CLogModule lineModule("BenchLines", __DATE__, __TIME__, nullptr, 30);
        return Group(length, Make<bench::TraceScopeCase>(1000, "trace.scope.ours", g_pOrvaneAPILog, false),
                     Make<bench::TraceScopeCase>(100, "trace.scope.before", g_pOrvaneAPILog, true),
                     Make<bench::NamedMutexCase>(100, "trace.scope.mutex"))
            && Group(length, Make<bench::LogLineCase>(100, "trace.line.ours", &lineModule, lines),
                     Make<bench::AppendWriteCase>(100, "trace.line.append", lines, appended));
    }

    // A queue looked up among 1, 100 and 1000 queues of the spooler, beside
    // what a resolution can't do without: the spooler's listing and a thread.
    bool Resolve()
    {
        const bench::RunLength length{0, m_options.seconds};
        bench::SpoolerQueueSet queues;
        for (size_t count : {1, 100, 1000}) {
            const std::string prefix = "resolve." + std::to_string(count);
            if (!queues.GrowTo(count)
                || !Group(length, Make<bench::ResolveCase>(5, prefix + ".ours", queues.Last()),
                          Make<bench::EnumPrintersCase>(5, prefix + ".enum"),
                          Make<bench::ThreadStartCase>(5, prefix + ".thread"))) {
                return false;
            }
        }
        return true;
    }

    // 200 described USB printers enumerated with their functions, the node
    // cache emptied before each enumeration or kept.
    bool Devices()
    {
        const bench::RunLength length{0, m_options.seconds};
        bench::DescribedDevices devices(200);
        return Group(length, Make<bench::DeviceEnumerationCase>(1, "devices.200.ours", &devices, false, 200UL),
                     Make<bench::DeviceEnumerationCase>(1, "devices.200.cold", &devices, true, 200UL));
    }

    // A folder of 1000 network device records listed with their devices,
    // beside reading each file once.
    bool Records()
    {
        const bench::RunLength length{0, m_options.seconds};
        bench::RecordFolder folder(1000);
        return Group(length, Make<bench::RecordListCase>(1, "records.1000.ours", &folder, true),
                     Make<bench::RecordListCase>(1, "records.1000.read", &folder, false));
    }

    // 64 KiB blocks through the virtual USB printer: the USB connection
    // beside raw overlapped WriteFile and ReadFile on the same device path.
    bool Usb()
    {
        using bench::Direction;
        using bench::UsbTransferCase;
        bench::UsbBenchPrinter printer;
        if (!printer.Ready()) {
            return false;
        }
        const bench::RunLength large{m_options.mibPerRun << 20, 0};
        return Group(large, Make<UsbTransferCase>(100, "usb.write.65536.ours", Direction::Write, false, 65536UL),
                     Make<UsbTransferCase>(100, "usb.write.65536.raw", Direction::Write, true, 65536UL))
            && Group(large, Make<UsbTransferCase>(100, "usb.read.65536.ours", Direction::Read, false, 65536UL),
                     Make<UsbTransferCase>(100, "usb.read.65536.raw", Direction::Read, true, 65536UL));
    }

    bool Memory()
    {
        if (m_options.counting) {
            return true;
        }
        bench::StreamMemoryCase memory("memory.stream.ours", m_options.sinkPort, 1000);
        return memory.Run(m_options.runs);
    }

private:
    template <typename Case, typename... Args>
    static bench::GroupEntry Make(unsigned long countOps, const std::string& id, Args... args)
    {
        return {std::make_unique<Case>(id, args...), countOps};
    }

    template <typename... Entries>
    bool Group(const bench::RunLength& length, Entries... entries)
    {
        std::vector<bench::GroupEntry> group;
        (group.push_back(std::move(entries)), ...);
        return m_runner.RunGroup(group, length);
    }

    Options m_options;
    bench::CaseRunner m_runner;
};

}  // namespace

int main(int argc, char** argv)
{
    Options options;
    if (!Parse(argc, argv, options)) {
        std::fprintf(stderr, "usage: orvane-bench --ports SINK SOURCE HTTP [--runs N] [--mib N] "
                             "[--seconds S] [--count] [stream] [http] [trace] [resolve] [memory] [devices] [records] [usb]\n");
        return 2;
    }
    WSADATA data;
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) {
        return 1;
    }
    // Logging starts off: no settings from an earlier run.
    RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\ZQ\\QV\\Logging");
    Bench bench(options);
    bool ok = true;
    if (options.groups.count("stream")) {
        ok = bench.Stream() && ok;
    }
    if (options.groups.count("http")) {
        ok = bench.Http() && ok;
    }
    if (options.groups.count("trace")) {
        ok = bench.Trace() && ok;
    }
    if (options.groups.count("resolve")) {
        ok = bench.Resolve() && ok;
    }
    if (options.groups.count("memory")) {
        ok = bench.Memory() && ok;
    }
    if (options.groups.count("devices")) {
        ok = bench.Devices() && ok;
    }
    if (options.groups.count("records")) {
        ok = bench.Records() && ok;
    }
    if (options.groups.count("usb")) {
        ok = bench.Usb() && ok;
    }
    WSACleanup();
    return ok ? 0 : 1;
}
