#include "iostack/CIOCommon.h"

#include <algorithm>
#include <cstdint>

#include "devicemanager/DeviceManagerTypes.h"
#include "logging/LogTrace.h"
#include "utils/CProgressAggregator.h"
#include "utils/CTickCountHelper.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace QVIOStack {

using namespace QVDeviceManager;
using namespace QVLogging;

namespace {

// The texts of a read and of a write.
struct TransferTexts {
    const wchar_t* invalidArgument;
    const wchar_t* immediate;
    const wchar_t* overlapped;
    const wchar_t* failed;
};

const TransferTexts kReadTexts = {
    L"Invalid argument, pBuffer = %d, pulBytesRead = %d",
    L"ReadFile(immediate) succeeded, *pulBytesRead = %d",
    L"ReadFile(overlapped) succeeded, *pulBytesRead = %d",
    L"ReadFile failed with %d",
};

const TransferTexts kWriteTexts = {
    L"Invalid argument, pBuffer = %d, pulBytesWritten = %d",
    L"WriteFile succeeded, pulBytesWritten = %d",
    L"WriteFile succeeded, pulBytesWritten = %d",
    L"WriteFile failed with %d",
};

// A pointer as the trace prints it with "%d": its low 32 bits.
int Low32(const void* pointer)
{
    return static_cast<int>(reinterpret_cast<uintptr_t>(pointer));
}

}  // namespace
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
    CloseTransferEvents();
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

unsigned long CIOCommon::GetOpenTimeout()
{
    QV_LOG_FUNCTION(g_pIOCommonLog, L"QVIOStack::CIOCommon::GetOpenTimeout");
    return m_openTimeout;
}

void CIOCommon::SetOpenTimeout(unsigned long ms)
{
    QV_LOG_FUNCTION(g_pIOCommonLog, L"QVIOStack::CIOCommon::SetOpenTimeout");
    m_openTimeout = ms;
}

unsigned long CIOCommon::GetReadTimeout()
{
    QV_LOG_FUNCTION(g_pIOCommonLog, L"QVIOStack::CIOCommon::GetReadTimeout");
    return m_readTimeout;
}

void CIOCommon::SetReadTimeout(unsigned long ms)
{
    QV_LOG_FUNCTION(g_pIOCommonLog, L"QVIOStack::CIOCommon::SetReadTimeout");
    m_readTimeout = ms;
}

unsigned long CIOCommon::GetWriteTimeout()
{
    QV_LOG_FUNCTION(g_pIOCommonLog, L"QVIOStack::CIOCommon::GetWriteTimeout");
    return m_writeTimeout;
}

void CIOCommon::SetWriteTimeout(unsigned long ms)
{
    QV_LOG_FUNCTION(g_pIOCommonLog, L"QVIOStack::CIOCommon::SetWriteTimeout");
    m_writeTimeout = ms;
}

unsigned long CIOCommon::GetReadWaitInterval()
{
    QV_LOG_FUNCTION(g_pIOCommonLog, L"QVIOStack::CIOCommon::GetReadWaitInterval");
    return m_readWaitInterval;
}

void CIOCommon::SetReadWaitInterval(unsigned long ms)
{
    QV_LOG_FUNCTION(g_pIOCommonLog, L"QVIOStack::CIOCommon::SetReadWaitInterval");
    m_readWaitInterval = ms;
}

unsigned long CIOCommon::GetWriteWaitInterval()
{
    QV_LOG_FUNCTION(g_pIOCommonLog, L"QVIOStack::CIOCommon::GetWriteWaitInterval");
    return m_writeWaitInterval;
}

void CIOCommon::SetWriteWaitInterval(unsigned long ms)
{
    QV_LOG_FUNCTION(g_pIOCommonLog, L"QVIOStack::CIOCommon::SetWriteWaitInterval");
    m_writeWaitInterval = ms;
}

unsigned long CIOCommon::Read(void* buffer, unsigned long size, unsigned long* bytesRead,
                              QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION_PARAMS(g_pIOCommonLog, L"QVIOStack::CIOCommon::Read", L"ulBufferSize=%lu", size);
    logScope.m_errorCode = Transfer(logScope, Direction::Read, buffer, size, bytesRead, progress);
    return logScope.m_errorCode;
}

unsigned long CIOCommon::Write(const void* buffer, unsigned long size, unsigned long* bytesWritten,
                               QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pIOCommonLog, L"QVIOStack::CIOCommon::Write");
    logScope.m_errorCode = Transfer(logScope, Direction::Write, const_cast<void*>(buffer), size,
                                    bytesWritten, progress);
    return logScope.m_errorCode;
}

// One read or write: posted again while it completes with zero bytes, each
// pending attempt waited on in slices so that the progress object is asked at
// least once per wait interval, and cancelled when the time is up. A
// transfer that finished just before its cancellation counts as done.
unsigned long CIOCommon::Transfer(CLogFunction& logScope, Direction direction, void* buffer,
                                  unsigned long size, unsigned long* count,
                                  QVUtils::IProgress* progress)
{
    const bool reading = direction == Direction::Read;
    const TransferTexts& texts = reading ? kReadTexts : kWriteTexts;
    CProgressAggregator localProgress(progress, 1);

    if (buffer == nullptr || count == nullptr) {
        QV_LOG_ERROR(texts.invalidArgument, Low32(buffer), Low32(count));
        return IOError_Fail;
    }
    *count = 0;
    if (m_hIO == INVALID_HANDLE_VALUE) {
        QV_LOG_ERROR(L"m_hIO == INVALID_HANDLE_VALUE, returning IOError_Fail");
        return IOError_Fail;
    }
    if (!reading && !localProgress.Step(0UL)) {
        QV_LOG_LINE(kCategoryInfo, L"Operation was aborted before CIOCommon::Write");
        return IOError_Aborted;
    }

    HANDLE event = TakeTransferEvent(direction);
    if (event == nullptr) {
        QV_LOG_ERROR(L"CreateEvent failed with err = %d", static_cast<int>(GetLastError()));
        return IOError_Fail;
    }
    OVERLAPPED overlapped{};
    overlapped.hEvent = event;

    CTickCountHelper timer(reading ? m_readTimeout : m_writeTimeout);
    const unsigned long waitInterval = reading ? m_readWaitInterval : m_writeWaitInterval;
    auto timeIsUp = [&timer] { return !timer.IsInfinite() && timer.IsExpired(); };
    unsigned long status = 0;
    bool cancelFailed = false;

    do {
        DWORD done = 0;
        if (StartTransfer(direction, buffer, size, &done, &overlapped)) {
            *count = done;
            QV_LOG_INFO(4, texts.immediate, static_cast<int>(done));
        } else if (GetLastError() == ERROR_IO_PENDING) {
            bool complete = false;
            do {
                const DWORD slice = std::min(waitInterval, timer.GetRemaining());
                const DWORD waited = g_pKernelApi->WaitForSingleObject(event, slice);
                if (waited == WAIT_OBJECT_0) {
                    complete = true;
                    if (GetTransferResult(&overlapped, &done, TRUE)) {
                        *count = done;
                        QV_LOG_INFO(4, texts.overlapped, static_cast<int>(done));
                    } else {
                        QV_LOG_ERROR(texts.failed, static_cast<int>(GetLastError()));
                        status = IOError_Fail;
                    }
                } else if (waited != WAIT_TIMEOUT) {
                    QV_LOG_ERROR(L"WaitForSingleObject failed with %d", static_cast<int>(waited));
                    status = IOError_Fail;
                }
                if (!localProgress.Step(0UL)) {
                    status = IOError_Aborted;
                }
                if (timeIsUp()) {
                    break;
                }
            } while (status == 0 && !complete);

            if (!complete) {
                if (!CancelIo(m_hIO)) {
                    QV_LOG_ERROR(L"CancelIO failed with error (%d)", static_cast<int>(GetLastError()));
                    cancelFailed = true;
                } else if (GetTransferResult(&overlapped, &done, TRUE)) {
                    // The cancelled transfer settles at once; waiting for it
                    // keeps the buffer and OVERLAPPED ours when this returns.
                    // It finished at the last moment: nothing is lost.
                    status = 0;
                    *count = done;
                    if (!reading) {
                        QV_LOG_INFO(4, texts.overlapped, static_cast<int>(done));
                    }
                } else if (GetLastError() != ERROR_OPERATION_ABORTED) {
                    QV_LOG_ERROR(L"GetOverlappedResult returned (%d)", static_cast<int>(GetLastError()));
                }
                g_pKernelApi->ResetEvent(event);
            }
            // A transfer that completed leaves its event signalled, as one
            // that finished at once does; the next start resets it.
        } else {
            QV_LOG_ERROR(texts.failed, static_cast<int>(GetLastError()));
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
    if (cancelFailed) {
        // The transfer may still finish and set the event later: it must
        // not serve another.
        g_pKernelApi->CloseHandle(event);
    } else {
        GiveBackTransferEvent(direction, event);
    }
    // The bytes moved, visible in a detailed log.
    QV_LOG_BYTES(kCategoryInfo | 7, L"\r\n%S", buffer, *count);
    return status;
}

// Each transfer needs an event to wait on in slices. A fresh one per call
// costs two more platform calls (make and close) than the transfer itself,
// which under some platforms are server round trips, so the event is kept
// per direction and reused: starting a transfer resets an event that an
// earlier one left signalled, a cancelled wait ends with a reset, and an
// event whose transfer could not be cancelled is never reused. Two
// transfers of one direction at once (a caller that does not lock) find the
// slot empty, and the second makes a fresh event, as every call once did.
HANDLE CIOCommon::TakeTransferEvent(Direction direction)
{
    HANDLE event = m_transferEvents[static_cast<int>(direction)].exchange(nullptr);
    if (event == nullptr) {
        event = g_pKernelApi->CreateEventW(nullptr, TRUE, FALSE, nullptr);
    }
    return event;
}

void CIOCommon::GiveBackTransferEvent(Direction direction, HANDLE event)
{
    HANDLE empty = nullptr;
    if (!m_transferEvents[static_cast<int>(direction)].compare_exchange_strong(empty, event)) {
        g_pKernelApi->CloseHandle(event);
    }
}

void CIOCommon::CloseTransferEvents()
{
    for (std::atomic<HANDLE>& slot : m_transferEvents) {
        if (HANDLE event = slot.exchange(nullptr)) {
            g_pKernelApi->CloseHandle(event);
        }
    }
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
    QV_LOG_FUNCTION(g_pIOCommonLog, L"QVIOStack::CIOCommon::MapDeviceManagerError");
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
