// The bulk functions on the virtual printer, by the port name of a device
// in the tree: a thread's channel to the configuration function, and the
// device's interrupts. (Threads at once go to network devices: the device
// manager behind a USB address serves one thread at a time.)
#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "UsbFixture.h"
#include "api/BulkThreadSlots.h"
#include "api/QVUSBAddress.h"
#include "api/USBDeviceManager.h"
#include "orvane64_bulk.h"

using namespace QVDeviceManager;

namespace usb_test {

namespace {

// The device of the tree whose configuration function is a plain channel.
constexpr char kPort[] = "USB033";
constexpr int kConfig = USBPRINTER_FUNCTION_CONFIG;

class UsbBulkChannel : public UsbFixture {
protected:
    // Inside a test program no entry point makes the thread slots' index.
    static void SetUpTestSuite()
    {
        UsbFixture::SetUpTestSuite();
        Orvane::BulkThreadSlots::AllocateIndex();
    }
    static void TearDownTestSuite()
    {
        Orvane::BulkThreadSlots::FreeIndex();
        UsbFixture::TearDownTestSuite();
    }
    void SetUp() override
    {
        UsbFixture::SetUp();
        ASSERT_TRUE(Printer().Plug(kConfig, ConfigPath()));
        // A flush reads until a read brings nothing; a device with endless
        // data ends it after its 30 reads at once.
        Printer().SetEndlessReads(kConfig, true);
    }
    void TearDown() override
    {
        CloseBulk();
        UsbFixture::TearDown();
    }

    static std::wstring ConfigPath()
    {
        Orvane::USBDeviceManager manager;
        IDevice* device = manager.OpenUSBDeviceByPort(kRestSerial);
        IDeviceFunction* function = nullptr;
        const std::wstring path =
            device != nullptr && device->GetFunction(FUNCTION_TYPE_CONFIG, &function) == 0 ? function->GetAddress()
                                                                                           : std::wstring();
        if (device != nullptr) {
            manager.CloseDevice(device);
        }
        return path;
    }
    static std::string Received()
    {
        const std::vector<unsigned char> bytes = Printer().Received(kConfig);
        return std::string(bytes.begin(), bytes.end());
    }
    // The device's data from now on: only what is supplied.
    static void FiniteReads() { Printer().SetEndlessReads(kConfig, false); }
};

TEST_F(UsbBulkChannel, ThreeOpenBulkCallsInARowOnOneThreadGiveTrueFalseTrue)
{
    EXPECT_EQ(OpenBulk(kPort), 1);
    EXPECT_EQ(OpenBulk(kPort), 0) << "closes the open channel, and fails";
    EXPECT_EQ(Orvane::BulkThreadSlots::Current(), nullptr);
    EXPECT_EQ(OpenBulk(kPort), 1);
    EXPECT_NE(Orvane::BulkThreadSlots::Current(), nullptr);
    EXPECT_EQ(CloseBulk(), 1);
    EXPECT_EQ(Orvane::BulkThreadSlots::Current(), nullptr);
}

TEST_F(UsbBulkChannel, WriteBulkAndReadBulkCarryBytesThroughTheConfigurationFunction)
{
    ASSERT_EQ(OpenBulk(kPort), 1);
    FiniteReads();
    unsigned long size = 5;
    EXPECT_EQ(WriteBulk("hello", &size), 1);
    EXPECT_EQ(size, 5UL);
    EXPECT_EQ(Received(), "hello");
    Printer().Supply(kConfig, "world", 5);
    char buffer[64] = {};
    size = sizeof(buffer);
    EXPECT_EQ(ReadBulk(buffer, &size), 1);
    EXPECT_EQ(std::string(buffer, size), "world");
}

TEST_F(UsbBulkChannel, IsConnectedAsksThePortsDeviceWithoutAChannel)
{
    EXPECT_EQ(IsConnected(kPort), 1);
    EXPECT_EQ(IsConnected("NOSUCHPORT"), 0);
    EXPECT_EQ(Orvane::BulkThreadSlots::Current(), nullptr);
}

TEST_F(UsbBulkChannel, AnInterruptRaisedByTheDeviceEndsWaitForInterrupt)
{
    // The slot is the calling thread's: the waiting thread opens its own.
    std::atomic<size_t> pollsBefore{0};
    std::atomic<bool> opened{false};
    std::atomic<int> waited{-1};
    std::thread waiter([&] {
        if (OpenInterrupt(kPort) != 1) {
            waited = -2;
            opened = true;
            return;
        }
        pollsBefore = Printer().ControlSizes(kConfig).size();
        opened = true;
        waited = WaitForInterrupt();
        CloseInterrupt();
    });
    ASSERT_TRUE(Printer().WaitFor([&] { return opened.load(); }, 20000));
    // The wait's own request has reached the device.
    EXPECT_TRUE(Printer().WaitFor([&] { return Printer().ControlSizes(kConfig).size() > pollsBefore; }, 10000));
    Printer().AnswerControl(kConfig, {1, 0, 0, 0, 0, 0, 0, 0});
    waiter.join();
    EXPECT_EQ(waited.load(), 1);
}

TEST_F(UsbBulkChannel, WaitForInterruptEventSetsTheEventAndCancelInterruptStopsTheWait)
{
    ASSERT_EQ(OpenInterrupt(kPort), 1);
    HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    size_t polls = Printer().ControlSizes(kConfig).size();
    EXPECT_EQ(WaitForInterruptEvent(event), 1);
    ASSERT_TRUE(Printer().WaitFor([&] { return Printer().ControlSizes(kConfig).size() > polls; }, 10000));
    Printer().AnswerControl(kConfig, {2, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(WaitForSingleObject(event, 10000), WAIT_OBJECT_0);
    ResetEvent(event);
    polls = Printer().ControlSizes(kConfig).size();
    EXPECT_EQ(WaitForInterruptEvent(event), 1);
    ASSERT_TRUE(Printer().WaitFor([&] { return Printer().ControlSizes(kConfig).size() > polls; }, 10000));
    EXPECT_EQ(CancelInterrupt(), 1);
    EXPECT_EQ(CancelInterrupt(), 0) << "nothing runs any more";
    EXPECT_EQ(CloseInterrupt(), 1);
    CloseHandle(event);
}

}  // namespace

}  // namespace usb_test
