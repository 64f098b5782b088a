#include "utils/CAccessViolation.h"

namespace QVUtils {

CAccessViolation::CAccessViolation(void* address, bool write, void* faultAddress)
    : CWin32Exception(EXCEPTION_ACCESS_VIOLATION, address), m_bWrite(write),
      m_pFaultAddress(faultAddress)
{
}

}  // namespace QVUtils
