// The port name patterns and the three pattern tests, on the names the
// resolver meets: local ports, WSD ports, UNC paths, addresses and URLs.
#include <gtest/gtest.h>

#include <string>

#include "resolver/ResolverPatterns.h"
#include "resolver/ResolverUtils.h"

using namespace Orvane;

namespace {

// The capture of `group`, or "<none>" when CaptureSubString gives false
// (and leaves the buffer as it was).
std::wstring Capture(const wchar_t* text, const wchar_t* pattern, size_t group)
{
    wchar_t out[kCaptureChars] = L"<none>";
    const bool captured = CaptureSubString(text, out, pattern, group);
    const std::wstring result = out;
    EXPECT_EQ(captured, result != L"<none>") << "a capture is written exactly when it is reported";
    return result;
}

}  // namespace

TEST(PortPattern, UsbPortsFrom001To999MatchAndOthersDoNot)
{
    EXPECT_TRUE(MatchWholeString(L"USB001", USB_PORT_PATTERN));
    EXPECT_TRUE(MatchWholeString(L"USB999", USB_PORT_PATTERN));
    EXPECT_FALSE(MatchWholeString(L"USB000", USB_PORT_PATTERN));
    EXPECT_FALSE(MatchWholeString(L"usb001", USB_PORT_PATTERN));
    EXPECT_FALSE(MatchWholeString(L"USB0011", USB_PORT_PATTERN));
    EXPECT_FALSE(MatchWholeString(L"XUSB001", USB_PORT_PATTERN));
}

TEST(PortPattern, Dot4AndTerminalServicePortsRefuseNumberZero)
{
    EXPECT_FALSE(MatchWholeString(L"DOT4_000", DOT4_PORT_PATTERN));
    EXPECT_FALSE(MatchWholeString(L"TS000", TS_PORT_PATTERN));
    EXPECT_TRUE(MatchWholeString(L"DOT4_001", DOT4_PORT_PATTERN));
    EXPECT_TRUE(MatchWholeString(L"TS001", TS_PORT_PATTERN));
}

TEST(PortPattern, LptPortsFrom1To256WithTheirColon)
{
    EXPECT_TRUE(MatchWholeString(L"LPT1:", LPT_PORT_PATTERN));
    EXPECT_TRUE(MatchWholeString(L"LPT256:", LPT_PORT_PATTERN));
    EXPECT_FALSE(MatchWholeString(L"LPT0:", LPT_PORT_PATTERN));
    EXPECT_FALSE(MatchWholeString(L"LPT257:", LPT_PORT_PATTERN));
    EXPECT_FALSE(MatchWholeString(L"LPT1", LPT_PORT_PATTERN));
    EXPECT_EQ(Capture(L"LPT17:", LPT_PORT_PATTERN, 1), L"17");
}

TEST(PortPattern, WsdPortNeedsItsPrefixCaseAndAZeroBehindTheDot)
{
    EXPECT_TRUE(MatchWholeString(L"WSD-6a9e2d8c-2f43-4a55-9d2e-0123456789ab.0007", WSD_PORT_PATTERN));
    EXPECT_TRUE(MatchWholeString(L"wsd-6A9E2D8C-2F43-4A55-9D2E-0123456789AB.01", WSD_PORT_PATTERN));
    EXPECT_FALSE(MatchWholeString(L"Wsd-6a9e2d8c-2f43-4a55-9d2e-0123456789ab.0007", WSD_PORT_PATTERN));
    EXPECT_FALSE(MatchWholeString(L"WSD-6a9e2d8c-2f43-4a55-9d2e-0123456789ab.7", WSD_PORT_PATTERN));
}

// The braces the pattern allows can never stand: a word boundary is
// required on both sides of the GUID, and there is none between "-" and "{"
// or between "}" and ".".
TEST(PortPattern, WsdPortWithABracedGuidIsRefusedByTheWordBoundaries)
{
    EXPECT_FALSE(MatchWholeString(L"WSD-{6a9e2d8c-2f43-4a55-9d2e-0123456789ab}.0007", WSD_PORT_PATTERN));
}

TEST(PortPattern, BracketAddressGivesTheAddressAndAPortOnlyWhenThereIsOne)
{
    EXPECT_EQ(Capture(L"[fe80::1]:8080/x", BRACKET_ADDRESS_PATTERN, 1), L"fe80::1");
    EXPECT_EQ(Capture(L"[fe80::1]:8080/x", BRACKET_ADDRESS_PATTERN, 2), L"8080");
    EXPECT_EQ(Capture(L"[fe80::1]/x", BRACKET_ADDRESS_PATTERN, 1), L"fe80::1");
    EXPECT_EQ(Capture(L"[fe80::1]/x", BRACKET_ADDRESS_PATTERN, 2), L"<none>");
}

TEST(PortPattern, UrlHostAfterTwoBackslashesGivesHostAndPort)
{
    const wchar_t* queue = L"\\\\http://H:631/printers/a";
    EXPECT_EQ(Capture(queue, URL_HOST_PATTERN, 1), L"H");
    EXPECT_EQ(Capture(queue, URL_HOST_PATTERN, 2), L"631");
    EXPECT_TRUE(SearchString(queue, UNC_HTTP_PREFIX_PATTERN));
    EXPECT_TRUE(SearchString(queue, UNC_PREFIX_PATTERN));
}

TEST(PortPattern, UncServerIsGroupOneInBackslashAndSlashForms)
{
    EXPECT_EQ(Capture(L"\\\\printhost\\queue", UNC_SERVER_PATTERN, 1), L"printhost");
    EXPECT_EQ(Capture(L"//printhost/queue", UNC_SERVER_PATTERN, 1), L"printhost");
    EXPECT_EQ(Capture(L"\\\\printhost", UNC_SERVER_PATTERN, 1), L"<none>");
    EXPECT_FALSE(SearchString(L"printhost\\queue", UNC_PREFIX_PATTERN));
}

TEST(PortPattern, Ipv4AddressesUpTo255AndThePortBehindThem)
{
    EXPECT_TRUE(MatchWholeString(L"10.0.0.1", IPV4_PATTERN));
    EXPECT_TRUE(MatchWholeString(L"255.255.255.255", IPV4_PATTERN));
    EXPECT_FALSE(MatchWholeString(L"256.1.1.1", IPV4_PATTERN));
    EXPECT_FALSE(MatchWholeString(L"printhost", IPV4_PATTERN));
    EXPECT_EQ(Capture(L"http://192.168.7.9:8080/wsd", IPV4_PATTERN, 0), L"192.168.7.9");
    EXPECT_EQ(Capture(L"http://192.168.7.9:8080/wsd", IPV4_PORT_PATTERN, 1), L"8080");
    EXPECT_EQ(Capture(L"http://192.168.7.9/wsd", IPV4_PORT_PATTERN, 1), L"<none>");
}

TEST(PortPattern, WholeStringAndSearchDiffer)
{
    EXPECT_TRUE(SearchString(L"XUSB001 USB002", USB_PORT_PATTERN));
    EXPECT_FALSE(MatchWholeString(L"XUSB001 USB002", USB_PORT_PATTERN));
}

TEST(PortPattern, NullOrEmptyTextOrPatternMatchesNothing)
{
    EXPECT_FALSE(MatchWholeString(nullptr, USB_PORT_PATTERN));
    EXPECT_FALSE(MatchWholeString(L"", USB_PORT_PATTERN));
    EXPECT_FALSE(MatchWholeString(L"USB001", nullptr));
    EXPECT_FALSE(MatchWholeString(L"USB001", L""));
    EXPECT_FALSE(SearchString(nullptr, UNC_PREFIX_PATTERN));
    EXPECT_FALSE(SearchString(L"\\\\h", L""));
    wchar_t out[4] = L"old";
    EXPECT_FALSE(CaptureSubString(L"LPT1:", nullptr, LPT_PORT_PATTERN, 1));
    EXPECT_FALSE(CaptureSubString(nullptr, out, LPT_PORT_PATTERN, 1));
    EXPECT_FALSE(CaptureSubString(L"LPT1:", out, nullptr, 1));
    EXPECT_FALSE(CaptureSubString(L"LPT1:", out, LPT_PORT_PATTERN, 2)) << "no such group";
    EXPECT_STREQ(out, L"old");
}

TEST(PortPattern, CaptureWritesAtMost1024CharactersWhateverTheText)
{
    const std::wstring host(3000, L'h');
    std::wstring out(4096, L'#');
    ASSERT_TRUE(CaptureSubString((L"\\\\" + host + L"\\q").c_str(), out.data(), UNC_SERVER_PATTERN, 1));
    EXPECT_EQ(std::wstring(out.c_str()), std::wstring(kCaptureChars - 1, L'h'));
    EXPECT_EQ(out[kCaptureChars], L'#') << "nothing is written beyond the capture's capacity";
}

TEST(PortPattern, UncPrefixOfAServerNamedOutsideLatin1)
{
    EXPECT_TRUE(SearchString(L"\\\\\x30B5\x30FC\x30D0\\q", UNC_PREFIX_PATTERN));
    EXPECT_EQ(Capture(L"\\\\\x30B5\x30FC\x30D0\\q", UNC_SERVER_PATTERN, 1), L"\x30B5\x30FC\x30D0");
}
