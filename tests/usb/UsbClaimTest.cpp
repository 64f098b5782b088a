// The claim of a USB channel between two real processes: this test program
// and usb-claimant.exe, each with its own connection on the one device path.
#include <gtest/gtest.h>

#include <windows.h>

#include "UsbFixture.h"
#include "tools/ChildProcess.h"

using namespace QVIOStack;
using namespace QVDeviceManager;
using Orvane::QVUSBDeviceConnection;
using toolstest::ChildProcess;

namespace usb_test {
namespace {

using ClaimAcrossProcesses = UsbFixture;

// The event that lets the claimant give the channel back.
class ReleaseEvent {
public:
    ReleaseEvent() : m_name(L"orvane-usb-release-" + std::to_wstring(GetCurrentProcessId())),
                     m_event(CreateEventW(nullptr, TRUE, FALSE, m_name.c_str())) {}
    ~ReleaseEvent() { CloseHandle(m_event); }
    const std::wstring& Name() const { return m_name; }
    void Set() { SetEvent(m_event); }

private:
    std::wstring m_name;
    HANDLE m_event;
};

TEST_F(ClaimAcrossProcesses, APlainOpenInTheOtherProcessIsBusyWhileThisOneHoldsTheChannel)
{
    Held<QVUSBDeviceConnection> connection;
    ASSERT_EQ(connection->Initialize(&Device().Device(), PrintOnly()), 0UL);
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    ReleaseEvent release;
    ChildProcess claimant;
    ASSERT_TRUE(claimant.Start(L"usb-claimant.exe", {L"plain", L"0", release.Name()}));
    EXPECT_EQ(claimant.WaitForLine("open "), "open 0x83E8F4FC");
    EXPECT_EQ(claimant.Wait(), 0) << claimant.Errors();
    connection->Close();
}

TEST_F(ClaimAcrossProcesses, AQueuedOpenInTheOtherProcessGetsTheChannelWhenThisOneCloses)
{
    doubles::ModuleLogFile& log = Log(L"usb-two-processes");
    Held<QVUSBDeviceConnection> connection;
    ASSERT_EQ(connection->Initialize(&Device().Device(), PrintOnly()), 0UL);
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    ReleaseEvent release;
    ChildProcess claimant;
    ASSERT_TRUE(claimant.Start(L"usb-claimant.exe", {L"queued", L"20000", release.Name()}));
    ASSERT_EQ(claimant.WaitForLine("opening"), "opening");
    // The claimant writes into the same log: its wait has begun.
    const bool waiting = WaitForLine(log, claimant.ProcessId(), L"(I0) Wait for 20000 ms", 10000);
    ASSERT_TRUE(waiting) << "the claimant did not queue";
    EXPECT_EQ(claimant.Output().find("open 0x"), std::string::npos) << "it opened while this process held the channel";
    connection->Close();
    EXPECT_EQ(claimant.WaitForLine("open "), "open 0x00000000");

    // Now the claimant holds the channel under the same machine-wide name.
    HANDLE lock = OpenEventW(SYNCHRONIZE, FALSE, LockName(PrintPath()).c_str());
    EXPECT_NE(lock, nullptr) << GetLastError();
    if (lock != nullptr) {
        CloseHandle(lock);
    }
    Held<CIOUSB> plain;
    ASSERT_EQ(plain->Initialize(&Device().Device(), PrintOnly()), 0UL);
    EXPECT_EQ(plain->Open(nullptr), IOError_Busy);
    release.Set();
    EXPECT_EQ(claimant.WaitForLine("closed"), "closed");
    EXPECT_EQ(claimant.Wait(), 0) << claimant.Errors();
    EXPECT_EQ(plain->Open(nullptr), 0UL);
    plain->Close();
}

}  // namespace
}  // namespace usb_test
