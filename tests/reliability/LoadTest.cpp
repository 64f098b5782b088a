// Load: 32 threads at once on each public operation, for a bounded time,
// on loopback and on the virtual USB printer. No operation may fail that
// the device did not make fail, every object's last Dispose must find its
// count at 0, and the process must hold no more handles, threads or heap
// blocks than before. ORVANE_LOAD_SECONDS lengthens each run (2 s here).
#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "UsbTestSupport.h"
#include "api/AddressFactory.h"
#include "api/QVUSBDeviceConnection.h"
#include "discovery/DiscoveryLib.h"
#include "discovery/DiscoveryStatus.h"
#include "discovery/HttpDevicePeer.h"
#include "discovery/IDiscoveryServer.h"
#include "discovery/WSDMessages.h"
#include "iostack/IOStatus.h"
#include "orvane64.h"
#include "orvane64_bulk.h"
#include "peers/HTTPAnswer.h"
#include "peers/LoopbackPeer.h"
#include "reliability/BulkPort.h"
#include "reliability/Resources.h"
#include "resolver/ProbeResolver.h"
#include "resolver/SpoolerQueues.h"

using namespace Orvane;
using Orvane::BulkThreadSlots;
using peers::LoopbackPeer;

namespace reliability {
namespace {

constexpr int kThreads = 32;
constexpr DWORD kSettleMs = 3000;

DWORD LoadMs()
{
    const char* seconds = std::getenv("ORVANE_LOAD_SECONDS");
    return (seconds ? std::strtoul(seconds, nullptr, 10) : 2) * 1000;
}

// Runs `operation` on 32 threads until the time is up; each call gives an
// empty text or what went wrong. Counts the calls and keeps the first
// failures.
struct LoadRun {
    explicit LoadRun(const std::function<std::string(int thread, int round)>& operation, DWORD ms = LoadMs())
    {
        const DWORD end = GetTickCount() + ms;
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&, t] {
                for (int round = 0; static_cast<LONG>(GetTickCount() - end) < 0; ++round) {
                    const std::string failure = operation(t, round);
                    ++calls;
                    if (!failure.empty()) {
                        std::lock_guard<std::mutex> guard(lock);
                        if (failures.size() < 5) {
                            failures.push_back("thread " + std::to_string(t) + ": " + failure);
                        }
                        ++failed;
                    }
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        std::printf("  %d threads: %ld calls, %ld failed\n", kThreads, calls.load(), failed.load());
    }

    std::atomic<long> calls{0};
    std::atomic<long> failed{0};
    std::mutex lock;
    std::vector<std::string> failures;
};

// What a load left behind, within a bound for what the platform ends late.
std::string LeftBy(const std::function<void()>& load)
{
    const Resources before = Resources::Now();
    load();
    Resources after = Resources::Now();
    for (DWORD start = GetTickCount(); !before.GrowthTo(after).empty() && GetTickCount() - start < kSettleMs;) {
        Sleep(50);
        after = Resources::Now();
    }
    return before.GrowthTo(after);
}

// A first run pays what the path keeps for the process once; then two
// measured runs, with their peers made and gone inside them (what a peer
// keeps of each connection is not the library's). A lock of the process
// gets an event the first time threads contend for it, which may be in
// either measured run: one of them must leave nothing, and a leak of every
// call shows in both.
void MeasuredLoad(const std::function<void()>& warm, const std::function<void()>& load)
{
    warm();
    const std::string first = LeftBy(load);
    if (!first.empty()) {
        std::printf("  the first measured run left %s\n", first.c_str());
        EXPECT_EQ("", LeftBy(load)) << "was left behind by the second measured run too";
    }
}

void ExpectNoFailure(LoadRun& run)
{
    EXPECT_LE(kThreads, run.calls.load()) << "a thread made no call";
    EXPECT_EQ(0, run.failed.load());
    for (const std::string& failure : run.failures) {
        ADD_FAILURE() << failure;
    }
}

std::string StreamRoundTrip(Address& address, unsigned short port, const std::string& text)
{
    Stream* stream = nullptr;
    if (address.CreateStream(port, &stream) != 0 || stream == nullptr) {
        return "no stream";
    }
    std::string failure;
    unsigned long written = 0;
    if (stream->Write(text.data(), static_cast<unsigned long>(text.size()), &written) != 0
        || written != text.size()) {
        failure = "write failed with system error " + std::to_string(stream->GetSystemErrorCode());
    }
    std::string echoed;
    while (failure.empty() && echoed.size() < text.size()) {
        char buffer[256];
        unsigned long read = 0;
        if (stream->Read(buffer, sizeof(buffer), &read) != 0) {
            failure = "read failed with system error " + std::to_string(stream->GetSystemErrorCode());
        }
        echoed.append(buffer, read);
    }
    if (failure.empty() && echoed != text) {
        failure = "echo '" + echoed + "'";
    }
    stream->Close();
    const unsigned long left = stream->Dispose();
    return failure.empty() && left != 0 ? "the stream's count was " + std::to_string(left) : failure;
}

TEST(Load, StreamsOnLoopback)
{
    Address* address = AddressFactory::CreateFromIPAddress(L"127.0.0.1");
    ASSERT_NE(nullptr, address);
    const auto streams = [&](DWORD ms) {
        LoopbackPeer peer(LoopbackPeer::Echo, LoopbackPeer::PortChoice::StreamRange);
        LoadRun run(
            [&](int t, int round) {
                return StreamRoundTrip(*address, peer.Port(), "stream " + std::to_string(t) + "." + std::to_string(round));
            },
            ms);
        ExpectNoFailure(run);
    };
    MeasuredLoad([&] { streams(LoadMs()); }, [&] { streams(LoadMs()); });
    EXPECT_EQ(0u, address->Dispose());
}

std::string HTTPRoundTrip(Address& address, unsigned short port)
{
    HTTPRequest* request = nullptr;
    if (address.CreateHTTPRequest(&request, port) != 0 || request == nullptr) {
        return "no request";
    }
    request->SetURI(L"/status");
    HTTPResponse* response = nullptr;
    std::string failure;
    if (request->GetResponse(&response) != 0 || response == nullptr) {
        failure = "no response";
    } else if (response->GetStatusCode() != 200) {
        failure = "status " + std::to_string(response->GetStatusCode());
    } else if (response->GetContentAvailable() != 5
               || std::string(reinterpret_cast<const char*>(response->GetContent()), 5) != "ready") {
        failure = "the body was not 'ready'";
    }
    const unsigned long left = request->Dispose();
    return failure.empty() && left != 0 ? "the request's count was " + std::to_string(left) : failure;
}

TEST(Load, HTTPRequestsOnLoopback)
{
    Address* address = AddressFactory::CreateFromIPAddress(L"127.0.0.1");
    ASSERT_NE(nullptr, address);
    const auto requests = [&](DWORD ms) {
        peers::HTTPAnswer answer("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 5\r\n\r\nready");
        LoopbackPeer peer(answer.Session(), LoopbackPeer::PortChoice::HTTPRange);
        LoadRun run([&](int, int) { return HTTPRoundTrip(*address, peer.Port()); }, ms);
        ExpectNoFailure(run);
    };
    MeasuredLoad([&] { requests(LoadMs()); }, [&] { requests(LoadMs()); });
    EXPECT_EQ(0u, address->Dispose());
}

TEST(Load, ResolvesOfAQueue)
{
    resolver_test::SpoolerQueues queues;
    const std::wstring name = resolver_test::SpoolerQueues::Unique(L"Orvane Load Queue");
    ASSERT_TRUE(queues.Add(name, L"USB001"));
    const auto resolve = [&name]() -> std::string {
        auto resolver = resolver_test::ProbeResolver::Make();
        const HRESULT status = resolver->Resolve(name.c_str(), RESOLVE_TYPE_PRINTER);
        if (status != S_OK) {
            return "status " + std::to_string(status);
        }
        return resolver->PortName() == L"USB001" ? "" : "another port";
    };
    MeasuredLoad(
        [&] {
            LoadRun run([&](int, int) { return resolve(); }, LoadMs());
            ExpectNoFailure(run);
        },
        [&] {
            LoadRun run([&](int, int) { return resolve(); });
            ExpectNoFailure(run);
        });
}

// A device that answers a directed Probe over HTTP at its own loopback
// address, one for each thread.
std::string DirectedSearch(int thread)
{
    using namespace wsdtest;
    const std::string address = "127.0.19." + std::to_string(thread + 1);
    const std::string uuid = "uuid:load-" + std::to_string(thread);
    HttpDevicePeer web(address.c_str(), [&](const std::string& request) {
        return HttpReply(Incoming(MessageIdHeader("uuid:reply-" + uuid) + RelatesToHeader(MessageIdOf(request))
                                      + ActionHeader("ProbeMatches"),
                                  "<d:ProbeMatches><d:ProbeMatch>" + Children("urn:" + uuid, Extension(uuid))
                                      + "</d:ProbeMatch></d:ProbeMatches>"));
    });
    if (!web.Listening()) {
        return "the device's web server did not listen";
    }
    struct Found : QVDiscovery::IDiscoveryClient {
        void Add(QVDiscovery::IDiscoveredDevice* device, uintptr_t) override { ids.push_back(device->GetId()); }
        void Remove(QVDiscovery::IDiscoveredDevice*, uintptr_t) override {}
        void SearchComplete(uintptr_t) override {}
        void SearchFailed(unsigned long, uintptr_t) override {}
        bool SearchProgress(unsigned char, uintptr_t) override { return true; }
        std::vector<std::wstring> ids;
    } found;
    QVDiscovery::IDiscoveryServer* server = nullptr;
    std::string failure;
    if (QVDiscovery::InitDiscoveryLib() != QVDiscovery::DISCOVERY_OK
        || QVDiscovery::CreateDiscoveryServer(0, &server) != QVDiscovery::DISCOVERY_OK) {
        failure = "no discovery server";
    } else {
        server->RegisterClient(&found);
        const std::wstring target(address.begin(), address.end());
        const unsigned long status = server->SearchByAddress(target.c_str(), thread);
        server->UnregisterClient(&found);
        QVDiscovery::DestroyDiscoveryServer(server);
        const std::wstring id = L"urn:" + std::wstring(uuid.begin(), uuid.end());
        if (status != QVDiscovery::DISCOVERY_OK) {
            failure = "status " + std::to_string(status);
        } else if (found.ids != std::vector<std::wstring>{id}) {
            failure = std::to_string(found.ids.size()) + " devices found";
        }
    }
    QVDiscovery::TermDiscoveryLib();
    return failure;
}

TEST(Load, DiscoveryByAddress)
{
    const auto searches = [](DWORD ms) {
        LoadRun run([](int t, int) { return DirectedSearch(t); }, ms);
        ExpectNoFailure(run);
    };
    MeasuredLoad([&] { searches(LoadMs()); }, [&] { searches(LoadMs()); });
}

// The bulk functions, each thread with a channel of its own to an echo
// device on the spooler's port: open, write its text, read the echo, close.
std::string BulkRoundTrip(const std::string& text)
{
    if (OpenBulk(BulkPortOfTheProgram().Name()) != 1) {
        CloseBulk();
        return "the channel did not open";
    }
    std::string failure;
    unsigned long size = static_cast<unsigned long>(text.size());
    if (WriteBulk(text.data(), &size) != 1 || size != text.size()) {
        failure = "the write failed";
    }
    std::string echoed;
    while (failure.empty() && echoed.size() < text.size()) {
        char buffer[256];
        size = sizeof buffer;
        if (ReadBulk(buffer, &size) != 1) {
            failure = "the read failed after '" + echoed + "'";
        }
        echoed.append(buffer, size);
    }
    if (failure.empty() && echoed != text) {
        failure = "echo '" + echoed + "'";
    }
    CloseBulk();
    return failure.empty() && BulkThreadSlots::Current() != nullptr ? "the thread's channel stayed" : failure;
}

TEST(Load, BulkFunctionsEachThreadWithAChannelOfItsOwn)
{
    ASSERT_TRUE(BulkPortOfTheProgram().Ready()) << "the port's queue could not be added to Wine's spooler";
    const auto channels = [&](DWORD ms) {
        LoopbackPeer device(LoopbackPeer::Echo, BulkPort::kDeviceAddress, 80);
        LoadRun run(
            [&](int t, int round) { return BulkRoundTrip("bulk " + std::to_string(t) + "." + std::to_string(round)); },
            ms);
        ExpectNoFailure(run);
    };
    MeasuredLoad([&] { channels(LoadMs()); }, [&] { channels(LoadMs()); });
}

// The threads take turns on the printer's one channel: each, with a device
// object of its own (device objects are used from one thread at a time),
// queues for the channel, writes its text and gives the channel to the
// next. An open that loses the race for the channel to another claimant
// gives IOError_Busy, as the claim is made to; every byte written arrives.
TEST(Load, StreamsOnTheVirtualUsbPrinter)
{
    static usb_test::PluggedDevice& usb = *new usb_test::PluggedDevice();
    ASSERT_EQ("", usb.Error());
    ASSERT_TRUE(usb.Plug(QVDeviceManager::FUNCTION_TYPE_PRINT));
    usb.Printer().ClearRecords(USBPRINTER_FUNCTION_PRINT);
    std::atomic<size_t> sent{0};
    std::atomic<long> lostRaces{0};
    const auto job = [&](const std::string& text) -> std::string {
        QVDeviceManager::CUSBDevice device;
        if (device.Init(usb_test::kSerial, nullptr) != 0) {
            return "the device was not found";
        }
        auto* connection = new QVUSBDeviceConnection();
        connection->AddRef();
        connection->SetOpenTimeout(60000);
        std::string failure;
        unsigned long written = 0;
        unsigned long opened = 0;
        if (connection->Initialize(&device, {QVDeviceManager::FUNCTION_TYPE_PRINT}) != 0) {
            failure = "the connection did not take the device";
        } else if ((opened = connection->Open(nullptr)) == QVIOStack::IOError_Busy) {
            ++lostRaces;
        } else if (opened != 0) {
            failure = "open failed with " + std::to_string(opened);
        } else if (connection->Write(text.data(), static_cast<unsigned long>(text.size()), &written, nullptr) != 0
                   || written != text.size()) {
            failure = "write failed";
        }
        sent += written;
        connection->Close();
        const unsigned long left = connection->Dispose();
        return failure.empty() && left != 0 ? "the connection's count was " + std::to_string(left) : failure;
    };
    const auto jobs = [&](DWORD ms) {
        LoadRun run([&](int t, int round) { return job("usb " + std::to_string(t) + "." + std::to_string(round) + ";"); },
                    ms);
        ExpectNoFailure(run);
    };
    MeasuredLoad([&] { jobs(LoadMs()); }, [&] { jobs(LoadMs()); });
    std::printf("  %ld opens lost the race for the channel\n", lostRaces.load());
    EXPECT_EQ(sent.load(), usb.Printer().Received(USBPRINTER_FUNCTION_PRINT).size());
    usb.Printer().ClearRecords(USBPRINTER_FUNCTION_PRINT);
}

}  // namespace
}  // namespace reliability
