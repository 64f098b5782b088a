#include "api/QVUSBDeviceConnection.h"

#include "iostack/CChannelSecurity.h"
#include "iostack/IOStatus.h"
#include "logging/LogTrace.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

using QVIOStack::IOError_Busy;

namespace {

constexpr unsigned long kUSBOpenTimeout = 20000;
constexpr DWORD kWaitEventAccess = 0x1F0003;

int LastError()
{
    return static_cast<int>(GetLastError());
}

class HandleClosedAtEnd {
public:
    explicit HandleClosedAtEnd(HANDLE handle) : m_handle(handle) {}
    ~HandleClosedAtEnd()
    {
        if (m_handle != nullptr) {
            g_pKernelApi->CloseHandle(m_handle);
        }
    }
    HandleClosedAtEnd(const HandleClosedAtEnd&) = delete;
    HandleClosedAtEnd& operator=(const HandleClosedAtEnd&) = delete;

private:
    HANDLE m_handle;
};

}  // namespace

QVUSBDeviceConnection::QVUSBDeviceConnection()
{
    m_openTimeout = kUSBOpenTimeout;
}

QVUSBDeviceConnection::~QVUSBDeviceConnection()
{
    Cleanup();
    CloseWaitEvent();
}

void QVUSBDeviceConnection::CloseWaitEvent()
{
    if (m_hWaitEvent != nullptr) {
        g_pKernelApi->CloseHandle(m_hWaitEvent);
        m_hWaitEvent = nullptr;
    }
}

// The first claimant makes the wait event and owns the channel; a later one
// finds it, waits until the owner hands the channel over, and claims it then.
unsigned long QVUSBDeviceConnection::LockChannelObject(const std::wstring& name)
{
    QV_LOG_FUNCTION(g_pIOUSBLog, L"Orvane::QVUSBDeviceConnection::LockChannelObject");
    // This claim replaces the wait event of the object's previous claim. That
    // handle goes when the claim is over: until then it keeps the event in
    // being for this claim to find, wait on and open again.
    const HandleClosedAtEnd replaced(m_hWaitEvent);
    QVIOStack::CChannelSecurity security(logScope, kWaitEventAccess, false);
    if (security.Attributes() == nullptr) {
        return logScope.m_errorCode = IOError_Busy;
    }
    const std::wstring waitName = name + L"Wait";
    m_hWaitEvent = g_pKernelApi->CreateEventW(security.Attributes(), FALSE, FALSE, waitName.c_str());
    const DWORD created = GetLastError();
    if (m_hWaitEvent != nullptr && created != ERROR_ALREADY_EXISTS) {
        QV_LOG_INFO(0, L"CreateEvent succeeded");
        return logScope.m_errorCode = CIOUSB::LockChannelObject(name);
    }
    if (m_hWaitEvent == nullptr) {
        QV_LOG_ERROR(L"CreateEvent failed with error %d", static_cast<int>(created));
        m_hWaitEvent = g_pKernelApi->OpenEventW(SYNCHRONIZE, FALSE, waitName.c_str());
        if (m_hWaitEvent == nullptr) {
            QV_LOG_ERROR(L"OpenEvent failed with error %d", LastError());
        }
    } else {
        QV_LOG_INFO(0, L"CreateEvent failed with error ERROR_ALREADY_EXISTS");
    }
    if (m_hWaitEvent == nullptr) {
        return logScope.m_errorCode = IOError_Busy;
    }
    const unsigned long timeout = GetOpenTimeout();
    QV_LOG_INFO(0, L"Wait for %d ms", static_cast<int>(timeout));
    const DWORD waited = g_pKernelApi->WaitForSingleObject(m_hWaitEvent, timeout);
    CloseWaitEvent();
    if (waited == WAIT_FAILED) {
        QV_LOG_ERROR(L"WaitForSingleObject failed with error %d", LastError());
        return logScope.m_errorCode = IOError_Busy;
    }
    if (waited == WAIT_TIMEOUT) {
        QV_LOG_ERROR(L"Wait timed out after %d ms", static_cast<int>(timeout));
        return logScope.m_errorCode = IOError_Busy;
    }
    QV_LOG_INFO(0, L"Try OpenEvent again with EVENT_MODIFY_STATE");
    m_hWaitEvent = g_pKernelApi->OpenEventW(SYNCHRONIZE | EVENT_MODIFY_STATE, FALSE, waitName.c_str());
    if (m_hWaitEvent == nullptr) {
        QV_LOG_ERROR(L"OpenEvent failed with error %d", LastError());
        return logScope.m_errorCode = IOError_Busy;
    }
    QV_LOG_INFO(0, L"OpenEvent succeeded");
    return logScope.m_errorCode = CIOUSB::LockChannelObject(name);
}

// Gives the channel to one waiter, who goes first; the wait event stays open
// until the next claim replaces it or the object goes.
void QVUSBDeviceConnection::UnlockChannelObject()
{
    QV_LOG_FUNCTION(g_pIOUSBLog, L"Orvane::QVUSBDeviceConnection::UnlockChannelObject");
    CIOUSB::UnlockChannelObject();
    if (m_hWaitEvent != nullptr) {
        if (!g_pKernelApi->SetEvent(m_hWaitEvent)) {
            QV_LOG_ERROR(L"SetEvent failed with error %d", LastError());
        }
        g_pKernelApi->Sleep(1);
    }
}

}  // namespace Orvane
