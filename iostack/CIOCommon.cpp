#include "iostack/CIOCommon.h"

#include <algorithm>

#include "devicemanager/DeviceManagerTypes.h"
#include "utils/CProgressAggregator.h"
#include "utils/CTickCountHelper.h"
#include "winapi/IKernelApi.h"

namespace QVIOStack {

using namespace QVDeviceManager;
using QVUtils::CProgressAggregator;
using QVUtils::CTickCountHelper;

CIOCommon::CIOCommon(unsigned long openTimeout, unsigned long readTimeout, unsigned long writeTimeout)
    : m_openTimeout(openTimeout), m_readTimeout(readTimeout), m_writeTimeout(writeTimeout)
{
    g_pKernelApi->InitializeCriticalSection(&m_readLock);
    g_pKernelApi->InitializeCriticalSection(&m_writeLock);
    g_pKernelApi->InitializeCriticalSection(&m_openLock);
}

CIOCommon::~CIOCommon()
{
    if (m_hFailEvent != INVALID_HANDLE_VALUE) {
        g_pKernelApi->CloseHandle(m_hFailEvent);
    }
    g_pKernelApi->DeleteCriticalSection(&m_readLock);
    g_pKernelApi->DeleteCriticalSection(&m_writeLock);
    g_pKernelApi->DeleteCriticalSection(&m_openLock);
}

void CIOCommon::LockRead() { g_pKernelApi->EnterCriticalSection(&m_readLock); }
void CIOCommon::UnlockRead() { g_pKernelApi->LeaveCriticalSection(&m_readLock); }
void CIOCommon::LockWrite() { g_pKernelApi->EnterCriticalSection(&m_writeLock); }
void CIOCommon::UnlockWrite() { g_pKernelApi->LeaveCriticalSection(&m_writeLock); }

unsigned long CIOCommon::GetOpenTimeout() { return m_openTimeout; }
void CIOCommon::SetOpenTimeout(unsigned long ms) { m_openTimeout = ms; }
unsigned long CIOCommon::GetReadTimeout() { return m_readTimeout; }
void CIOCommon::SetReadTimeout(unsigned long ms) { m_readTimeout = ms; }
unsigned long CIOCommon::GetWriteTimeout() { return m_writeTimeout; }
void CIOCommon::SetWriteTimeout(unsigned long ms) { m_writeTimeout = ms; }
unsigned long CIOCommon::GetReadWaitInterval() { return m_readWaitInterval; }
void CIOCommon::SetReadWaitInterval(unsigned long ms) { m_readWaitInterval = ms; }
unsigned long CIOCommon::GetWriteWaitInterval() { return m_writeWaitInterval; }
void CIOCommon::SetWriteWaitInterval(unsigned long ms) { m_writeWaitInterval = ms; }

unsigned long CIOCommon::Read(void* buffer, unsigned long size, unsigned long* bytesRead,
                              QVUtils::IProgress* progress)
{
    return Transfer(Direction::Read, buffer, size, bytesRead, progress);
}

unsigned long CIOCommon::Write(const void* buffer, unsigned long size, unsigned long* bytesWritten,
                               QVUtils::IProgress* progress)
{
    return Transfer(Direction::Write, const_cast<void*>(buffer), size, bytesWritten, progress);
}

// One read or write: posted again while it completes with zero bytes, each
// pending attempt waited on in slices so that the progress object is asked at
// least once per wait interval, and cancelled when the time is up. A
// transfer that finished just before its cancellation counts as done.
unsigned long CIOCommon::Transfer(Direction direction, void* buffer, unsigned long size,
                                  unsigned long* count, QVUtils::IProgress* progress)
{
    const bool reading = direction == Direction::Read;
    CProgressAggregator localProgress(progress, 1);

    if (buffer == nullptr || count == nullptr) {
        return IOError_Fail;
    }
    *count = 0;
    if (m_hIO == INVALID_HANDLE_VALUE) {
        return IOError_Fail;
    }
    if (!reading && !localProgress.Step(0UL)) {
        return IOError_Aborted;
    }

    HANDLE event = g_pKernelApi->CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (event == nullptr) {
        return IOError_Fail;
    }
    OVERLAPPED overlapped{};
    overlapped.hEvent = event;

    CTickCountHelper timer(reading ? m_readTimeout : m_writeTimeout);
    const unsigned long waitInterval = reading ? m_readWaitInterval : m_writeWaitInterval;
    auto timeIsUp = [&timer] { return !timer.IsInfinite() && timer.IsExpired(); };
    unsigned long status = 0;

    do {
        DWORD done = 0;
        if (StartTransfer(direction, buffer, size, &done, &overlapped)) {
            *count = done;
        } else if (GetLastError() == ERROR_IO_PENDING) {
            bool complete = false;
            do {
                const DWORD slice = std::min(waitInterval, timer.GetRemaining());
                const DWORD waited = g_pKernelApi->WaitForSingleObject(event, slice);
                if (waited == WAIT_OBJECT_0) {
                    complete = true;
                    if (GetTransferResult(&overlapped, &done, TRUE)) {
                        *count = done;
                    } else {
                        status = IOError_Fail;
                    }
                } else if (waited != WAIT_TIMEOUT) {
                    status = IOError_Fail;
                }
                if (!localProgress.Step(0UL)) {
                    status = IOError_Aborted;
                }
                if (timeIsUp()) {
                    break;
                }
            } while (status == 0 && !complete);

            if (!complete && CancelIo(m_hIO)) {
                // The cancelled transfer settles at once; waiting for it keeps
                // the buffer and OVERLAPPED ours when this call returns.
                if (GetTransferResult(&overlapped, &done, TRUE)) {
                    status = 0;
                    *count = done;
                }
            }
            g_pKernelApi->ResetEvent(event);
        } else {
            if (m_hFailEvent != INVALID_HANDLE_VALUE) {
                g_pKernelApi->SetEvent(m_hFailEvent);
            }
            status = IOError_Fail;
        }
        if (timeIsUp()) {
            break;
        }
    } while (status == 0 && *count == 0);

    if (timeIsUp() && *count == 0) {
        status = IOError_Timeout;
    } else if (status == 0 && *count == 0) {
        status = IOError_Timeout;
    }
    g_pKernelApi->CloseHandle(event);
    return status;
}

BOOL CIOCommon::StartTransfer(Direction direction, void* buffer, DWORD size, DWORD* done,
                              OVERLAPPED* overlapped)
{
    if (direction == Direction::Read) {
        return ReadFile(m_hIO, buffer, size, done, overlapped);
    }
    return g_pKernelApi->WriteFile(m_hIO, buffer, size, done, overlapped);
}

BOOL CIOCommon::GetTransferResult(OVERLAPPED* overlapped, DWORD* done, BOOL wait)
{
    return GetOverlappedResult(m_hIO, overlapped, done, wait);
}

unsigned long CIOCommon::MapDeviceManagerError(unsigned long deviceManagerStatus)
{
    switch (deviceManagerStatus) {
    case 0:
        return 0;
    case DM_E_WRONG_USB_ID:
    case DM_E_ACCESS_DENIED:
    case DM_E_DEVICE_GONE:
    case DM_E_NOT_FOUND:
        return IOError_DeviceGone;
    case DM_E_CANCELLED:
        return IOError_Aborted;
    default:
        return IOError_Fail;
    }
}

}  // namespace QVIOStack
