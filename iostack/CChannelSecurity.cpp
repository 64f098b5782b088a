#include "iostack/CChannelSecurity.h"

#include <aclapi.h>

#include "logging/LogTrace.h"
#include "winapi/IKernelApi.h"

namespace QVIOStack {

namespace {

// The size of a security descriptor in absolute form on this platform.
constexpr SIZE_T kDescriptorSize = 40;

int LastError()
{
    return static_cast<int>(GetLastError());
}

}  // namespace

CChannelSecurity::CChannelSecurity(QVLogging::CLogFunction& logScope, DWORD accessMask, bool ownDescriptor)
{
    SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
    if (!AllocateAndInitializeSid(&world, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0, &m_sid)) {
        m_sid = nullptr;
        QV_LOG_ERROR(L"AllocateandINitializeSid failed with error (%d)", LastError());
        return;
    }
    EXPLICIT_ACCESSW access{};
    access.grfAccessPermissions = accessMask;
    access.grfAccessMode = SET_ACCESS;
    access.grfInheritance = NO_INHERITANCE;
    access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    access.Trustee.TrusteeType = TRUSTEE_IS_WELL_KNOWN_GROUP;
    access.Trustee.ptstrName = static_cast<LPWSTR>(m_sid);
    const DWORD aclStatus = SetEntriesInAclW(1, &access, nullptr, &m_acl);
    if (aclStatus != ERROR_SUCCESS) {
        m_acl = nullptr;
        QV_LOG_ERROR(L"SetEntriesinACL failed with error (%d)", static_cast<int>(aclStatus));
        return;
    }
    PSECURITY_DESCRIPTOR descriptor = &m_local;
    if (ownDescriptor) {
        m_allocated = g_pKernelApi->LocalAlloc(LPTR, kDescriptorSize);
        if (m_allocated == nullptr) {
            QV_LOG_ERROR(L"LocalAlloc failed with error (%d)", LastError());
            return;
        }
        descriptor = m_allocated;
    }
    if (!InitializeSecurityDescriptor(descriptor, SECURITY_DESCRIPTOR_REVISION)) {
        QV_LOG_ERROR(L"InitializeSecurityDescriptor failed with error (%d)", LastError());
        return;
    }
    if (!SetSecurityDescriptorDacl(descriptor, TRUE, m_acl, FALSE)) {
        QV_LOG_ERROR(L"SetSecurityDescriptorDacl failed with error (%d)", LastError());
        return;
    }
    m_attributes.nLength = sizeof(m_attributes);
    m_attributes.lpSecurityDescriptor = descriptor;
    m_attributes.bInheritHandle = FALSE;
    m_ready = true;
}

CChannelSecurity::~CChannelSecurity()
{
    if (m_allocated != nullptr) {
        g_pKernelApi->LocalFree(m_allocated);
    }
    if (m_acl != nullptr) {
        g_pKernelApi->LocalFree(m_acl);
    }
    if (m_sid != nullptr) {
        FreeSid(m_sid);
    }
}

}  // namespace QVIOStack
