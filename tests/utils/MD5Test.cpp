// MD5 through the platform's cryptographic provider: published known
// answers, the digest response of HTTP authentication, the provider calls
// made for it, and what a failing provider or an oversized text leaves.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "doubles/ApiOverride.h"
#include "utils/MD5.h"
#include "winapi/CCryptApi.h"

using QVUtils::MD5;

namespace {

const wchar_t kNonce[] = L"dcd98b7102dd2f0e8b11d0f600bfb0c093";
const wchar_t kCNonce[] = L"0a4f113b";
const wchar_t kUser[] = L"Mufasa";
const wchar_t kRealm[] = L"testrealm@host.com";
const wchar_t kPassword[] = L"Circle Of Life";
const wchar_t kUri[] = L"/dir/index.html";

std::wstring DigestOf(const std::string& text)
{
    MD5 hash;
    EXPECT_TRUE(hash.Add(text));
    EXPECT_TRUE(hash.Finish());
    return hash.GetDigest();
}

TEST(MD5, PublishedTestSuiteValues)
{
    EXPECT_EQ(L"d41d8cd98f00b204e9800998ecf8427e", DigestOf(""));
    EXPECT_EQ(L"900150983cd24fb0d6963f7d28e17f72", DigestOf("abc"));
    EXPECT_EQ(L"f96b697d7cb7938d525a2f31aaf161d0", DigestOf("message digest"));
}

TEST(MD5, FinishWithoutDataIsTheDigestOfNothing)
{
    MD5 hash;
    EXPECT_EQ(L"", hash.GetDigest());
    EXPECT_TRUE(hash.Finish());
    EXPECT_EQ(L"d41d8cd98f00b204e9800998ecf8427e", hash.GetDigest());
}

TEST(MD5, DataAddedInPiecesIsOneHashAndTheNextAddStartsANewOne)
{
    MD5 hash;
    EXPECT_TRUE(hash.Add("a"));
    EXPECT_TRUE(hash.Add("bc"));
    EXPECT_TRUE(hash.Finish());
    EXPECT_EQ(L"900150983cd24fb0d6963f7d28e17f72", hash.GetDigest());
    EXPECT_TRUE(hash.Add("abc"));
    EXPECT_EQ(L"", hash.GetDigest());
    EXPECT_TRUE(hash.Finish());
    EXPECT_EQ(L"900150983cd24fb0d6963f7d28e17f72", hash.GetDigest());
}

TEST(MD5, DigestResponseOfThePublishedDigestExample)
{
    const MD5 response(kNonce, kCNonce, kUser, kRealm, kPassword, L"auth", kUri, L"GET", L"00000001");
    EXPECT_EQ(L"6629fae49393a05397450978507c4ef1", response.GetDigest());
}

TEST(MD5, NullMethodIsGetAndNullCountIsTheFirst)
{
    const MD5 response(kNonce, kCNonce, kUser, kRealm, kPassword, L"auth", kUri, nullptr, nullptr);
    EXPECT_EQ(L"6629fae49393a05397450978507c4ef1", response.GetDigest());
    const MD5 post(kNonce, kCNonce, kUser, kRealm, kPassword, L"auth", kUri, L"POST", L"00000002");
    EXPECT_EQ(L"8b6b9e4c4b28f45b60d55de2c3a8d2a3", post.GetDigest());
}

TEST(MD5, EmptyQopGivesTheThreePartResponse)
{
    const MD5 response(kNonce, L"", kUser, kRealm, kPassword, L"", kUri, L"GET", L"");
    EXPECT_EQ(L"670fd8c2df070c60b045671b8b24ff02", response.GetDigest());
}

TEST(MD5, QopTextIsHashedAsGiven)
{
    const MD5 response(kNonce, kCNonce, kUser, kRealm, kPassword, L"auth-int", kUri, L"GET", L"00000001");
    EXPECT_EQ(L"540d3fa09c3b00a60b56729a4a588b49", response.GetDigest());
}

TEST(MD5, ANullAmongTheFirstSevenLeavesNoDigest)
{
    const wchar_t* parts[7] = {kNonce, kCNonce, kUser, kRealm, kPassword, L"auth", kUri};
    for (int missing = 0; missing < 7; ++missing) {
        const wchar_t* p[7];
        for (int i = 0; i < 7; ++i) {
            p[i] = i == missing ? nullptr : parts[i];
        }
        const MD5 response(p[0], p[1], p[2], p[3], p[4], p[5], p[6], L"GET", L"00000001");
        EXPECT_EQ(L"", response.GetDigest()) << "null argument " << missing;
    }
}

TEST(MD5, ATextThatDoesNotFit1024BytesCountsAsEmpty)
{
    const std::wstring fits(1023, L'p');
    const std::wstring tooLong(1024, L'p');
    const MD5 empty(kNonce, kCNonce, kUser, kRealm, L"", L"auth", kUri, L"GET", L"00000001");
    const MD5 cut(kNonce, kCNonce, kUser, kRealm, tooLong.c_str(), L"auth", kUri, L"GET", L"00000001");
    const MD5 whole(kNonce, kCNonce, kUser, kRealm, fits.c_str(), L"auth", kUri, L"GET", L"00000001");
    EXPECT_EQ(L"6389fe94ddeb71e418c7076ecdb5852e", empty.GetDigest());
    EXPECT_EQ(empty.GetDigest(), cut.GetDigest());
    EXPECT_NE(empty.GetDigest(), whole.GetDigest());
    EXPECT_EQ(32u, whole.GetDigest().size());
}

TEST(MD5, TextsGoThroughCodePage1252)
{
    // U+00E9 is byte E9 and U+20AC byte 80 on the wire; U+4E2D has no byte
    // and becomes the default character "?".
    const MD5 accent(kNonce, kCNonce, L"\u00e9", kRealm, kPassword, L"auth", kUri, L"GET", L"00000001");
    const MD5 euro(kNonce, kCNonce, L"\u20ac", kRealm, kPassword, L"auth", kUri, L"GET", L"00000001");
    const MD5 han(kNonce, kCNonce, L"\u4e2d", kRealm, kPassword, L"auth", kUri, L"GET", L"00000001");
    const MD5 question(kNonce, kCNonce, L"?", kRealm, kPassword, L"auth", kUri, L"GET", L"00000001");
    EXPECT_EQ(L"0cfeb86ec8d4c204630ce5acd5c4ae70", accent.GetDigest());
    EXPECT_EQ(L"93901d0dc32e3da5865c671f1b0bff72", euro.GetDigest());
    EXPECT_EQ(question.GetDigest(), han.GetDigest());
    EXPECT_EQ(32u, han.GetDigest().size());
}

// Records the provider calls and forwards them; a call can be made to fail.
class RecordingCryptApi : public QVWinApi::CCryptApi {
public:
    BOOL CryptAcquireContextW(HCRYPTPROV* provider, LPCWSTR container, LPCWSTR name, DWORD type,
                              DWORD flags) override
    {
        calls.push_back(L"Acquire " + std::wstring(container ? container : L"null") + L" "
                        + std::wstring(name ? name : L"null") + L" " + std::to_wstring(type) + L" "
                        + std::to_wstring(flags));
        if (failAcquire) {
            ::SetLastError(NTE_BAD_KEYSET);
            return FALSE;
        }
        return CCryptApi::CryptAcquireContextW(provider, container, name, type, flags);
    }
    BOOL CryptCreateHash(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTKEY key, DWORD flags,
                         HCRYPTHASH* hash) override
    {
        calls.push_back(L"CreateHash " + std::to_wstring(algorithm));
        return CCryptApi::CryptCreateHash(provider, algorithm, key, flags, hash);
    }
    BOOL CryptHashData(HCRYPTHASH hash, const BYTE* data, DWORD length, DWORD flags) override
    {
        ++hashData;
        if (failHashData) {
            ::SetLastError(NTE_BAD_HASH);
            return FALSE;
        }
        return CCryptApi::CryptHashData(hash, data, length, flags);
    }
    BOOL CryptGetHashParam(HCRYPTHASH hash, DWORD param, BYTE* data, DWORD* length, DWORD flags) override
    {
        calls.push_back(L"GetHashParam " + std::to_wstring(param));
        return CCryptApi::CryptGetHashParam(hash, param, data, length, flags);
    }
    BOOL CryptDestroyHash(HCRYPTHASH hash) override
    {
        calls.push_back(L"DestroyHash");
        return CCryptApi::CryptDestroyHash(hash);
    }
    BOOL CryptReleaseContext(HCRYPTPROV provider, DWORD flags) override
    {
        calls.push_back(L"Release " + std::to_wstring(flags));
        return CCryptApi::CryptReleaseContext(provider, flags);
    }

    std::vector<std::wstring> calls;
    int hashData = 0;
    bool failAcquire = false;
    bool failHashData = false;
};

TEST(MD5, EachOfTheThreeHashesHasAProviderContextOfItsOwn)
{
    RecordingCryptApi crypt;
    const doubles::ApiOverride<QVWinApi::ICryptApi> swap(g_pCryptApi, crypt);
    const MD5 response(kNonce, kCNonce, kUser, kRealm, kPassword, L"auth", kUri, L"GET", L"00000001");
    EXPECT_EQ(L"6629fae49393a05397450978507c4ef1", response.GetDigest());
    const std::vector<std::wstring> one{
        L"Acquire null null " + std::to_wstring(PROV_RSA_FULL) + L" " + std::to_wstring(CRYPT_VERIFYCONTEXT),
        L"CreateHash " + std::to_wstring(CALG_MD5),
        L"GetHashParam " + std::to_wstring(HP_HASHVAL),
        L"DestroyHash",
        L"Release 0"};
    std::vector<std::wstring> three;
    for (int i = 0; i < 3; ++i) {
        three.insert(three.end(), one.begin(), one.end());
    }
    EXPECT_EQ(three, crypt.calls);
}

TEST(MD5, AProviderThatCannotBeOpenedLeavesNoDigest)
{
    RecordingCryptApi crypt;
    crypt.failAcquire = true;
    const doubles::ApiOverride<QVWinApi::ICryptApi> swap(g_pCryptApi, crypt);
    const MD5 response(kNonce, kCNonce, kUser, kRealm, kPassword, L"auth", kUri, L"GET", L"00000001");
    EXPECT_EQ(L"", response.GetDigest());
    EXPECT_EQ(1u, crypt.calls.size());
    EXPECT_EQ(0, crypt.hashData);
}

TEST(MD5, AFailedAddMakesTheFinishOfThatHashFailAndTheContextIsReleased)
{
    RecordingCryptApi crypt;
    const doubles::ApiOverride<QVWinApi::ICryptApi> swap(g_pCryptApi, crypt);
    MD5 hash;
    crypt.failHashData = true;
    EXPECT_FALSE(hash.Add("abc"));
    crypt.failHashData = false;
    EXPECT_FALSE(hash.Add("def"));
    EXPECT_FALSE(hash.Finish());
    EXPECT_EQ(L"", hash.GetDigest());
    EXPECT_EQ(1, crypt.hashData);
    EXPECT_EQ((std::vector<std::wstring>{L"Acquire null null 1 " + std::to_wstring(CRYPT_VERIFYCONTEXT),
                                         L"CreateHash " + std::to_wstring(CALG_MD5), L"DestroyHash", L"Release 0"}),
              crypt.calls);
    EXPECT_TRUE(hash.Add("abc"));
    EXPECT_TRUE(hash.Finish());
    EXPECT_EQ(L"900150983cd24fb0d6963f7d28e17f72", hash.GetDigest());
}

}  // namespace
