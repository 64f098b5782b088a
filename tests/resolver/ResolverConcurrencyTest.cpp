// Sixteen Resolvers at once from sixteen threads on the real spooler; one
// of them times out while another holds the process-wide lock. This is the
// suite's one test that waits out the 30-second time-out.
//
// Two doubles steer the timing, since nothing real can be made to hang at a
// chosen call: the spooler holds chosen enumerations until the test lets
// them go, and the kernel reports the time-out and the lock's traffic.
#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "doubles/ApiOverride.h"
#include "resolver/ProbeResolver.h"
#include "resolver/ResolverTestSupport.h"
#include "resolver/SpoolerQueues.h"
#include "winapi/CKernelApi.h"
#include "winapi/CSpoolerApi.h"

using namespace Orvane;
using resolver_test::ProbeResolver;
using resolver_test::SpoolerQueues;

namespace {

constexpr DWORD kLongEnough = 60000;

// Holds chosen enumerations until the test releases them: each Arm(n)
// holds the n-th call from then on (1: the next one) with events of its own.
class HoldingSpooler : public QVWinApi::CSpoolerApi {
public:
    struct Hold {
        HANDLE held = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
        HANDLE release = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
        ~Hold()
        {
            ::CloseHandle(held);
            ::CloseHandle(release);
        }
    };
    Hold& Arm(int n)
    {
        const std::lock_guard<std::mutex> guard(m_guard);
        m_holds.push_back(std::make_unique<Hold>());
        m_countdown = n;
        return *m_holds.back();
    }
    BOOL EnumPrintersW(DWORD flags, LPWSTR name, DWORD level, LPBYTE buffer, DWORD bytes, LPDWORD needed,
                       LPDWORD returned) override
    {
        Hold* hold = nullptr;
        {
            const std::lock_guard<std::mutex> guard(m_guard);
            if (m_countdown > 0 && --m_countdown == 0) {
                hold = m_holds.back().get();
            }
        }
        if (hold) {
            ::SetEvent(hold->held);
            ::WaitForSingleObject(hold->release, kLongEnough);
        }
        return QVWinApi::CSpoolerApi::EnumPrintersW(flags, name, level, buffer, bytes, needed, returned);
    }

private:
    std::mutex m_guard;
    int m_countdown = 0;
    std::vector<std::unique_ptr<Hold>> m_holds;
};

// Reports the resolver's time-out, and the watched thread's wait for a
// critical section made while the double stands; counts those sections'
// making and deletion.
class LockWatchingKernel : public QVWinApi::CKernelApi {
public:
    LockWatchingKernel()
        : timedOut(::CreateEventW(nullptr, TRUE, FALSE, nullptr)), entering(::CreateEventW(nullptr, TRUE, FALSE, nullptr))
    {
    }
    ~LockWatchingKernel()
    {
        ::CloseHandle(timedOut);
        ::CloseHandle(entering);
    }
    DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) override
    {
        const DWORD result = QVWinApi::CKernelApi::WaitForSingleObject(handle, milliseconds);
        if (result == WAIT_TIMEOUT && milliseconds == 30000) {
            ::SetEvent(timedOut);
        }
        return result;
    }
    void InitializeCriticalSection(LPCRITICAL_SECTION section) override
    {
        {
            const std::lock_guard<std::mutex> guard(m_guard);
            m_sections.insert(section);
        }
        ++made;
        QVWinApi::CKernelApi::InitializeCriticalSection(section);
    }
    void DeleteCriticalSection(LPCRITICAL_SECTION section) override
    {
        bool ours = false;
        {
            const std::lock_guard<std::mutex> guard(m_guard);
            ours = m_sections.count(section) != 0;
        }
        deleted += ours ? 1 : 0;
        QVWinApi::CKernelApi::DeleteCriticalSection(section);
    }
    void EnterCriticalSection(LPCRITICAL_SECTION section) override
    {
        bool ours = false;
        {
            const std::lock_guard<std::mutex> guard(m_guard);
            ours = m_sections.count(section) != 0;
        }
        if (ours && ::GetCurrentThreadId() == watchedThread.load()) {
            ::SetEvent(entering);
        }
        QVWinApi::CKernelApi::EnterCriticalSection(section);
    }

    HANDLE timedOut;
    HANDLE entering;
    std::atomic<DWORD> watchedThread{0};
    std::atomic<int> made{0};
    std::atomic<int> deleted{0};

private:
    std::mutex m_guard;
    std::set<LPCRITICAL_SECTION> m_sections;
};

// One Resolve on a thread of its own; `done` is set when it returns.
struct Call {
    std::shared_ptr<ProbeResolver> resolver;
    std::wstring name;
    HRESULT status = E_UNEXPECTED;
    HANDLE done = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::thread thread;
    std::atomic<DWORD> threadId{0};

    void Start()
    {
        thread = std::thread([this] {
            threadId = ::GetCurrentThreadId();
            status = resolver->Resolve(name.c_str(), RESOLVE_TYPE_PRINTER);
            ::SetEvent(done);
        });
    }
    ~Call()
    {
        if (thread.joinable()) {
            thread.join();
        }
        ::CloseHandle(done);
    }
};

}  // namespace

TEST(ResolverConcurrency, SixteenAtOnceWhileOneTimesOutWaitingForTheLockHeldByAnother)
{
    SpoolerQueues queues;
    constexpr int kResolvers = 16;
    std::vector<std::wstring> names;
    for (int i = 0; i < kResolvers; ++i) {
        wchar_t port[8];
        std::swprintf(port, 8, L"USB%03d", 100 + i);
        names.push_back(SpoolerQueues::Unique(L"Orvane Concurrent " + std::to_wstring(i)));
        ASSERT_TRUE(queues.Add(names.back(), port));
    }
    resolver_test::ResolverLog log(L"resolver-concurrency");
    HoldingSpooler spooler;
    LockWatchingKernel kernel;
    const HANDLE abandonedEnded = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::vector<std::unique_ptr<Call>> calls;
    {
        doubles::ApiOverride<QVWinApi::ISpoolerApi> swapSpooler(g_pSpoolerApi, spooler);
        doubles::ApiOverride<QVWinApi::IKernelApi> swapKernel(g_pKernelApi, kernel);
        for (int i = 0; i < kResolvers; ++i) {
            calls.push_back(std::make_unique<Call>());
            calls.back()->resolver = ProbeResolver::Make(i == 0 ? abandonedEnded : nullptr);
            // Only the first one waits the default 30 seconds; the others
            // outlast the lock's hold.
            if (i > 0) {
                calls.back()->resolver->SetResolveTimeout(90000);
            }
            calls.back()->name = names[i];
        }
        Call& abandoned = *calls[0];
        Call& holder = *calls[1];

        // The first search hangs in its first enumeration.
        HoldingSpooler::Hold& first = spooler.Arm(1);
        abandoned.Start();
        ASSERT_EQ(::WaitForSingleObject(first.held, kLongEnough), WAIT_OBJECT_0);
        // The second one hangs in its third, the first of the USB step's
        // look-up, made under the lock (the search's own look-up made two).
        HoldingSpooler::Hold& second = spooler.Arm(3);
        holder.Start();
        ASSERT_EQ(::WaitForSingleObject(second.held, kLongEnough), WAIT_OBJECT_0);
        // Fourteen more queue up behind the lock.
        for (int i = 2; i < kResolvers; ++i) {
            calls[i]->Start();
        }
        while (abandoned.threadId == 0) {
            std::this_thread::yield();
        }
        kernel.watchedThread = abandoned.threadId.load();

        // The first one's wait runs out; it then needs the lock to mark the
        // time-out, and can't return while the second one holds it.
        ASSERT_EQ(::WaitForSingleObject(kernel.timedOut, kLongEnough), WAIT_OBJECT_0);
        ASSERT_EQ(::WaitForSingleObject(kernel.entering, kLongEnough), WAIT_OBJECT_0);
        EXPECT_EQ(::WaitForSingleObject(abandoned.done, 0), static_cast<DWORD>(WAIT_TIMEOUT));
        ::SetEvent(second.release);
        ASSERT_EQ(::WaitForSingleObject(abandoned.done, kLongEnough), WAIT_OBJECT_0);
        EXPECT_EQ(abandoned.status, E_FAIL);
        EXPECT_EQ(abandoned.resolver->State(), RESOLVE_STATE_TIMED_OUT | RESOLVE_STATE_DONE);

        // The caller lets its Resolver go; the abandoned search ends on its
        // own, refused by the local step, and the Resolver goes with it.
        abandoned.resolver.reset();
        EXPECT_EQ(::WaitForSingleObject(abandonedEnded, 0), static_cast<DWORD>(WAIT_TIMEOUT))
            << "the held worker still owns its Resolver";
        ::SetEvent(first.release);
        ASSERT_EQ(::WaitForSingleObject(abandonedEnded, kLongEnough), WAIT_OBJECT_0);
        for (int i = 1; i < kResolvers; ++i) {
            ASSERT_EQ(::WaitForSingleObject(calls[i]->done, kLongEnough), WAIT_OBJECT_0);
            EXPECT_EQ(calls[i]->status, S_OK) << i;
            EXPECT_EQ(calls[i]->resolver->State(), 19u) << i;
            EXPECT_EQ(calls[i]->resolver->PortNumber(), static_cast<DWORD>(100 + i)) << i;
        }
        calls.clear();
    }
    ::CloseHandle(abandonedEnded);
    EXPECT_EQ(log.Count(L"(##) WAIT_TIMEOUT received while waiting on thread"), 1u);
    EXPECT_EQ(log.Count(L"(I0) WAIT_OBJECT_0 received while waiting on thread"), 15u);
    EXPECT_EQ(log.Count(L"(I0) a valid USB port"), 15u) << "the abandoned search stops at the local step";
    EXPECT_GE(kernel.made, 1);
    EXPECT_EQ(kernel.deleted.load(), kernel.made.load()) << "every lock made is deleted again";
}
