#pragma once

#include <windows.h>

#include "winapi/IKernelApi.h"

namespace QVLogging {

// Holds a critical section for the life of the object.
class CLogLock {
public:
    explicit CLogLock(CRITICAL_SECTION& section) : m_section(section)
    {
        g_pKernelApi->EnterCriticalSection(&m_section);
    }
    ~CLogLock() { g_pKernelApi->LeaveCriticalSection(&m_section); }
    CLogLock(const CLogLock&) = delete;
    CLogLock& operator=(const CLogLock&) = delete;

private:
    CRITICAL_SECTION& m_section;
};

}  // namespace QVLogging
