#include <gtest/gtest.h>

#include <string>

#include "discovery/CMessageIdCache.h"

using QVDiscovery::CMessageIdCache;

namespace {

std::string Id(int n)
{
    return "uuid:00000000-0000-0000-0000-" + std::to_string(100000000000 + n);
}

TEST(MessageIdCache, TheThousandthIdentifierDropsTheOldestAndTheListStaysAt999)
{
    CMessageIdCache cache(1000);
    for (int n = 1; n <= 999; ++n) {
        ASSERT_EQ(0u, cache.Add(Id(n).c_str()));
    }
    EXPECT_EQ(999u, cache.Size());
    EXPECT_TRUE(cache.Contains(Id(1).c_str()));
    EXPECT_EQ(0u, cache.Add(Id(1000).c_str()));
    EXPECT_EQ(999u, cache.Size());
    EXPECT_FALSE(cache.Contains(Id(1).c_str()));
    EXPECT_TRUE(cache.Contains(Id(2).c_str()));
    // The dropped identifier is new again when it returns, and drops the next.
    EXPECT_EQ(0u, cache.Add(Id(1).c_str()));
    EXPECT_EQ(999u, cache.Size());
    EXPECT_FALSE(cache.Contains(Id(2).c_str()));
}

TEST(MessageIdCache, AnIdentifierAlreadyThereGivesOne)
{
    CMessageIdCache cache(1000);
    EXPECT_EQ(0u, cache.Add("uuid:a"));
    EXPECT_EQ(1u, cache.Add("uuid:a"));
    EXPECT_EQ(1u, cache.Size());
}

TEST(MessageIdCache, TheSameIdentifierInAnotherCaseIsADuplicate)
{
    CMessageIdCache cache(1000);
    EXPECT_EQ(0u, cache.Add("uuid:0a1b2c3d-aaaa-bbbb-cccc-0123456789ef"));
    EXPECT_TRUE(cache.Contains("UUID:0A1B2C3D-AAAA-BBBB-CCCC-0123456789EF"));
    EXPECT_EQ(1u, cache.Add("UUID:0A1B2C3D-AAAA-BBBB-CCCC-0123456789EF"));
}

TEST(MessageIdCache, AnEmptyOrNullIdentifierGivesInvalidArgument)
{
    CMessageIdCache cache(1000);
    EXPECT_EQ(0x80070057u, cache.Add(""));
    EXPECT_EQ(0x80070057u, cache.Add(nullptr));
    EXPECT_EQ(0u, cache.Size());
}

TEST(MessageIdCache, CapacityZeroHasNoLimitAndClearEmpties)
{
    CMessageIdCache cache(0);
    for (int n = 1; n <= 1500; ++n) {
        ASSERT_EQ(0u, cache.Add(Id(n).c_str()));
    }
    EXPECT_EQ(1500u, cache.Size());
    cache.Clear();
    EXPECT_EQ(0u, cache.Size());
    EXPECT_FALSE(cache.Contains(Id(1).c_str()));
}

}  // namespace
