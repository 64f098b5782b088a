// The USB notifier on the virtual printer's configuration function: the
// device answers its control requests with an interrupt, with none, or not
// at all, and the notifier's event, thread, channel claim and log follow.
#include <gtest/gtest.h>

#include <windows.h>

#include <memory>
#include <thread>

#include "UsbFixture.h"
#include "api/QVUSBNotifier.h"
#include "doubles/ApiOverride.h"
#include "doubles/ManualEvent.h"
#include "doubles/ModuleLogFile.h"
#include "winapi/CKernelApi.h"

using namespace QVDeviceManager;
using Orvane::QVUSBDeviceConnection;
using Orvane::QVUSBNotifier;

namespace usb_test {

namespace {

constexpr int kConfig = USBPRINTER_FUNCTION_CONFIG;

// The events made and the handles closed on one thread, everything passed
// on. A double: only at the platform seam can a test see which event the
// notifier made for itself and whether it was closed.
class EventRecorder : public QVWinApi::CKernelApi {
public:
    explicit EventRecorder(QVWinApi::IKernelApi* next) : m_next(next), m_thread(::GetCurrentThreadId()) {}
    HANDLE CreateEventW(LPSECURITY_ATTRIBUTES attributes, BOOL manual, BOOL initial, LPCWSTR name) override
    {
        HANDLE event = m_next->CreateEventW(attributes, manual, initial, name);
        if (::GetCurrentThreadId() == m_thread && made == nullptr) {
            made = event;
        }
        return event;
    }
    BOOL CloseHandle(HANDLE handle) override
    {
        closedMade = closedMade || (handle != nullptr && handle == made);
        return m_next->CloseHandle(handle);
    }
    DWORD GetTickCount() override { return m_next->GetTickCount(); }

    HANDLE made = nullptr;
    bool closedMade = false;

private:
    QVWinApi::IKernelApi* m_next;
    DWORD m_thread;
};

// A notifier on the fixture's device, with its one reference.
class HeldNotifier {
public:
    explicit HeldNotifier(IDevice* device) : m_notifier(new QVUSBNotifier(device)) { m_notifier->AddRef(); }
    ~HeldNotifier() { Release(); }
    HeldNotifier(const HeldNotifier&) = delete;
    HeldNotifier& operator=(const HeldNotifier&) = delete;
    QVUSBNotifier* operator->() { return m_notifier; }
    void Release()
    {
        if (m_notifier != nullptr) {
            m_notifier->Dispose();
            m_notifier = nullptr;
        }
    }

private:
    QVUSBNotifier* m_notifier;
};

class UsbNotifier : public UsbFixture {
protected:
    void TearDown() override
    {
        if (HasFailure() && m_notifierLog) {
            std::printf("%ls", m_notifierLog->Text().c_str());
        }
        UsbFixture::TearDown();
    }

    // The façade's and the USB connection's lines of this test.
    doubles::ModuleLogFile& NotifierLog(const wchar_t* name)
    {
        m_notifierLog = std::make_unique<doubles::ModuleLogFile>(
            std::initializer_list<QVLogging::CLogModule*>{g_pOrvaneAPILog, g_pIOUSBLog}, name);
        return *m_notifierLog;
    }

    static IDevice* UsbDevice() { return &Device().Device(); }
    static std::wstring ConfigPath() { return Device().PathOf(FUNCTION_TYPE_CONFIG); }
    static std::vector<unsigned long> Polls() { return Printer().ControlSizes(kConfig); }
    // Waits until the device has seen `count` control requests.
    static bool WaitForPolls(size_t count)
    {
        return Printer().WaitFor([count] { return Polls().size() >= count; }, 10000);
    }
    static void Reply(const std::vector<unsigned char>& bytes) { Printer().AnswerControl(kConfig, bytes); }
    static void RaiseInterrupt(unsigned char code) { Reply({code, 0, 0, 0, 0, 0, 0, 0}); }
    static bool Exists(const std::wstring& eventName)
    {
        HANDLE event = OpenEventW(SYNCHRONIZE, FALSE, eventName.c_str());
        if (event == nullptr) {
            return false;
        }
        CloseHandle(event);
        return true;
    }

private:
    std::unique_ptr<doubles::ModuleLogFile> m_notifierLog;
};

using Event = doubles::ManualEvent;

TEST_F(UsbNotifier, SwitchingOffWhenNothingRunsFailsAndAfterACancelledPollSucceeds)
{
    doubles::ModuleLogFile& log = NotifierLog(L"notifier-off");
    HeldNotifier notifier(UsbDevice());
    EXPECT_EQ(notifier->EnableNotification(false), static_cast<unsigned long>(E_FAIL));
    ASSERT_EQ(notifier->EnableNotification(true), 0UL);
    ASSERT_TRUE(WaitForPolls(1));
    EXPECT_TRUE(notifier->IsNotificationPending());
    EXPECT_EQ(notifier->EnableNotification(false), 0UL);
    EXPECT_FALSE(notifier->IsNotificationEnabled());
    EXPECT_EQ(log.Count(L"(I0) PollForInterrupt Cancelled"), 1U);
    EXPECT_EQ(log.Count(L"(I7) DeviceIoControl error 997"), 1U);
    // Nothing runs again: a second switch-off fails.
    EXPECT_EQ(notifier->EnableNotification(false), static_cast<unsigned long>(E_FAIL));
}

TEST_F(UsbNotifier, AnInterruptFiresTheEventOnceAndNotificationIsOffAfterTheWait)
{
    doubles::ModuleLogFile& log = NotifierLog(L"notifier-fires");
    HeldNotifier notifier(UsbDevice());
    ASSERT_EQ(notifier->EnableNotification(true), 0UL);
    EXPECT_TRUE(notifier->IsNotificationEnabled());
    ASSERT_TRUE(WaitForPolls(1));
    RaiseInterrupt(5);
    EXPECT_EQ(notifier->WaitForNotification(10000), 0UL);
    EXPECT_FALSE(notifier->IsNotificationEnabled());
    EXPECT_FALSE(notifier->IsNotificationPending());
    EXPECT_FALSE(notifier->IsOpen()) << "the channel closes with the notification";
    EXPECT_EQ(Polls(), std::vector<unsigned long>{8}) << "one control request with an 8-byte answer";
    // Single-shot: a second wait has no event to wait on.
    EXPECT_EQ(notifier->WaitForNotification(0), static_cast<unsigned long>(E_FAIL));
    notifier.Release();  // the thread's last lines are written
    EXPECT_EQ(log.Count(L"(I0) PollForInterrupt received 8 bytes with first byte 5"), 1U);
    EXPECT_EQ(log.Count(L"(I0) PollForInterrupt Cancelled"), 0U);
}

TEST_F(UsbNotifier, AnInterruptRaisedWhileTheHostWaitsWakesIt)
{
    NotifierLog(L"notifier-wakes");
    HeldNotifier notifier(UsbDevice());
    ASSERT_EQ(notifier->EnableNotification(true), 0UL);
    unsigned long waited = 1;
    std::thread host([&] { waited = notifier->WaitForNotification(INFINITE); });
    ASSERT_TRUE(WaitForPolls(1));
    RaiseInterrupt(0x80);
    host.join();
    EXPECT_EQ(waited, 0UL);
}

TEST_F(UsbNotifier, AWaitThatRunsOutOfTimeGivesEAbortAndLeavesThePollRunning)
{
    NotifierLog(L"notifier-timeout");
    HeldNotifier notifier(UsbDevice());
    ASSERT_EQ(notifier->EnableNotification(true), 0UL);
    ASSERT_TRUE(WaitForPolls(1));
    EXPECT_EQ(notifier->WaitForNotification(50), static_cast<unsigned long>(E_ABORT));
    EXPECT_TRUE(notifier->IsNotificationEnabled());
    EXPECT_TRUE(notifier->IsNotificationPending());
    RaiseInterrupt(1);
    EXPECT_EQ(notifier->WaitForNotification(10000), 0UL);
    EXPECT_EQ(Polls().size(), 1U) << "the same request was answered";
}

TEST_F(UsbNotifier, AFirstReplyByteOfZeroOrAnEmptyReplyDoesNotFireTheEvent)
{
    doubles::ModuleLogFile& log = NotifierLog(L"notifier-zero");
    HeldNotifier notifier(UsbDevice());
    Event event;
    ASSERT_EQ(notifier->EnableNotification(event.Handle()), 0UL);
    Reply({0, 7, 7, 7, 7, 7, 7, 7});
    Reply({});
    ASSERT_TRUE(WaitForPolls(3)) << "asked again after each answer";
    EXPECT_FALSE(event.IsSet());
    EXPECT_TRUE(notifier->IsNotificationPending());
    EXPECT_EQ(notifier->EnableNotification(false), 0UL);
    EXPECT_TRUE(event.IsSet()) << "a cancelled poll wakes a waiter too";
    EXPECT_EQ(Polls(), (std::vector<unsigned long>{8, 8, 8}));
    // Read once the thread has ended: while a request is out it writes a
    // line every millisecond and holds the file for each.
    EXPECT_EQ(log.Count(L"(I7) PollForInterrupt received 8 bytes"), 1U);
    EXPECT_EQ(log.Count(L"(I7) PollForInterrupt received 0 bytes"), 2U) << "the empty answer and the cancelled request";
    EXPECT_EQ(log.Count(L"(I0) PollForInterrupt Cancelled"), 1U);
}

TEST_F(UsbNotifier, ACallersEventIsNotClosedWhenNotificationGoesOff)
{
    NotifierLog(L"notifier-callers-event");
    HeldNotifier notifier(UsbDevice());
    Event event;
    ASSERT_EQ(notifier->EnableNotification(event.Handle()), 0UL);
    ASSERT_TRUE(WaitForPolls(1));
    RaiseInterrupt(2);
    ASSERT_EQ(notifier->WaitForNotification(10000), 0UL);
    EXPECT_FALSE(notifier->IsNotificationEnabled());
    EXPECT_TRUE(ResetEvent(event.Handle())) << "the handle is still open: " << GetLastError();
    EXPECT_TRUE(SetEvent(event.Handle()));
    EXPECT_TRUE(event.IsSet());
}

TEST_F(UsbNotifier, AnEventMadeByEnablingIsClosedWhenNotificationGoesOff)
{
    NotifierLog(L"notifier-own-event");
    HeldNotifier notifier(UsbDevice());
    EventRecorder recorder(g_pKernelApi);
    HANDLE made = nullptr;
    {
        doubles::ApiOverride<QVWinApi::IKernelApi> seam(g_pKernelApi, recorder);
        ASSERT_EQ(notifier->EnableNotification(true), 0UL);
        made = recorder.made;
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(WaitForSingleObject(made, 0), static_cast<DWORD>(WAIT_TIMEOUT)) << "not set while the poll is out";
        ASSERT_TRUE(WaitForPolls(1));
        RaiseInterrupt(9);
        ASSERT_EQ(notifier->WaitForNotification(10000), 0UL);
        EXPECT_TRUE(recorder.closedMade);
    }
    SetLastError(0);
    EXPECT_EQ(WaitForSingleObject(made, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST_F(UsbNotifier, ANotifierAndAStreamHoldTheSameChannelTogether)
{
    NotifierLog(L"notifier-and-stream");
    Held<QVUSBDeviceConnection> stream;
    ASSERT_EQ(stream->Initialize(UsbDevice(), {FUNCTION_TYPE_CONFIG}), 0UL);
    ASSERT_EQ(stream->Open(nullptr), 0UL);
    HeldNotifier notifier(UsbDevice());
    ASSERT_EQ(notifier->EnableNotification(true), 0UL);
    EXPECT_TRUE(notifier->IsOpen());
    EXPECT_TRUE(Exists(LockName(ConfigPath())));
    EXPECT_TRUE(Exists(LockName(ConfigPath()) + L"Notifier"));
    // Each claim is real: a second notifier on the channel is refused.
    HeldNotifier second(UsbDevice());
    EXPECT_EQ(second->EnableNotification(true), static_cast<unsigned long>(E_FAIL));
    // The stream's traffic and the notifier's polls go side by side.
    ASSERT_TRUE(WaitForPolls(1));
    const char reply[] = "status";
    Printer().Supply(kConfig, reply, 6);
    unsigned long status = 1;
    EXPECT_EQ(ReadOnce(stream, 6, &status), "status");
    EXPECT_EQ(status, 0UL);
    RaiseInterrupt(4);
    EXPECT_EQ(notifier->WaitForNotification(10000), 0UL);
    EXPECT_FALSE(Exists(LockName(ConfigPath()) + L"Notifier"));
    EXPECT_TRUE(Exists(LockName(ConfigPath()))) << "the stream keeps its claim";
    stream->Close();
}

TEST_F(UsbNotifier, ACancelWakesAHostWaitingOnItsEvent)
{
    doubles::ModuleLogFile& log = NotifierLog(L"notifier-cancel-waiting");
    HeldNotifier notifier(UsbDevice());
    Event event;
    ASSERT_EQ(notifier->EnableNotification(event.Handle()), 0UL);
    DWORD waited = WAIT_FAILED;
    std::thread host([&] { waited = WaitForSingleObject(event.Handle(), 10000); });
    ASSERT_TRUE(WaitForPolls(1));
    EXPECT_EQ(notifier->EnableNotification(false), 0UL);
    host.join();
    EXPECT_EQ(waited, WAIT_OBJECT_0);
    EXPECT_EQ(log.Count(L"(I0) PollForInterrupt Cancelled"), 1U);
    EXPECT_FALSE(notifier->IsOpen());
    EXPECT_FALSE(Exists(LockName(ConfigPath()) + L"Notifier")) << "the claim is given back";
}

TEST_F(UsbNotifier, DisposingWhileThePollingThreadRunsStopsItAndGivesTheChannelBack)
{
    doubles::ModuleLogFile& log = NotifierLog(L"notifier-dispose");
    Event event;
    {
        HeldNotifier notifier(UsbDevice());
        ASSERT_EQ(notifier->EnableNotification(event.Handle()), 0UL);
        ASSERT_TRUE(WaitForPolls(1));
        EXPECT_TRUE(Exists(LockName(ConfigPath()) + L"Notifier"));
        notifier.Release();
    }
    EXPECT_EQ(log.Count(L"(I0) PollForInterrupt Cancelled"), 1U);
    EXPECT_TRUE(event.IsSet());
    EXPECT_FALSE(Exists(LockName(ConfigPath()) + L"Notifier"));
    // The channel is free for the next notifier.
    HeldNotifier next(UsbDevice());
    ASSERT_EQ(next->EnableNotification(true), 0UL);
    ASSERT_TRUE(WaitForPolls(2));
    RaiseInterrupt(1);
    EXPECT_EQ(next->WaitForNotification(10000), 0UL);
}

TEST_F(UsbNotifier, AnUnplugWhileArmedWakesTheHostAsAnInterruptWould)
{
    doubles::ModuleLogFile& log = NotifierLog(L"notifier-unplug");
    HeldNotifier notifier(UsbDevice());
    ASSERT_EQ(notifier->EnableNotification(true), 0UL);
    ASSERT_TRUE(WaitForPolls(1));
    ASSERT_TRUE(Device().Unplug(FUNCTION_TYPE_CONFIG));
    EXPECT_EQ(notifier->WaitForNotification(10000), 0UL);
    EXPECT_FALSE(notifier->IsNotificationEnabled());
    // Enabling again finds no channel behind the path.
    EXPECT_EQ(notifier->EnableNotification(true), static_cast<unsigned long>(E_FAIL));
    EXPECT_EQ(log.Count(L"(I7) GetOverlappedResult error: 1167"), 1U);
    EXPECT_EQ(log.Count(L"(I0) PollForInterrupt Cancelled"), 0U);
    ASSERT_TRUE(Device().Plug(FUNCTION_TYPE_CONFIG));
    EXPECT_EQ(notifier->EnableNotification(true), 0UL) << "found again once plugged back";
    ASSERT_TRUE(WaitForPolls(2));
    RaiseInterrupt(6);
    EXPECT_EQ(notifier->WaitForNotification(10000), 0UL);
}

TEST_F(UsbNotifier, ANotifierWithoutADeviceSaysSoAndCannotBeEnabled)
{
    doubles::ModuleLogFile& log = NotifierLog(L"notifier-no-device");
    HeldNotifier notifier(nullptr);
    EXPECT_EQ(log.Count(L"(##) Initialize failed"), 1U);
    EXPECT_EQ(notifier->EnableNotification(true), static_cast<unsigned long>(E_FAIL));
    EXPECT_FALSE(notifier->IsNotificationEnabled());
}

}  // namespace

}  // namespace usb_test
