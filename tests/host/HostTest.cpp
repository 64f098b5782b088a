#include <gtest/gtest.h>
TEST(Host, Placeholder) { EXPECT_TRUE(true); }
