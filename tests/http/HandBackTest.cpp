// What a connection that does HTTP itself hands back: status, raw headers
// and content, and how the client reads them out again.
#include <gtest/gtest.h>

#include <string>

#include "http/CHTTPClient.h"

using namespace QVIOStack;

namespace {

std::wstring Text(const wchar_t* text)
{
    return text ? text : L"(null)";
}

TEST(HandBack, ContentIsCopiedAndCountsAsContentLength)
{
    CHTTPClient client;
    char data[] = "body";
    client.SetContent(data, 4);
    data[0] = 'X';
    ASSERT_NE(nullptr, client.GetContent());
    EXPECT_EQ("body", std::string(reinterpret_cast<const char*>(client.GetContent()), 4));
    EXPECT_EQ(4u, client.GetContentLength());
    EXPECT_EQ(L"4", Text(client.GetHeaderEntry(L"content-length")));

    client.SetContent(nullptr, 9);
    EXPECT_EQ(nullptr, client.GetContent());
    client.SetContent("", 0);
    EXPECT_EQ(nullptr, client.GetContent());
    EXPECT_EQ(0u, client.GetContentLength());
}

TEST(HandBack, NoContentLengthHeaderGivesAllBitsSet)
{
    CHTTPClient client;
    EXPECT_EQ(0xFFFFFFFFu, client.GetContentLength());
    EXPECT_EQ(nullptr, client.GetContentType());
    EXPECT_EQ(nullptr, client.GetHeaderEntry(nullptr));
}

TEST(HandBack, HeadersAreKeptRawAndParsedLineByLine)
{
    CHTTPClient client;
    const std::string raw = "HTTP/1.1 404 Not Found\r\nContent-Type: text/html\r\nServer: dev: 2\r\nBad:line\r\n\r\n";
    client.SetHeaders(raw.c_str());
    EXPECT_EQ(404u, client.GetStatusCode());
    EXPECT_EQ(raw, std::string(client.GetHeader()));
    EXPECT_EQ(raw.size(), client.GetHeaderLength());
    EXPECT_EQ(L"text/html", Text(client.GetContentType()));
    EXPECT_EQ(L"text/html", Text(client.GetHeaderEntry(L"CONTENT-TYPE")));
    EXPECT_EQ(L"dev: 2", Text(client.GetHeaderEntry(L"Server")));
    EXPECT_EQ(nullptr, client.GetHeaderEntry(L"Bad"));
    HeaderMap headers;
    client.GetHeaders(headers);
    EXPECT_EQ((HeaderMap{{L"Content-Type", L"text/html"}, {L"Server", L"dev: 2"}}), headers);

    client.SetHeaders(nullptr);
    EXPECT_EQ(0u, client.GetHeaderLength());
    EXPECT_EQ(nullptr, client.GetContentType());
}

TEST(HandBack, HeaderNamesIgnoreASCIICaseThenOrderByLength)
{
    CHTTPClient client;
    client.SetHeaders("HTTP/1.1 200 OK\r\nb: 1\r\nAb: 2\r\nX-Y: 3\r\nx-y: 4\r\nA: 5\r\n\r\n");
    HeaderMap headers;
    client.GetHeaders(headers);
    ASSERT_EQ(4u, headers.size());
    auto entry = headers.begin();
    EXPECT_EQ(L"A", (entry++)->first);
    EXPECT_EQ(L"Ab", (entry++)->first);
    EXPECT_EQ(L"b", (entry++)->first);
    EXPECT_EQ(L"X-Y", entry->first);
    EXPECT_EQ(L"4", entry->second);
}

TEST(HandBack, StatusLineWithTwoBlanksIsReadFromTheSecond)
{
    CHTTPClient client;
    client.SetHeaders("HTTP/1.1  201 Created\r\nA: b\r\n\r\n");
    EXPECT_EQ(201u, client.GetStatusCode());
    EXPECT_EQ(L"b", Text(client.GetHeaderEntry(L"A")));
}

TEST(HandBack, WithoutReasonPhraseTheNextHeaderIsSwallowed)
{
    CHTTPClient client;
    client.SetHeaders("HTTP/1.1 200\r\nA: b\r\nC: d\r\n\r\n");
    EXPECT_EQ(200u, client.GetStatusCode());
    EXPECT_EQ(nullptr, client.GetHeaderEntry(L"A"));
    EXPECT_EQ(L"d", Text(client.GetHeaderEntry(L"C")));
}

TEST(HandBack, Status506OrMoreIsMalformed)
{
    CHTTPClient client;
    client.SetStatusCode(7);
    client.SetHeaders("HTTP/1.1 506 Odd\r\nA: b\r\n\r\n");
    EXPECT_EQ(7u, client.GetStatusCode());
    EXPECT_EQ(nullptr, client.GetHeaderEntry(L"A"));
    client.SetHeaders("HTTP/1.1 505 Old\r\nA: b\r\n\r\n");
    EXPECT_EQ(505u, client.GetStatusCode());
}

TEST(HandBack, HeaderTextsAreCodePage1252AndLimitedTo1024Characters)
{
    CHTTPClient client;
    const std::string fits(1024, 'v');
    const std::string tooLong(1025, 'w');
    client.SetHeaders(("HTTP/1.1 200 OK\r\nCaf\xe9: \x80\r\nFits: " + fits + "\r\nLong: " + tooLong + "\r\n\r\n").c_str());
    EXPECT_EQ(L"\u20ac", Text(client.GetHeaderEntry(L"Caf\u00e9")));
    EXPECT_EQ(std::wstring(1024, L'v'), Text(client.GetHeaderEntry(L"Fits")));
    EXPECT_EQ(nullptr, client.GetHeaderEntry(L"Long"));
}

TEST(HandBack, ResetRequestForgetsTheLastExchange)
{
    CHTTPClient client;
    client.SetHeaders("HTTP/1.1 200 OK\r\nA: b\r\n\r\n");
    client.SetContent("abc", 3);
    client.ResetRequest();
    EXPECT_EQ(0u, client.GetStatusCode());
    EXPECT_EQ(0u, client.GetHeaderLength());
    EXPECT_EQ(nullptr, client.GetContent());
    EXPECT_EQ(0xFFFFFFFFu, client.GetContentLength());
    EXPECT_EQ(nullptr, client.GetHeaderEntry(L"A"));
    EXPECT_EQ(L"", Text(client.GetRequest()));
}

}  // namespace
