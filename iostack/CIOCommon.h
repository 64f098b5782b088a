#pragma once

#include <winsock2.h>
#include <windows.h>

#include <atomic>

#include "iostack/IDeviceConnection.h"
#include "iostack/IOStatus.h"

namespace QVLogging {
class CLogFunction;
}

namespace QVIOStack {

// The common base of the connections: handle, timeouts, locks, and one
// overlapped read and write that work on any handle that can carry a
// transfer which may finish later.
class CIOCommon : public IDeviceConnection {
public:
    CIOCommon(unsigned long openTimeout, unsigned long readTimeout, unsigned long writeTimeout);
    ~CIOCommon() override;
    CIOCommon(const CIOCommon&) = delete;
    CIOCommon& operator=(const CIOCommon&) = delete;

    void LockRead() override;
    void UnlockRead() override;
    void LockWrite() override;
    void UnlockWrite() override;
    unsigned long Read(void* buffer, unsigned long size, unsigned long* bytesRead,
                       QVUtils::IProgress* progress) override;
    unsigned long Write(const void* buffer, unsigned long size, unsigned long* bytesWritten,
                        QVUtils::IProgress* progress) override;
    unsigned long GetOpenTimeout() override;
    void SetOpenTimeout(unsigned long ms) override;
    unsigned long GetReadTimeout() override;
    void SetReadTimeout(unsigned long ms) override;
    unsigned long GetWriteTimeout() override;
    void SetWriteTimeout(unsigned long ms) override;
    unsigned long GetReadWaitInterval() override;
    void SetReadWaitInterval(unsigned long ms) override;
    unsigned long GetWriteWaitInterval() override;
    void SetWriteWaitInterval(unsigned long ms) override;

    // Maps a device manager status met while opening to an I/O status.
    virtual unsigned long MapDeviceManagerError(unsigned long deviceManagerStatus);

protected:
    enum class Direction { Read, Write };

    // The transfer primitive: start a read or write on m_hIO that may finish
    // later (TRUE: finished at once; FALSE with ERROR_IO_PENDING: running),
    // and learn its outcome, waiting for it or not. Files and pipes use
    // ReadFile/WriteFile; a socket overrides with its own calls.
    virtual BOOL StartTransfer(Direction direction, void* buffer, DWORD size, DWORD* done,
                               OVERLAPPED* overlapped);
    virtual BOOL GetTransferResult(OVERLAPPED* overlapped, DWORD* done, BOOL wait);
    // Closes the events kept for the transfers; a transfer under way keeps
    // its own and closes it when it ends.
    void CloseTransferEvents();

    unsigned long m_openTimeout;
    unsigned long m_readTimeout;
    unsigned long m_writeTimeout;
    unsigned long m_readWaitInterval = 1000;
    unsigned long m_writeWaitInterval = 1000;
    long m_lSessionCount = 0;
    HANDLE m_hIO = INVALID_HANDLE_VALUE;
    HANDLE m_hFailEvent = INVALID_HANDLE_VALUE;
    CRITICAL_SECTION m_readLock;
    CRITICAL_SECTION m_writeLock;
    CRITICAL_SECTION m_openLock;

private:
    // The event of one transfer: the one kept for its direction, or a fresh
    // one when another transfer of that direction holds it (null if none
    // can be made). Given back when the transfer ends; closed instead when
    // its cancellation failed, or when one is kept already.
    HANDLE TakeTransferEvent(Direction direction);
    void GiveBackTransferEvent(Direction direction, HANDLE event);

    unsigned long Transfer(QVLogging::CLogFunction& logScope, Direction direction, void* buffer,
                           unsigned long size, unsigned long* count, QVUtils::IProgress* progress);

    // One kept event per direction, so that a read and a write at once each
    // have one; null while none is kept.
    std::atomic<HANDLE> m_transferEvents[2] = {nullptr, nullptr};
};

}  // namespace QVIOStack
