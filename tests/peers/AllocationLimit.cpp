#include "peers/AllocationLimit.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

std::atomic<size_t> g_limit{SIZE_MAX};
std::atomic<unsigned long> g_refused{0};

void* Allocate(size_t size) noexcept
{
    if (size > g_limit.load()) {
        ++g_refused;
        return nullptr;
    }
    return std::malloc(size != 0 ? size : 1);
}

void* AllocateOrThrow(size_t size)
{
    void* block = Allocate(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

}  // namespace

namespace peers {

AllocationLimit::AllocationLimit(size_t bytes)
{
    g_limit = bytes;
}

AllocationLimit::~AllocationLimit()
{
    g_limit = SIZE_MAX;
}

unsigned long AllocationLimit::Refused()
{
    return g_refused.load();
}

}  // namespace peers

void* operator new(size_t size)
{
    return AllocateOrThrow(size);
}

void* operator new[](size_t size)
{
    return AllocateOrThrow(size);
}

void* operator new(size_t size, const std::nothrow_t&) noexcept
{
    return Allocate(size);
}

void* operator new[](size_t size, const std::nothrow_t&) noexcept
{
    return Allocate(size);
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete[](void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, size_t) noexcept
{
    std::free(block);
}

void operator delete[](void* block, size_t) noexcept
{
    std::free(block);
}

void operator delete(void* block, const std::nothrow_t&) noexcept
{
    std::free(block);
}

void operator delete[](void* block, const std::nothrow_t&) noexcept
{
    std::free(block);
}
