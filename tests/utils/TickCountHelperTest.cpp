#include <gtest/gtest.h>

#include "utils/CTickCountHelper.h"

using QVUtils::CTickCountHelper;

TEST(TickCountHelper, StartedTenTicksBeforeTheWrapExpiresOnlyAtTheWrappedEnd)
{
    const unsigned long start = 0xFFFFFFF6UL;  // 10 ticks before the wrap
    CTickCountHelper timer(20, start);
    EXPECT_FALSE(timer.IsExpired(start));
    EXPECT_FALSE(timer.IsExpired(0xFFFFFFFFUL));
    EXPECT_FALSE(timer.IsExpired(0));
    EXPECT_FALSE(timer.IsExpired(9));
    EXPECT_TRUE(timer.IsExpired(10));
    EXPECT_TRUE(timer.IsExpired(11));
    EXPECT_EQ(10u, timer.GetRemaining(0));
    EXPECT_EQ(0u, timer.GetRemaining(10));
}

TEST(TickCountHelper, UnwrappedDeadlineCountsTheEndTickAsRemaining)
{
    CTickCountHelper timer(100, 1000);
    EXPECT_FALSE(timer.IsExpired(1099));
    EXPECT_TRUE(timer.IsExpired(1100));
    EXPECT_EQ(101u, timer.GetRemaining(1000));
    EXPECT_EQ(2u, timer.GetRemaining(1099));
    EXPECT_EQ(0u, timer.GetRemaining(1100));
}

TEST(TickCountHelper, AllBitsSetMeansNoLimit)
{
    CTickCountHelper timer(0xFFFFFFFFUL, 5);
    EXPECT_TRUE(timer.IsInfinite());
    EXPECT_FALSE(timer.IsExpired(4));
    EXPECT_EQ(0xFFFFFFFFUL, timer.GetRemaining(1000000));
}

TEST(TickCountHelper, ZeroTimeoutIsExpiredAtOnce)
{
    CTickCountHelper timer(0);
    EXPECT_FALSE(timer.IsInfinite());
    EXPECT_TRUE(timer.IsExpired());
    EXPECT_EQ(0u, timer.GetRemaining());
}
