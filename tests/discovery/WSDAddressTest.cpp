#include <gtest/gtest.h>

#include "discovery/WSDAddress.h"

using namespace QVDiscovery;

TEST(WSDAddress, ALinkLocalAddressWithAZoneGivesItsNumberAsInterfaceIndex)
{
    EXPECT_EQ(12u, InterfaceIndexOf("fe80::1%12"));
}

TEST(WSDAddress, AnIPv6AddressWithoutAZoneGivesIndexZero)
{
    EXPECT_EQ(0u, InterfaceIndexOf("fe80::1"));
}

TEST(WSDAddress, AnIPv4AddressWithAPercentGivesIndexZero)
{
    EXPECT_EQ(0u, InterfaceIndexOf("10.0.0.1%12"));
}

TEST(WSDAddress, OnlyAColonMakesAnIPv6Address)
{
    EXPECT_TRUE(IsIPv6Address("FF02::C"));
    EXPECT_TRUE(IsIPv6Address("fe80::1%3"));
    EXPECT_FALSE(IsIPv6Address("239.255.255.250"));
    EXPECT_FALSE(IsIPv6Address("10.0.0.1%12"));
    EXPECT_FALSE(IsIPv6Address(nullptr));
}
