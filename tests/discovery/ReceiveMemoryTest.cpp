// What gSOAP made for a received message goes with ReceiveEnd, also the
// arrays and structures its readers make as C++ objects (the matches of a
// ProbeMatches, the match of a ResolveMatches): many large replies leave the
// process's memory where it was. An HTTP error that claims an enormous body
// is refused before any memory is asked for it.
#include <gtest/gtest.h>

#include <windows.h>
#include <psapi.h>

#include <string>

#include "discovery/CWSDSession.h"
#include "discovery/DatagramPeer.h"
#include "discovery/HttpDevicePeer.h"
#include "discovery/WSDMessages.h"

using QVDiscovery::CWSDSession;
using namespace wsdtest;

namespace {

constexpr const char* kDevice = "127.0.18.45";
constexpr size_t kLargestDatagram = 65507;
constexpr int kReplies = 400;
// A reply's matches take some 29 KB as gSOAP's structures: kept ones would
// grow the process by three times this.
constexpr long long kAllowedGrowth = 4ll << 20;

long long PrivateBytes()
{
    PROCESS_MEMORY_COUNTERS_EX counters{};
    counters.cb = sizeof(counters);
    GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters),
                         sizeof(counters));
    // Wine 8 gives the resident anonymous memory as PagefileUsage only.
    return static_cast<long long>(counters.PrivateUsage != 0 ? counters.PrivateUsage : counters.PagefileUsage);
}

struct ReceiveMemory : ::testing::Test {
    void SetUp() override
    {
        ASSERT_TRUE(device.Bound());
        ASSERT_TRUE(session.SendProbe("127.0.0.1", kDevice, nullptr, SO_BROADCAST));
        std::string probe;
        ASSERT_TRUE(device.Receive(probe));
        readEvent = session.GetReadEvent();
        ASSERT_NE(nullptr, readEvent);
    }
    // A reply of `body` as large as a datagram allows, with many entries.
    std::string Reply(int number, const char* action, const std::string& open, const std::string& entry,
                      const std::string& close)
    {
        const std::string header = MessageIdHeader("uuid:m-" + std::to_string(number))
            + RelatesToHeader(session.MessageId()) + ActionHeader(action);
        std::string entries;
        while (Incoming(header, open + entries + entry + entry + close).size() < kLargestDatagram) {
            entries += entry;
        }
        return Incoming(header, open + entries + close);
    }

    DatagramPeer device{kDevice, 3702};
    CWSDSession session;
    HANDLE readEvent = nullptr;
};

TEST_F(ReceiveMemory, ManyLargeProbeMatchesLeaveNoMemoryBehind)
{
    const std::string match = "<d:ProbeMatch>" + Children("urn:uuid:dev-1", Extension("uuid-1")) + "</d:ProbeMatch>";
    const std::string few = "<d:ProbeMatch>" + Children("urn:uuid:d", "", nullptr) + "</d:ProbeMatch>";
    long long before = 0;
    for (int i = 0; i < kReplies + 50; ++i) {
        if (i == 50) {
            before = PrivateBytes();
        }
        const std::string reply = Reply(i, "ProbeMatches", "<d:ProbeMatches>" + match, few, "</d:ProbeMatches>");
        ASSERT_TRUE(device.Reply(reply) && WaitAndReset(readEvent)) << i;
        ASSERT_TRUE(session.ReceiveBegin()) << i;
        struct wsd__ProbeMatchesZQType matches = {};
        ASSERT_TRUE(session.ReceiveProbeMatches(&matches)) << i;
        ASSERT_GT(matches.__sizeProbeMatch, 200);
        session.ReceiveEnd();
    }
    EXPECT_LT(PrivateBytes() - before, kAllowedGrowth);
}

// The platform's allocator, asked for some 93 GB, fails and keeps some
// 22 MB of private memory each time: a reader that asked for a body that
// size would grow the process with every such reply.
TEST(ReceiveMemoryHttp, ErrorRepliesClaimingAnEnormousBodyLeaveNoMemoryBehind)
{
    constexpr const char* kWebDevice = "127.0.18.46";
    const std::string reply = "HTTP/1.1 404 Not Found\r\nContent-Length: 99999999999\r\n\r\n";
    long long before = 0;
    for (int i = 0; i < 25; ++i) {
        if (i == 5) {
            before = PrivateBytes();
        }
        HttpDevicePeer web(kWebDevice, [&](const std::string&) { return reply; });
        ASSERT_TRUE(web.Listening());
        CWSDSession session;
        ASSERT_TRUE(session.SendProbe("", kWebDevice, nullptr, 0)) << i;
        ASSERT_TRUE(WaitAndReset(session.GetReadEvent())) << i;
        EXPECT_FALSE(session.ReceiveBegin()) << i;
        session.ReceiveEnd();
    }
    EXPECT_LT(PrivateBytes() - before, kAllowedGrowth);
}

}  // namespace
