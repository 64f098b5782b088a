#include <gtest/gtest.h>

#include "utils/StringUtils.h"

using namespace StringUtils;

TEST(StringUtilsTest, EndsWithAndStartsWithArePlainComparisons)
{
    EXPECT_TRUE(EndsWith(L"USB001", L"001"));
    EXPECT_FALSE(EndsWith(L"USB001", L"usb001"));
    EXPECT_FALSE(EndsWith(L"001", L"USB001"));
    EXPECT_TRUE(EndsWith(L"USB001", L""));
    EXPECT_TRUE(StartsWith(L"WSD-1234", L"WSD-"));
    EXPECT_FALSE(StartsWith(L"WSD-1234", L"wsd-"));
    EXPECT_FALSE(StartsWith(L"WSD", L"WSD-1234"));
}

TEST(StringUtilsTest, Utf8ToWideOfEmptyTextGivesEmpty)
{
    EXPECT_EQ(Utf8ToWide(""), L"");
    EXPECT_EQ(Utf8ToWide(nullptr), L"");
    EXPECT_EQ(WideToUtf8(L""), "");
    EXPECT_EQ(WideToUtf8(nullptr), "");
}

TEST(StringUtilsTest, Utf8AndWideConvertBothWays)
{
    EXPECT_EQ(Utf8ToWide("Dru\xC3\xA7ker \xE2\x82\xAC"), L"Dru\u00E7ker \u20AC");
    EXPECT_EQ(WideToUtf8(L"Dru\u00E7ker \u20AC"), "Dru\xC3\xA7ker \xE2\x82\xAC");
}

TEST(StringUtilsTest, GuidTextsConvertBothWays)
{
    GUID guid = {};
    EXPECT_TRUE(StringToGuid(L"{28d78fad-5a12-11d1-ae5b-0000f803a8c2}", guid));
    EXPECT_EQ(guid.Data1, 0x28D78FADu);
    EXPECT_EQ(guid.Data2, 0x5A12);
    EXPECT_EQ(guid.Data3, 0x11D1);
    EXPECT_EQ(guid.Data4[0], 0xAE);
    EXPECT_EQ(guid.Data4[7], 0xC2);
    EXPECT_EQ(GuidToString(guid), L"{28D78FAD-5A12-11D1-AE5B-0000F803A8C2}");
}

TEST(StringUtilsTest, StringToGuidRefusesEmptyAndMalformedTexts)
{
    GUID guid = {};
    EXPECT_FALSE(StringToGuid(L"", guid));
    EXPECT_FALSE(StringToGuid(L"28D78FAD-5A12-11D1-AE5B-0000F803A8C2", guid));
    EXPECT_FALSE(StringToGuid(L"{28D78FAD-5A12-11D1-AE5B}", guid));
}

TEST(StringUtilsTest, ReplaceAllReplacesEveryOccurrenceLeftToRight)
{
    EXPECT_EQ(ReplaceAll(L"\\\\?\\USB#VID\\1", L"\\", L"#"), L"##?#USB#VID#1");
    EXPECT_EQ(ReplaceAll(L"aaa", L"aa", L"b"), L"ba");
    EXPECT_EQ(ReplaceAll(L"a-a", L"a", L"aa"), L"aa-aa");
    EXPECT_EQ(ReplaceAll(L"text", L"", L"x"), L"text");
}

TEST(StringUtilsTest, SplitHostPortOfDottedAddresses)
{
    std::wstring host, port;
    EXPECT_TRUE(SplitHostPort(L"1.2.3.4:80", host, port));
    EXPECT_EQ(host, L"1.2.3.4");
    EXPECT_EQ(port, L"80");
    EXPECT_TRUE(SplitHostPort(L"printer.example", host, port));
    EXPECT_EQ(host, L"printer.example");
    EXPECT_EQ(port, L"");
    EXPECT_TRUE(SplitHostPort(L"printer.example:9100", host, port));
    EXPECT_EQ(host, L"printer.example");
    EXPECT_EQ(port, L"9100");
}

TEST(StringUtilsTest, SplitHostPortKeepsAColonFirstTextWhole)
{
    std::wstring host, port = L"stale";
    EXPECT_TRUE(SplitHostPort(L"name:80", host, port));
    EXPECT_EQ(host, L"name:80");
    EXPECT_EQ(port, L"");
    EXPECT_TRUE(SplitHostPort(L"fe80::1", host, port));
    EXPECT_EQ(host, L"fe80::1");
    EXPECT_EQ(port, L"");
}

TEST(StringUtilsTest, SplitHostPortOfBracketedAddresses)
{
    std::wstring host, port;
    EXPECT_TRUE(SplitHostPort(L"[fe80::1]:631", host, port));
    EXPECT_EQ(host, L"fe80::1");
    EXPECT_EQ(port, L"631");
    EXPECT_TRUE(SplitHostPort(L"[fe80::1]", host, port));
    EXPECT_EQ(host, L"fe80::1");
    EXPECT_EQ(port, L"");
    EXPECT_FALSE(SplitHostPort(L"[fe80::1", host, port));
}

TEST(StringUtilsTest, SplitHostPortIsFalseWithoutColonOrDot)
{
    std::wstring host, port;
    EXPECT_FALSE(SplitHostPort(L"localhost", host, port));
    EXPECT_FALSE(SplitHostPort(L"", host, port));
}

TEST(StringUtilsTest, IsIPv6AddressAcceptsAddressesPrefixesAndScopes)
{
    EXPECT_TRUE(IsIPv6Address(L"fe80::1"));
    EXPECT_TRUE(IsIPv6Address(L"::1"));
    EXPECT_TRUE(IsIPv6Address(L"2001:db8:0:0:0:0:0:1"));
    EXPECT_TRUE(IsIPv6Address(L"2001:DB8::1/64"));
    EXPECT_TRUE(IsIPv6Address(L"fe80::1%12"));
    EXPECT_TRUE(IsIPv6Address(L"::ffff:192.168.1.20"));
}

TEST(StringUtilsTest, IsIPv6AddressRefusesWhatTheWalkForbids)
{
    EXPECT_FALSE(IsIPv6Address(L""));
    EXPECT_FALSE(IsIPv6Address(L"1:2:3:4:5:6:7:8:9"));
    EXPECT_FALSE(IsIPv6Address(L"1::2::3"));
    EXPECT_FALSE(IsIPv6Address(L"fe80::1%eth0"));
    EXPECT_FALSE(IsIPv6Address(L"2001:db8::/6a"));
    EXPECT_FALSE(IsIPv6Address(L"fe80::g1"));
    EXPECT_FALSE(IsIPv6Address(L"::ffff:192.168.1"));
    EXPECT_FALSE(IsIPv6Address(L"::ffff:1.2.3.4:5"));
    EXPECT_FALSE(IsIPv6Address(L"192.168.1.20"));
}

TEST(StringUtilsTest, IsIPv4AddressTakesFourNumbersAndAnOptionalPort)
{
    EXPECT_TRUE(IsIPv4Address(L"192.168.1.20"));
    EXPECT_TRUE(IsIPv4Address(L"192.168.1.20:9100"));
    EXPECT_FALSE(IsIPv4Address(L"256.1.1.1"));
    EXPECT_FALSE(IsIPv4Address(L"1.2.3"));
    EXPECT_FALSE(IsIPv4Address(L"1.2.3.4x"));
    EXPECT_FALSE(IsIPv4Address(L"1.2.3.4:80x"));
    EXPECT_FALSE(IsIPv4Address(L"1234.1.1.1"));
    EXPECT_FALSE(IsIPv4Address(L"printer"));
}

TEST(StringUtilsTest, TrimRemovesSpaceTabLineFeedAndCarriageReturn)
{
    EXPECT_EQ(Trim(L" \t\r\nZQ 520 \n"), L"ZQ 520");
    EXPECT_EQ(Trim(L"\v x"), L"\v x");
    EXPECT_EQ(Trim(L" \t "), L"");
    EXPECT_EQ(Trim(L""), L"");
}
