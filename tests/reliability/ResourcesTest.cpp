// The fault matrix's count of what a process holds sees each kind of thing
// left behind: a handle, a thread, a block of the C++ heap.
#include <gtest/gtest.h>

#include <windows.h>

#include <memory>

#include "reliability/Resources.h"

namespace reliability {
namespace {

DWORD WINAPI WaitForEvent(void* event)
{
    WaitForSingleObject(event, 10000);
    return 0;
}

TEST(Resources, NothingHeldIsNoGrowth)
{
    const Resources before = Resources::Now();
    EXPECT_EQ("", before.GrowthTo(Resources::Now()));
}

TEST(Resources, AHandleLeftOpenIsTold)
{
    const Resources before = Resources::Now();
    HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const std::string growth = before.GrowthTo(Resources::Now());
    CloseHandle(event);
    EXPECT_EQ("handles " + std::to_string(before.handles) + " -> " + std::to_string(before.handles + 1) + " (Event)",
              growth);
}

TEST(Resources, AThreadStillRunningIsTold)
{
    HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const Resources before = Resources::Now();
    HANDLE thread = CreateThread(nullptr, 0, WaitForEvent, event, 0, nullptr);
    const Resources after = Resources::Now();
    SetEvent(event);
    WaitForSingleObject(thread, 10000);
    CloseHandle(thread);
    CloseHandle(event);
    EXPECT_EQ(before.threads + 1, after.threads);
    EXPECT_NE(std::string::npos, before.GrowthTo(after).find("threads "));
}

TEST(Resources, ABlockOfTheHeapKeptIsTold)
{
    const Resources before = Resources::Now();
    auto kept = std::make_unique<int>(7);
    const std::string growth = before.GrowthTo(Resources::Now());
    EXPECT_EQ("live blocks " + std::to_string(before.liveBlocks) + " -> " + std::to_string(before.liveBlocks + 1),
              growth);
}

}  // namespace
}  // namespace reliability
