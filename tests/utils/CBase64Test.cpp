// Base64 of wide text: the standard alphabet and fill, the low byte of each
// character, and a line break after every 76 output characters.
#include <gtest/gtest.h>

#include <string>

#include "utils/CBase64.h"

using QVCrypt::CBase64;

namespace {

std::wstring Encode(const std::wstring& text)
{
    const CBase64<wchar_t> encoded(text.c_str());
    EXPECT_EQ(std::wstring(encoded.GetEncoded()).size(), encoded.GetLength());
    return encoded.GetEncoded();
}

TEST(CBase64, PublishedTestVectors)
{
    EXPECT_EQ(L"", Encode(L""));
    EXPECT_EQ(L"Zg==", Encode(L"f"));
    EXPECT_EQ(L"Zm8=", Encode(L"fo"));
    EXPECT_EQ(L"Zm9v", Encode(L"foo"));
    EXPECT_EQ(L"Zm9vYg==", Encode(L"foob"));
    EXPECT_EQ(L"Zm9vYmE=", Encode(L"fooba"));
    EXPECT_EQ(L"Zm9vYmFy", Encode(L"foobar"));
}

TEST(CBase64, CredentialsOfBasicAuthentication)
{
    EXPECT_EQ(L"Og==", Encode(L":"));
    EXPECT_EQ(L"QWxhZGRpbjpvcGVuIHNlc2FtZQ==", Encode(L"Aladdin:open sesame"));
}

TEST(CBase64, BytesAcrossTheRangeAndTheLastTwoLetters)
{
    std::wstring bytes;
    for (wchar_t c = 0; c < 54; ++c) {
        bytes += static_cast<wchar_t>((c * 5 + 3) & 0xFF);
    }
    EXPECT_EQ(L"AwgNEhccISYrMDU6P0RJTlNYXWJnbHF2e4CFio+UmZ6jqK2yt7zBxsvQ1drf5Onu8/j9AgcM", Encode(bytes));
    EXPECT_EQ(L"+/8=", Encode(std::wstring{0xFB, 0xFF}));
}

TEST(CBase64, OnlyTheLowByteOfEachCharacterIsEncoded)
{
    EXPECT_EQ(Encode(L"A:b"), Encode(L"\u0141:\u4e62"));
    EXPECT_EQ(L"6Q==", Encode(L"\u00e9"));
    EXPECT_EQ(L"rA==", Encode(L"\u20ac"));
}

TEST(CBase64, FiftySixCharactersFillNineteenGroupsAndEndWithALineBreak)
{
    const std::wstring encoded = Encode(std::wstring(56, L'a'));
    EXPECT_EQ(78u, encoded.size());
    EXPECT_EQ(L"YWE=\r\n", encoded.substr(72));
}

TEST(CBase64, FiftySevenCharactersEndWithALineBreak)
{
    const std::wstring encoded = Encode(std::wstring(57, L'a'));
    std::wstring line;
    for (int i = 0; i < 19; ++i) {
        line += L"YWFh";
    }
    EXPECT_EQ(line + L"\r\n", encoded);
}

TEST(CBase64, BeyondFiftySevenCharactersTheLineBreaksEvery76)
{
    std::wstring line;
    for (int i = 0; i < 19; ++i) {
        line += L"YWFh";
    }
    EXPECT_EQ(line + L"\r\nYQ==", Encode(std::wstring(58, L'a')));
    EXPECT_EQ(line + L"\r\n" + line + L"\r\n", Encode(std::wstring(114, L'a')));
    EXPECT_EQ(line + L"\r\n" + line + L"\r\nYWFh", Encode(std::wstring(117, L'a')));
}

TEST(CBase64, NullTextGivesAnEmptyEncoding)
{
    const CBase64<wchar_t> encoded(nullptr);
    EXPECT_EQ(L"", std::wstring(encoded.GetEncoded()));
    EXPECT_EQ(0u, encoded.GetLength());
}

}  // namespace
