#pragma once

#include "iostack/CIOUSB.h"
#include "orvane64.h"

namespace Orvane {

// Device interrupts of a USB device: the notifier is itself a connection to
// the device's configuration channel, and while armed a thread of its own
// asks the device with a control request until one answer reports an
// interrupt. The host's event is then set, once: a notification fires a
// single time and has to be enabled again.
class QVUSBNotifier : public Notifier, public virtual QVIOStack::CIOUSB {
public:
    explicit QVUSBNotifier(QVDeviceManager::IDevice* device);
    ~QVUSBNotifier() override;

    // Arms with the caller's event, which stays the caller's to close.
    unsigned long EnableNotification(HANDLE event) override;
    // True arms with an event of the notifier's own; false stops the poll.
    unsigned long EnableNotification(bool enable) override;
    // 0 once the event is set (notification is off then), E_ABORT when the
    // time runs out, the poll still running.
    unsigned long WaitForNotification(unsigned long timeoutMs) override;
    bool IsNotificationEnabled() override;
    // True while a poll is still out; false once it has fired.
    bool IsNotificationPending() override;

    // The notifier's claim of a channel is a name of its own, so that a
    // stream on the same channel is not refused.
    unsigned long LockChannelObject(const std::wstring& name) override;

    // One counter, the connection's, behind both interfaces.
    unsigned long AddRef() override { return CIOUSB::AddRef(); }
    unsigned long AddRef() const override { return CIOUSB::AddRef(); }
    unsigned long Dispose() override { return CIOUSB::Dispose(); }
    unsigned long Dispose() const override { return CIOUSB::Dispose(); }
    const char* GetRuntimeTypeName() const override { return QVUtils::UndecoratedTypeName(typeid(*this)); }

private:
    unsigned long Arm(HANDLE event, bool owns);
    // Stops the thread; true if it ended because it was told to.
    bool CancelNotification();
    void DisableNotification();
    static DWORD WINAPI PollForInterrupt(void* self);
    DWORD Poll();

    HANDLE m_hEvent = nullptr;
    BOOL m_bOwnsEvent = FALSE;
    HANDLE m_hThread = nullptr;
    volatile LONG m_cancel = 0;
};

}  // namespace Orvane
