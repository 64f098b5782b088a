#pragma once

#include <windows.h>

#include "winapi/CKernelApi.h"

namespace doubles {

// A kernel that counts the files opened and the sleeps taken, so that a test
// can tell that something was not even tried, without timing it. Everything
// reaches the platform.
class FileOpenCounter : public QVWinApi::CKernelApi {
public:
    HANDLE CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                       LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
                       DWORD dwFlagsAndAttributes, HANDLE hTemplateFile) override
    {
        ++m_ulOpens;
        return QVWinApi::CKernelApi::CreateFileW(lpFileName, dwDesiredAccess, dwShareMode,
                                                 lpSecurityAttributes, dwCreationDisposition,
                                                 dwFlagsAndAttributes, hTemplateFile);
    }
    void Sleep(DWORD dwMilliseconds) override
    {
        ++m_ulSleeps;
        QVWinApi::CKernelApi::Sleep(dwMilliseconds);
    }

    unsigned long m_ulOpens = 0;
    unsigned long m_ulSleeps = 0;
};

}  // namespace doubles
