#pragma once

#include <windows.h>

#include <memory>

namespace Orvane {

// The process-wide lock that guards the resolvers' running state against
// their time-outs. The first Resolve under way makes it and the last one to
// end lets it go; every Resolver keeps a share of the one it used, so that a
// worker abandoned at its time-out still holds a live lock when it ends.
class ResolverLock {
public:
    ResolverLock();
    ~ResolverLock();
    ResolverLock(const ResolverLock&) = delete;
    ResolverLock& operator=(const ResolverLock&) = delete;

    // One more Resolve under way: the process's lock, made by the first.
    static std::shared_ptr<ResolverLock> Acquire();
    // One Resolve less: the last one lets the process's lock go.
    static void Release();

    void Enter();
    void Leave();

    // Holds the lock for a scope.
    class Hold {
    public:
        explicit Hold(ResolverLock& lock) : m_lock(lock) { m_lock.Enter(); }
        ~Hold() { m_lock.Leave(); }
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

    private:
        ResolverLock& m_lock;
    };

private:
    CRITICAL_SECTION m_section;
};

}  // namespace Orvane
