// A USB printer pulled out during a write and during a read, and put back:
// the transfer under way fails, the path stops opening, and after the
// re-plug Open refreshes the device, finds its path again and the session
// goes on. Also a job of 64 MiB through the USB path.
#include <gtest/gtest.h>

#include <windows.h>

#include <thread>

#include "UsbFixture.h"

using namespace QVIOStack;
using namespace QVDeviceManager;
using Orvane::QVUSBDeviceConnection;

namespace usb_test {
namespace {

using Unplug = UsbFixture;
using UsbJob = UsbFixture;

unsigned long WriteText(QVUSBDeviceConnection& connection, const std::string& text)
{
    unsigned long written = 0;
    return connection.Write(text.data(), static_cast<unsigned long>(text.size()), &written, nullptr);
}

bool PathOpens(const std::wstring& path, DWORD* error)
{
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                              FILE_FLAG_OVERLAPPED, nullptr);
    *error = GetLastError();
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    CloseHandle(file);
    return true;
}

TEST_F(Unplug, DuringAWriteTheWriteFailsAndAfterTheReplugRefreshFindsTheDeviceAndTheSessionGoesOn)
{
    doubles::ModuleLogFile& log = Log(L"usb-unplug-write");
    Held<QVUSBDeviceConnection> connection;
    ASSERT_EQ(connection->Initialize(&Device().Device(), PrintOnly()), 0UL);
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    ASSERT_EQ(WriteText(*connection, "first "), 0UL);

    Printer().HoldWrites(USBPRINTER_FUNCTION_PRINT, true);
    unsigned long lost = 1;
    std::thread writer([&] { lost = WriteText(*connection, "lost "); });
    ASSERT_TRUE(WaitForWrites(2));
    ASSERT_TRUE(Device().Unplug(FUNCTION_TYPE_PRINT));
    writer.join();
    Printer().HoldWrites(USBPRINTER_FUNCTION_PRINT, false);
    EXPECT_EQ(lost, IOError_Fail);
    EXPECT_EQ(log.Count(L"(##) WriteFile failed with 1167"), 1U);
    DWORD error = 0;
    EXPECT_FALSE(PathOpens(PrintPath(), &error));
    EXPECT_EQ(error, static_cast<DWORD>(ERROR_FILE_NOT_FOUND));

    // Still pulled: the dead handle fails at once. Closed and opened again,
    // as a stream does, the connection finds the device in the tree but its
    // path closed: the claim was made and given back before Open's own
    // attempt fails.
    EXPECT_EQ(WriteText(*connection, "nowhere "), IOError_Fail);
    connection->Close();
    EXPECT_EQ(connection->Open(nullptr), IOError_Fail);
    EXPECT_TRUE(log.InOrder({L"(##) WriteFile failed with 5", L"(->) CUSBDevice::Refresh, ZQUSB0001",
                             L"(##) CreateFile failed with err = 2", L"(##) CreateFile failed with err = 2"}));
    EXPECT_FALSE(connection->IsOpen());

    ASSERT_TRUE(Device().Plug(FUNCTION_TYPE_PRINT));
    EXPECT_TRUE(PathOpens(PrintPath(), &error)) << error;
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    ASSERT_EQ(WriteText(*connection, "second"), 0UL);
    EXPECT_EQ(ReceivedText(), "first second");
    connection->Close();
}

TEST_F(Unplug, DuringAReadTheReadFailsAndAfterTheReplugRefreshFindsTheDeviceAndTheSessionGoesOn)
{
    doubles::ModuleLogFile& log = Log(L"usb-unplug-read");
    Held<QVUSBDeviceConnection> connection;
    ASSERT_EQ(connection->Initialize(&Device().Device(), PrintOnly()), 0UL);
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    unsigned long status = 1;
    std::string read;
    std::thread reader([&] { read = ReadOnce(connection, 100, &status); });
    ASSERT_TRUE(WaitForReads(1));
    ASSERT_TRUE(Printer().WaitFor([] { return Printer().HeldReads(USBPRINTER_FUNCTION_PRINT) == 1; }, 10000));
    ASSERT_TRUE(Device().Unplug(FUNCTION_TYPE_PRINT));
    reader.join();
    EXPECT_EQ(status, IOError_Fail);
    EXPECT_EQ(read, "");
    EXPECT_EQ(log.Count(L"(##) ReadFile failed with 1167"), 1U);

    ASSERT_TRUE(Device().Plug(FUNCTION_TYPE_PRINT));
    Supply("back again");
    // The handle from before the pull fails at once; closed and opened
    // again, the connection refreshes the device and claims its path anew.
    ReadOnce(connection, 100, &status);
    EXPECT_EQ(status, IOError_Fail);
    connection->Close();
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    EXPECT_TRUE(log.InOrder({L"(##) ReadFile failed with 5", L"(->) CUSBDevice::Refresh, ZQUSB0001",
                             L"(I0) OpenEvent succeeded", L"(I1) Open success, session count 1"}));
    EXPECT_EQ(ReadOnce(connection, 100, &status), "back again");
    EXPECT_EQ(status, 0UL);
    connection->Close();
}

// Byte i of the job: no period that a block size shares.
unsigned char JobByte(unsigned long long i)
{
    return static_cast<unsigned char>(i * 131 + (i >> 16) + (i >> 24) * 7);
}

TEST_F(UsbJob, A64MiBJobArrivesByteForByte)
{
    constexpr unsigned long long kJob = 64ULL * 1024 * 1024;
    constexpr unsigned long kBlock = 64 * 1024;
    unsigned long long checked = 0;
    unsigned long long wrong = 0;
    Printer().SetSink(USBPRINTER_FUNCTION_PRINT, [&](const unsigned char* data, size_t size) {
        for (size_t i = 0; i < size; ++i, ++checked) {
            wrong += data[i] != JobByte(checked) ? 1 : 0;
        }
    });
    Held<QVUSBDeviceConnection> connection;
    ASSERT_EQ(connection->Initialize(&Device().Device(), PrintOnly()), 0UL);
    // The job is about bytes, not time: a loaded machine gets a minute per write.
    connection->SetWriteTimeout(60000);
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    std::vector<unsigned char> block(kBlock);
    unsigned long long sent = 0;
    while (sent < kJob) {
        for (unsigned long i = 0; i < kBlock; ++i) {
            block[i] = JobByte(sent + i);
        }
        unsigned long done = 0;
        unsigned long offset = 0;
        while (offset < kBlock) {
            ASSERT_EQ(connection->Write(block.data() + offset, kBlock - offset, &done, nullptr), 0UL) << "at " << sent;
            offset += done;
        }
        sent += kBlock;
    }
    connection->Close();
    EXPECT_TRUE(Printer().WaitFor([&] { return Printer().ReceivedCount(USBPRINTER_FUNCTION_PRINT) == kJob; }, 30000));
    Printer().SetSink(USBPRINTER_FUNCTION_PRINT, nullptr);
    EXPECT_EQ(checked, kJob);
    EXPECT_EQ(wrong, 0ULL);
}

}  // namespace
}  // namespace usb_test
