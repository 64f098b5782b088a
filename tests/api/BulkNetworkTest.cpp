// The bulk functions by the name of a standard TCP/IP port in Wine's
// spooler: a thread's channel is a stream to port 80 of the port's device,
// here a peer on a loopback address of this process.
#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "api/BulkThreadSlots.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"
#include "orvane64_bulk.h"
#include "peers/LoopbackPeer.h"
#include "peers/TestKey.h"
#include "resolver/SpoolerQueues.h"

using Orvane::BulkThreadSlots;
using peers::LoopbackPeer;
using resolver_test::SpoolerQueues;

namespace {

const std::wstring kStandardPorts = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Standard TCP/IP Port\\Ports\\";

// 127.27.x.y, one address per process, so that port 80 is this test's.
unsigned long OwnLoopbackAddress()
{
    const unsigned long pid = ::GetCurrentProcessId();
    return (127UL << 24) | (27UL << 16) | ((1 + (pid / 250) % 250) << 8) | (1 + pid % 250);
}

std::wstring DottedText(unsigned long address)
{
    return std::to_wstring(address >> 24) + L"." + std::to_wstring((address >> 16) & 0xFF) + L"." +
           std::to_wstring((address >> 8) & 0xFF) + L"." + std::to_wstring(address & 0xFF);
}

class BulkNetwork : public ::testing::Test {
protected:
    // Inside a test program no entry point makes the thread slots' index.
    static void SetUpTestSuite() { BulkThreadSlots::AllocateIndex(); }
    static void TearDownTestSuite() { BulkThreadSlots::FreeIndex(); }

    BulkNetwork()
    {
        const std::wstring port = L"OrvBulk" + std::to_wstring(::GetCurrentProcessId());
        m_portKey = std::make_unique<peers::TestKey>(HKEY_LOCAL_MACHINE, kStandardPorts + port);
        m_portKey->SetString(L"HostName", DottedText(OwnLoopbackAddress()));
        m_portKey->SetDword(L"Protocol", 1);
        m_portKey->SetDword(L"PortNumber", 9100);
        EXPECT_TRUE(m_queues.Add(SpoolerQueues::Unique(L"Orvane Bulk " + port), port));
        m_port = std::string(port.begin(), port.end());
    }
    void TearDown() override { CloseBulk(); }

    // The device at port 80 of the port's address.
    void Device(LoopbackPeer::Session session)
    {
        m_device.reset();  // the port is free for the next one
        m_device = std::make_unique<LoopbackPeer>(std::move(session), OwnLoopbackAddress(), 80);
    }
    const char* Port() const { return m_port.c_str(); }

    SpoolerQueues m_queues;
    std::unique_ptr<peers::TestKey> m_portKey;
    std::string m_port;
    std::unique_ptr<LoopbackPeer> m_device;
};

TEST_F(BulkNetwork, ThreeOpenBulkCallsInARowOnOneThreadGiveTrueFalseTrue)
{
    Device(LoopbackPeer::Endless);
    EXPECT_EQ(OpenBulk(Port()), 1);
    EXPECT_EQ(OpenBulk(Port()), 0) << "closes the open channel, and fails";
    EXPECT_EQ(BulkThreadSlots::Current(), nullptr) << "the slot went with the channel";
    EXPECT_EQ(OpenBulk(Port()), 1);
    EXPECT_EQ(m_device->Accepted(), 2) << "the failing call made no connection";
}

TEST_F(BulkNetwork, GetTimeoutRightAfterOpenBulkIs1000)
{
    Device(LoopbackPeer::Endless);
    SetTimeout(4000);  // no stream yet: no effect
    ASSERT_EQ(OpenBulk(Port()), 1);
    EXPECT_EQ(GetTimeout(), 1000UL);
    SetTimeout(2500);
    EXPECT_EQ(GetTimeout(), 2500UL);
    EXPECT_EQ(GetLastStatus(), 0UL);
}

TEST_F(BulkNetwork, FlushBulkIsTrueWhenDataWereDiscardedAndFalseWhenTheFirstReadRunsOutOfTime)
{
    Device(LoopbackPeer::Endless);
    ASSERT_EQ(OpenBulk(Port()), 1);
    EXPECT_EQ(FlushBulk(), 1);
    CloseBulk();
    Device(LoopbackPeer::Silent);
    ASSERT_EQ(OpenBulk(Port()), 1);
    const DWORD start = GetTickCount();
    EXPECT_EQ(FlushBulk(), 0);
    EXPECT_GE(GetTickCount() - start, 900UL) << "the first read waited its 1000 ms";
}

TEST_F(BulkNetwork, BytesAvailableLeavesTheReadTimeoutAsItWas)
{
    Device(LoopbackPeer::Silent);
    ASSERT_EQ(OpenBulk(Port()), 1);
    SetTimeout(3000);
    const DWORD start = GetTickCount();
    EXPECT_EQ(BytesAvailable(), 0UL);
    EXPECT_LT(GetTickCount() - start, 1500UL) << "a short wait, not the read timeout";
    EXPECT_EQ(GetTimeout(), 3000UL);
}

TEST_F(BulkNetwork, WriteBulkAndReadBulkCarryBytesAndReportTheirCounts)
{
    Device(LoopbackPeer::Echo);
    ASSERT_EQ(OpenBulk(Port()), 1);
    unsigned long size = 5;
    EXPECT_EQ(WriteBulk("hello", &size), 1);
    EXPECT_EQ(size, 5UL);
    char buffer[64] = {};
    size = sizeof(buffer);
    EXPECT_EQ(ReadBulk(buffer, &size), 1);
    EXPECT_EQ(std::string(buffer, size), "hello");
    size = sizeof(buffer);
    EXPECT_EQ(ReadBulk(buffer, &size), 0) << "nothing more: the read runs out of time";
    EXPECT_EQ(size, 0UL);
}

TEST_F(BulkNetwork, OpenBulkOfAPortThatCannotBeResolvedFailsAndLaterReadsFindNoStream)
{
    EXPECT_EQ(OpenBulk("NOSUCHPORT"), 0);
    char buffer[8] = {};
    unsigned long size = sizeof(buffer);
    EXPECT_EQ(ReadBulk(buffer, &size), 0);
    EXPECT_EQ(size, sizeof(buffer));
    EXPECT_EQ(GetTimeout(), 0UL);
}

TEST_F(BulkNetwork, ANetworkPortHasNoInterrupts)
{
    Device(LoopbackPeer::Endless);
    EXPECT_EQ(OpenInterrupt(Port()), 0);
    EXPECT_EQ(WaitForInterrupt(), 0);
    EXPECT_EQ(CloseInterrupt(), 1);
}

TEST_F(BulkNetwork, ThirtyTwoThreadsEachWithAChannelOfTheirOwnCloseEverything)
{
    doubles::ModuleLogFile log(g_pOrvaneAPILog, L"bulk-32-threads");
    int ended = 0;
    std::mutex lock;
    std::condition_variable endedChanged;
    std::string received;
    Device([&](peers::PeerSocket& socket) {
        char buffer[256];
        int n;
        while ((n = socket.Receive(buffer, sizeof(buffer))) > 0) {
            std::lock_guard<std::mutex> guard(lock);
            received.append(buffer, n);
        }
        std::lock_guard<std::mutex> guard(lock);
        ++ended;
        endedChanged.notify_all();
    });
    std::vector<std::thread> threads;
    std::atomic<int> done{0};
    for (int i = 0; i < 32; ++i) {
        threads.emplace_back([&, i] {
            const std::string text = "<" + std::to_string(i) + ">";
            unsigned long size = static_cast<unsigned long>(text.size());
            const bool ok = OpenBulk(Port()) == 1 && WriteBulk(text.data(), &size) == 1 && size == text.size();
            CloseBulk();
            done += ok && BulkThreadSlots::Current() == nullptr ? 1 : 0;
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(done.load(), 32);
    EXPECT_EQ(m_device->Accepted(), 32);
    // Each channel's stream was disposed and its connection closed.
    std::unique_lock<std::mutex> guard(lock);
    EXPECT_TRUE(endedChanged.wait_for(guard, std::chrono::seconds(10), [&] { return ended == 32; })) << ended;
    for (int i = 0; i < 32; ++i) {
        EXPECT_NE(received.find("<" + std::to_string(i) + ">"), std::string::npos) << i;
    }
    EXPECT_EQ(log.Count(L"(->) QVStream::~QVStream"), 32U);
    EXPECT_EQ(log.Count(L"(->) Orvane::CloseBulk"), 32U);
}

}  // namespace
