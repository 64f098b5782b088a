#pragma once

#include <windows.h>

#include <exception>

namespace QVUtils {

// A structured fault seen as a C++ exception. The process-wide count of
// living objects, copies included, tells function trace scopes that such an
// exception is on its way; it is not updated atomically.
class CWin32Exception : public std::exception {
public:
    CWin32Exception(unsigned long code, void* address);
    CWin32Exception(const CWin32Exception& other);
    CWin32Exception& operator=(const CWin32Exception&) = default;
    ~CWin32Exception() override;

    const char* what() const noexcept override;
    // "Win32 exception", "Access violation" or "Division by zero".
    virtual const wchar_t* GetMessage() const;

    unsigned long GetCode() const { return m_ulCode; }
    void* GetAddress() const { return m_pAddress; }
    static long GetLivingCount() { return s_lLiving; }

private:
    const wchar_t* m_pMessage;
    void* m_pAddress;
    unsigned long m_ulCode;

    static long s_lLiving;
};

}  // namespace QVUtils
