#include "fuzz/MemoryCounters.h"

#include <windows.h>
#include <psapi.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long long> g_live{0};

void* Allocate(size_t size)
{
    void* block = std::malloc(size != 0 ? size : 1);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    g_live.fetch_add(1, std::memory_order_relaxed);
    return block;
}

void Release(void* block) noexcept
{
    if (block != nullptr) {
        g_live.fetch_sub(1, std::memory_order_relaxed);
        std::free(block);
    }
}

}  // namespace

namespace fuzz {

MemoryCounters MemoryCounters::Now()
{
    PROCESS_MEMORY_COUNTERS_EX counters{};
    counters.cb = sizeof(counters);
    GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters),
                         sizeof(counters));
    MemoryCounters now;
    // Wine 8 leaves PrivateUsage at 0 and gives the resident anonymous
    // memory as PagefileUsage; Windows gives the commit charge in both.
    now.privateBytes = counters.PrivateUsage != 0 ? counters.PrivateUsage : counters.PagefileUsage;
    now.liveAllocations = g_live.load(std::memory_order_relaxed);
    return now;
}

}  // namespace fuzz

void* operator new(size_t size) { return Allocate(size); }
void* operator new[](size_t size) { return Allocate(size); }
void* operator new(size_t size, const std::nothrow_t&) noexcept
{
    try {
        return Allocate(size);
    } catch (...) {
        return nullptr;
    }
}
void* operator new[](size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void operator delete(void* block) noexcept { Release(block); }
void operator delete[](void* block) noexcept { Release(block); }
void operator delete(void* block, size_t) noexcept { Release(block); }
void operator delete[](void* block, size_t) noexcept { Release(block); }
