#pragma once

#include <windows.h>

#include "winapi/CKernelApi.h"

namespace doubles {

// A kernel whose tick count and local time the test sets, and which counts
// the waits on kernel objects; everything else reaches the platform. With
// `m_bFixedTicks` clear the tick count is the platform's.
class LogClock : public QVWinApi::CKernelApi {
public:
    DWORD GetTickCount() override
    {
        return m_bFixedTicks ? m_ulTicks : QVWinApi::CKernelApi::GetTickCount();
    }
    void GetLocalTime(LPSYSTEMTIME lpSystemTime) override { *lpSystemTime = m_localTime; }
    DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds) override
    {
        ++m_ulWaits;
        return QVWinApi::CKernelApi::WaitForSingleObject(hHandle, dwMilliseconds);
    }

    bool m_bFixedTicks = true;
    DWORD m_ulTicks = 1000000;
    SYSTEMTIME m_localTime = {2024, 3, 2, 5, 7, 8, 9, 0};
    unsigned long m_ulWaits = 0;
};

}  // namespace doubles
