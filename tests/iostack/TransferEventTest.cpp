// The events the overlapped read and write wait on: one kept per direction
// and reused from call to call, a fresh one for a second transfer of the
// same direction at once. On loopback sockets.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "doubles/ScriptedProgress.h"
#include "iostack/NetworkTestSupport.h"

using namespace QVIOStack;
using doubles::ScriptedProgress;
using iostack_test::TestableNetwork;
using peers::LoopbackPeer;

namespace {

// A network connection that notes the event of every transfer it starts,
// and signals once a transfer has been posted.
class EventRecordingNetwork : public TestableNetwork {
public:
    EventRecordingNetwork() : m_started(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}
    ~EventRecordingNetwork() override { CloseHandle(m_started); }

    // Waits until `count` transfers of `direction` have been started.
    bool WaitStarted(Direction direction, size_t count)
    {
        for (int i = 0; i < 100; ++i) {
            if (Events(direction).size() >= count) {
                return true;
            }
            WaitForSingleObject(m_started, 100);
        }
        return false;
    }
    std::vector<HANDLE> Events(Direction direction)
    {
        std::lock_guard<std::mutex> guard(m_lock);
        return direction == Direction::Read ? m_reads : m_writes;
    }
    HANDLE LastEvent(Direction direction)
    {
        const std::vector<HANDLE> events = Events(direction);
        return events.empty() ? nullptr : events.back();
    }
    using TestableNetwork::Direction;

protected:
    BOOL StartTransfer(Direction direction, void* buffer, DWORD size, DWORD* done,
                       OVERLAPPED* overlapped) override
    {
        const BOOL result = TestableNetwork::StartTransfer(direction, buffer, size, done, overlapped);
        const DWORD error = GetLastError();
        {
            std::lock_guard<std::mutex> guard(m_lock);
            (direction == Direction::Read ? m_reads : m_writes).push_back(overlapped->hEvent);
        }
        SetEvent(m_started);
        SetLastError(error);
        return result;
    }

private:
    std::mutex m_lock;
    std::vector<HANDLE> m_reads;
    std::vector<HANDLE> m_writes;
    HANDLE m_started;
};

using Direction = EventRecordingNetwork::Direction;

// An event made between two transfers: had the first transfer closed its
// event, this one would take the freed handle's value, so the same value in
// the next transfer means the same event, not a recycled handle.
struct HandleInBetween {
    HandleInBetween() : handle(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
    ~HandleInBetween() { CloseHandle(handle); }
    HANDLE handle;
};

// A device that stays silent and hands its side of the connection to the
// test, which sends when it chooses.
struct SilentDevice {
    SilentDevice()
        : peer([this](peers::PeerSocket& s) {
              deviceSide = s.socket;
              LoopbackPeer::Silent(s);
          })
    {
    }
    bool Send(const std::string& bytes)
    {
        return send(deviceSide, bytes.data(), static_cast<int>(bytes.size()), 0)
            == static_cast<int>(bytes.size());
    }
    std::atomic<SOCKET> deviceSide{INVALID_SOCKET};
    LoopbackPeer peer;
};

struct TransferEvents : ::testing::Test {
    void OpenOn(LoopbackPeer& peer)
    {
        connection.Initialize(peer.ServiceAddress().c_str());
        ASSERT_EQ(0u, connection.Open(nullptr));
        ASSERT_TRUE(peer.WaitAccepted(1));
    }
    void OpenOn(SilentDevice& device)
    {
        OpenOn(device.peer);
        for (int i = 0; i < 500 && device.deviceSide == INVALID_SOCKET; ++i) {
            Sleep(1);
        }
        ASSERT_NE(INVALID_SOCKET, device.deviceSide.load());
    }
    EventRecordingNetwork connection;
};

TEST_F(TransferEvents, AReadAndAWriteAtOnceEachWaitOnAnEventOfTheirOwn)
{
    LoopbackPeer peer(LoopbackPeer::Echo);
    OpenOn(peer);
    connection.SetReadTimeout(10000);
    unsigned long readStatus = 1;
    unsigned long read = 0;
    char buffer[16] = {};
    std::thread reader([&] { readStatus = connection.Read(buffer, sizeof(buffer), &read, nullptr); });
    // The read waits for the echo of the write that follows it.
    ASSERT_TRUE(connection.WaitStarted(Direction::Read, 1));
    unsigned long written = 0;
    EXPECT_EQ(0u, connection.Write("ping", 4, &written, nullptr));
    reader.join();
    EXPECT_EQ(4u, written);
    EXPECT_EQ(0u, readStatus);
    EXPECT_EQ("ping", std::string(buffer, read));
    const HANDLE readEvent = connection.LastEvent(Direction::Read);
    const HANDLE writeEvent = connection.LastEvent(Direction::Write);
    ASSERT_NE(nullptr, readEvent);
    ASSERT_NE(nullptr, writeEvent);
    EXPECT_NE(readEvent, writeEvent);
}

TEST_F(TransferEvents, TwoReadsAtOnceEachGetAnEventOfTheirOwnAndOneIsKept)
{
    SilentDevice device;
    OpenOn(device);
    connection.SetReadTimeout(10000);
    unsigned long statuses[2] = {1, 1};
    unsigned long counts[2] = {0, 0};
    char buffers[2][3] = {};
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i) {
        readers.emplace_back([&, i] { statuses[i] = connection.Read(buffers[i], 3, &counts[i], nullptr); });
    }
    // Neither read takes the other's lock: both are posted before a byte comes.
    ASSERT_TRUE(connection.WaitStarted(Direction::Read, 2));
    ASSERT_TRUE(device.Send("onetwo"));
    for (std::thread& reader : readers) {
        reader.join();
    }
    std::vector<std::string> got;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(0u, statuses[i]);
        got.emplace_back(buffers[i], counts[i]);
    }
    std::sort(got.begin(), got.end());
    EXPECT_EQ((std::vector<std::string>{"one", "two"}), got);
    const std::vector<HANDLE> events = connection.Events(Direction::Read);
    ASSERT_EQ(2u, events.size());
    EXPECT_NE(events[0], events[1]);

    // One of the two was kept; the next read waits on it.
    HandleInBetween between;
    ASSERT_TRUE(device.Send("3rd"));
    char buffer[3];
    unsigned long count = 0;
    EXPECT_EQ(0u, connection.Read(buffer, sizeof(buffer), &count, nullptr));
    EXPECT_EQ("3rd", std::string(buffer, count));
    const HANDLE third = connection.LastEvent(Direction::Read);
    EXPECT_TRUE(third == events[0] || third == events[1]);
}

TEST_F(TransferEvents, ACancelledReadIsFollowedByASuccessfulOneOnTheSameEvent)
{
    SilentDevice device;
    OpenOn(device);
    connection.SetReadTimeout(10000);
    connection.SetReadWaitInterval(20);
    ScriptedProgress stop([](double, unsigned long) { return false; });
    char buffer[16];
    unsigned long count = 9;
    ASSERT_EQ(IOError_Aborted, connection.Read(buffer, sizeof(buffer), &count, &stop));
    EXPECT_EQ(0u, count);
    const HANDLE cancelled = connection.LastEvent(Direction::Read);
    HandleInBetween between;

    ASSERT_TRUE(device.Send("after"));
    EXPECT_EQ(0u, connection.Read(buffer, sizeof(buffer), &count, nullptr));
    EXPECT_EQ("after", std::string(buffer, count));
    ASSERT_EQ(2u, connection.Events(Direction::Read).size());
    EXPECT_EQ(cancelled, connection.LastEvent(Direction::Read));
}

TEST_F(TransferEvents, ATimeOutIsFollowedByAReadThatFindsData)
{
    SilentDevice device;
    OpenOn(device);
    connection.SetReadTimeout(50);
    char buffer[16];
    unsigned long count = 9;
    ASSERT_EQ(IOError_Timeout, connection.Read(buffer, sizeof(buffer), &count, nullptr));
    EXPECT_EQ(0u, count);
    const HANDLE timedOut = connection.LastEvent(Direction::Read);
    HandleInBetween between;

    // The data come after the time-out: the next read waits for them on
    // the same event, which the time-out left reset.
    connection.SetReadTimeout(10000);
    std::thread late([&] {
        connection.WaitStarted(Direction::Read, 2);
        device.Send("data");
    });
    EXPECT_EQ(0u, connection.Read(buffer, sizeof(buffer), &count, nullptr));
    late.join();
    EXPECT_EQ("data", std::string(buffer, count));
    EXPECT_EQ(timedOut, connection.LastEvent(Direction::Read));
}

TEST_F(TransferEvents, AnEventLeftSignalledByAFinishedReadDoesNotEndTheNextWait)
{
    SilentDevice device;
    OpenOn(device);
    connection.SetReadTimeout(10000);
    char buffer[16];
    unsigned long count = 0;
    // Data already waiting: the read finishes at once and leaves its event
    // signalled.
    ASSERT_TRUE(device.Send("now"));
    for (int i = 0; i < 100 && count == 0; ++i) {
        ASSERT_EQ(0u, connection.Read(buffer, sizeof(buffer), &count, nullptr));
    }
    EXPECT_EQ("now", std::string(buffer, count));
    const HANDLE first = connection.LastEvent(Direction::Read);
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(first, 0));

    // The next read on that event must wait for its own data: a signal
    // left over would end the wait before any byte came.
    connection.SetReadTimeout(100);
    EXPECT_EQ(IOError_Timeout, connection.Read(buffer, sizeof(buffer), &count, nullptr));
    EXPECT_EQ(0u, count);
    EXPECT_EQ(first, connection.LastEvent(Direction::Read));
}

TEST_F(TransferEvents, WritesReuseTheirEventFromCallToCall)
{
    std::string received;
    std::mutex lock;
    LoopbackPeer peer(LoopbackPeer::Record(&received, &lock));
    OpenOn(peer);
    unsigned long written = 0;
    std::vector<std::unique_ptr<HandleInBetween>> between;
    for (const char* part : {"one", "two", "three"}) {
        ASSERT_EQ(0u, connection.Write(part, static_cast<unsigned long>(strlen(part)), &written, nullptr));
        EXPECT_EQ(strlen(part), written);
        between.push_back(std::make_unique<HandleInBetween>());
    }
    const std::vector<HANDLE> events = connection.Events(Direction::Write);
    ASSERT_EQ(3u, events.size());
    EXPECT_EQ(events[0], events[1]);
    EXPECT_EQ(events[0], events[2]);
    connection.Close();
    for (int i = 0; i < 500; ++i) {
        {
            std::lock_guard<std::mutex> guard(lock);
            if (received.size() >= 11) {
                break;
            }
        }
        Sleep(10);
    }
    std::lock_guard<std::mutex> guard(lock);
    EXPECT_EQ("onetwothree", received);
}

}  // namespace
