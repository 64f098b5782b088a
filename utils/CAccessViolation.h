#pragma once

#include "utils/CWin32Exception.h"

namespace QVUtils {

// An access violation: whether the faulting access was a write, and the
// address it tried to reach.
class CAccessViolation : public CWin32Exception {
public:
    CAccessViolation(void* address, bool write, void* faultAddress);

    bool IsWrite() const { return m_bWrite; }
    void* GetFaultAddress() const { return m_pFaultAddress; }

private:
    bool m_bWrite;
    void* m_pFaultAddress;
};

}  // namespace QVUtils
