#pragma once

#include <string>

#include "orvane64.h"
#include "utils/IDisposableImpl.h"

namespace Orvane {

class VarloLoader;

// Device interrupts through the family's component library: the library
// opens the device's interrupt channel once and sets the host's event
// itself. The channel stays open until the notifier goes.
class VarloNotifier : public Notifier, public IDisposableImpl {
public:
    // `address`: the port text given to the library; null is empty.
    explicit VarloNotifier(const wchar_t* address);
    ~VarloNotifier() override;

    unsigned long EnableNotification(HANDLE event) override;
    unsigned long EnableNotification(bool enable) override;
    // 0 once the event is set (notification is off then); E_FAIL otherwise,
    // a time-out too.
    unsigned long WaitForNotification(unsigned long timeoutMs) override;
    bool IsNotificationEnabled() override;
    bool IsNotificationPending() override;

    const char* GetRuntimeTypeName() const override { return QVUtils::UndecoratedTypeName(typeid(*this)); }

private:
    unsigned long Arm(HANDLE event, bool owns);
    bool OpenInterrupt();
    // The library's answer to the cancel; false when nothing was armed.
    bool CancelNotification();
    void DisableNotification();

    VarloLoader* m_pLoader;
    std::wstring m_address;
    bool m_bInterruptOpen = false;
    HANDLE m_hEvent = INVALID_HANDLE_VALUE;
    BOOL m_bOwnsEvent = FALSE;
};

}  // namespace Orvane
