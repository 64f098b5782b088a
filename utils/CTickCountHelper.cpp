#include "utils/CTickCountHelper.h"

#include <windows.h>

#include "winapi/IKernelApi.h"

namespace QVUtils {

CTickCountHelper::CTickCountHelper(unsigned long timeout)
    : CTickCountHelper(timeout, g_pKernelApi->GetTickCount())
{
}

CTickCountHelper::CTickCountHelper(unsigned long timeout, unsigned long start)
    : m_ulStart(start)
{
    if (timeout == 0xFFFFFFFFUL) {
        m_bInfinite = true;
    } else {
        m_ulEnd = m_ulStart + timeout;  // 32-bit wrap
        m_bWrapped = m_ulEnd < m_ulStart;
    }
}

bool CTickCountHelper::IsExpired() const
{
    return IsExpired(g_pKernelApi->GetTickCount());
}

bool CTickCountHelper::IsExpired(unsigned long now) const
{
    if (m_bInfinite) {
        return false;
    }
    if (!m_bWrapped) {
        return now >= m_ulEnd;
    }
    // Between the wrapped end and the start; the start tick itself is the
    // beginning of the wait, not its end.
    return now >= m_ulEnd && now < m_ulStart;
}

unsigned long CTickCountHelper::GetRemaining() const
{
    return GetRemaining(g_pKernelApi->GetTickCount());
}

unsigned long CTickCountHelper::GetRemaining(unsigned long now) const
{
    if (m_bInfinite) {
        return 0xFFFFFFFFUL;
    }
    if (IsExpired(now)) {
        return 0;
    }
    return m_ulEnd - now + (m_bWrapped ? 0 : 1);
}

}  // namespace QVUtils
