// A stream's life with logging fully on: the trace of every public operation
// on the stream path, read back from the UTF-16 log file.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "api/AddressFactory.h"
#include "doubles/ApiOverride.h"
#include "doubles/LoggingRegistry.h"
#include "doubles/TempFolder.h"
#include "logging/LogFlags.h"
#include "logging/LogModules.h"
#include "peers/CloseBarrier.h"
#include "peers/LoopbackPeer.h"
#include "winapi/CKernelApi.h"

using namespace Orvane;
using peers::LoopbackPeer;

namespace {

// The platform's tick count moved ahead by a test-set amount.
class LaterClock : public QVWinApi::CKernelApi {
public:
    DWORD GetTickCount() override { return QVWinApi::CKernelApi::GetTickCount() + shift; }
    DWORD shift = 0;
};

// The modules share the time of the last settings poll: each is made to
// read the new settings by a poll interval that passes just before it looks.
void PollEachModule(LaterClock& clock)
{
    for (QVLogging::CLogModule* module : {g_pOrvaneAPILog, g_pUtilsLog, g_pIONetworkLog, g_pIOCommonLog}) {
        clock.shift += 0x01000000;
        module->LogSimpleString(static_cast<const wchar_t*>(nullptr), 0, QVLogging::kCategoryDebug, L"");
    }
}

std::vector<std::wstring> ReadLines(const std::wstring& path)
{
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::vector<std::wstring> lines(1);
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const wchar_t c = static_cast<wchar_t>(static_cast<unsigned char>(bytes[i])
                                               | static_cast<unsigned char>(bytes[i + 1]) << 8);
        if (c == L'\n' && !lines.back().empty() && lines.back().back() == L'\r') {
            lines.back().pop_back();
            lines.emplace_back();
        } else {
            lines.back() += c;
        }
    }
    return lines;
}

// Each expected text must start a line (after the tags), in this order.
void ExpectInOrder(const std::vector<std::wstring>& lines, const std::vector<std::wstring>& expected)
{
    size_t at = 0;
    for (const std::wstring& text : expected) {
        while (at < lines.size() && lines[at].rfind(text, 0) != 0) {
            ++at;
        }
        ASSERT_LT(at, lines.size()) << "missing, or out of order: " << std::string(text.begin(), text.end());
        ++at;
    }
}

bool AnyLineStartsWith(const std::vector<std::wstring>& lines, const std::wstring& head,
                       const std::wstring& tail = L"")
{
    for (const std::wstring& line : lines) {
        if (line.rfind(head, 0) == 0 && line.size() >= tail.size()
            && line.compare(line.size() - tail.size(), tail.size(), tail) == 0) {
            return true;
        }
    }
    return false;
}

TEST(StreamLog, EveryOperationOnTheStreamPathIsTraced)
{
    doubles::LoggingRegistry registry;
    doubles::TempFolder folder(L"orvane-stream-log");
    const std::wstring logFile = folder / L"stream.log";
    registry.SetString(L"", L"LogFileName", logFile);
    registry.SetDword(L"", L"LogCategories", 0x30000C90);  // info, error, entry, exit, return, error text
    registry.SetDword(L"", L"LogInfoDetailLevel", 7);
    registry.SetDword(L"", L"LogOptions", 0);
    LaterClock clock;
    doubles::ApiOverride<QVWinApi::IKernelApi> later(g_pKernelApi, clock);
    PollEachModule(clock);

    std::atomic<int> sessions{0};
    std::atomic<bool> goAway{false};
    std::atomic<bool> gone{false};
    LoopbackPeer peer([&](peers::PeerSocket& s) {
        if (sessions++ == 0) {
            char buffer[16];
            s.Receive(buffer, sizeof(buffer));  // the job; silent until told to go
            while (!goAway) {
                Sleep(5);
            }
            LoopbackPeer::CloseAtOnce(s);
            gone = true;
        } else {
            LoopbackPeer::Reply("ok")(s);
        }
    }, LoopbackPeer::PortChoice::StreamRange);

    Address* address = AddressFactory::CreateFromIPAddress(L"127.0.0.1");
    Stream* stream = nullptr;
    ASSERT_EQ(0u, address->CreateStream(peer.Port(), &stream));
    unsigned long count = 0;
    ASSERT_EQ(0u, stream->Write("job", 3, &count));
    stream->SetReadTimeout(200);
    char buffer[8];
    EXPECT_EQ(static_cast<unsigned long>(E_FAIL), stream->Read(buffer, sizeof(buffer), &count));
    goAway = true;
    while (!gone) {
        Sleep(1);
    }
    ASSERT_TRUE(peers::WaitForEarlierClosesToArrive());  // the device's close reaches the connection
    ASSERT_EQ(0u, stream->Write("again", 5, &count));  // reconnects
    stream->SetReadTimeout(5000);
    ASSERT_EQ(0u, stream->Read(buffer, sizeof(buffer), &count));
    address->Dispose();
    stream->Dispose();

    const std::vector<std::wstring> lines = ReadLines(logFile);
    ExpectInOrder(lines, {
        L"(->) AddressFactory::CreateFromIPAddress",
        L"(->) CDisposable::AddRefImpl",
        L"(I0) Orvane::QVNetAddress (",
        L"(<-) CDisposable::AddRefImpl",
        L"(<-) AddressFactory::CreateFromIPAddress",
        L"(->) QVNetAddress::CreateStream",
        L"(->) CIONetwork::Initialize",
        L"(<-) CIONetwork::Initialize",
        L"(I0) Orvane::QVStream (",
        L"(<-) QVNetAddress::CreateStream",
        L"(->) QVStream::Write",
        L"(->) QVStream::Open",
        L"(->) CIONetwork::Open",
        L"(I0) Still don't have socket, calling WSASocket to create local socket",
        L"(I0) WSAConnect returned err = 10035",
        L"(I0) WaitForSingleObject returned 0",
        L"(I0) WSAConnect succeeded",
        L"(<-) CIONetwork::Open",
        L"(<-) QVStream::Open",
        L"(->) CIOCommon::Write",
        L"(I4) WriteFile succeeded, pulBytesWritten = 3",
        L"(I7) ",  // the data line: a line end, then the bytes
        L"job",
        L"(<-) CIOCommon::Write",
        L"(<-) QVStream::Write",
        // The read that times out, and its error lines.
        L"(->) QVStream::Read",
        L"(->) CIOCommon::Read, ulBufferSize=8",
        L"(<-) CIOCommon::Read",
        // No system text for the I/O status: the blind cut takes "] " away.
        L"(**) [Err: 0x83E8F4FE, [GLE: 0x0000013D] ",
        L"(<-) QVStream::Read",
        L"(**) [Err: 0x80004005] ",
        // The device has gone: the next write reconnects.
        L"(->) QVStream::Write",
        L"(->) CIONetwork::IsOpen",
        L"(I0) WSAEnumNetworkEvents indicates FD_CLOSE occurred (",
        L"(->) QVStream::Open",
        L"(->) CIONetwork::Open",
        L"(I0) WSAConnect succeeded",
        L"(I4) WriteFile succeeded, pulBytesWritten = 5",
        L"(->) QVStream::Read",
        L"(I4) ReadFile(",
        L"(<-) QVStream::Read",
        // Released: the address first, then the stream and its connection.
        L"(I0) Orvane::QVNetAddress (",
        L"(->) QVStream::~QVStream",
        L"(->) CIONetwork::Close",
        L"(I0) CIONetwork::Close: shutting down socket",
        L"(<-) QVStream::~QVStream",
    });
    EXPECT_TRUE(AnyLineStartsWith(lines, L"(I0) Orvane::QVStream (", L") ref is 0"));
    EXPECT_TRUE(AnyLineStartsWith(lines, L"(I0) QVIOStack::CIONetwork (", L") ref is 0"));
    EXPECT_TRUE(AnyLineStartsWith(lines, L"(I0) Orvane::QVNetAddress (", L") ref is 0"));
    if (::testing::Test::HasFailure()) {
        for (const std::wstring& line : lines) {
            std::printf("%ls\n", line.c_str());
        }
    }
}

}  // namespace
