#include "logging/CLogSettings.h"

#include "logging/LogFlags.h"

namespace QVLogging {

bool CLogSettings::Passes(unsigned long word) const
{
    if ((m_categories & word) == 0) {
        return false;
    }
    return (word & kCategoryInfo) == 0 || m_detailLevel >= (word & kCategoryDetailMask);
}

unsigned long CLogSettings::SizeLimit() const
{
    return (m_options & kOptionSizeLimitMask) * 1024;
}

}  // namespace QVLogging
