// The simulator's protocol pieces on their own: hashing, credentials and
// the HTTP wire format.
#include <gtest/gtest.h>

#include "devsim/Base64.h"
#include "devsim/DigestAuth.h"
#include "devsim/HttpRequest.h"
#include "devsim/HttpResponse.h"
#include "devsim/Md5.h"

using namespace devsim;

namespace {

TEST(Md5, MatchesTheKnownDigests)
{
    EXPECT_EQ("d41d8cd98f00b204e9800998ecf8427e", Md5::Hex(""));
    EXPECT_EQ("900150983cd24fb0d6963f7d28e17f72", Md5::Hex("abc"));
    EXPECT_EQ("9e107d9d372bb6826bd81d3542a419d6", Md5::Hex("The quick brown fox jumps over the lazy dog"));
}

TEST(DigestAuth, ComputesTheResponseOfTheRfc2617Example)
{
    EXPECT_EQ("6629fae49393a05397450978507c4ef1",
              DigestAuth::Response("Mufasa", "testrealm@host.com", "Circle Of Life", "GET", "/dir/index.html",
                                   "dcd98b7102dd2f0e8b11d0f600bfb0c093", "00000001", "0a4f113b", "auth"));
}

TEST(DigestAuth, ParsesQuotedAndBareParameters)
{
    auto parameters = DigestAuth::Parameters(
        "Digest username=\"Mufasa\", realm=\"a, \\\"b\\\"\", nc=00000001, qop=auth,uri=\"/x\"");
    EXPECT_EQ(5u, parameters.size());
    EXPECT_EQ("Mufasa", parameters["username"]);
    EXPECT_EQ("a, \"b\"", parameters["realm"]);
    EXPECT_EQ("00000001", parameters["nc"]);
    EXPECT_EQ("auth", parameters["qop"]);
    EXPECT_EQ("/x", parameters["uri"]);
    EXPECT_TRUE(DigestAuth::Parameters("Basic dXNlcjpwdw==").empty());
}

TEST(DigestAuth, AcceptsOnlyItsOwnNonceWithTheRightPasswordAndUri)
{
    DigestAuth auth("realm", "user", "secret");
    const auto challenge = DigestAuth::Parameters(auth.Challenge());
    const std::string nonce = challenge.at("nonce");
    EXPECT_EQ(32u, nonce.size());
    EXPECT_EQ("realm", challenge.at("realm"));
    EXPECT_EQ("auth", challenge.at("qop"));
    auto header = [&](const std::string& password, const std::string& uri, const std::string& usedNonce) {
        return "Digest username=\"user\", realm=\"realm\", nonce=\"" + usedNonce + "\", uri=\"" + uri
               + "\", qop=auth, nc=00000001, cnonce=\"c0ffee\", response=\""
               + DigestAuth::Response("user", "realm", password, "GET", uri, usedNonce, "00000001", "c0ffee", "auth")
               + "\"";
    };
    EXPECT_TRUE(auth.Verify("GET", "/digest", header("secret", "/digest", nonce)));
    EXPECT_FALSE(auth.Verify("GET", "/digest", header("wrong", "/digest", nonce)));
    EXPECT_FALSE(auth.Verify("GET", "/digest", header("secret", "/other", nonce)));
    EXPECT_FALSE(auth.Verify("GET", "/digest", header("secret", "/digest", "0123456789abcdef0123456789abcdef")));
    EXPECT_FALSE(auth.Verify("POST", "/digest", header("secret", "/digest", nonce)));
}

TEST(Base64, DecodesPaddedTextAndRejectsBadText)
{
    std::string text;
    EXPECT_TRUE(Base64::Decode("YWRtaW46b3J2YW5l", &text));
    EXPECT_EQ("admin:orvane", text);
    EXPECT_TRUE(Base64::Decode("YQ==", &text));
    EXPECT_EQ("a", text);
    EXPECT_TRUE(Base64::Decode("YWI=", &text));
    EXPECT_EQ("ab", text);
    EXPECT_FALSE(Base64::Decode("YWI", &text));
    EXPECT_FALSE(Base64::Decode("Y=Q=", &text));
    EXPECT_FALSE(Base64::Decode("YW*=", &text));
}

TEST(HttpRequest, ParsesTheHeadAndAContentLengthBody)
{
    const std::string wire = "POST /status?x=1 HTTP/1.1\r\nHost: h\r\ncontent-length: 4\r\nX-A:  b \r\n\r\nbodyGET";
    HttpRequest request;
    size_t consumed = 0;
    ASSERT_EQ(HttpRequest::Result::Complete, HttpRequest::Parse(wire, &request, &consumed));
    EXPECT_EQ(wire.size() - 3, consumed);
    EXPECT_EQ("POST", request.method);
    EXPECT_EQ("/status?x=1", request.target);
    EXPECT_EQ("HTTP/1.1", request.version);
    EXPECT_EQ("body", request.body);
    EXPECT_EQ("b", request.Header("x-a"));
    EXPECT_EQ("4", request.Header("Content-Length"));
    EXPECT_EQ("", request.Header("Missing"));
    EXPECT_TRUE(request.KeepAlive());
}

TEST(HttpRequest, WaitsForTheWholeRequestAndRejectsBrokenOnes)
{
    HttpRequest request;
    size_t consumed = 0;
    EXPECT_EQ(HttpRequest::Result::Incomplete, HttpRequest::Parse("GET / HTTP/1.1\r\nHost: h\r\n", &request, &consumed));
    EXPECT_EQ(HttpRequest::Result::Incomplete,
              HttpRequest::Parse("POST / HTTP/1.1\r\nContent-Length: 5\r\n\r\nabc", &request, &consumed));
    EXPECT_EQ(HttpRequest::Result::Bad, HttpRequest::Parse("GET /\r\n\r\n", &request, &consumed));
    EXPECT_EQ(HttpRequest::Result::Bad, HttpRequest::Parse("GET / HTTP/2\r\n\r\n", &request, &consumed));
    EXPECT_EQ(HttpRequest::Result::Bad, HttpRequest::Parse("GET / HTTP/1.1\r\nNoColon\r\n\r\n", &request, &consumed));
    EXPECT_EQ(HttpRequest::Result::Bad,
              HttpRequest::Parse("POST / HTTP/1.1\r\nContent-Length: x\r\n\r\n", &request, &consumed));
}

TEST(HttpRequest, KeepsTheConnectionByVersionAndConnectionHeader)
{
    HttpRequest request;
    size_t consumed = 0;
    ASSERT_EQ(HttpRequest::Result::Complete,
              HttpRequest::Parse("GET / HTTP/1.1\r\nConnection: Close\r\n\r\n", &request, &consumed));
    EXPECT_FALSE(request.KeepAlive());
    ASSERT_EQ(HttpRequest::Result::Complete, HttpRequest::Parse("GET / HTTP/1.0\r\n\r\n", &request, &consumed));
    EXPECT_FALSE(request.KeepAlive());
    ASSERT_EQ(HttpRequest::Result::Complete,
              HttpRequest::Parse("GET / HTTP/1.0\r\nConnection: keep-alive\r\n\r\n", &request, &consumed));
    EXPECT_TRUE(request.KeepAlive());
}

TEST(HttpResponse, SerializesLengthChunkedHeadAndHttp10Forms)
{
    HttpResponse plain(404, "Not Found");
    plain.SetHeader("X-A", "1");
    plain.SetBody("text/plain", "nope");
    EXPECT_EQ("HTTP/1.1 404 Not Found\r\nServer: orvane-devsim\r\nX-A: 1\r\nContent-Type: text/plain\r\n"
              "Content-Length: 4\r\nConnection: close\r\n\r\nnope",
              plain.Serialize(false, false, false));

    HttpResponse chunked(200, "OK");
    chunked.SetChunkedBody("text/html", {"abc", "0123456789abcdef"});
    EXPECT_EQ("HTTP/1.1 200 OK\r\nServer: orvane-devsim\r\nContent-Type: text/html\r\nTransfer-Encoding: chunked\r\n"
              "Connection: keep-alive\r\n\r\n3\r\nabc\r\n10\r\n0123456789abcdef\r\n0\r\n\r\n",
              chunked.Serialize(false, true, false));
    EXPECT_EQ("HTTP/1.1 200 OK\r\nServer: orvane-devsim\r\nContent-Type: text/html\r\nTransfer-Encoding: chunked\r\n"
              "Connection: keep-alive\r\n\r\n",
              chunked.Serialize(true, true, false));
    EXPECT_EQ("HTTP/1.1 200 OK\r\nServer: orvane-devsim\r\nContent-Type: text/html\r\nContent-Length: 19\r\n"
              "Connection: close\r\n\r\nabc0123456789abcdef",
              chunked.Serialize(false, false, true));
}

}  // namespace
