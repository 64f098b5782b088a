#include "utils/CWin32Exception.h"

namespace QVUtils {

namespace {

struct Text {
    const wchar_t* wide;
    const char* narrow;
};

Text TextOf(unsigned long code)
{
    switch (code) {
    case EXCEPTION_ACCESS_VIOLATION:
        return {L"Access violation", "Access violation"};
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
        return {L"Division by zero", "Division by zero"};
    default:
        return {L"Win32 exception", "Win32 exception"};
    }
}

}  // namespace

long CWin32Exception::s_lLiving = 0;

CWin32Exception::CWin32Exception(unsigned long code, void* address)
    : m_pMessage(TextOf(code).wide), m_pAddress(address), m_ulCode(code)
{
    ++s_lLiving;
}

CWin32Exception::CWin32Exception(const CWin32Exception& other)
    : std::exception(other), m_pMessage(other.m_pMessage), m_pAddress(other.m_pAddress),
      m_ulCode(other.m_ulCode)
{
    ++s_lLiving;
}

CWin32Exception::~CWin32Exception()
{
    --s_lLiving;
}

const char* CWin32Exception::what() const noexcept
{
    return TextOf(m_ulCode).narrow;
}

const wchar_t* CWin32Exception::GetMessage() const
{
    return m_pMessage;
}

}  // namespace QVUtils
