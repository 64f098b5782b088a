#pragma once

#include <windows.h>

namespace QVLogging {

// Keeps the thread's last error across a logging call.
class CLastErrorRestore {
public:
    CLastErrorRestore() : m_ulLastError(::GetLastError()) {}
    virtual ~CLastErrorRestore() { ::SetLastError(m_ulLastError); }
    CLastErrorRestore(const CLastErrorRestore&) = delete;
    CLastErrorRestore& operator=(const CLastErrorRestore&) = delete;

private:
    unsigned long m_ulLastError;
};

}  // namespace QVLogging
