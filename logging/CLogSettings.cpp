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

}  // namespace QVLogging
