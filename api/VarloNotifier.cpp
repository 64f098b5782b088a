#include "api/VarloNotifier.h"

#include "iostack/VarloLoader.h"
#include "logging/LogTrace.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

VarloNotifier::VarloNotifier(const wchar_t* address)
    : m_pLoader(new VarloLoader()), m_address(address != nullptr ? address : L"")
{
}

VarloNotifier::~VarloNotifier()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::VarloNotifier::~VarloNotifier");
    if (m_bInterruptOpen) {
        m_pLoader->CloseInterrupt();
        m_bInterruptOpen = false;
    }
    // An event of the notifier's own goes with it.
    DisableNotification();
    delete m_pLoader;
}

unsigned long VarloNotifier::EnableNotification(HANDLE event)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::VarloNotifier::EnableNotification");
    return logScope.m_errorCode = Arm(event, false);
}

unsigned long VarloNotifier::EnableNotification(bool enable)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::VarloNotifier::EnableNotification");
    HANDLE event = nullptr;
    if (enable) {
        event = g_pKernelApi->CreateEventW(nullptr, TRUE, FALSE, nullptr);
    }
    return logScope.m_errorCode = Arm(event, true);
}

// Whatever was armed is cancelled first. Switching off, or an arming whose
// interrupt channel cannot be opened, succeeds only if the library
// confirmed a cancel.
unsigned long VarloNotifier::Arm(HANDLE event, bool owns)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::VarloNotifier::Arm");
    const bool cancelled = CancelNotification();
    const unsigned long refused = cancelled ? 0 : E_FAIL;
    if (event == nullptr || event == INVALID_HANDLE_VALUE) {
        return logScope.m_errorCode = refused;
    }
    if (!OpenInterrupt()) {
        // An event made for this arming has no one else to close it.
        if (owns) {
            g_pKernelApi->CloseHandle(event);
        }
        return logScope.m_errorCode = refused;
    }
    m_hEvent = event;
    m_bOwnsEvent = owns ? TRUE : FALSE;
    // The library may answer "pending" (997): it sets the event later.
    if (!m_pLoader->WaitForInterruptEvent(event) && GetLastError() != ERROR_IO_PENDING) {
        DisableNotification();
        return logScope.m_errorCode = E_FAIL;
    }
    return logScope.m_errorCode = 0;
}

bool VarloNotifier::OpenInterrupt()
{
    if (!m_bInterruptOpen) {
        m_bInterruptOpen = m_pLoader->OpenInterrupt(m_address.c_str());
    }
    return m_bInterruptOpen;
}

bool VarloNotifier::CancelNotification()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::VarloNotifier::CancelNotification");
    bool cancelled = false;
    if (IsNotificationEnabled()) {
        cancelled = m_pLoader->CancelInterrupt();
    }
    DisableNotification();
    return cancelled;
}

// The library's interrupt channel stays open.
void VarloNotifier::DisableNotification()
{
    if (IsNotificationEnabled()) {
        if (m_bOwnsEvent) {
            g_pKernelApi->CloseHandle(m_hEvent);
        }
        m_bOwnsEvent = FALSE;
        m_hEvent = INVALID_HANDLE_VALUE;
    }
}

unsigned long VarloNotifier::WaitForNotification(unsigned long timeoutMs)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::VarloNotifier::WaitForNotification");
    if (g_pKernelApi->WaitForSingleObject(m_hEvent, timeoutMs) != WAIT_OBJECT_0) {
        return logScope.m_errorCode = E_FAIL;
    }
    DisableNotification();
    return logScope.m_errorCode = 0;
}

bool VarloNotifier::IsNotificationEnabled()
{
    return m_hEvent != INVALID_HANDLE_VALUE;
}

bool VarloNotifier::IsNotificationPending()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::VarloNotifier::IsNotificationPending");
    if (!m_bInterruptOpen || !IsNotificationEnabled()) {
        return false;
    }
    if (g_pKernelApi->WaitForSingleObject(m_hEvent, 0) == WAIT_TIMEOUT) {
        return true;
    }
    DisableNotification();
    return false;
}

}  // namespace Orvane
