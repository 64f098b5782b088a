#include "utils/CProgress.h"

namespace QVUtils {

bool CProgress::Step(double percent, unsigned long code, ...)
{
    if (m_bContinue) {
        m_dPercent = percent;
        va_list args;
        va_start(args, code);
        m_bContinue = OnStep(m_dPercent, code, args);
        va_end(args);
    }
    return m_bContinue;
}

bool CProgress::Step(unsigned long code, ...)
{
    if (m_bContinue) {
        va_list args;
        va_start(args, code);
        m_bContinue = OnStep(m_dPercent, code, args);
        va_end(args);
    }
    return m_bContinue;
}

unsigned long CProgress::Inhibit(bool inhibit)
{
    const unsigned long before = m_ulInhibit;
    if (inhibit) {
        ++m_ulInhibit;
    } else if (m_ulInhibit != 0) {
        --m_ulInhibit;
    }
    return before;
}

unsigned long CProgress::GetInhibit()
{
    return m_ulInhibit;
}

}  // namespace QVUtils
