// The description of one exchange: header text in and out, nonce counting,
// method texts and the plain fields.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "doubles/ApiOverride.h"
#include "http/CHTTPNavigateParams.h"
#include "winapi/CKernelApi.h"

using QVIOStack::CHTTPNavigateParams;
using QVIOStack::ContentBuffer;

namespace {

std::wstring Text(const wchar_t* text)
{
    return text ? text : L"(null)";
}

// Parameters whose nonce count a test can place near the 32-bit end.
class NonceCountParams : public CHTTPNavigateParams {
public:
    void SetCount(unsigned long count) { m_ulNonceCount = count; }
};

class FixedTickKernel : public QVWinApi::CKernelApi {
public:
    DWORD GetTickCount() override { return 0x00ABC123; }
};

TEST(NavigateParamsEdge, TextWithoutLineEndGivesOneEntryNoColonKeepsMapEmptyTextClears)
{
    CHTTPNavigateParams params;
    params.SetExtraHeaders(L"X: 1");
    EXPECT_EQ(L"X: 1\r\n", Text(params.GetExtraHeaders()));

    params.SetExtraHeaders(L"no colon here\r\n");
    EXPECT_EQ(L"X: 1\r\n", Text(params.GetExtraHeaders()));

    params.SetExtraHeaders(L"");
    EXPECT_EQ(L"", Text(params.GetExtraHeaders()));
    params.SetExtraHeaders(L"Y: 2");
    params.SetExtraHeaders(static_cast<const wchar_t*>(nullptr));
    EXPECT_EQ(nullptr, params.GetExtraHeader(L"Y"));
}

TEST(NavigateParamsEdge, ValueKeepsTheColonsAfterTheFirst)
{
    CHTTPNavigateParams params;
    params.SetExtraHeaders(L"a: b: c");
    EXPECT_EQ(L"b: c", Text(params.GetExtraHeader(L"a")));
    EXPECT_EQ(nullptr, params.GetExtraHeader(L"a: b"));
}

TEST(NavigateParamsEdge, ThreeIncrementsGive00000003AndTheCountWrapsAt32Bits)
{
    NonceCountParams params;
    params.IncrNonceCount();
    params.IncrNonceCount();
    EXPECT_EQ(L"00000003", Text(params.IncrNonceCount()));

    params.SetCount(0xFFFFFFFE);
    EXPECT_EQ(L"ffffffff", Text(params.IncrNonceCount()));
    EXPECT_EQ(L"00000000", Text(params.IncrNonceCount()));
    EXPECT_EQ(L"00000001", Text(params.IncrNonceCount()));

    params.ResetNonceCount();
    EXPECT_EQ(L"00000001", Text(params.IncrNonceCount()));
}

TEST(NavigateParamsEdge, GetExtraHeaderIsCaseSensitive)
{
    CHTTPNavigateParams params;
    params.AddExtraHeader(L"HOST", L"a");
    params.AddExtraHeader(L"Host", L"b");
    EXPECT_EQ(L"a", Text(params.GetExtraHeader(L"HOST")));
    EXPECT_EQ(L"b", Text(params.GetExtraHeader(L"Host")));
    EXPECT_EQ(nullptr, params.GetExtraHeader(L"host"));
    EXPECT_EQ(L"HOST: a\r\nHost: b\r\n", Text(params.GetExtraHeaders()));
}

TEST(NavigateParamsEdge, GetDataLengthAcceptsANullFlagPointer)
{
    CHTTPNavigateParams params;
    params.SetDataLength(42, true);
    EXPECT_EQ(42u, params.GetDataLength(nullptr));
    bool noContentLength = false;
    EXPECT_EQ(42u, params.GetDataLength(&noContentLength));
    EXPECT_TRUE(noContentLength);
}

TEST(NavigateParams, ParsedLinesSkipLeadingBlanksOnlyAndReplaceEarlierValues)
{
    CHTTPNavigateParams params;
    params.SetExtraHeaders(L"B:   two\r\nA:\tone\r\nB: three\r\nC:");
    EXPECT_EQ(L"three", Text(params.GetExtraHeader(L"B")));
    EXPECT_EQ(L"\tone", Text(params.GetExtraHeader(L"A")));
    EXPECT_EQ(L"", Text(params.GetExtraHeader(L"C")));
    EXPECT_EQ(L"A: \tone\r\nB: three\r\nC: \r\n", Text(params.GetExtraHeaders()));
}

TEST(NavigateParams, HeaderTextFollowsCodeUnitOrder)
{
    CHTTPNavigateParams params;
    params.AddExtraHeader(L"x-lower", L"4");
    params.AddExtraHeader(L"HOST", L"2");
    params.AddExtraHeader(L"Authorization", L"1");
    params.AddExtraHeader(L"Zeta", L"3");
    EXPECT_EQ(L"Authorization: 1\r\nHOST: 2\r\nZeta: 3\r\nx-lower: 4\r\n", Text(params.GetExtraHeaders()));
    params.AddExtraHeader(L"HOST", nullptr);
    EXPECT_EQ(L"", Text(params.GetExtraHeader(L"HOST")));
}

TEST(NavigateParams, SetExtraHeadersFromAMapReplacesTheMap)
{
    CHTTPNavigateParams params;
    params.AddExtraHeader(L"Old", L"x");
    params.SetExtraHeaders(std::map<std::wstring, std::wstring>{{L"b", L"2"}, {L"a", L"1"}});
    EXPECT_EQ(L"a: 1\r\nb: 2\r\n", Text(params.GetExtraHeaders()));
}

TEST(NavigateParams, MethodTextsCarryTheirBlank)
{
    CHTTPNavigateParams params;
    const wchar_t* const expected[] = {L"GET ", L"PUT ", L"POST ", L"DELETE ", L"HEAD "};
    for (unsigned long method = 0; method < 5; ++method) {
        params.SetHTTPRequestMethod(method);
        std::wstring text;
        EXPECT_TRUE(params.GetHTTPMethodText(text));
        EXPECT_EQ(expected[method], text);
    }
    params.SetHTTPRequestMethod(5);
    std::wstring text = L"kept";
    EXPECT_FALSE(params.GetHTTPMethodText(text));
    EXPECT_EQ(L"kept", text);
}

TEST(NavigateParams, StartValues)
{
    CHTTPNavigateParams params;
    EXPECT_EQ(0u, params.GetHTTPRequestMethod());
    EXPECT_EQ(0u, params.GetAuthScheme());
    EXPECT_FALSE(params.TriedAuthenticating());
    EXPECT_EQ(0u, params.GetFlags());
    EXPECT_EQ(nullptr, params.GetData());
    EXPECT_EQ(nullptr, params.GetContentBuffer());
    EXPECT_EQ(nullptr, params.GetSendStatusCallback());
    EXPECT_EQ(nullptr, params.GetReadStatusCallback());
    EXPECT_EQ(nullptr, params.GetReadContentCallback());
    bool noContentLength = true;
    EXPECT_EQ(0u, params.GetDataLength(&noContentLength));
    EXPECT_FALSE(noContentLength);
    EXPECT_EQ(L"", Text(params.GetURI()));
}

TEST(NavigateParams, NullEmptiesAString)
{
    CHTTPNavigateParams params;
    params.SetURI(L"/a");
    params.SetUserName(L"user");
    params.SetPassword(L"pw");
    params.SetDataType(L"text/plain");
    params.SetRealm(L"r");
    params.SetOpaque(L"o");
    params.SetNonce(L"n");
    params.SetCNonce(L"c");
    EXPECT_EQ(L"/a", Text(params.GetURI()));
    EXPECT_EQ(L"user", Text(params.GetUserName()));
    EXPECT_EQ(L"pw", Text(params.GetPassword()));
    EXPECT_EQ(L"text/plain", Text(params.GetDataType()));
    EXPECT_EQ(L"r", Text(params.GetRealm()));
    EXPECT_EQ(L"o", Text(params.GetOpaque()));
    EXPECT_EQ(L"n", Text(params.GetNonce()));
    EXPECT_EQ(L"c", Text(params.GetCNonce()));
    params.SetURI(nullptr);
    params.SetUserName(nullptr);
    params.SetPassword(nullptr);
    params.SetDataType(nullptr);
    params.SetRealm(nullptr);
    params.SetOpaque(nullptr);
    params.SetNonce(nullptr);
    EXPECT_EQ(L"", Text(params.GetURI()));
    EXPECT_EQ(L"", Text(params.GetUserName()));
    EXPECT_EQ(L"", Text(params.GetPassword()));
    EXPECT_EQ(L"", Text(params.GetDataType()));
    EXPECT_EQ(L"", Text(params.GetRealm()));
    EXPECT_EQ(L"", Text(params.GetOpaque()));
    EXPECT_EQ(L"", Text(params.GetNonce()));
}

TEST(NavigateParams, TheUserNameGetterIsGetUserNameW)
{
    // The platform's GetUserName macro gives the getter its wide name.
    CHTTPNavigateParams params;
    params.SetUserName(L"user");
    EXPECT_EQ(L"user", Text(params.GetUserNameW()));
}

TEST(NavigateParams, ClientNonceIsTheTickCountInLowerCaseHexAndStays)
{
    FixedTickKernel kernel;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    CHTTPNavigateParams params;
    EXPECT_EQ(L"abc123", Text(params.GetCNonce()));
    params.SetCNonce(L"fixed");
    EXPECT_EQ(L"fixed", Text(params.GetCNonce()));
    params.SetCNonce(nullptr);
    EXPECT_EQ(L"abc123", Text(params.GetCNonce()));
}

void SendCallback(const void*, unsigned long, void*) {}
bool ContentCallback(ContentBuffer*, void*)
{
    return true;
}

TEST(NavigateParams, PointersAndNumbersComeBackAsGiven)
{
    CHTTPNavigateParams params;
    int send = 0;
    int read = 0;
    int content = 0;
    ContentBuffer buffer{};
    const char body[] = "body";
    params.SetData(body);
    params.SetFlags(1);
    params.SetContentBuffer(&buffer);
    params.SetSendStatusParam(&send);
    params.SetReadStatusParam(&read);
    params.SetReadContentParam(&content);
    params.SetSendStatusCallback(SendCallback);
    params.SetReadStatusCallback(SendCallback);
    params.SetReadContentCallback(ContentCallback);
    params.SetAuthScheme(3);
    params.SetTriedAuthenticating(true);
    params.SetHTTPRequestMethod(2);
    EXPECT_EQ(body, params.GetData());
    EXPECT_EQ(1u, params.GetFlags());
    EXPECT_EQ(&buffer, params.GetContentBuffer());
    EXPECT_EQ(&send, params.GetSendStatusParam());
    EXPECT_EQ(&read, params.GetReadStatusParam());
    EXPECT_EQ(&content, params.GetReadContentParam());
    EXPECT_EQ(&SendCallback, params.GetSendStatusCallback());
    EXPECT_EQ(&SendCallback, params.GetReadStatusCallback());
    EXPECT_EQ(&ContentCallback, params.GetReadContentCallback());
    EXPECT_EQ(3u, params.GetAuthScheme());
    EXPECT_TRUE(params.TriedAuthenticating());
    EXPECT_EQ(2u, params.GetHTTPRequestMethod());
}

}  // namespace
