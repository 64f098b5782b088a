// Authentication as a device asks for it: the scheme read from the
// WWW-Authenticate header of a 401, as the response reader reads it or as a
// connection that does HTTP itself hands it back, and the Authorization
// header of the one retry, byte for byte on the wire.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "doubles/ApiOverride.h"
#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "http/HTTPTestSupport.h"
#include "winapi/CCryptApi.h"

using namespace QVIOStack;
using doubles::MockDeviceConnection;
using http_test::ObservedClient;
using http_test::ScriptedDevice;
using ::testing::_;
using ::testing::Invoke;
using ::testing::NiceMock;
using ::testing::Return;

namespace {

const std::string kGetA = "GET /a HTTP/1.1\r\nHOST: 10.0.0.5:80\r\n\r\n";
const std::string kOk = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";
const std::string kNonce = "dcd98b7102dd2f0e8b11d0f600bfb0c093";
const std::string kOpaque = "5ccc069c403ebaf9f0171e9517f40e41";

std::string Challenge(const std::string& value)
{
    return "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: " + value + "\r\nContent-Length: 0\r\n\r\n";
}

std::string Request(const std::string& uri, const std::string& authorization)
{
    return "GET " + uri + " HTTP/1.1\r\nAuthorization: " + authorization + "\r\nHOST: 10.0.0.5:80\r\n\r\n";
}

// The digest header of the published example's request, with the fields
// that change from test to test.
std::string MufasaDigest(const std::string& nonce, const std::string& qopFields, const std::string& response,
                         const std::string& opaque = kOpaque)
{
    return "Digest username=\"Mufasa\", realm=\"testrealm@host.com\", nonce=\"" + nonce
        + "\", uri=\"/dir/index.html\", algorithm=MD5" + qopFields + ", response=\"" + response + "\", opaque=\""
        + opaque + "\"";
}

// A device that answers 200 with no content unless a test scripts other
// answers.
struct Authentication : ::testing::Test {
    Authentication()
    {
        device.defaultAnswer = kOk;
        params.SetURI(L"/a");
    }
    ObservedClient& Client()
    {
        client = std::make_unique<ObservedClient>(connection);
        return *client;
    }
    // The user, password, URI and client nonce of the published digest example.
    static void Mufasa(CHTTPNavigateParams& p)
    {
        p.SetURI(L"/dir/index.html");
        p.SetUserName(L"Mufasa");
        p.SetPassword(L"Circle Of Life");
        p.SetCNonce(L"0a4f113b");
    }
    void Mufasa() { Mufasa(params); }

    ScriptedDevice device;
    NiceMock<MockDeviceConnection>* connection = &device.Connection();
    std::vector<std::string>& writes = device.requests;
    std::unique_ptr<ObservedClient> client;
    CHTTPNavigateParams params;
};

TEST_F(Authentication, BasicChallengeWithoutUserNameSendsTheEncodingOfAColon)
{
    device.Answer(Challenge("Basic realm=\"x\""));
    ObservedClient& http = Client();
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ((std::vector<std::string>{kGetA, Request("/a", "Basic Og==")}), writes);
    EXPECT_EQ(2, http.reads);
    EXPECT_EQ((std::vector<unsigned long>{401, 200}), http.statusCodes);
    EXPECT_EQ(200u, http.GetStatusCode());
    EXPECT_EQ(1u, params.GetAuthScheme());
    EXPECT_TRUE(params.TriedAuthenticating());
}

TEST_F(Authentication, BasicCredentialsOfTheClientAreEncoded)
{
    device.Answer(Challenge("Basic realm=\"device\""));
    ObservedClient& http = Client();
    http.SetUserName(L"admin");
    http.SetPassword(L"orvane");
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    ASSERT_EQ(2u, writes.size());
    EXPECT_EQ(Request("/a", "Basic YWRtaW46b3J2YW5l"), writes[1]);
}

TEST_F(Authentication, QuotedQopListBeforeNonceLosesTheNonce)
{
    Mufasa();
    device.Answer(Challenge("Digest realm=\"testrealm@host.com\", qop=\"auth,auth-int\", nonce=\"" + kNonce
                            + "\", opaque=\"" + kOpaque + "\""));
    ObservedClient& http = Client();
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(3u, params.GetAuthScheme());
    EXPECT_EQ(L"", std::wstring(params.GetNonce()));
    EXPECT_EQ(L"testrealm@host.com", std::wstring(params.GetRealm()));
    EXPECT_EQ(L"5ccc069c403ebaf9f0171e9517f40e41", std::wstring(params.GetOpaque()));
    ASSERT_EQ(2u, writes.size());
    EXPECT_EQ(Request("/dir/index.html",
                      MufasaDigest("", ", qop=auth, nc=00000001, cnonce=\"0a4f113b\"",
                                   "0472085a9fdeabcc788c5c8a6f0d93d8")),
              writes[1]);
}

TEST_F(Authentication, QuotedQopListPlacedLastLeavesEveryOtherParameterRead)
{
    Mufasa();
    device.Answer(Challenge("Digest realm=\"testrealm@host.com\", nonce=\"" + kNonce + "\", opaque=\"" + kOpaque
                            + "\", qop=\"auth,auth-int\""));
    ObservedClient& http = Client();
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(3u, params.GetAuthScheme());
    ASSERT_EQ(2u, writes.size());
    // The published example's Authorization, with algorithm=MD5 added.
    EXPECT_EQ(Request("/dir/index.html",
                      MufasaDigest(kNonce, ", qop=auth, nc=00000001, cnonce=\"0a4f113b\"",
                                   "6629fae49393a05397450978507c4ef1")),
              writes[1]);
    EXPECT_EQ(200u, http.GetStatusCode());
}

TEST_F(Authentication, QopAuthIntGivesScheme4AndIsComputedAsAuthWithoutTheBody)
{
    Mufasa();
    params.SetHTTPRequestMethod(2);
    params.SetData("hello");
    params.SetDataLength(5, false);
    device.Answer(Challenge("Digest realm=\"testrealm@host.com\", nonce=\"" + kNonce + "\", qop=\"auth-int\", opaque=\""
                            + kOpaque + "\""));
    ObservedClient& http = Client();
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(4u, params.GetAuthScheme());
    ASSERT_EQ(2u, writes.size());
    EXPECT_EQ("POST /dir/index.html HTTP/1.1\r\nContent-Length: 5\r\nContent-Type: \r\nAuthorization: "
                  + MufasaDigest(kNonce, ", qop=auth-int, nc=00000001, cnonce=\"0a4f113b\"",
                                 "3500a966a2be74de52e68d49a771f17f")
                  + "\r\nHOST: 10.0.0.5:80\r\n\r\nhello",
              writes[1]);
}

TEST_F(Authentication, NoQopGivesScheme2WithoutCountOrClientNonceAndTheThreePartResponse)
{
    Mufasa();
    device.Answer(
        Challenge("Digest realm=\"testrealm@host.com\", nonce=\"" + kNonce + "\", opaque=\"" + kOpaque + "\""));
    ObservedClient& http = Client();
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(2u, params.GetAuthScheme());
    ASSERT_EQ(2u, writes.size());
    EXPECT_EQ(Request("/dir/index.html", MufasaDigest(kNonce, "", "670fd8c2df070c60b045671b8b24ff02")), writes[1]);
    // The build of scheme 2 doesn't count.
    EXPECT_EQ(L"00000001", std::wstring(params.IncrNonceCount()));
}

TEST_F(Authentication, AnAbsentOrEmptyOpaqueIsSentAsAnEmptyQuotedValue)
{
    // The opaque is not hashed: the published example's response stays.
    const std::string authorization = MufasaDigest(kNonce, ", qop=auth, nc=00000001, cnonce=\"0a4f113b\"",
                                                   "6629fae49393a05397450978507c4ef1", "");
    for (const std::string opaque : {"", ", opaque=\"\""}) {
        CHTTPNavigateParams fresh;
        Mufasa(fresh);
        fresh.SetOpaque(L"left from before");
        writes.clear();
        device.Answer(Challenge("Digest realm=\"testrealm@host.com\", nonce=\"" + kNonce + "\"" + opaque
                                + ", qop=\"auth\""));
        EXPECT_EQ(0u, Client().Navigate(&fresh, nullptr));
        EXPECT_EQ(L"", std::wstring(fresh.GetOpaque())) << opaque;
        ASSERT_EQ(2u, writes.size()) << opaque;
        EXPECT_EQ(Request("/dir/index.html", authorization), writes[1]) << opaque;
    }
}

TEST_F(Authentication, DigestInAnyCaseOfLettersIsAccepted)
{
    for (const char* scheme : {"dIgEsT", "DIGEST", "digest"}) {
        CHTTPNavigateParams fresh;
        fresh.SetURI(L"/a");
        device.Answer(Challenge(std::string(scheme) + " realm=\"r\", nonce=\"n\""));
        ObservedClient& http = Client();
        EXPECT_EQ(0u, http.Navigate(&fresh, nullptr));
        EXPECT_EQ(2u, fresh.GetAuthScheme()) << scheme;
        EXPECT_EQ(L"n", std::wstring(fresh.GetNonce())) << scheme;
        EXPECT_EQ(2, http.reads) << scheme;
    }
    CHTTPNavigateParams basic;
    basic.SetURI(L"/a");
    device.Answer(Challenge("bASIC realm=\"r\""));
    EXPECT_EQ(0u, Client().Navigate(&basic, nullptr));
    EXPECT_EQ(1u, basic.GetAuthScheme());
}

TEST_F(Authentication, ASecond401WithStaleTrueIsNotRetriedAndUpdatesTheNonce)
{
    Mufasa();
    device.Answer(Challenge("Digest realm=\"testrealm@host.com\", nonce=\"nonce1\", opaque=\"" + kOpaque
                            + "\", qop=\"auth\""));
    device.Answer(Challenge("Digest realm=\"testrealm@host.com\", nonce=\"nonce2\", opaque=\"" + kOpaque
                            + "\", stale=true, qop=\"auth\""));
    ObservedClient& http = Client();
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(2, http.reads);
    EXPECT_EQ(401u, http.GetStatusCode());
    ASSERT_EQ(2u, writes.size());
    EXPECT_EQ(Request("/dir/index.html", MufasaDigest("nonce1", ", qop=auth, nc=00000001, cnonce=\"0a4f113b\"",
                                                      "1f67b6b132747a0e53cdfb8deb88082f")),
              writes[1]);
    EXPECT_EQ(L"nonce2", std::wstring(params.GetNonce()));
}

TEST_F(Authentication, ASecondUseOfTheParametersSendsAuthorizationAtOnceAndItsRetryIsSpent)
{
    Mufasa();
    device.Answer(Challenge("Digest realm=\"testrealm@host.com\", nonce=\"nonce1\", opaque=\"" + kOpaque
                            + "\", qop=\"auth\""));
    device.defaultAnswer = Challenge("Digest realm=\"testrealm@host.com\", nonce=\"nonce2\", opaque=\"" + kOpaque
                                     + "\", stale=true, qop=\"auth\"");
    ObservedClient& http = Client();
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    writes.clear();
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(3, http.reads);
    EXPECT_EQ(401u, http.GetStatusCode());
    EXPECT_EQ((std::vector<std::string>{Request(
                  "/dir/index.html", MufasaDigest("nonce2", ", qop=auth, nc=00000002, cnonce=\"0a4f113b\"",
                                                  "de75f37622ec94ccea6eb95f4a5983ad"))}),
              writes);
}

TEST_F(Authentication, ADeviceThatAlwaysAnswers401GetsExactlyOneRetry)
{
    device.defaultAnswer = Challenge("Basic realm=\"x\"");
    ObservedClient& http = Client();
    EXPECT_CALL(*connection, Open(_)).Times(2).WillRepeatedly(Return(0));
    EXPECT_CALL(*connection, Close()).Times(2).WillRepeatedly(Return(0));
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(2, http.reads);
    EXPECT_EQ(401u, http.GetStatusCode());
    EXPECT_EQ((std::vector<std::string>{kGetA, Request("/a", "Basic Og==")}), writes);
}

TEST_F(Authentication, AConnectionThatDoesHTTPItselfRetriesThroughTheClientOnce)
{
    // As the TLS connection does: hand back the 401 and, while the
    // parameters have a scheme not yet tried, navigate once more.
    ObservedClient& http = Client();
    std::vector<std::wstring> requests;
    EXPECT_CALL(*connection, IsHTTPCapable()).WillRepeatedly(Return(true));
    EXPECT_CALL(*connection, Navigate(&params, &http, _))
        .Times(2)
        .WillRepeatedly(Invoke([&requests](IHTTPNavigateParams* p, IHTTPClient* c, QVUtils::IProgress* progress) {
            requests.emplace_back(c->GetRequest());
            c->SetHeaders("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\n\r\n");
            c->SetStatusCode(401);
            if (p->GetAuthScheme() != 0 && !p->TriedAuthenticating()) {
                return c->Navigate(p, progress) == 0 ? 0UL : 1UL;
            }
            return 0UL;
        }));
    http.SetUserName(L"admin");
    http.SetPassword(L"orvane");
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ((std::vector<std::wstring>{L"GET /a HTTP/1.1\r\nHOST: 10.0.0.5:80\r\n\r\n",
                                         L"GET /a HTTP/1.1\r\nAuthorization: Basic YWRtaW46b3J2YW5l\r\n"
                                         L"HOST: 10.0.0.5:80\r\n\r\n"}),
              requests);
    EXPECT_EQ(401u, http.GetStatusCode());
    EXPECT_EQ(0, http.reads);
}

TEST_F(Authentication, AnUnknownSchemeSendsNoHeaderAndSpendsTheRetry)
{
    params.SetAuthScheme(7);
    device.defaultAnswer = Challenge("Negotiate abc");
    ObservedClient& http = Client();
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(1, http.reads);
    EXPECT_TRUE(params.TriedAuthenticating());
    EXPECT_EQ(7u, params.GetAuthScheme());
    EXPECT_EQ(std::vector<std::string>{kGetA}, writes);
}

TEST_F(Authentication, AnUnknownOrMalformedChallengeLeavesTheSchemeAndIsNotRetried)
{
    for (const char* challenge : {"Negotiate abc", "Basic", "Digest"}) {
        CHTTPNavigateParams fresh;
        fresh.SetURI(L"/a");
        device.Answer(Challenge(challenge));
        ObservedClient& http = Client();
        EXPECT_EQ(0u, http.Navigate(&fresh, nullptr));
        EXPECT_EQ(0u, fresh.GetAuthScheme()) << challenge;
        EXPECT_EQ(1, http.reads) << challenge;
        EXPECT_EQ(401u, http.GetStatusCode()) << challenge;
    }
}

TEST_F(Authentication, DigestParametersLowerCaseTheirNamesAndKeepEqualsSignsInValues)
{
    device.Answer(Challenge("Digest  REALM=\"r\",   Nonce=\"YWJj==\",opaque=o, qop=auth"));
    EXPECT_EQ(0u, Client().Navigate(&params, nullptr));
    EXPECT_EQ(3u, params.GetAuthScheme());
    EXPECT_EQ(L"r", std::wstring(params.GetRealm()));
    EXPECT_EQ(L"YWJj==", std::wstring(params.GetNonce()));
    EXPECT_EQ(L"o", std::wstring(params.GetOpaque()));
}

TEST_F(Authentication, FiftySevenCharactersOfCredentialsBreakTheAuthorizationLine)
{
    params.SetUserName(std::wstring(56, L'u').c_str());
    device.Answer(Challenge("Basic realm=\"x\""));
    EXPECT_EQ(0u, Client().Navigate(&params, nullptr));
    ASSERT_EQ(2u, writes.size());
    EXPECT_EQ("GET /a HTTP/1.1\r\nAuthorization: Basic "
              "dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXU6\r\n"
              "\r\nHOST: 10.0.0.5:80\r\n\r\n",
              writes[1]);
}

TEST_F(Authentication, TheDigestURIHasNoRootInFrontOfIt)
{
    Mufasa();
    device.Answer(Challenge("Digest realm=\"testrealm@host.com\", nonce=\"" + kNonce + "\", opaque=\"" + kOpaque
                            + "\", qop=\"auth\""));
    ObservedClient& http = Client();
    http.SetRoot(L"/dev");
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    ASSERT_EQ(2u, writes.size());
    EXPECT_EQ("GET /dev/dir/index.html HTTP/1.1\r\nAuthorization: "
                  + MufasaDigest(kNonce, ", qop=auth, nc=00000001, cnonce=\"0a4f113b\"",
                                 "6629fae49393a05397450978507c4ef1")
                  + "\r\nHOST: 10.0.0.5:80\r\n\r\n",
              writes[1]);
}

// A provider that can't be opened.
class FailingCryptApi : public QVWinApi::CCryptApi {
public:
    BOOL CryptAcquireContextW(HCRYPTPROV*, LPCWSTR, LPCWSTR, DWORD, DWORD) override
    {
        ::SetLastError(NTE_PROV_TYPE_NOT_DEF);
        return FALSE;
    }
};

TEST_F(Authentication, AProviderFailureSendsTheHeaderWithAnEmptyResponse)
{
    FailingCryptApi crypt;
    const doubles::ApiOverride<QVWinApi::ICryptApi> swap(g_pCryptApi, crypt);
    Mufasa();
    device.Answer(Challenge("Digest realm=\"testrealm@host.com\", nonce=\"" + kNonce + "\", opaque=\"" + kOpaque
                            + "\", qop=\"auth\""));
    EXPECT_EQ(0u, Client().Navigate(&params, nullptr));
    ASSERT_EQ(2u, writes.size());
    EXPECT_EQ(Request("/dir/index.html", MufasaDigest(kNonce, ", qop=auth, nc=00000001, cnonce=\"0a4f113b\"", "")),
              writes[1]);
}

TEST(AuthenticationHandBack, HeadersHandedBackOutsideAnExchangeAreOnlyKept)
{
    CHTTPClient http;
    http.SetHeaders(Challenge("Basic realm=\"x\"").c_str());
    EXPECT_EQ(401u, http.GetStatusCode());
    EXPECT_EQ(L"Basic realm=\"x\"", std::wstring(http.GetHeaderEntry(L"www-authenticate")));
}

}  // namespace
