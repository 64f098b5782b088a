// The overlapped read and write of the connection base, on loopback sockets
// and on a named pipe.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include "devicemanager/DeviceManagerTypes.h"
#include "doubles/ScriptedProgress.h"
#include "iostack/CIOCommon.h"
#include "iostack/NetworkTestSupport.h"

using namespace QVIOStack;
using doubles::ScriptedProgress;
using iostack_test::ConnectionTo;
using iostack_test::TestableNetwork;
using peers::LoopbackPeer;

namespace {

size_t ReceivedSize(const std::string& received, std::mutex& lock)
{
    std::lock_guard<std::mutex> guard(lock);
    return received.size();
}

struct ConnectionBase : ::testing::Test {
    void TearDown() override
    {
        if (connection) {
            connection->Dispose();
        }
    }
    void OpenOn(LoopbackPeer& peer)
    {
        connection = ConnectionTo(peer);
        ASSERT_EQ(0u, connection->Open(nullptr));
        ASSERT_TRUE(peer.WaitAccepted(1));
    }
    TestableNetwork* connection = nullptr;
};

TEST_F(ConnectionBase, NullBufferOrNullCountFailsWithoutTouchingTheHandle)
{
    LoopbackPeer peer(LoopbackPeer::Reply("abc"));
    OpenOn(peer);
    char buffer[16];
    unsigned long count = 99;
    EXPECT_EQ(IOError_Fail, connection->Read(nullptr, sizeof(buffer), &count, nullptr));
    EXPECT_EQ(99u, count);
    EXPECT_EQ(IOError_Fail, connection->Read(buffer, sizeof(buffer), nullptr, nullptr));
    EXPECT_EQ(IOError_Fail, connection->Write(nullptr, 3, &count, nullptr));
    EXPECT_EQ(IOError_Fail, connection->Write("abc", 3, nullptr, nullptr));
    // The bytes that were waiting are all still there.
    EXPECT_EQ(0u, connection->Read(buffer, sizeof(buffer), &count, nullptr));
    EXPECT_EQ("abc", std::string(buffer, count));
}

TEST_F(ConnectionBase, ReadOnAClosedConnectionFailsRatherThanTimingOut)
{
    TestableNetwork closed;
    closed.Initialize(L"127.0.0.1:9100");
    char buffer[4];
    unsigned long count = 7;
    closed.SetReadTimeout(0);
    EXPECT_EQ(IOError_Fail, closed.Read(buffer, sizeof(buffer), &count, nullptr));
    EXPECT_EQ(0u, count);
    EXPECT_EQ(IOError_Fail, closed.Write(buffer, sizeof(buffer), &count, nullptr));
}

TEST_F(ConnectionBase, ZeroReadTimeoutCancelsTheFirstPendingReadAfterOnePass)
{
    LoopbackPeer peer(LoopbackPeer::Silent);
    OpenOn(peer);
    connection->SetReadTimeout(0);
    ScriptedProgress progress;
    char buffer[16];
    unsigned long count = 5;
    EXPECT_EQ(IOError_Timeout, connection->Read(buffer, sizeof(buffer), &count, &progress));
    EXPECT_EQ(0u, count);
    // One pass of the inner wait asks the progress object once; the
    // aggregator's end reports the finished share.
    ASSERT_EQ(2u, progress.percents.size());
    EXPECT_DOUBLE_EQ(100.0, progress.percents[1]);
}

TEST_F(ConnectionBase, StopDuringTheWaitAbortsWhileTimeRemains)
{
    LoopbackPeer peer(LoopbackPeer::Silent);
    OpenOn(peer);
    connection->SetReadTimeout(10000);
    connection->SetReadWaitInterval(20);
    ScriptedProgress progress([](double, unsigned long) { return false; });
    char buffer[16];
    unsigned long count = 0;
    EXPECT_EQ(IOError_Aborted, connection->Read(buffer, sizeof(buffer), &count, &progress));
    EXPECT_EQ(0u, count);
}

TEST_F(ConnectionBase, StopAfterTheTimerExpiredWithNoByteIsATimeout)
{
    LoopbackPeer peer(LoopbackPeer::Silent);
    OpenOn(peer);
    connection->SetReadTimeout(50);
    ScriptedProgress progress([](double, unsigned long) { return false; });
    char buffer[16];
    unsigned long count = 0;
    // The single slice runs to the deadline; the stop comes after it.
    EXPECT_EQ(IOError_Timeout, connection->Read(buffer, sizeof(buffer), &count, &progress));
}

TEST_F(ConnectionBase, DataArrivingBeforeTheCancelAreDeliveredEvenAfterAStop)
{
    std::atomic<SOCKET> deviceSide{INVALID_SOCKET};
    LoopbackPeer peer([&](peers::PeerSocket& s) {
        deviceSide = s.socket;
        LoopbackPeer::Silent(s);
    });
    OpenOn(peer);
    while (deviceSide == INVALID_SOCKET) {
        Sleep(1);
    }
    connection->SetReadTimeout(10000);
    connection->SetReadWaitInterval(50);
    // Between the last wait and the cancel, the device sends: the read
    // completes, and the stop does not throw the bytes away.
    ScriptedProgress progress([&](double, unsigned long) {
        send(deviceSide, "late", 4, 0);
        Sleep(200);
        return false;
    });
    char buffer[16];
    unsigned long count = 0;
    EXPECT_EQ(0u, connection->Read(buffer, sizeof(buffer), &count, &progress));
    EXPECT_EQ("late", std::string(buffer, count));
}

TEST(ConnectionBaseReads, ReadsThatCompleteWithZeroBytesRepeatUntilTheTimeout)
{
    // Counts the reads the connection starts.
    struct CountingNetwork : TestableNetwork {
        BOOL StartTransfer(Direction direction, void* buffer, DWORD size, DWORD* done,
                           OVERLAPPED* overlapped) override
        {
            if (direction == Direction::Read) {
                ++reads;
            }
            return TestableNetwork::StartTransfer(direction, buffer, size, done, overlapped);
        }
        int reads = 0;
    } connection;
    LoopbackPeer peer(LoopbackPeer::CloseAtOnce);
    connection.Initialize(peer.ServiceAddress().c_str());
    ASSERT_EQ(0u, connection.Open(nullptr));
    ASSERT_TRUE(peer.WaitAccepted(1));
    connection.SetReadTimeout(300);
    char buffer[16];
    unsigned long count = 3;
    EXPECT_EQ(IOError_Timeout, connection.Read(buffer, sizeof(buffer), &count, nullptr));
    EXPECT_EQ(0u, count);
    // The closed peer answers every read at once with no bytes: the read
    // starts again until the timeout, not once.
    EXPECT_GT(connection.reads, 1);
}

TEST_F(ConnectionBase, WriteAskedToStopBeforehandDoesNotSend)
{
    std::string received;
    std::mutex lock;
    LoopbackPeer peer(LoopbackPeer::Record(&received, &lock));
    OpenOn(peer);
    ScriptedProgress stop([](double, unsigned long) { return false; });
    unsigned long count = 1;
    EXPECT_EQ(IOError_Aborted, connection->Write("data", 4, &count, &stop));
    EXPECT_EQ(0u, count);
    // What arrives afterwards is only the next write.
    ASSERT_EQ(0u, connection->Write("next", 4, &count, nullptr));
    for (int i = 0; i < 500 && ReceivedSize(received, lock) < 4; ++i) {
        Sleep(10);
    }
    std::lock_guard<std::mutex> guard(lock);
    EXPECT_EQ("next", received);
}

TEST_F(ConnectionBase, LargeWritesThatGoPendingReachASlowReader)
{
    std::string received;
    std::mutex lock;
    LoopbackPeer peer([&](peers::PeerSocket& s) {
        Sleep(300);  // the writer's buffers fill up first
        LoopbackPeer::Record(&received, &lock)(s);
    });
    OpenOn(peer);
    std::string job(8 * 1024 * 1024, '\0');
    for (size_t i = 0; i < job.size(); ++i) {
        job[i] = static_cast<char>(i * 7 + i / 65536);
    }
    size_t sent = 0;
    while (sent < job.size()) {
        unsigned long count = 0;
        const unsigned long chunk = static_cast<unsigned long>(std::min<size_t>(1024 * 1024, job.size() - sent));
        ASSERT_EQ(0u, connection->Write(job.data() + sent, chunk, &count, nullptr));
        ASSERT_GT(count, 0u);
        sent += count;
    }
    connection->Close();
    for (int i = 0; i < 500 && ReceivedSize(received, lock) < job.size(); ++i) {
        Sleep(10);
    }
    std::lock_guard<std::mutex> guard(lock);
    EXPECT_EQ(job.size(), received.size());
    EXPECT_TRUE(received == job);
}

TEST(MapDeviceManagerError, MapsTheDeviceManagerFamily)
{
    TestableNetwork connection;
    EXPECT_EQ(0u, connection.MapDeviceManagerError(0));
    EXPECT_EQ(IOError_DeviceGone, connection.MapDeviceManagerError(0x83E8FAEF));
    EXPECT_EQ(IOError_DeviceGone, connection.MapDeviceManagerError(0x83E8FAFA));
    EXPECT_EQ(IOError_DeviceGone, connection.MapDeviceManagerError(0x83E8FAFB));
    EXPECT_EQ(IOError_Fail, connection.MapDeviceManagerError(0x83E8FAFC));
    EXPECT_EQ(IOError_DeviceGone, connection.MapDeviceManagerError(0x83E8FAFD));
    EXPECT_EQ(IOError_Aborted, connection.MapDeviceManagerError(0x83E8FFFE));
    EXPECT_EQ(IOError_Fail, connection.MapDeviceManagerError(0x83E8FAFF));
    EXPECT_EQ(IOError_Fail, connection.MapDeviceManagerError(0x80004005));
}

// A connection on one end of a named pipe: the file path of the transfer
// primitive (ReadFile/WriteFile).
class PipeConnection : public CIOCommon, public IDisposableImpl {
public:
    explicit PipeConnection(HANDLE handle) : CIOCommon(0, 2000, 2000) { m_hIO = handle; }
    ~PipeConnection() override { CloseHandle(m_hIO); }
    void SetFailEvent(HANDLE event) { m_hFailEvent = event; }
    IDeviceConnection* Clone(bool) override { return nullptr; }
    unsigned long Initialize(QVDeviceManager::IDevice*, const std::list<QVDeviceManager::FUNCTION_TYPE>&) override { return IOError_Fail; }
    unsigned long Initialize(const wchar_t*) override { return IOError_Fail; }
    bool IsHTTPCapable() override { return false; }
    unsigned long Navigate(IHTTPNavigateParams*, IHTTPClient*, QVUtils::IProgress*) override { return IOError_Fail; }
    unsigned long Open(QVUtils::IProgress*) override { return 0; }
    bool IsOpen() override { return true; }
    unsigned long Close() override { return 0; }
    const wchar_t* GetAddress() override { return nullptr; }
    const wchar_t* GetPort() override { return nullptr; }
    const wchar_t* GetServiceAddress() override { return nullptr; }
};

struct PipePair {
    PipePair()
    {
        const std::wstring name = L"\\\\.\\pipe\\orvane-test-" + std::to_wstring(GetCurrentProcessId()) + L"-"
            + std::to_wstring(++serial);
        server = CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, PIPE_TYPE_BYTE, 1,
                                  4096, 4096, 0, nullptr);
        client = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                             FILE_FLAG_OVERLAPPED, nullptr);
    }
    HANDLE server;
    HANDLE client;
    static inline int serial = 0;
};

TEST(PipeTransfer, ReadAndWriteWorkOnAFileHandle)
{
    PipePair pipe;
    ASSERT_NE(INVALID_HANDLE_VALUE, pipe.server);
    ASSERT_NE(INVALID_HANDLE_VALUE, pipe.client);
    PipeConnection* device = new PipeConnection(pipe.server);
    PipeConnection* host = new PipeConnection(pipe.client);
    device->AddRef();
    host->AddRef();

    unsigned long count = 0;
    std::thread late([&] {
        Sleep(100);  // the host's read goes pending first
        unsigned long written = 0;
        device->Write("status", 6, &written, nullptr);
    });
    char buffer[16];
    EXPECT_EQ(0u, host->Read(buffer, sizeof(buffer), &count, nullptr));
    EXPECT_EQ("status", std::string(buffer, count));
    late.join();
    host->Dispose();
    device->Dispose();
}

TEST(PipeTransfer, AHardFailureSetsTheFailEvent)
{
    PipePair pipe;
    PipeConnection* host = new PipeConnection(pipe.client);
    host->AddRef();
    HANDLE failEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    host->SetFailEvent(failEvent);  // the connection closes it
    CloseHandle(pipe.server);       // the device goes away

    char buffer[4];
    unsigned long count = 0;
    EXPECT_EQ(IOError_Fail, host->Read(buffer, sizeof(buffer), &count, nullptr));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(failEvent, 0));
    host->Dispose();
}

}  // namespace
