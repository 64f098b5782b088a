// The USB connection on the virtual USB printer: the shadow buffer of the
// printing class, the claim of the channel inside one process, the session
// count, a hard error and the addresses.
#include <gtest/gtest.h>

#include <windows.h>

#include <thread>

#include "UsbFixture.h"
#include "doubles/ApiOverride.h"
#include "winapi/CKernelApi.h"

using namespace QVIOStack;
using namespace QVDeviceManager;
using Orvane::QVUSBDeviceConnection;

namespace usb_test {

std::unique_ptr<PluggedDevice> UsbFixture::s_device;

namespace {

const wchar_t kPrintClassLower[] = L"{28d78fad-5a12-11d1-ae5b-0000f803a8c2}";

// The local heap refuses the lock's security descriptor (40 bytes, zeroed).
// A double: Wine's heap does not fail on request.
class NoDescriptorHeap : public QVWinApi::CKernelApi {
public:
    HLOCAL LocalAlloc(UINT flags, SIZE_T bytes) override
    {
        if (flags == LPTR && bytes == 40) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return nullptr;
        }
        return CKernelApi::LocalAlloc(flags, bytes);
    }
};

using ShadowBuffer = UsbFixture;
using ChannelClaim = UsbFixture;
using UsbConnection = UsbFixture;

TEST_F(ShadowBuffer, APathWithTheClassTextInLowerCaseActivatesIt)
{
    doubles::ModuleLogFile& log = Log(L"usb-lower-case");
    ASSERT_NE(PrintPath().find(kPrintClassLower), std::wstring::npos) << "the tree's print path is lower case";
    Held<CIOUSB> connection;
    ASSERT_EQ(connection->Initialize(PrintPath().c_str()), 0UL);
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    Supply("abcde");
    unsigned long status = 0;
    EXPECT_EQ(ReadOnce(connection, 1, &status), "a");
    EXPECT_EQ(status, 0UL);
    EXPECT_EQ(DeviceReads(), std::vector<unsigned long>{2048});
    EXPECT_EQ(log.Count(L"(I0) CIOUSB::Read: filling shadow buffer"), 1U);
    connection->Close();
}

TEST_F(ShadowBuffer, APathOfAnotherClassReadsTheDeviceWithTheCallersSize)
{
    doubles::ModuleLogFile& log = Log(L"usb-other-class");
    Held<CIOUSB> connection;
    ASSERT_EQ(connection->Initialize(Device().PathOf(FUNCTION_TYPE_CONFIG).c_str()), 0UL);
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    const char reply[] = "config";
    Printer().Supply(USBPRINTER_FUNCTION_CONFIG, reply, 6);
    unsigned long status = 0;
    EXPECT_EQ(ReadOnce(connection, 1, &status), "c");
    EXPECT_EQ(Printer().ReadSizes(USBPRINTER_FUNCTION_CONFIG), std::vector<unsigned long>{1});
    EXPECT_EQ(log.Count(L"(I7) CIOUSB::Read: shadow buffer not active, delegating call to base class"), 1U);
    connection->Close();
}

TEST_F(ShadowBuffer, HundredBytesGiveTenThenTheNinetyHeldWithoutTheDeviceThenTheDeviceAgain)
{
    doubles::ModuleLogFile& log = Log(L"usb-hundred");
    Held<CIOUSB> connection;
    ASSERT_EQ(connection->Initialize(PrintPath().c_str()), 0UL);
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    std::string hundred;
    for (int i = 0; i < 100; ++i) {
        hundred += static_cast<char>('0' + i % 10);
    }
    Supply(hundred);
    unsigned long status = 1;
    EXPECT_EQ(ReadOnce(connection, 10, &status), hundred.substr(0, 10));
    EXPECT_EQ(status, 0UL);
    // More bytes wait at the device: the held 90 are not topped up from them.
    Supply("tail");
    EXPECT_EQ(ReadOnce(connection, 1000, &status), hundred.substr(10));
    EXPECT_EQ(status, 0UL);
    EXPECT_EQ(DeviceReads().size(), 1U);
    EXPECT_EQ(ReadOnce(connection, 1000, &status), "tail");
    EXPECT_EQ(DeviceReads(), (std::vector<unsigned long>{2048, 2048}));
    EXPECT_EQ(log.Count(L"(I0) CIOUSB::Read: using shadow buffer to satisfy request"), 1U);
    EXPECT_EQ(log.Count(L"(I0) CIOUSB::Read: filling shadow buffer"), 2U);
    connection->Close();
}

TEST_F(ShadowBuffer, AReadOf2048WithBytesHeldReturnsOnlyThoseHeld)
{
    Held<CIOUSB> connection;
    ASSERT_EQ(connection->Initialize(PrintPath().c_str()), 0UL);
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    Supply(std::string(300, 'x'));
    unsigned long status = 1;
    EXPECT_EQ(ReadOnce(connection, 100, &status).size(), 100U);
    Supply(std::string(500, 'y'));
    EXPECT_EQ(ReadOnce(connection, 2048, &status), std::string(200, 'x'));
    EXPECT_EQ(status, 0UL);
    // Now empty, a large read goes straight to the device with its own size.
    EXPECT_EQ(ReadOnce(connection, 4096, &status), std::string(500, 'y'));
    EXPECT_EQ(DeviceReads(), (std::vector<unsigned long>{2048, 4096}));
    connection->Close();
}

TEST_F(ShadowBuffer, ReadsOf1And100And5000GetTheStreamExactlyWhileTheDeviceSeesOnly2048OrMore)
{
    std::string stream;
    for (int i = 0; i < 12000; ++i) {
        stream += static_cast<char>((i * 7 + i / 256) & 0xFF);
    }
    for (unsigned long size : {1UL, 100UL, 5000UL}) {
        Printer().ClearRecords(USBPRINTER_FUNCTION_PRINT);
        Held<CIOUSB> connection;
        ASSERT_EQ(connection->Initialize(PrintPath().c_str()), 0UL);
        ASSERT_EQ(connection->Open(nullptr), 0UL);
        Supply(stream);
        std::string read;
        while (read.size() < stream.size()) {
            unsigned long status = 1;
            const std::string part = ReadOnce(connection, size, &status);
            ASSERT_EQ(status, 0UL) << "read of " << size << " at " << read.size();
            ASSERT_LE(part.size(), size);
            read += part;
        }
        EXPECT_EQ(read, stream) << "reads of " << size;
        for (unsigned long request : DeviceReads()) {
            EXPECT_GE(request, 2048UL) << "reads of " << size;
        }
        EXPECT_FALSE(DeviceReads().empty());
        connection->Close();
    }
}

TEST_F(ChannelClaim, TwoPlainConnectionsTheSecondOpenIsBusyAtOnce)
{
    doubles::ModuleLogFile& log = Log(L"usb-plain-busy");
    Held<CIOUSB> first;
    Held<CIOUSB> second;
    ASSERT_EQ(first->Initialize(&Device().Device(), PrintOnly()), 0UL);
    ASSERT_EQ(second->Initialize(&Device().Device(), PrintOnly()), 0UL);
    ASSERT_EQ(first->Open(nullptr), 0UL);
    EXPECT_EQ(first->GetActiveFunction(), FUNCTION_TYPE_PRINT);
    EXPECT_EQ(second->Open(nullptr), IOError_Busy);
    // The lock grants Everyone less than the full access that a create of an
    // existing event asks for: the second create is refused, not handed the
    // event with "already exists".
    EXPECT_EQ(log.Count(L"(##) CreateMutex failed with error (5)"), 1U);
    EXPECT_FALSE(second->IsOpen());
    first->Close();
    EXPECT_EQ(second->Open(nullptr), 0UL);
    second->Close();
}

TEST_F(ChannelClaim, TheLockIsTheNamedEventOfThePathWithItsBackslashesTurnedIntoHashes)
{
    Held<CIOUSB> connection;
    ASSERT_EQ(connection->Initialize(&Device().Device(), PrintOnly()), 0UL);
    std::wstring name = L"Global\\" + PrintPath();
    for (size_t i = 7; i < name.size(); ++i) {
        name[i] = name[i] == L'\\' ? L'#' : name[i];
    }
    ASSERT_EQ(name.compare(0, 12, L"Global\\##?#u"), 0);
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    HANDLE lock = OpenEventW(SYNCHRONIZE, FALSE, name.c_str());
    EXPECT_NE(lock, nullptr) << GetLastError();
    if (lock != nullptr) {
        CloseHandle(lock);
    }
    connection->Close();
    EXPECT_EQ(OpenEventW(SYNCHRONIZE, FALSE, name.c_str()), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST_F(ChannelClaim, TwoQueuedConnectionsTheSecondWaitsAndGetsTheChannelWhenTheFirstCloses)
{
    doubles::ModuleLogFile& log = Log(L"usb-queued");
    Held<QVUSBDeviceConnection> first;
    Held<QVUSBDeviceConnection> second;
    EXPECT_EQ(second->GetOpenTimeout(), 20000UL);
    ASSERT_EQ(first->Initialize(&Device().Device(), PrintOnly()), 0UL);
    ASSERT_EQ(second->Initialize(&Device().Device(), PrintOnly()), 0UL);
    ASSERT_EQ(first->Open(nullptr), 0UL);
    unsigned long secondStatus = 1;
    std::thread waiter([&] { secondStatus = second->Open(nullptr); });
    bool waiting = WaitForLine(log, GetCurrentProcessId(), L"(I0) Wait for 20000 ms", 10000);
    EXPECT_TRUE(waiting);
    EXPECT_EQ(secondStatus, 1UL) << "the second Open returned while the first held the channel";
    first->Close();
    waiter.join();
    EXPECT_EQ(secondStatus, 0UL);
    // The first claim of this process made the wait event, or found it
    // signalled by an earlier owner; the second waited on it.
    EXPECT_TRUE(log.InOrder({L"(I0) CreateEvent failed with error ERROR_ALREADY_EXISTS", L"(I0) Wait for 20000 ms",
                             L"(I0) Try OpenEvent again with EVENT_MODIFY_STATE", L"(I0) OpenEvent succeeded",
                             L"(I1) Open success, session count 1"}));
    EXPECT_TRUE(second->IsOpen());
    second->Close();
}

TEST_F(ChannelClaim, AQueuedConnectionFailsBusyAfterTheOpenTimeout)
{
    doubles::ModuleLogFile& log = Log(L"usb-queued-timeout");
    Held<QVUSBDeviceConnection> first;
    Held<QVUSBDeviceConnection> second;
    ASSERT_EQ(first->Initialize(&Device().Device(), PrintOnly()), 0UL);
    ASSERT_EQ(second->Initialize(&Device().Device(), PrintOnly()), 0UL);
    second->SetOpenTimeout(300);
    ASSERT_EQ(first->Open(nullptr), 0UL);
    EXPECT_EQ(second->Open(nullptr), IOError_Busy);
    EXPECT_EQ(log.Count(L"(##) Wait timed out after 300 ms"), 1U);
    EXPECT_TRUE(first->IsOpen());
    first->Close();
}

TEST_F(ChannelClaim, ASecondOpenOnTheSameObjectOnlyCountsAndTheLockStaysUntilTheCountIsZero)
{
    doubles::ModuleLogFile& log = Log(L"usb-session-count");
    Held<CIOUSB> connection;
    Held<CIOUSB> other;
    ASSERT_EQ(connection->Initialize(&Device().Device(), PrintOnly()), 0UL);
    ASSERT_EQ(other->Initialize(&Device().Device(), PrintOnly()), 0UL);
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    EXPECT_TRUE(log.InOrder({L"(I1) Open success, session count 1", L"(I1) Open success, session count 2"}));
    connection->Close();
    EXPECT_EQ(log.Count(L"(I1) Close entered with valid m_hIO handle.  SessionCount has been decremented to 1"), 1U);
    EXPECT_TRUE(connection->IsOpen());
    EXPECT_EQ(other->Open(nullptr), IOError_Busy);
    connection->Close();
    EXPECT_FALSE(connection->IsOpen());
    EXPECT_EQ(other->Open(nullptr), 0UL);
    other->Close();
}

// A device pulled and put back: the handle from before is dead, and a read
// on it fails at once.
void PullAndPutBack(PluggedDevice& device)
{
    ASSERT_TRUE(device.Unplug(FUNCTION_TYPE_PRINT));
    ASSERT_TRUE(device.Plug(FUNCTION_TYPE_PRINT));
}

TEST_F(ChannelClaim, AfterAHardReadErrorOpenClosesTheStaleHandleAndClaimsTheChannelAnew)
{
    doubles::ModuleLogFile& log = Log(L"usb-hard-error");
    Held<CIOUSB> connection;
    ASSERT_EQ(connection->Initialize(&Device().Device(), PrintOnly()), 0UL);
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    PullAndPutBack(Device());
    unsigned long status = 0;
    ReadOnce(connection, 4096, &status);
    EXPECT_EQ(status, IOError_Fail);
    EXPECT_EQ(log.Count(L"(##) ReadFile failed with 5"), 1U);
    // Open's own look at IsOpen finds the failure; the path is taken anew
    // from the refreshed device, which gives up the old claim first.
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    EXPECT_TRUE(log.InOrder({L"(##) ReadFile failed with 5", L"(->) CUSBDevice::Refresh, ZQUSB0001",
                             L"(->) CIOUSB::LockChannelObject", L"(I1) Open success, session count 1"}));
    Held<CIOUSB> other;
    ASSERT_EQ(other->Initialize(&Device().Device(), PrintOnly()), 0UL);
    EXPECT_EQ(other->Open(nullptr), IOError_Busy);
    Supply("after");
    EXPECT_EQ(ReadOnce(connection, 4096, &status), "after");
    EXPECT_EQ(status, 0UL);
    connection->Close();
    EXPECT_FALSE(connection->IsOpen());
}

TEST_F(ChannelClaim, AfterAHardReadErrorTheNextIsOpenIsFalseOnce)
{
    Held<CIOUSB> connection;
    ASSERT_EQ(connection->Initialize(&Device().Device(), PrintOnly()), 0UL);
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    EXPECT_TRUE(connection->IsOpen());
    PullAndPutBack(Device());
    unsigned long status = 0;
    ReadOnce(connection, 4096, &status);
    EXPECT_EQ(status, IOError_Fail);
    EXPECT_FALSE(connection->IsOpen());
    // The event that told it is spent: one hard failure, one false answer.
    EXPECT_TRUE(connection->IsOpen());
    connection->Close();
}

TEST_F(ChannelClaim, AQueuedConnectionsCloneIsAPlainConnectionThatIsBusyAtOnce)
{
    Held<QVUSBDeviceConnection> connection;
    ASSERT_EQ(connection->Initialize(&Device().Device(), PrintOnly()), 0UL);
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    IDeviceConnection* clone = connection->Clone(true);
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(dynamic_cast<QVUSBDeviceConnection*>(clone), nullptr);
    ASSERT_NE(dynamic_cast<CIOUSB*>(clone), nullptr);
    EXPECT_EQ(clone->GetOpenTimeout(), 0UL);
    EXPECT_EQ(clone->Open(nullptr), IOError_Busy);
    connection->Close();
    EXPECT_EQ(clone->Open(nullptr), 0UL);
    EXPECT_EQ(std::wstring(clone->GetServiceAddress()), PrintPath());
    clone->Close();
    clone->Dispose();
}

TEST_F(ChannelClaim, ALockWhoseDescriptorCannotBeMadeCountsAsClaimedWithNoLockObject)
{
    doubles::ModuleLogFile& log = Log(L"usb-no-descriptor");
    NoDescriptorHeap heap;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, heap);
    Held<CIOUSB> first;
    Held<CIOUSB> second;
    ASSERT_EQ(first->Initialize(&Device().Device(), PrintOnly()), 0UL);
    ASSERT_EQ(second->Initialize(&Device().Device(), PrintOnly()), 0UL);
    ASSERT_EQ(first->Open(nullptr), 0UL);
    EXPECT_EQ(log.Count(L"(##) LocalAlloc failed with error (8)"), 1U);
    EXPECT_EQ(OpenEventW(SYNCHRONIZE, FALSE, LockName(PrintPath()).c_str()), nullptr);
    // Nothing stands in the way of the next claimant either.
    EXPECT_EQ(second->Open(nullptr), 0UL);
    second->Close();
    first->Close();
}

TEST_F(UsbConnection, GetAddressAndGetPortAreNullAndTheServiceAddressIsThePath)
{
    Held<CIOUSB> connection;
    ASSERT_EQ(connection->Initialize(PrintPath().c_str()), 0UL);
    EXPECT_EQ(connection->GetAddress(), nullptr);
    EXPECT_EQ(connection->GetPort(), nullptr);
    EXPECT_EQ(std::wstring(connection->GetServiceAddress()), PrintPath());
    EXPECT_FALSE(connection->IsHTTPCapable());
}

}  // namespace
}  // namespace usb_test
