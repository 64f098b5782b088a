// The response reader on a scripted connection that is no socket: the
// header in its fixed buffer, the status line, content by known length, in
// chunks or until the device stops, responses cut at every boundary, the
// caller's buffer and callbacks, and malformed answers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "doubles/ScriptedProgress.h"
#include "peers/AllocationLimit.h"
#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "http/HTTPTestSupport.h"
#include "iostack/IOStatus.h"

using namespace QVIOStack;
using peers::AllocationLimit;
using http_test::Bytewise;
using http_test::CutAt;
using http_test::ObservedClient;
using http_test::ReadStep;
using http_test::ScriptedDevice;

namespace {

const std::string kChunkedHeader = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
const std::string kAlphabet = "abcdefghijklmnopqrstuvwxyz";

std::string Text(const wchar_t* text)
{
    return text ? std::string(text, text + wcslen(text)) : "(null)";
}

std::string ContentOf(CHTTPClient& client)
{
    const unsigned char* content = client.GetContent();
    return content ? std::string(reinterpret_cast<const char*>(content), client.GetContentLength()) : "(null)";
}

// A header block of exactly `length` bytes with status 200 and no content.
std::string HeaderOfLength(size_t length)
{
    const std::string start = "HTTP/1.1 200 OK\r\n";
    const std::string end = "Content-Length: 0\r\n\r\n";
    std::string header = start;
    size_t left = length - start.size() - end.size();
    for (int i = 0; left != 0; ++i) {
        // Lines of 100 bytes, the first one taking what doesn't divide.
        const size_t line = i == 0 ? 100 + left % 100 : 100;
        const std::string name = "X-Pad" + std::to_string(i) + ": ";
        header += name + std::string(line - name.size() - 2, 'p') + "\r\n";
        left -= line;
    }
    return header + end;
}

struct ResponseReader : ::testing::Test {
    ResponseReader() { params.SetURI(L"/r"); }
    unsigned long Get() { return client.Navigate(&params, nullptr); }

    ScriptedDevice device;
    CHTTPNavigateParams params;
    ObservedClient client{&device.Connection()};
};

// The header buffer.

TEST(HeaderOfLengthHelper, MakesBlocksOfTheLengthAsked)
{
    EXPECT_EQ(4096u, HeaderOfLength(4096).size());
    EXPECT_EQ(4097u, HeaderOfLength(4097).size());
    EXPECT_EQ("\r\n\r\n", HeaderOfLength(4096).substr(4092));
}

TEST_F(ResponseReader, HeaderBlockOfExactly4096BytesIsAccepted)
{
    const std::string header = HeaderOfLength(4096);
    device.Answer(header);
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(0u, client.lastRead);
    EXPECT_EQ(200u, client.GetStatusCode());
    EXPECT_EQ(4096u, client.GetHeaderLength());
    EXPECT_EQ(header, std::string(client.GetHeader()));
    EXPECT_EQ("0", Text(client.GetHeaderEntry(L"Content-Length")));
    EXPECT_EQ(std::vector<unsigned long>{4096}, device.readSizes);
}

TEST_F(ResponseReader, HeaderBlockOneByteOver4096FailsAfterAReadOf0Bytes)
{
    device.Answer(HeaderOfLength(4097));
    EXPECT_EQ(Error_IO_Read_Fail, Get());
    EXPECT_EQ(Error_IO_Read_Fail, client.lastRead);
    EXPECT_EQ((std::vector<unsigned long>{4096, 0}), device.readSizes);
    EXPECT_EQ("\n", device.Unread());
    EXPECT_EQ(0u, client.GetHeaderLength());
}

TEST_F(ResponseReader, HeaderBlockThatNeverEndsFailsOnceTheBufferIsFull)
{
    device.Answer(CutAt("HTTP/1.1 200 OK\r\n" + std::string(5000, 'x'), {1000, 3000}));
    EXPECT_EQ(Error_IO_Read_Fail, Get());
    EXPECT_EQ((std::vector<unsigned long>{4096, 3096, 1096, 0}), device.readSizes);
}

// Status and content by status.

TEST_F(ResponseReader, Status200WithContentLength0HasNoContentAndNoFurtherRead)
{
    device.Answer("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(nullptr, client.GetContent());
    EXPECT_EQ(0u, client.GetContentLength());
    EXPECT_EQ(std::vector<unsigned long>{4096}, device.readSizes);
}

TEST_F(ResponseReader, Status204AndEvery3xxReadNoContentAndLeaveTheBodyForTheNextDrain)
{
    std::vector<unsigned long> statuses{204};
    for (unsigned long status = 300; status <= 399; ++status) {
        statuses.push_back(status);
    }
    for (unsigned long status : statuses) {
        SCOPED_TRACE(status);
        ScriptedDevice scripted;
        scripted.Answer({{"HTTP/1.1 " + std::to_string(status) + " X\r\nContent-Length: 4\r\n\r\n"}, {"body"}});
        scripted.Answer("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
        ObservedClient http(&scripted.Connection());
        http.Navigate(&params, nullptr);  // what a redirect without Location gives is not the reader's
        EXPECT_EQ(0u, http.lastRead);
        EXPECT_EQ(status, http.GetStatusCode());
        EXPECT_EQ(nullptr, http.GetContent());
        EXPECT_EQ(std::vector<unsigned long>{4096}, scripted.readSizes);
        EXPECT_EQ("body", scripted.Unread());

        EXPECT_EQ(0u, http.Navigate(&params, nullptr));
        EXPECT_EQ("body", scripted.drained);
        EXPECT_EQ(200u, http.GetStatusCode());
        EXPECT_EQ("ok", ContentOf(http));
    }
}

TEST_F(ResponseReader, Status401WithABodyReadsTheBody)
{
    // A device that learns the credentials are coming answers the second try.
    device.Answer({{"HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"dev\"\r\nContent-Length: 6\r\n\r\n"},
                   {"denied"}});
    device.Answer("HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\nwelcome");
    EXPECT_EQ(0u, Get());
    ASSERT_LE(1u, client.statusCodes.size());
    EXPECT_EQ(401u, client.statusCodes[0]);
    EXPECT_EQ("denied", client.contents[0]);
    EXPECT_EQ((std::vector<unsigned long>{4096, 6}), std::vector<unsigned long>(device.readSizes.begin(),
                                                                               device.readSizes.begin() + 2));
}

TEST_F(ResponseReader, Status404ReadsNoContent)
{
    device.Answer("HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\ngone");
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(404u, client.GetStatusCode());
    EXPECT_EQ(nullptr, client.GetContent());
    EXPECT_EQ(std::vector<unsigned long>{4096}, device.readSizes);
}

TEST_F(ResponseReader, StatusLineWithTwoBlanksAfterTheVersionIsReadFromTheSecond)
{
    device.Answer("HTTP/1.1  201 Created\r\nContent-Length: 3\r\n\r\nnew");
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(201u, client.GetStatusCode());
    EXPECT_EQ(L"3", std::wstring(client.GetHeaderEntry(L"Content-Length")));
}

TEST_F(ResponseReader, ThePositionBehindTheStatusCodeIsTheBlankPlus5WhateverStandsThere)
{
    device.Answer("HTTP/1.1 200;OK\r\nContent-Length: 2\r\n\r\nhi");
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(200u, client.GetStatusCode());
    EXPECT_EQ("hi", ContentOf(client));
}

TEST_F(ResponseReader, WithoutReasonPhraseTheNextHeaderIsSwallowedAndTheContentReadUntilTheDeviceStops)
{
    device.Answer("HTTP/1.1 200\r\nContent-Length: 3\r\nX-A: 1\r\n\r\nabc");
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(0u, client.lastRead);
    EXPECT_EQ(200u, client.GetStatusCode());
    EXPECT_EQ("1", Text(client.GetHeaderEntry(L"X-A")));
    // The length was never seen: the content ran until the device paused,
    // and its count was entered afterwards.
    EXPECT_EQ((std::vector<unsigned long>{100, 30000, 500, 30000}), device.readTimeouts);
    EXPECT_EQ("3", Text(client.GetHeaderEntry(L"Content-Length")));
    EXPECT_EQ("abc", ContentOf(client));
}

TEST_F(ResponseReader, WithoutReasonPhraseAndNoHeaderTheStatusLineFails)
{
    device.Answer("HTTP/1.1 200\r\n\r\n");
    EXPECT_EQ(Error_IO_Read_Fail, Get());
    EXPECT_EQ(200u, client.GetStatusCode());
}

TEST_F(ResponseReader, StatusLineWithoutABlankIsMalformed)
{
    device.Answer("HTTP/1.1\r\nA: b\r\n\r\n");
    EXPECT_EQ(Error_IO_Read_Fail, Get());
    EXPECT_EQ(0u, client.GetStatusCode());
}

TEST_F(ResponseReader, Status506OrAboveIsMalformed)
{
    device.Answer("HTTP/1.1 506 Variant\r\nContent-Length: 0\r\n\r\n");
    EXPECT_EQ(Error_IO_Read_Fail, Get());
    device.Answer("HTTP/1.1 505 Version\r\nContent-Length: 0\r\n\r\n");
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(505u, client.GetStatusCode());
}

TEST_F(ResponseReader, HeaderLinesWithoutColonAndBlankAreLeftOut)
{
    device.Answer("HTTP/1.1 200 OK\r\nBad:line\r\nGood: yes\r\nContent-Length: 0\r\n\r\n");
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(nullptr, client.GetHeaderEntry(L"Bad"));
    EXPECT_EQ("yes", Text(client.GetHeaderEntry(L"good")));
}

// 100 Continue.

TEST_F(ResponseReader, ContinueFollowedByTheRealResponseInALaterReadKeepsTheRealStatus)
{
    device.Answer({{"HTTP/1.1 100 Continue\r\nX-First: 1\r\n\r\n"}, {"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"}});
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(200u, client.GetStatusCode());
    EXPECT_EQ("ok", ContentOf(client));
    EXPECT_EQ("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n", std::string(client.GetHeader()));
    EXPECT_EQ(nullptr, client.GetHeaderEntry(L"X-First"));
}

TEST_F(ResponseReader, ContinueWithTheRealResponseInTheSameReadLosesIt)
{
    // What came behind the 100 in its read is dropped, and the reader waits
    // for more.
    device.Answer("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
    EXPECT_EQ(Error_IO_Read_Fail, Get());
    EXPECT_EQ(100u, client.GetStatusCode());
    EXPECT_EQ(nullptr, client.GetContent());
    EXPECT_EQ((std::vector<unsigned long>{4096, 4096}), device.readSizes);
}

// Known size.

TEST_F(ResponseReader, KnownSizeContentComesStraightIntoTheBufferWhateverTheReads)
{
    std::string body;
    for (int i = 0; i < 1000; ++i) {
        body += "line " + std::to_string(i) + "\n";
    }
    const std::string header = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n";
    device.Answer(CutAt(header + body, {header.size() + 10, 5000, 5001, 8000}));
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(body, ContentOf(client));
    EXPECT_EQ(body.size(), client.GetContentLength());
    EXPECT_EQ("", device.Unread());
    // The header read, then the rest of the content asked for at once and
    // again for what each read left.
    const unsigned long rest = static_cast<unsigned long>(body.size() - 10);
    EXPECT_EQ((std::vector<unsigned long>{4096, rest, rest - (5000 - 10 - static_cast<unsigned long>(header.size())),
                                          rest - (5001 - 10 - static_cast<unsigned long>(header.size())),
                                          rest - (8000 - 10 - static_cast<unsigned long>(header.size()))}),
              device.readSizes);
}

TEST_F(ResponseReader, KnownLengthResponseDeliveredOneByteAtATime)
{
    const std::string response = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 11\r\n\r\nhello world";
    device.Answer(Bytewise(response));
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(200u, client.GetStatusCode());
    EXPECT_EQ("text/plain", Text(client.GetContentType()));
    EXPECT_EQ("hello world", ContentOf(client));
    EXPECT_EQ(response, device.read);
}

TEST_F(ResponseReader, HeadWithALengthReadsNothing)
{
    params.SetHTTPRequestMethod(4);
    device.Answer({{"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n"}, {"0123456789"}});
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(10u, client.GetContentLength());
    EXPECT_EQ(nullptr, client.GetContent());
    EXPECT_EQ("0123456789", device.Unread());
}

TEST_F(ResponseReader, HeadWithoutALengthReadsUntilTheDeviceStops)
{
    params.SetHTTPRequestMethod(4);
    device.Answer({{"HTTP/1.1 200 OK\r\n\r\n"}, {"tail"}});
    EXPECT_EQ(0u, Get());
    EXPECT_EQ("tail", ContentOf(client));
    EXPECT_EQ((std::vector<unsigned long>{100, 30000, 500, 30000}), device.readTimeouts);
}

TEST_F(ResponseReader, PutWithoutALengthReadsNothing)
{
    params.SetHTTPRequestMethod(1);
    device.Answer({{"HTTP/1.1 200 OK\r\n\r\n"}, {"tail"}});
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(nullptr, client.GetContent());
    EXPECT_EQ("tail", device.Unread());
    EXPECT_EQ((std::vector<unsigned long>{100, 30000}), device.readTimeouts);
}

TEST_F(ResponseReader, PutWithALengthReadsTheContent)
{
    params.SetHTTPRequestMethod(1);
    device.Answer({{"HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n"}, {"done"}});
    EXPECT_EQ(0u, Get());
    EXPECT_EQ("done", ContentOf(client));
}

TEST_F(ResponseReader, ConnectionClosedInTheMiddleOfAKnownLengthIsAReadFailureThatKeepsWhatCame)
{
    device.quiet = IOError_Fail;
    device.Answer("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc");
    EXPECT_EQ(Error_IO_Read_Fail, Get());
    EXPECT_EQ(200u, client.GetStatusCode());
    ASSERT_NE(nullptr, client.GetContent());
    EXPECT_EQ("abc", std::string(reinterpret_cast<const char*>(client.GetContent()), 3));
}

TEST_F(ResponseReader, DeviceQuietInTheMiddleOfAKnownLengthIsAReadFailure)
{
    device.Answer("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc");
    EXPECT_EQ(Error_IO_Read_Fail, Get());
    EXPECT_EQ(Error_IO_Read_Fail, client.lastRead);
}

// Unknown size.

TEST_F(ResponseReader, UnknownSizeReadsUntilTheDevicePausesAndTellsTheLength)
{
    const std::string body(9000, 'u');
    device.Answer({{"HTTP/1.1 200 OK\r\n\r\n" + body.substr(0, 100)}, {body.substr(100, 5000)}, {body.substr(5100)}});
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(0u, client.lastRead);
    EXPECT_EQ(body, ContentOf(client));
    EXPECT_EQ("9000", Text(client.GetHeaderEntry(L"Content-Length")));
    EXPECT_EQ((std::vector<unsigned long>{100, 30000, 500, 30000}), device.readTimeouts);
}

TEST_F(ResponseReader, UnknownSizeEndedByACloseIsThePositiveStatus1)
{
    device.quiet = IOError_Fail;
    device.Answer({{"HTTP/1.1 200 OK\r\n\r\nab"}, {"cd"}});
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(1u, client.lastRead);
    EXPECT_EQ("abcd", ContentOf(client));
    EXPECT_EQ(30000u, device.readTimeout);
}

TEST_F(ResponseReader, AListOfTransferEncodingsIsNotChunked)
{
    device.Answer("HTTP/1.1 200 OK\r\nTransfer-Encoding: gzip, chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n");
    EXPECT_EQ(0u, Get());
    EXPECT_EQ("3\r\nabc\r\n0\r\n\r\n", ContentOf(client));
}

// Chunked.

TEST_F(ResponseReader, ChunkedIsRecognisedWithoutRegardToCase)
{
    device.Answer("HTTP/1.1 200 OK\r\nTransfer-Encoding: CHUNKED\r\n\r\n3\r\nabc\r\n0\r\n\r\n");
    EXPECT_EQ(0u, Get());
    EXPECT_EQ("abc", ContentOf(client));
    EXPECT_EQ("3", Text(client.GetHeaderEntry(L"Content-Length")));
}

TEST_F(ResponseReader, ChunkSizeLineWithAnExtensionGivesTheChunkItNames)
{
    device.Answer(kChunkedHeader + "1A;name=value\r\n" + kAlphabet + "\r\n0\r\n\r\n");
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(kAlphabet, ContentOf(client));
    EXPECT_EQ(26u, client.GetContentLength());
}

TEST_F(ResponseReader, AChunkSplitOverTheBuffersEndIsReadWhole)
{
    // The first read fills the header buffer: 4096 bytes, of which the
    // chunk's data take what is left behind the header and its size line.
    std::string data;
    for (int i = 0; data.size() < 6000; ++i) {
        data += std::to_string(i) + ",";
    }
    data.resize(6000);
    device.Answer(kChunkedHeader + "1770\r\n" + data + "\r\n0\r\n\r\n");
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(data, ContentOf(client));
    const unsigned long held = 4096 - static_cast<unsigned long>(kChunkedHeader.size()) - 6;
    EXPECT_EQ((std::vector<unsigned long>{4096, 6000 - held, 2, 1, 1, 1}), device.readSizes);
    EXPECT_EQ("\r\n", device.Unread());
}

TEST_F(ResponseReader, AChunksLineEndSplitFromItsData)
{
    // Both line-end bytes behind the data in the header buffer's read: they
    // are read into the buffer's start, then the next size line byte by byte.
    device.Answer({{kChunkedHeader + "5\r\nhello"}, {"\r\n0\r\n\r\n"}});
    EXPECT_EQ(0u, Get());
    EXPECT_EQ("hello", ContentOf(client));
    EXPECT_EQ((std::vector<unsigned long>{4096, 2, 1, 1, 1}), device.readSizes);
}

TEST_F(ResponseReader, AChunksLineEndSplitInTheMiddle)
{
    device.Answer({{kChunkedHeader + "5\r\nhello\r"}, {"\n0\r\n\r\n"}});
    EXPECT_EQ(0u, Get());
    EXPECT_EQ("hello", ContentOf(client));
    EXPECT_EQ((std::vector<unsigned long>{4096, 1, 1, 1, 1}), device.readSizes);
}

TEST_F(ResponseReader, AChunksLineEndSplitBehindDataReadIntoTheContent)
{
    device.Answer({{kChunkedHeader + "3\r\na"}, {"bc\r"}, {"\n0\r\n\r\n"}});
    EXPECT_EQ(0u, Get());
    EXPECT_EQ("abc", ContentOf(client));
    EXPECT_EQ((std::vector<unsigned long>{4096, 2, 2, 1, 1, 1, 1}), device.readSizes);
}

TEST_F(ResponseReader, AChunkedBodyDeliveredOneByteAtATime)
{
    const std::string response = kChunkedHeader + "5;ext=\"a b\"\r\nhello\r\n1a\r\n" + kAlphabet + "\r\n0\r\n\r\n";
    device.Answer(Bytewise(response));
    EXPECT_EQ(0u, Get());
    EXPECT_EQ("hello" + kAlphabet, ContentOf(client));
    EXPECT_EQ("31", Text(client.GetHeaderEntry(L"Content-Length")));
    EXPECT_EQ("\r\n", device.Unread());
}

TEST_F(ResponseReader, TheFinalBlankLineOfAChunkedBodyStaysForTheNextDrain)
{
    device.Answer({{kChunkedHeader + "2\r\nab\r\n0\r\n"}, {"\r\n"}});
    device.Answer("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
    EXPECT_EQ(0u, Get());
    EXPECT_EQ("ab", ContentOf(client));
    EXPECT_EQ("\r\n", device.Unread());
    EXPECT_EQ(0u, Get());
    EXPECT_EQ("\r\n", device.drained);
    EXPECT_EQ("ok", ContentOf(client));
}

// One chunked response cut once at a named place.
struct Cut {
    const char* name;
    size_t position;
};

const std::string kCutResponse = kChunkedHeader + "5;ext=val\r\nhello\r\n1A\r\n" + kAlphabet + "\r\n0\r\n\r\n";

size_t After(const std::string& text, size_t extra = 0)
{
    return kCutResponse.find(text) + extra;
}

// The final blank line stays unread, unless the header's reads took it: a
// read for the header takes all that the device has said.
std::string UnreadAfterCut(size_t cut)
{
    return cut < kChunkedHeader.size() ? "" : "\r\n";
}

class CutResponse : public ResponseReader, public ::testing::WithParamInterface<Cut> {};

TEST_P(CutResponse, GivesTheSameContent)
{
    device.Answer(CutAt(kCutResponse, {GetParam().position}));
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(0u, client.lastRead);
    EXPECT_EQ(200u, client.GetStatusCode());
    EXPECT_EQ("hello" + kAlphabet, ContentOf(client));
    EXPECT_EQ(UnreadAfterCut(GetParam().position), device.Unread());
}

INSTANTIATE_TEST_SUITE_P(
    AtEachBoundary, CutResponse,
    ::testing::Values(Cut{"InsideTheStatusLine", 10}, Cut{"InsideTheHeadersEnd1", kChunkedHeader.size() - 3},
                      Cut{"InsideTheHeadersEnd2", kChunkedHeader.size() - 2},
                      Cut{"InsideTheHeadersEnd3", kChunkedHeader.size() - 1},
                      Cut{"RightBehindTheHeader", kChunkedHeader.size()}, Cut{"InsideAChunkSizeLine", After("1A", 1)},
                      Cut{"BetweenAChunkSizeAndItsLineEnd", After("1A", 2)},
                      Cut{"InsideAChunkSizeLinesEnd", After("1A", 3)},
                      Cut{"InsideAChunkExtension", After("ext=val", 4)},
                      Cut{"BeforeAChunkExtension", After(";ext")},
                      Cut{"InsideAChunksData", After("hello", 2)},
                      Cut{"BetweenAChunksDataAndItsLineEnd", After("hello", 5)},
                      Cut{"InsideAChunksLineEnd", After("hello", 6)},
                      Cut{"InsideTheFinalChunk", After("\r\n0\r\n", 3)},
                      Cut{"InsideTheFinalChunksLineEnd", After("\r\n0\r\n", 4)}),
    [](const ::testing::TestParamInfo<Cut>& info) { return std::string(info.param.name); });

TEST_F(ResponseReader, EveryCutOfAChunkedResponseGivesTheSameContent)
{
    const size_t lastLine = kCutResponse.size() - 2;
    for (size_t cut = 1; cut < lastLine; ++cut) {
        SCOPED_TRACE(cut);
        ScriptedDevice scripted;
        scripted.Answer(CutAt(kCutResponse, {cut}));
        ObservedClient http(&scripted.Connection());
        EXPECT_EQ(0u, http.Navigate(&params, nullptr));
        EXPECT_EQ("hello" + kAlphabet, ContentOf(http));
        EXPECT_EQ(UnreadAfterCut(cut), scripted.Unread());
    }
}

TEST_F(ResponseReader, EveryCutOfAKnownLengthResponseGivesTheSameContent)
{
    const std::string response = "HTTP/1.1 200 OK\r\nContent-Length: 26\r\n\r\n" + kAlphabet;
    for (size_t cut = 1; cut < response.size(); ++cut) {
        SCOPED_TRACE(cut);
        ScriptedDevice scripted;
        scripted.Answer(CutAt(response, {cut}));
        ObservedClient http(&scripted.Connection());
        EXPECT_EQ(0u, http.Navigate(&params, nullptr));
        EXPECT_EQ(kAlphabet, ContentOf(http));
        EXPECT_EQ("", scripted.Unread());
    }
}

TEST_F(ResponseReader, TrailersNamedByTheTrailerHeaderAreEnteredIntoTheHeader)
{
    device.Answer({{"HTTP/1.1 200 OK\r\nTrailer: X-Sum,X-Count\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n"},
                   {"X-Sum: 294\r\nX-Co"},
                   {"unt: 3\r\n\r\n"}});
    EXPECT_EQ(0u, Get());
    EXPECT_EQ("abc", ContentOf(client));
    EXPECT_EQ("294", Text(client.GetHeaderEntry(L"X-Sum")));
    EXPECT_EQ("3", Text(client.GetHeaderEntry(L"x-count")));
    EXPECT_EQ("HTTP/1.1 200 OK\r\nTrailer: X-Sum,X-Count\r\nTransfer-Encoding: chunked\r\n"
              "X-Sum: 294\r\nX-Count: 3\r\n\r\n",
              std::string(client.GetHeader()));
    // The blank line that ends the trailers stays unread.
    EXPECT_EQ("\r\n", device.Unread());
}

TEST_F(ResponseReader, TrailerListWithABlankAfterItsCommaFails)
{
    device.Answer("HTTP/1.1 200 OK\r\nTrailer: X-A, X-B\r\nTransfer-Encoding: chunked\r\n\r\n"
                  "1\r\na\r\n0\r\nX-A: 1\r\nX-B: 2\r\n\r\n");
    EXPECT_EQ(Error_Fail, Get());
    EXPECT_EQ("1", Text(client.GetHeaderEntry(L"X-A")));
    EXPECT_EQ("2", Text(client.GetHeaderEntry(L"X-B")));
}

TEST_F(ResponseReader, AnAnnouncedTrailerThatNeverComesFailsOnceTheDeviceStops)
{
    device.Answer("HTTP/1.1 200 OK\r\nTrailer: X-Sum\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n0\r\n\r\n");
    EXPECT_EQ(Error_Fail, Get());
    EXPECT_EQ("a", ContentOf(client));
}

// Malformed chunked bodies.

TEST_F(ResponseReader, AChunkSizeLineWithoutANumberEndsTheContent)
{
    device.Answer({{kChunkedHeader + "2\r\nab\r\n"}, {"zz\r\nmore\r\n0\r\n\r\n"}});
    EXPECT_EQ(0u, Get());
    EXPECT_EQ("ab", ContentOf(client));
    EXPECT_EQ("2", Text(client.GetHeaderEntry(L"Content-Length")));
    EXPECT_EQ("more\r\n0\r\n\r\n", device.Unread());
}

TEST_F(ResponseReader, ANegativeChunkSizeFails)
{
    device.Answer(kChunkedHeader + "-5\r\nabcde\r\n0\r\n\r\n");
    EXPECT_EQ(Error_Fail, Get());
    EXPECT_EQ(nullptr, client.GetContent());
}

TEST_F(ResponseReader, AHugeChunkSizeRunsOutOfMemory)
{
    const AllocationLimit limit(64 * 1024 * 1024);
    device.Answer(kChunkedHeader + "FFFFFFFFFFFF\r\nabc");
    EXPECT_EQ(Error_OutOfMemory, Get());
    EXPECT_EQ(nullptr, client.GetContent());
}

TEST_F(ResponseReader, AChunkSizeLineLongerThanTheBufferFails)
{
    device.Answer({{kChunkedHeader + "2\r\nab\r\n"}, {"1" + std::string(5000, ' ') + "\r\nx\r\n0\r\n\r\n"}});
    EXPECT_EQ(Error_Fail, Get());
    EXPECT_EQ("ab", ContentOf(client));
}

TEST_F(ResponseReader, AChunkSizeLineCutByTheEndOfAFullHeaderBufferFails)
{
    // The chunk lines are read from the header buffer; one that runs past
    // its end when the first read filled it has no room to be completed.
    const size_t dataLength = 4096 - kChunkedHeader.size() - 5 - 2 - 1;
    std::string data(dataLength, 'd');
    char sizeLine[16];
    snprintf(sizeLine, sizeof(sizeLine), "%03zx\r\n", dataLength);
    device.Answer(kChunkedHeader + sizeLine + data + "\r\n1A\r\n" + kAlphabet + "\r\n0\r\n\r\n");
    EXPECT_EQ(Error_Fail, Get());
    EXPECT_EQ(data, ContentOf(client));
}

TEST_F(ResponseReader, ConnectionClosedInTheMiddleOfAChunkIsAReadFailureThatKeepsWhatCame)
{
    device.quiet = IOError_Fail;
    device.Answer(kChunkedHeader + "5\r\nhel");
    EXPECT_EQ(Error_IO_Read_Fail, Get());
    EXPECT_EQ("hel", ContentOf(client));
    EXPECT_EQ("3", Text(client.GetHeaderEntry(L"Content-Length")));
}

TEST_F(ResponseReader, DeviceQuietInTheMiddleOfAChunkKeepsTheTimeout)
{
    device.Answer({{kChunkedHeader + "5\r\nhel"}, {"l"}});
    EXPECT_EQ(Error_Timeout, Get());
    EXPECT_EQ("hell", ContentOf(client));
}

TEST_F(ResponseReader, ConnectionClosedInsideAChunkSizeLineOrBeforeAChunksLineEnd)
{
    device.quiet = IOError_Fail;
    device.Answer(kChunkedHeader + "5\r\nhello\r\n1");
    EXPECT_EQ(Error_IO_Read_Fail, Get());
    EXPECT_EQ("hello", ContentOf(client));
    device.Answer(kChunkedHeader + "5\r\nhello");
    EXPECT_EQ(Error_IO_Read_Fail, Get());
    EXPECT_EQ("hello", ContentOf(client));
}

TEST_F(ResponseReader, ConnectionClosedInsideTheStatusLine)
{
    device.quiet = IOError_Fail;
    device.Answer("HTTP/1.1 2");
    EXPECT_EQ(Error_IO_Read_Fail, Get());
    EXPECT_EQ(0u, client.GetHeaderLength());
}

TEST_F(ResponseReader, DeviceQuietInsideTheStatusLine)
{
    device.Answer("HTTP/1.1 2");
    EXPECT_EQ(Error_IO_Read_Fail, Get());
}

TEST_F(ResponseReader, AReadWithoutBytesOrFailureEndsTheHeader)
{
    device.Answer({{"HTTP/1.1 200"}, {"", IOError_DeviceGone}});
    EXPECT_EQ(Error_IO_Read_Fail, Get());
}

// Strange lengths.

TEST_F(ResponseReader, ANegativeContentLengthRunsOutOfMemory)
{
    const AllocationLimit limit(64 * 1024 * 1024);
    device.Answer("HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\nabc");
    EXPECT_EQ(Error_OutOfMemory, Get());
    EXPECT_EQ(0xFFFFFFFFu, client.GetContentLength());
    EXPECT_EQ(nullptr, client.GetContent());
}

TEST_F(ResponseReader, AHugeContentLengthRunsOutOfMemory)
{
    const AllocationLimit limit(64 * 1024 * 1024);
    const unsigned long refused = AllocationLimit::Refused();
    device.Answer("HTTP/1.1 200 OK\r\nContent-Length: 99999999999\r\n\r\nabc");
    EXPECT_EQ(Error_OutOfMemory, Get());
    EXPECT_EQ(refused + 1, AllocationLimit::Refused());
    EXPECT_EQ(nullptr, client.GetContent());
}

TEST_F(ResponseReader, AHugeContentLengthIntoTheCallersBufferFillsIt)
{
    unsigned char bytes[8] = {};
    ContentBuffer buffer{bytes, sizeof(bytes), 0};
    params.SetContentBuffer(&buffer);
    device.Answer({{"HTTP/1.1 200 OK\r\nContent-Length: 99999999999\r\n\r\nabc"}, {"defghijk"}});
    EXPECT_EQ(Error_ContentBufferFull, Get());
    EXPECT_EQ("abcdefgh", std::string(reinterpret_cast<char*>(bytes), 8));
    EXPECT_EQ(8u, buffer.ulBufferUsed);
    EXPECT_EQ("ijk", device.Unread());
}

// The caller's buffer and the callbacks.

struct Stream {
    std::string bytes;
    std::vector<unsigned long> sizes;
};

bool ConsumeAll(ContentBuffer* buffer, void* param)
{
    auto* stream = static_cast<Stream*>(param);
    stream->bytes.append(reinterpret_cast<const char*>(buffer->pBuffer), buffer->ulBufferUsed);
    stream->sizes.push_back(buffer->ulBufferUsed);
    buffer->ulBufferUsed = 0;
    return true;
}

TEST_F(ResponseReader, CallersBufferSmallerThanTheBodyStreamsThroughACallbackThatResetsIt)
{
    unsigned char bytes[8];
    ContentBuffer buffer{bytes, sizeof(bytes), 0};
    Stream stream;
    params.SetContentBuffer(&buffer);
    params.SetReadContentCallback(ConsumeAll);
    params.SetReadContentParam(&stream);
    device.Answer({{"HTTP/1.1 200 OK\r\nContent-Length: 30\r\n\r\n" + kAlphabet.substr(0, 20)}, {kAlphabet.substr(20) + "0123"}});
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(kAlphabet + "0123", stream.bytes);
    // Copied from the header buffer in pieces that fit, then read into it.
    EXPECT_EQ((std::vector<unsigned long>{8, 8, 4, 8, 2}), stream.sizes);
    EXPECT_EQ(nullptr, client.GetContent());
    EXPECT_EQ(30u, client.GetContentLength());
}

TEST_F(ResponseReader, CallersBufferStreamsAChunkedBodyToo)
{
    unsigned char bytes[4];
    ContentBuffer buffer{bytes, sizeof(bytes), 0};
    Stream stream;
    params.SetContentBuffer(&buffer);
    params.SetReadContentCallback(ConsumeAll);
    params.SetReadContentParam(&stream);
    device.Answer({{kChunkedHeader + "1A\r\n" + kAlphabet.substr(0, 10)}, {kAlphabet.substr(10) + "\r\n0\r\n\r\n"}});
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(kAlphabet, stream.bytes);
    EXPECT_EQ(0xFFFFFFFFu, client.GetContentLength());
}

TEST_F(ResponseReader, CallersBufferExactlyFilledByTheBodyIsFull)
{
    unsigned char bytes[5] = {};
    ContentBuffer buffer{bytes, sizeof(bytes), 0};
    params.SetContentBuffer(&buffer);
    device.Answer("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello");
    EXPECT_EQ(Error_ContentBufferFull, Get());
    EXPECT_EQ(Error_ContentBufferFull, client.lastRead);
    EXPECT_EQ("hello", std::string(reinterpret_cast<char*>(bytes), 5));
    EXPECT_EQ(5u, buffer.ulBufferUsed);
    EXPECT_EQ(200u, client.GetStatusCode());
}

TEST_F(ResponseReader, CallersBufferFilledByReadsAfterTheHeaderIsNotReportedFull)
{
    // Fullness is looked at before each read, and the last read completes
    // the content.
    unsigned char bytes[5] = {};
    ContentBuffer buffer{bytes, sizeof(bytes), 0};
    params.SetContentBuffer(&buffer);
    device.Answer({{"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhe"}, {"llo"}});
    EXPECT_EQ(0u, Get());
    EXPECT_EQ("hello", std::string(reinterpret_cast<char*>(bytes), 5));
}

TEST_F(ResponseReader, CallersBufferSmallerThanTheBodyWithoutACallbackIsFull)
{
    unsigned char bytes[4] = {};
    ContentBuffer buffer{bytes, sizeof(bytes), 0};
    params.SetContentBuffer(&buffer);
    device.Answer({{"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nab"}, {"cdefghij"}});
    EXPECT_EQ(Error_ContentBufferFull, Get());
    EXPECT_EQ("abcd", std::string(reinterpret_cast<char*>(bytes), 4));
}

TEST_F(ResponseReader, CallersBufferOfNoCapacityIsFullAndOneWithoutBytesFails)
{
    ContentBuffer empty{nullptr, 0, 0};
    params.SetContentBuffer(&empty);
    device.Answer("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc");
    EXPECT_EQ(Error_ContentBufferFull, Get());

    ContentBuffer pointerless{nullptr, 16, 0};
    params.SetContentBuffer(&pointerless);
    device.Answer({{"HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n"}, {"abc"}});
    EXPECT_EQ(Error_Fail, Get());
    device.Answer("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc");
    EXPECT_EQ(Error_Fail, Get());
}

bool KeepPieces(ContentBuffer* buffer, void* param)
{
    auto* stream = static_cast<Stream*>(param);
    stream->bytes.append(reinterpret_cast<const char*>(buffer->pBuffer), buffer->ulBufferUsed);
    stream->sizes.push_back(buffer->ulBufferSize);
    return true;
}

TEST_F(ResponseReader, ReadContentCallbackSeesEachAdditionToTheClientsBuffer)
{
    Stream stream;
    params.SetReadContentCallback(KeepPieces);
    params.SetReadContentParam(&stream);
    device.Answer({{"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc"}, {"defg"}, {"hij"}});
    EXPECT_EQ(0u, Get());
    EXPECT_EQ("abcdefghij", stream.bytes);
    // The copied piece describes exactly itself; a read describes the free
    // room it was read into.
    EXPECT_EQ((std::vector<unsigned long>{3, 7, 3}), stream.sizes);
    EXPECT_EQ("abcdefghij", ContentOf(client));
}

bool Refuse(ContentBuffer*, void* param)
{
    ++*static_cast<int*>(param);
    return false;
}

TEST_F(ResponseReader, ReadContentCallbackThatSaysStopAborts)
{
    int calls = 0;
    params.SetReadContentCallback(Refuse);
    params.SetReadContentParam(&calls);
    device.Answer({{"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc"}, {"defghij"}});
    EXPECT_EQ(Error_Aborted, Get());
    EXPECT_EQ(1, calls);
    EXPECT_EQ("defghij", device.Unread());
}

void KeepRead(const void* bytes, unsigned long count, void* param)
{
    static_cast<std::vector<std::string>*>(param)->emplace_back(static_cast<const char*>(bytes), count);
}

TEST_F(ResponseReader, ReadStatusCallbackSeesEveryRead)
{
    std::vector<std::string> reads;
    params.SetReadStatusCallback(KeepRead);
    params.SetReadStatusParam(&reads);
    device.Answer({{"HTTP/1.1 200 OK\r\n"}, {"Transfer-Encoding: chunked\r\n\r\n3\r\nabc"}, {"\r\n0\r\n\r\n"}});
    EXPECT_EQ(0u, Get());
    EXPECT_EQ((std::vector<std::string>{"HTTP/1.1 200 OK\r\n", "Transfer-Encoding: chunked\r\n\r\n3\r\nabc", "\r\n",
                                        "0", "\r", "\n"}),
              reads);
}

TEST_F(ResponseReader, AStopWhileReadingAborts)
{
    int steps = 0;
    doubles::ScriptedProgress progress([&steps](double, unsigned long code) { return code != 11 || ++steps < 4; });
    device.Answer({{"HTTP/1.1 200 OK\r\n"}, {"Content-Length: 2\r\n\r\nok"}});
    EXPECT_EQ(Error_Aborted, client.Navigate(&params, &progress));
    EXPECT_EQ(Error_Aborted, client.lastRead);
    EXPECT_EQ(std::vector<unsigned long>{4096}, device.readSizes);
}

// The reading operations on their own.

TEST(ReaderOperations, WithoutAnExchangeTheContentHasNoBuffer)
{
    CHTTPClient client;
    EXPECT_EQ(Error_Fail, client.CopyDataToContentBuffer("abc", 3));
    unsigned long count = 7;
    EXPECT_EQ(Error_Fail, client.ReadContentNumBytes(3, &count, nullptr));
    EXPECT_EQ(0u, count);
    // The client's own buffer grows by whole steps of 4096 bytes.
    EXPECT_EQ(0u, client.CreateContentBufferIfNeeded(2));
    EXPECT_EQ(0u, client.CopyDataToContentBuffer("abcdef", 6));
    ASSERT_NE(nullptr, client.GetContent());
    EXPECT_EQ("abcdef", std::string(reinterpret_cast<const char*>(client.GetContent()), 6));
}

TEST(ReaderOperations, NullTextsAreRefused)
{
    CHTTPClient client;
    unsigned long length = 5;
    EXPECT_EQ(Error_Fail, client.FindNextHeaderLen(nullptr, 4, &length));
    EXPECT_EQ(0u, length);
    EXPECT_EQ(Error_Fail, client.ParseStatusFromHeader(nullptr, 4, &length));
    EXPECT_EQ(Error_Fail, client.ParseStatusFromHeader("HTTP", 0, &length));
    EXPECT_EQ(Error_Fail, client.ParseHeader(nullptr, 3));
    EXPECT_EQ(Error_Fail, client.ParseHeader("A: b", 0));
    EXPECT_EQ(0u, client.FindNextHeaderLen("", 0, &length));
    EXPECT_EQ(0u, length);
}

TEST(ReaderOperations, HeaderIsCompleteAtTheFirstEmptyLine)
{
    CHTTPClient client;
    unsigned long length = 0;
    EXPECT_FALSE(client.IsHeaderComplete("\r\n\r", 3, &length));
    EXPECT_TRUE(client.IsHeaderComplete("\r\n\r\n", 4, &length));
    EXPECT_EQ(4u, length);
    EXPECT_TRUE(client.IsHeaderComplete("A\r\n\r\nB\r\n\r\n", 10, &length));
    EXPECT_EQ(5u, length);
    EXPECT_FALSE(client.IsHeaderComplete("A\r\n\r\n", 4, &length));
}

}  // namespace
