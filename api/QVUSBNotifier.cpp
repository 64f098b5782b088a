#include "api/QVUSBNotifier.h"

#include "devicemanager/DeviceManagerTypes.h"
#include "logging/LogTrace.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

namespace {

// The control request that asks the device for an interrupt: no input, an
// answer of up to 8 bytes.
constexpr DWORD kInterruptControlCode = 0x80002008;
constexpr DWORD kInterruptReplySize = 8;

bool StillWaiting(DWORD error)
{
    return error == ERROR_IO_PENDING || error == ERROR_IO_INCOMPLETE;
}

}  // namespace

QVUSBNotifier::QVUSBNotifier(QVDeviceManager::IDevice* device)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBNotifier::QVUSBNotifier");
    if (Initialize(device, {QVDeviceManager::FUNCTION_TYPE_CONFIG}) != 0) {
        QV_LOG_ERROR(L"Initialize failed");
    }
}

QVUSBNotifier::~QVUSBNotifier()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBNotifier::~QVUSBNotifier");
    CancelNotification();
}

unsigned long QVUSBNotifier::EnableNotification(HANDLE event)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBNotifier::EnableNotification");
    return logScope.m_errorCode = Arm(event, false);
}

unsigned long QVUSBNotifier::EnableNotification(bool enable)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBNotifier::EnableNotification");
    HANDLE event = nullptr;
    if (enable) {
        event = g_pKernelApi->CreateEventW(nullptr, TRUE, FALSE, nullptr);
    }
    return logScope.m_errorCode = Arm(event, true);
}

// Whatever ran is stopped first. Switching off, or an arming that cannot
// open the channel, succeeds only if a poll was stopped.
unsigned long QVUSBNotifier::Arm(HANDLE event, bool owns)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBNotifier::Arm");
    const bool cancelled = CancelNotification();
    const unsigned long refused = cancelled ? 0 : E_FAIL;
    if (event == nullptr) {
        return logScope.m_errorCode = refused;
    }
    if (!IsOpen() && Open(nullptr) != 0) {
        // An event made for this arming has no one else to close it.
        if (owns) {
            g_pKernelApi->CloseHandle(event);
        }
        return logScope.m_errorCode = refused;
    }
    m_hEvent = event;
    m_bOwnsEvent = owns ? TRUE : FALSE;
    InterlockedExchange(&m_cancel, 0);
    m_hThread = g_pKernelApi->CreateThread(nullptr, 0, PollForInterrupt, this, 0, nullptr);
    return logScope.m_errorCode = m_hThread != nullptr ? 0 : E_FAIL;
}

DWORD WINAPI QVUSBNotifier::PollForInterrupt(void* self)
{
    return static_cast<QVUSBNotifier*>(self)->Poll();
}

DWORD QVUSBNotifier::Poll()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBNotifier::PollForInterrupt");
    g_pKernelApi->ResetEvent(m_hEvent);
    OVERLAPPED overlapped{};
    overlapped.hEvent = g_pKernelApi->CreateEventW(nullptr, TRUE, FALSE, nullptr);
    unsigned char reply[kInterruptReplySize];
    DWORD error = ERROR_IO_PENDING;
    while (InterlockedCompareExchange(&m_cancel, 0, 0) == 0 && StillWaiting(error)) {
        LockWrite();
        LockRead();
        DWORD count = 0;
        BOOL answered = DeviceIoControl(m_hIO, kInterruptControlCode, nullptr, 0, reply, sizeof(reply), &count,
                                        &overlapped);
        if (!answered) {
            error = GetLastError();
            QV_LOG_INFO(7, L"DeviceIoControl error %u", static_cast<unsigned>(error));
            // The Sleep keeps this from spinning while the request is out.
            while (InterlockedCompareExchange(&m_cancel, 0, 0) == 0 && StillWaiting(error)) {
                g_pKernelApi->Sleep(1);
                if (GetOverlappedResult(m_hIO, &overlapped, &count, FALSE)) {
                    answered = TRUE;
                    break;
                }
                error = GetLastError();
                QV_LOG_INFO(7, L"GetOverlappedResult error: %u", static_cast<unsigned>(error));
            }
        }
        UnlockRead();
        UnlockWrite();
        if (answered && count > 0 && reply[0] != 0) {
            QV_LOG_INFO(0, L"PollForInterrupt received %u bytes with first byte %u", static_cast<unsigned>(count),
                        static_cast<unsigned>(reply[0]));
            error = 0;
            break;
        }
        QV_LOG_INFO(7, L"PollForInterrupt received %u bytes", static_cast<unsigned>(count));
    }
    if (InterlockedCompareExchange(&m_cancel, 0, 0) != 0) {
        QV_LOG_INFO(0, L"PollForInterrupt Cancelled");
        // The request ends before its buffer and OVERLAPPED on this stack go.
        DWORD count = 0;
        if (CancelIo(m_hIO)) {
            GetOverlappedResult(m_hIO, &overlapped, &count, TRUE);
        }
        error = ERROR_CANCELLED;
    }
    g_pKernelApi->CloseHandle(overlapped.hEvent);
    // Also after a cancellation or a hard error, so that a waiter wakes.
    g_pKernelApi->SetEvent(m_hEvent);
    return error;
}

bool QVUSBNotifier::CancelNotification()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBNotifier::CancelNotification");
    DWORD exitCode = 0;
    if (m_hThread != nullptr) {
        InterlockedExchange(&m_cancel, 1);
        g_pKernelApi->WaitForSingleObject(m_hThread, INFINITE);
        g_pKernelApi->GetExitCodeThread(m_hThread, &exitCode);
        g_pKernelApi->CloseHandle(m_hThread);
        m_hThread = nullptr;
    }
    DisableNotification();
    return exitCode == ERROR_CANCELLED;
}

void QVUSBNotifier::DisableNotification()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBNotifier::DisableNotification");
    if (IsNotificationEnabled()) {
        if (m_bOwnsEvent) {
            g_pKernelApi->CloseHandle(m_hEvent);
        }
        m_bOwnsEvent = FALSE;
        m_hEvent = nullptr;
    }
    if (IsOpen()) {
        Close();
    }
}

unsigned long QVUSBNotifier::WaitForNotification(unsigned long timeoutMs)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBNotifier::WaitForNotification");
    const DWORD waited = g_pKernelApi->WaitForSingleObject(m_hEvent, timeoutMs);
    if (waited == WAIT_OBJECT_0) {
        DisableNotification();
        return logScope.m_errorCode = 0;
    }
    return logScope.m_errorCode = waited == WAIT_TIMEOUT ? E_ABORT : E_FAIL;
}

bool QVUSBNotifier::IsNotificationEnabled()
{
    return m_hEvent != nullptr;
}

bool QVUSBNotifier::IsNotificationPending()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBNotifier::IsNotificationPending");
    if (!IsOpen() || !IsNotificationEnabled()) {
        return false;
    }
    if (g_pKernelApi->WaitForSingleObject(m_hEvent, 0) == WAIT_TIMEOUT) {
        return true;
    }
    DisableNotification();
    return false;
}

unsigned long QVUSBNotifier::LockChannelObject(const std::wstring& name)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBNotifier::LockChannelObject");
    return logScope.m_errorCode = CIOUSB::LockChannelObject(name + L"Notifier");
}

}  // namespace Orvane
