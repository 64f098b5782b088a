// orvane http run against the web server of orvane-devsim.exe.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "common/Text.h"
#include "peers/ClosedPort.h"
#include "tools/DevsimProcess.h"

using toolstest::DevsimProcess;
using toolstest::RunResult;
using toolstest::RunTool;
using toolstest::TempFile;

namespace {

const std::string kStatusPage =
    "<html><head><title>Orvane devsim</title></head><body><h1>Orvane virtual printer</h1>"
    "<p>Status: READY</p><p>Jobs received: 0</p></body></html>";

std::wstring WebTarget(const DevsimProcess& devsim)
{
    return L"127.0.0.1:" + std::to_wstring(devsim.HttpPort());
}

RunResult Http(const DevsimProcess& devsim, std::vector<std::wstring> arguments)
{
    arguments.insert(arguments.begin(), {L"http", WebTarget(devsim)});
    return RunTool(L"orvane.exe", arguments);
}

TEST(OrvaneHttp, WritesTheBodyOfAPageWithAKnownLength)
{
    DevsimProcess devsim;
    ASSERT_TRUE(devsim.Running());
    const RunResult result = Http(devsim, {L"/status"});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ(std::vector<std::string>{kStatusPage}, result.out);
    EXPECT_TRUE(result.err.empty());
}

TEST(OrvaneHttp, WritesTheStatusLineAndTheUsualHeadersWithI)
{
    DevsimProcess devsim;
    ASSERT_TRUE(devsim.Running());
    const RunResult result = Http(devsim, {L"-i", L"/status"});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ((std::vector<std::string>{"HTTP 200", "Content-Type: text/html", "Content-Length: 142",
                                        "Connection: keep-alive", "Server: orvane-devsim", "", kStatusPage}),
              result.out);
}

TEST(OrvaneHttp, ReadsAChunkedPageWhole)
{
    DevsimProcess devsim;
    ASSERT_TRUE(devsim.Running());
    const RunResult result = Http(devsim, {L"/chunked"});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ((std::vector<std::string>{"<html><body>", "<p>This page comes in chunks.</p>", "</body></html>"}),
              result.out);
}

TEST(OrvaneHttp, ReachesTheBasicAndDigestPagesWithTheRightPassword)
{
    DevsimProcess devsim;
    ASSERT_TRUE(devsim.Running());
    const RunResult basic = Http(devsim, {L"/basic", L"--user", L"admin", L"--password", L"orvane"});
    EXPECT_EQ(0, basic.exitCode);
    EXPECT_EQ(std::vector<std::string>{"<html><body><p>Basic authentication accepted.</p></body></html>"}, basic.out);
    const RunResult digest = Http(devsim, {L"-i", L"/digest", L"--user", L"admin", L"--password", L"orvane"});
    EXPECT_EQ(0, digest.exitCode);
    ASSERT_FALSE(digest.out.empty());
    EXPECT_EQ("HTTP 200", digest.out.front());
    EXPECT_EQ("<html><body><p>Digest authentication accepted.</p></body></html>", digest.out.back());
}

TEST(OrvaneHttp, AWrongPasswordEndsWith401AndFailOnlyWithFail)
{
    DevsimProcess devsim;
    ASSERT_TRUE(devsim.Running());
    const RunResult wrong = Http(devsim, {L"-i", L"/digest", L"--user", L"admin", L"--password", L"wrong"});
    EXPECT_EQ(0, wrong.exitCode);
    ASSERT_FALSE(wrong.out.empty());
    EXPECT_EQ("HTTP 401", wrong.out.front());
    const RunResult failing = Http(devsim, {L"--fail", L"/digest", L"--user", L"admin", L"--password", L"wrong"});
    EXPECT_EQ(1, failing.exitCode);
}

TEST(OrvaneHttp, FollowsARedirectToTheStatusPage)
{
    DevsimProcess devsim;
    ASSERT_TRUE(devsim.Running());
    const RunResult result = Http(devsim, {L"/redirect"});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ(std::vector<std::string>{kStatusPage}, result.out);
}

TEST(OrvaneHttp, PostsABodyFromTextOrFile)
{
    DevsimProcess devsim;
    ASSERT_TRUE(devsim.Running());
    const RunResult posted = Http(devsim, {L"--data", L"hello", L"-i", L"/status"});
    EXPECT_EQ(0, posted.exitCode);
    ASSERT_FALSE(posted.out.empty());
    EXPECT_EQ("HTTP 200", posted.out.front());
    TempFile body("from a file");
    const RunResult fromFile = Http(devsim, {L"--data-file", body.Path(), L"/echo"});
    EXPECT_EQ(0, fromFile.exitCode);
    ASSERT_FALSE(fromFile.out.empty());
    EXPECT_EQ("POST /echo HTTP/1.1", fromFile.out.front());
    EXPECT_EQ("from a file", fromFile.out.back());
    EXPECT_EQ((std::vector<std::string>{"http POST /status from 127.0.0.1:P: 200 (5 bytes of body)",
                                        "http POST /echo from 127.0.0.1:P: 200 (11 bytes of body)"}),
              devsim.HttpRequests());
}

TEST(OrvaneHttp, SendsTheMethodHeadersAndBodyAsGiven)
{
    DevsimProcess devsim;
    ASSERT_TRUE(devsim.Running());
    const RunResult put = Http(devsim, {L"--method", L"PUT", L"--data", L"a=1&b=2", L"-H", L"X-Test:1", L"-H",
                                        L"X-Other: two words", L"--content-type", L"text/plain", L"/echo"});
    EXPECT_EQ(0, put.exitCode);
    ASSERT_LT(2u, put.out.size());
    EXPECT_EQ("PUT /echo HTTP/1.1", put.out.front());
    // The device echoes the head it got, then an empty line and the body.
    const std::vector<std::string> head(put.out.begin() + 1, put.out.end() - 2);
    for (const char* header : {"X-Test: 1", "X-Other: two words", "Content-Length: 7", "Content-Type: text/plain"}) {
        EXPECT_EQ(1, std::count(head.begin(), head.end(), header)) << header;
    }
    EXPECT_EQ("", put.out[put.out.size() - 2]);
    EXPECT_EQ("a=1&b=2", put.out.back());

    const RunResult removed = Http(devsim, {L"--method", L"DELETE", L"/echo"});
    EXPECT_EQ(0, removed.exitCode);
    ASSERT_FALSE(removed.out.empty());
    EXPECT_EQ("DELETE /echo HTTP/1.1", removed.out.front());
    EXPECT_EQ((std::vector<std::string>{"http PUT /echo from 127.0.0.1:P: 200 (7 bytes of body)",
                                        "http DELETE /echo from 127.0.0.1:P: 200"}),
              devsim.HttpRequests());
}

TEST(OrvaneHttp, WritesTheBodyToAFile)
{
    DevsimProcess devsim;
    ASSERT_TRUE(devsim.Running());
    TempFile out;
    const RunResult result = Http(devsim, {L"-o", out.Path(), L"/status"});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_TRUE(result.out.empty());
    EXPECT_EQ(kStatusPage + "\n", out.Contents());
}

TEST(OrvaneHttp, RefusesBadArgumentsWithExitCodeTwo)
{
    const RunResult method = RunTool(L"orvane.exe", {L"http", L"--method", L"PATCH", L"127.0.0.1", L"/"});
    EXPECT_EQ(2, method.exitCode);
    EXPECT_EQ("orvane http: unknown method 'PATCH': GET, PUT, POST or DELETE", method.err.at(0));

    const RunResult header = RunTool(L"orvane.exe", {L"http", L"-H", L"novalue", L"127.0.0.1", L"/"});
    EXPECT_EQ(2, header.exitCode);
    EXPECT_EQ("orvane http: header 'novalue' is not NAME:VALUE", header.err.at(0));

    TempFile binary(std::string("ab\0cd", 5));
    const RunResult zero = RunTool(L"orvane.exe", {L"http", L"--data-file", binary.Path(), L"127.0.0.1", L"/"});
    EXPECT_EQ(2, zero.exitCode);
    EXPECT_EQ("orvane http: " + tools::Text::Narrow(binary.Path())
                  + " has a zero byte at offset 2: the library sends a body as text",
              zero.err.at(0));

    const RunResult missing = RunTool(L"orvane.exe", {L"http", L"127.0.0.1"});
    EXPECT_EQ(2, missing.exitCode);
    EXPECT_EQ("orvane http: expected ADDRESS[:PORT] and URI", missing.err.at(0));
}

TEST(OrvaneHttp, NoAnswerFailsWithExitCodeOneAndTheStatus)
{
    peers::ClosedPort closed(8080, 8000);
    ASSERT_NE(0, closed.Port());
    const RunResult result = RunTool(L"orvane.exe", {L"http", closed.Target(), L"/status"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ(std::vector<std::string>{"orvane http: no answer from " + closed.Text()
                                       + ": status 0x80004005 (the connection failed or the answer was malformed; "
                                         "'orvane log on' records why)"},
              result.err);
    EXPECT_TRUE(result.out.empty());
}

TEST(OrvaneHttp, APortWithoutHttpRequestsFailsWithExitCodeOne)
{
    const RunResult result = RunTool(L"orvane.exe", {L"http", L"127.0.0.1:8081", L"/"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ(std::vector<std::string>{"orvane http: the library makes no HTTP request on port 8081: it uses ports 80 "
                                       "to 8080, 443 and 7627"},
              result.err);
}

}  // namespace
