#include "resolver/ResolverLock.h"

#include <mutex>

#include "winapi/IKernelApi.h"

namespace Orvane {

namespace {

// The use count and the process's lock change together under this guard.
std::mutex g_useGuard;
long g_lUseCount = 0;
std::shared_ptr<ResolverLock> g_pProcessLock;

}  // namespace

ResolverLock::ResolverLock()
{
    g_pKernelApi->InitializeCriticalSection(&m_section);
}

ResolverLock::~ResolverLock()
{
    g_pKernelApi->DeleteCriticalSection(&m_section);
}

std::shared_ptr<ResolverLock> ResolverLock::Acquire()
{
    const std::lock_guard<std::mutex> guard(g_useGuard);
    if (++g_lUseCount == 1) {
        g_pProcessLock = std::make_shared<ResolverLock>();
    }
    return g_pProcessLock;
}

void ResolverLock::Release()
{
    const std::lock_guard<std::mutex> guard(g_useGuard);
    if (g_lUseCount > 0 && --g_lUseCount == 0) {
        g_pProcessLock.reset();
    }
}

void ResolverLock::Enter()
{
    g_pKernelApi->EnterCriticalSection(&m_section);
}

void ResolverLock::Leave()
{
    g_pKernelApi->LeaveCriticalSection(&m_section);
}

}  // namespace Orvane
