#pragma once

#include <windows.h>

#include <string>

namespace QVDeviceManager {

// Holds the machine's lock of one record file while it lives, so that two
// processes saving the same device write their keys one after the other.
// The lock is a named mutex after the file's name; one left by a process
// that died is taken over.
class CRecordLock {
public:
    explicit CRecordLock(const std::wstring& path);
    ~CRecordLock();
    CRecordLock(const CRecordLock&) = delete;
    CRecordLock& operator=(const CRecordLock&) = delete;

private:
    HANDLE m_hMutex = nullptr;
    bool m_bOwned = false;
};

}  // namespace QVDeviceManager
