// The lines the response reader writes to the "HTTPClientLib" log module:
// its trace scopes and its own lines in their categories, switched on in the
// registry and read back from a real UTF-16 log file.
#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "doubles/ApiOverride.h"
#include "doubles/LogClock.h"
#include "doubles/LoggingRegistry.h"
#include "doubles/TempFolder.h"
#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "http/HTTPTestSupport.h"
#include "iostack/IOStatus.h"
#include "logging/LogFlags.h"

using namespace QVIOStack;
using namespace QVLogging;
using http_test::ObservedClient;
using http_test::ScriptedDevice;

namespace {

const std::string kChunkedHeader = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";

// A UTF-16 little-endian file as text; empty when it doesn't exist.
std::wstring ReadLog(const std::wstring& path)
{
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::wstring text;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
        text += static_cast<wchar_t>(static_cast<unsigned char>(bytes[i])
                                     | static_cast<unsigned char>(bytes[i + 1]) << 8);
    }
    return text;
}

// Tick counts far from any poll made before: each one is a new poll of the
// logging settings.
DWORD NextPollTicks()
{
    static DWORD s_ticks = ::GetTickCount() + 0x50000000UL;
    s_ticks += 0x01000000UL;
    return s_ticks;
}

// Sets the clock a poll interval on and makes the HTTP client write a line,
// so that its module reads its settings.
void PollHTTPClientLogSettings(doubles::LogClock& clock)
{
    clock.m_ulTicks = NextPollTicks();
    CHTTPClient().GetRoot();
}

// When it goes, logging is switched off again for the HTTP client: the
// registry key is gone by then and a poll reads that.
class SwitchOffAtEnd {
public:
    explicit SwitchOffAtEnd(doubles::LogClock& clock) : m_clock(clock) {}
    ~SwitchOffAtEnd() { PollHTTPClientLogSettings(m_clock); }
    SwitchOffAtEnd(const SwitchOffAtEnd&) = delete;
    SwitchOffAtEnd& operator=(const SwitchOffAtEnd&) = delete;

private:
    doubles::LogClock& m_clock;
};

class ResponseLog : public ::testing::Test {
protected:
    ResponseLog() { params.SetURI(L"/r"); }

    // The client's module writes lines of `categories`, informational ones
    // up to detail level 1, to the test's file from now on.
    void LogTo(DWORD categories)
    {
        m_registry.SetString(L"", L"LogFileName", File());
        m_registry.SetDword(L"", L"LogCategories", categories);
        m_registry.SetDword(L"", L"LogInfoDetailLevel", 1);
        m_registry.SetDword(L"", L"LogOptions", 0);
        PollHTTPClientLogSettings(m_clock);
        std::filesystem::remove(std::filesystem::path(File()));
    }
    std::wstring File() const { return m_folder / L"http.log"; }
    std::wstring Log() const { return ReadLog(File()); }
    unsigned long Get() { return client.Navigate(&params, nullptr); }

    doubles::LogClock m_clock;
    doubles::ApiOverride<QVWinApi::IKernelApi> m_swap{g_pKernelApi, m_clock};
    SwitchOffAtEnd m_switchOff{m_clock};
    doubles::TempFolder m_folder{L"orvane-http-log"};
    doubles::LoggingRegistry m_registry;
    ScriptedDevice device;
    CHTTPNavigateParams params;
    ObservedClient client{&device.Connection()};
};

constexpr DWORD kLines = kCategoryError | kCategoryInfo;

TEST_F(ResponseLog, HeaderReadThatTimesOut)
{
    device.Answer("HTTP/1.1 2");
    LogTo(kLines);
    EXPECT_EQ(Error_IO_Read_Fail, Get());
    EXPECT_EQ(L"(##) CHTTPClient::ReadData m_pIDeviceConnection->Read returned 0x83E8F4FE\r\n"
              L"(##) CHTTPClient::ReadData m_pIDeviceConnection->Read Error_Timeout 0x83E8F5FD\r\n"
              L"(##) CHTTPClient::ReadResponse ReadHeader failed (Error_Timeout=>Error_IO_Read_Fail)\r\n",
              Log());
}

TEST_F(ResponseLog, ReadOfNothingWithoutFailure)
{
    device.Answer({{"HTTP/1.1 2"}, {"", 0}});
    LogTo(kLines);
    EXPECT_EQ(Error_IO_Read_Fail, Get());
    EXPECT_EQ(L"(##) CHTTPClient::ReadData  m_pIDeviceConnection->Read ulBytesRead = 0 Error_Timeout 0x83E8F5FD\r\n"
              L"(##) CHTTPClient::ReadResponse ReadHeader failed (Error_Timeout=>Error_IO_Read_Fail)\r\n",
              Log());
}

TEST_F(ResponseLog, ReadThatFails)
{
    device.quiet = IOError_Fail;
    LogTo(kLines);
    EXPECT_EQ(Error_IO_Read_Fail, Get());
    EXPECT_EQ(L"(##) CHTTPClient::ReadData m_pIDeviceConnection->Read returned 0x83E8F4FF\r\n"
              L"(##) CHTTPClient::ReadData m_pIDeviceConnection->Read (IOError_Fail) Error_IO_Read_Fail\r\n",
              Log());
}

TEST_F(ResponseLog, HeaderReadOfZeroBytesWithAnUnmappedStatus)
{
    device.Answer({{"", IOError_DeviceGone}});
    LogTo(kLines);
    EXPECT_EQ(Error_IO_Read_Fail, Get());
    EXPECT_EQ(L"(##) CHTTPClient::ReadData m_pIDeviceConnection->Read returned 0x83E8F4FB\r\n"
              L"(##) CHTTPClient::ReadHeader zero bytes read (Error_IO_Read_Fail)\r\n",
              Log());
}

TEST_F(ResponseLog, StatusLineWithoutReasonPhraseOrHeader)
{
    device.Answer("HTTP/1.1 200\r\n\r\n");
    LogTo(kLines);
    EXPECT_EQ(Error_IO_Read_Fail, Get());
    EXPECT_EQ(L"(##) CHTTPClient::ParseStatusFromHeader Error_Fail invalid header ulStatusLen=13 ulHeaderLen=16\r\n"
              L"(##) CHTTPClient::ReadResponse ParseResponseHeader failed (Error_IO_Read_Fail)\r\n",
              Log());
}

TEST_F(ResponseLog, KnownSizeContentThatTimesOut)
{
    device.Answer("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc");
    LogTo(kLines);
    EXPECT_EQ(Error_IO_Read_Fail, Get());
    EXPECT_EQ(L"(##) CHTTPClient::ReadData m_pIDeviceConnection->Read returned 0x83E8F4FE\r\n"
              L"(##) CHTTPClient::ReadData m_pIDeviceConnection->Read Error_Timeout 0x83E8F5FD\r\n"
              L"(##) CHTTPClient::ReadResponse rs_readContentKnownSize CopyDataToContentBuffer timed out "
              L"(Error_IO_Read_Fail)\r\n",
              Log());
}

TEST_F(ResponseLog, ChunkSizesAndTheReadsOfTheirData)
{
    device.Answer({{kChunkedHeader + "1A;name=value\r\nabcdefghij"}, {"klmnopqrstuvwxyz\r\n0\r\n\r\n"}});
    LogTo(kLines);
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(L"(I1) ReadContentChunked: next chunksize is 26 bytes\r\n"
              L"(I1) ReadContentChunked: ReadContentNumBytes requested 16 bytes, read 16 bytes\r\n"
              L"(I1) ReadContentChunked: next chunksize is 0 bytes\r\n",
              Log());
}

TEST_F(ResponseLog, ChunkSizeLinesAreInformationOfDetailLevel1)
{
    device.Answer(kChunkedHeader + "3\r\nabc\r\n0\r\n\r\n");
    m_registry.SetString(L"", L"LogFileName", File());
    m_registry.SetDword(L"", L"LogCategories", kLines);
    m_registry.SetDword(L"", L"LogInfoDetailLevel", 0);
    m_registry.SetDword(L"", L"LogOptions", 0);
    PollHTTPClientLogSettings(m_clock);
    std::filesystem::remove(std::filesystem::path(File()));
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(Error_Fail, client.ParseHeader("A: b", 0));
    EXPECT_EQ(L"(##) CHTTPClient::ParseHeader Error_Fail pHeader is null or ulHeaderLen is zero\r\n", Log());
}

TEST_F(ResponseLog, ChunkSizeLineWithoutRoom)
{
    device.Answer({{kChunkedHeader + "2\r\nab\r\n"}, {"1" + std::string(5000, ' ') + "\r\nx\r\n0\r\n\r\n"}});
    LogTo(kLines);
    EXPECT_EQ(Error_Fail, Get());
    EXPECT_EQ(L"(I1) ReadContentChunked: next chunksize is 2 bytes\r\n"
              L"(##) CHTTPClient::ReadContentChunked Error_Fail no more space in buffer used=4096 len=4096\r\n",
              Log());
}

TEST_F(ResponseLog, ChunkSizeLineCutByTheEndOfAFullHeaderBuffer)
{
    const size_t dataLength = 4096 - kChunkedHeader.size() - 5 - 2 - 1;
    char sizeLine[16];
    snprintf(sizeLine, sizeof(sizeLine), "%03zx\r\n", dataLength);
    device.Answer(kChunkedHeader + sizeLine + std::string(dataLength, 'd') + "\r\n1A\r\n");
    LogTo(kLines);
    EXPECT_EQ(Error_Fail, Get());
    EXPECT_EQ(L"(I1) ReadContentChunked: next chunksize is " + std::to_wstring(dataLength) + L" bytes\r\n"
              L"(##) CHTTPClient::ReadContentChunked Error_Fail no more space in buffer used=4096 len=4096\r\n",
              Log());
}

TEST_F(ResponseLog, NegativeChunkSize)
{
    device.Answer(kChunkedHeader + "-5\r\nabcde\r\n0\r\n\r\n");
    LogTo(kLines);
    EXPECT_EQ(Error_Fail, Get());
    EXPECT_EQ(L"(I1) ReadContentChunked: next chunksize is -5 bytes\r\n"
              L"(##) CHTTPClient::ReadContentChunked Error_Fail negative chunk size\r\n",
              Log());
}

TEST_F(ResponseLog, TrailerNamesWithABlank)
{
    device.Answer("HTTP/1.1 200 OK\r\nTrailer: X-A, X-B\r\nTransfer-Encoding: chunked\r\n\r\n"
                  "1\r\na\r\n0\r\nX-A: 1\r\nX-B: 2\r\n\r\n");
    LogTo(kLines);
    EXPECT_EQ(Error_Fail, Get());
    EXPECT_EQ(L"(I1) ReadContentChunked: next chunksize is 1 bytes\r\n"
              L"(I1) ReadContentChunked: next chunksize is 0 bytes\r\n"
              L"(##) CHTTPClient::ReadContentChunked Error_Fail header entry is null\r\n",
              Log());
}

TEST_F(ResponseLog, TrailerLineWithoutRoom)
{
    device.Answer({{"HTTP/1.1 200 OK\r\nTrailer: X-A\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n"},
                   {std::string(5000, 't')}});
    LogTo(kLines);
    EXPECT_EQ(Error_Fail, Get());
    EXPECT_EQ(L"(I1) ReadContentChunked: next chunksize is 0 bytes\r\n"
              L"(##) CHTTPClient::ReadContentChunked Error_Fail no more space in buffer while reading trailing "
              L"headers, used=4096 len=4096\r\n",
              Log());
}

TEST_F(ResponseLog, CallersBufferWithoutBytes)
{
    ContentBuffer pointerless{nullptr, 16, 0};
    params.SetContentBuffer(&pointerless);
    device.Answer({{"HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n"}, {"abc"}});
    LogTo(kLines);
    EXPECT_EQ(Error_Fail, Get());
    EXPECT_EQ(L"(##) CHTTPClient::ReadContentNumBytes Error_Fail ContentBuffer->pBuffer is null\r\n", Log());
}

TEST_F(ResponseLog, OperationsWithoutTheirBuffersOrTexts)
{
    LogTo(kLines);
    CHTTPClient bare;
    unsigned long count = 0;
    EXPECT_EQ(Error_Fail, bare.CopyDataToContentBuffer("abc", 3));
    EXPECT_EQ(Error_Fail, bare.ReadContentNumBytes(3, &count, nullptr));
    EXPECT_EQ(Error_Fail, bare.FindNextHeaderLen(nullptr, 3, &count));
    EXPECT_EQ(Error_Fail, bare.ParseStatusFromHeader(nullptr, 3, &count));
    EXPECT_EQ(Error_Fail, bare.ParseHeader("A: b", 0));
    EXPECT_EQ(L"(##) CHTTPClient::CopyDataToContentBuffer Error_Fail m_pContentBuffer is null\r\n"
              L"(##) CHTTPClient::ReadContentNumBytes Error_Fail ContentBuffer is null\r\n"
              L"(##) CHTTPClient::FindNextHeaderLen Error_Fail pBuffer is null\r\n"
              L"(##) CHTTPClient::ParseStatusFromHeader Error_Fail pHeader is null or ulHeaderLen is zero\r\n"
              L"(##) CHTTPClient::ParseHeader Error_Fail pHeader is null or ulHeaderLen is zero\r\n",
              Log());
}

TEST_F(ResponseLog, EveryStepOfAChunkedReadHasItsScope)
{
    device.Answer({{kChunkedHeader + "3\r\na"}, {"bc\r\n"}, {"0\r\n\r\n"}});
    LogTo(kCategoryEntry);
    EXPECT_EQ(0u, Get());
    const std::wstring log = Log();
    size_t at = log.find(L"(->) CHTTPClient::ReadResponse\r\n");
    ASSERT_NE(std::wstring::npos, at);
    for (const wchar_t* scope :
         {L"(->) CHTTPClient::ReadHeader\r\n", L"(->) CHTTPClient::IsHeaderComplete\r\n",
          L"(->) CHTTPClient::ReadData\r\n", L"(->) CHTTPClient::IsHeaderComplete\r\n",
          L"(->) CHTTPClient::ParseResponseHeader\r\n", L"(->) CHTTPClient::ParseStatusFromHeader\r\n",
          L"(->) CHTTPClient::FindNextHeaderLen\r\n", L"(->) CHTTPClient::ParseHeader\r\n",
          L"(->) CHTTPClient::IsContentChunked\r\n", L"(->) CHTTPClient::ReadContentChunked\r\n",
          L"(->) CHTTPClient::CreateContentBufferIfNeeded\r\n", L"(->) CHTTPClient::CopyDataToContentBuffer\r\n",
          L"(->) CHTTPClient::ReadContentNumBytes\r\n", L"(->) CHTTPClient::ReadData\r\n"}) {
        SCOPED_TRACE(std::string(scope, scope + wcslen(scope)));
        at = log.find(scope, at);
        ASSERT_NE(std::wstring::npos, at);
    }
}

TEST_F(ResponseLog, KnownSizeAndUnknownSizeReadsHaveTheirScopes)
{
    device.Answer({{"HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n"}, {"abcd"}});
    device.Answer({{"HTTP/1.1 200 OK\r\n\r\n"}, {"abcd"}});
    LogTo(kCategoryEntry);
    EXPECT_EQ(0u, Get());
    EXPECT_EQ(0u, Get());
    const std::wstring log = Log();
    size_t at = 0;
    for (const wchar_t* scope :
         {L"(->) CHTTPClient::IsContentLengthSpecified\r\n", L"(->) CHTTPClient::CreateContentBufferIfNeeded\r\n",
          L"(->) CHTTPClient::CopyDataToContentBuffer\r\n", L"(->) CHTTPClient::ReadContentNumBytes\r\n",
          L"(->) CHTTPClient::ReadData\r\n", L"(->) CHTTPClient::ReadResponse\r\n",
          L"(->) CHTTPClient::IsContentLengthSpecified\r\n", L"(->) CHTTPClient::CreateContentBufferIfNeeded\r\n",
          L"(->) CHTTPClient::CopyDataToContentBuffer\r\n", L"(->) CHTTPClient::ReadContentNumBytes\r\n"}) {
        SCOPED_TRACE(std::string(scope, scope + wcslen(scope)));
        at = log.find(scope, at);
        ASSERT_NE(std::wstring::npos, at);
        ++at;
    }
}

}  // namespace
