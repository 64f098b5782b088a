#pragma once

#include <windows.h>

namespace QVLogging {
class CLogFunction;
}

namespace QVIOStack {

// The security attributes of a channel's named objects: a list that grants
// Everyone the given access. Each step that fails is written into the
// caller's scope and leaves the attributes null; what was made is freed
// with the object.
class CChannelSecurity {
public:
    // `ownDescriptor`: the descriptor from the local heap, or kept inside.
    CChannelSecurity(QVLogging::CLogFunction& logScope, DWORD accessMask, bool ownDescriptor);
    ~CChannelSecurity();
    CChannelSecurity(const CChannelSecurity&) = delete;
    CChannelSecurity& operator=(const CChannelSecurity&) = delete;

    // Null when a step failed.
    SECURITY_ATTRIBUTES* Attributes() { return m_ready ? &m_attributes : nullptr; }

private:
    PSID m_sid = nullptr;
    PACL m_acl = nullptr;
    PSECURITY_DESCRIPTOR m_allocated = nullptr;
    SECURITY_DESCRIPTOR m_local{};
    SECURITY_ATTRIBUTES m_attributes{};
    bool m_ready = false;
};

}  // namespace QVIOStack
