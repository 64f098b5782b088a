#include "LogTestFixture.h"

#include <cwctype>

#include "doubles/ApiOverride.h"
#include "doubles/CapturedDebugOutput.h"
#include "doubles/LogClock.h"
#include "doubles/SystemErrorText.h"
#include "logging/CPerformanceCounter.h"
#include "logging/LogFlags.h"

using namespace QVLogging;
using doubles::ApiOverride;
using logtest::ExecutablePath;
using logtest::LogFormatted;
using logtest::LogModuleTest;
using logtest::Lower;
using logtest::ReadBytes;
using logtest::ReadLog;

namespace {

constexpr unsigned long kError = kCategoryError;

std::wstring ProcessTag()
{
    return L"[" + std::to_wstring(::GetCurrentProcessId()) + L"] ";
}

bool AllDigits(const std::wstring& text)
{
    for (wchar_t c : text) {
        if (!std::iswdigit(c)) {
            return false;
        }
    }
    return !text.empty();
}

// The test clock, noting the performance counter when a file is about to
// be opened and when one has just been closed.
class FileCallCounter : public doubles::LogClock {
public:
    HANDLE CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                       LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
                       DWORD dwFlagsAndAttributes, HANDLE hTemplateFile) override
    {
        m_llLastOpen = CPerformanceCounter::Now();
        return LogClock::CreateFileW(lpFileName, dwDesiredAccess, dwShareMode, lpSecurityAttributes,
                                     dwCreationDisposition, dwFlagsAndAttributes, hTemplateFile);
    }
    BOOL CloseHandle(HANDLE hObject) override
    {
        const BOOL closed = LogClock::CloseHandle(hObject);
        m_llLastClose = CPerformanceCounter::Now();
        return closed;
    }

    long long m_llLastOpen = 0;
    long long m_llLastClose = 0;
};

// One error line written with the given options and source line.
class LineLayoutTest : public LogModuleTest {
protected:
    std::wstring LineWith(DWORD options, unsigned long line = 0)
    {
        const std::wstring file = m_folder / L"layout.log";
        LogTo(file, kError, options);
        auto module = MakeModule();
        module->LogSimpleString(L"layout.cpp", line, kError, L"message");
        return ReadLog(file);
    }

    doubles::LogClock m_clock;
    ApiOverride<QVWinApi::IKernelApi> m_swap{g_pKernelApi, m_clock};
};

}  // namespace

TEST_F(LineLayoutTest, WithNoFieldsALineIsItsTagsMessageAndLineEnd)
{
    EXPECT_EQ(LineWith(0), L"(##) message\r\n");
}

TEST_F(LineLayoutTest, DateField)
{
    EXPECT_EQ(LineWith(kOptionDate), L"2024/03/05 (##) message\r\n");
}

TEST_F(LineLayoutTest, CompactDateField)
{
    EXPECT_EQ(LineWith(kOptionDate | kOptionCompact), L"20240305(##) message\r\n");
}

TEST_F(LineLayoutTest, TimeField)
{
    EXPECT_EQ(LineWith(kOptionTime), L"07:08:09 (##) message\r\n");
}

TEST_F(LineLayoutTest, CompactDateAndTimeRunTogether)
{
    EXPECT_EQ(LineWith(kOptionDate | kOptionTime | kOptionCompact),
              L"20240305070809(##) message\r\n");
}

TEST_F(LineLayoutTest, ProcessField)
{
    EXPECT_EQ(LineWith(kOptionProcess), ProcessTag() + L"(##) message\r\n");
}

TEST_F(LineLayoutTest, ThreadField)
{
    wchar_t thread[32] = {};
    _snwprintf(thread, 32, L"{tid: 0x%04X} ", static_cast<unsigned>(::GetCurrentThreadId()));
    EXPECT_EQ(LineWith(kOptionThread), std::wstring(thread) + L"(##) message\r\n");
}

TEST_F(LineLayoutTest, CounterFieldIsMicrosecondsOfTheCounterWithTheSourceLine)
{
    const long long before = CPerformanceCounter::ToMicroseconds(CPerformanceCounter::Now());
    const std::wstring text = LineWith(kOptionCounter, 42);
    const long long after = CPerformanceCounter::ToMicroseconds(CPerformanceCounter::Now());

    ASSERT_EQ(text.size(), 10u + 21u);
    EXPECT_TRUE(AllDigits(text.substr(0, 10)));
    EXPECT_EQ(text.substr(10), L" 0042: (##) message\r\n");
    const long long counter = std::stoll(text.substr(0, 10));
    EXPECT_GE(counter, before % 10000000000LL);
    EXPECT_LE(counter, after % 10000000000LL);
}

TEST_F(LineLayoutTest, CompactCounterFieldStartsWithAColonAndLineZeroIsSixBlanks)
{
    const std::wstring text = LineWith(kOptionCounter | kOptionCompact, 0);
    ASSERT_EQ(text.size(), 1u + 10u + 21u);
    EXPECT_EQ(text[0], L':');
    EXPECT_TRUE(AllDigits(text.substr(1, 10)));
    EXPECT_EQ(text.substr(11), L"       (##) message\r\n");
}

TEST_F(LineLayoutTest, DeltaFieldIsMillisecondsSinceTheLastLine)
{
    const std::wstring file = m_folder / L"delta.log";
    LogTo(file, kError, kOptionDelta);
    // A line's delta runs from the end of the line before, after its file
    // was closed and before the call returned, to its own prefix, made after
    // the call began and before its file is opened for the append. The
    // counter read at those points bounds what it may print: two lines in a
    // row print 0 unless the machine stalled between them.
    FileCallCounter kernel;
    ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    const wchar_t* const texts[] = {L"one", L"two", L"three"};
    long long begun[4] = {};
    long long opened[4] = {};
    long long closed[4] = {};
    long long returned[4] = {};
    begun[0] = closed[0] = CPerformanceCounter::Now();
    auto module = MakeModule();  // the first line counts from the module's making
    returned[0] = CPerformanceCounter::Now();
    for (int i = 1; i <= 3; ++i) {
        if (i == 2) {
            ::Sleep(100);
        }
        begun[i] = CPerformanceCounter::Now();
        module->LogSimpleString(nullptr, 0, kError, texts[i - 1]);
        returned[i] = CPerformanceCounter::Now();
        opened[i] = kernel.m_llLastOpen;
        closed[i] = kernel.m_llLastClose;
    }
    const auto ms = [](long long count) { return count * 1000 / CPerformanceCounter::Frequency(); };

    const std::wstring text = ReadLog(file);
    size_t at = 0;
    for (int i = 1; i <= 3; ++i) {
        const size_t end = text.find(L"\r\n", at) + 2;
        const std::wstring line = text.substr(at, end - at);
        at = end;
        ASSERT_EQ(line.substr(0, 1), L"(") << i;
        const long long delta = std::stoll(line.substr(1, 6));
        wchar_t expected[64] = {};
        _snwprintf(expected, 64, L"(%6.6I64d ms) (##) %ls\r\n", delta, texts[i - 1]);
        EXPECT_EQ(line, expected) << i;
        EXPECT_GE(delta, ms(begun[i] - returned[i - 1])) << i;
        EXPECT_LE(delta, ms(opened[i] - closed[i - 1])) << i;
    }
    EXPECT_EQ(at, text.size());
    EXPECT_GE(ms(begun[2] - returned[1]), 90);  // the pause shows in the second line
}

TEST_F(LineLayoutTest, AllPrefixFieldsInTheirOrder)
{
    wchar_t thread[32] = {};
    _snwprintf(thread, 32, L"{tid: 0x%04X} ", static_cast<unsigned>(::GetCurrentThreadId()));
    const std::wstring text = LineWith(kOptionDate | kOptionTime | kOptionCounter | kOptionDelta
                                           | kOptionProcess | kOptionThread,
                                       7);

    EXPECT_EQ(text.substr(0, 20), L"2024/03/05 07:08:09 ");
    EXPECT_TRUE(AllDigits(text.substr(20, 10)));
    EXPECT_EQ(text.substr(30, 2), L" (");
    EXPECT_TRUE(AllDigits(text.substr(32, 6)));
    EXPECT_EQ(text.substr(38), L" ms) " + ProcessTag() + thread + L"0007: (##) message\r\n");
}

TEST_F(LineLayoutTest, TagsFollowInTheirFixedOrder)
{
    const std::wstring file = m_folder / L"tags.log";
    LogTo(file, 0x76FFFFFF);
    m_registry.SetDword(L"", L"LogInfoDetailLevel", 3);
    auto module = MakeModule();
    module->LogSimpleString(nullptr, 0, 0x76005FF3, L"all");

    const std::wstring text = ReadLog(file);
    const size_t last = text.rfind(L"\r\n", text.size() - 3) + 2;
    EXPECT_EQ(text.substr(last),
              L"(EX) (##) (WN) (++) (I3) (ST) (DB) (->) (<-) (**) (LK) (IP) (M5) all\r\n");
}

TEST_F(LineLayoutTest, EachTagShowsOnlyWhenTheMaskHasItsBit)
{
    const struct {
        unsigned long bit;
        const wchar_t* line;
    } cases[] = {
        {0x20, L"(EX) x\r\n"}, {0x40, L"(WN) x\r\n"}, {0x100, L"(ST) x\r\n"},
        {0x200, L"(DB) x\r\n"}, {0x400, L"(->) x\r\n"}, {0x800, L"(<-) x\r\n"},
        {0x3000, L"(M3) x\r\n"}, {0x2000000, L"(LK) x\r\n"}, {0x4000000, L"(IP) x\r\n"},
        {0x20000000, L"(**) x\r\n"}, {0x10000000, L"x\r\n"},
    };
    for (const auto& each : cases) {
        const std::wstring file = m_folder / (L"tag" + std::to_wstring(each.bit) + L".log");
        LogTo(file, each.bit);
        auto module = MakeModule();
        module->LogSimpleString(nullptr, 0, 0x76FFFFE0, L"x");
        EXPECT_EQ(ReadLog(file), each.line) << each.bit;
    }
}

TEST_F(LogModuleTest, FileIsUtf16LittleEndianWithoutByteOrderMark)
{
    const std::wstring file = m_folder / L"bytes.log";
    LogTo(file, kError);
    auto module = MakeModule();
    module->LogSimpleString(nullptr, 0, kError, L"A\u00e9\u20ac");

    const std::string expected("(\0#\0#\0)\0 \0A\0\xE9\0\xAC\x20\r\0\n\0", 20);
    EXPECT_EQ(ReadBytes(file), expected);
}

TEST_F(LogModuleTest, HeaderOfSixLinesWhenTheMaskHasBit30)
{
    const std::wstring file = m_folder / L"Header.log";
    LogTo(file, kError | kCategoryHeader);
    auto module = MakeModule();
    module->LogSimpleString(nullptr, 0, kError, L"first line");

    const std::wstring executable = ExecutablePath();
    const std::wstring expected
        = L"(++) Module File Name: " + executable + L" ("
          + std::to_wstring(std::filesystem::file_size(executable)) + L" bytes)\r\n"
          + L"(++)     Command Line: " + ::GetCommandLineW() + L"\r\n"
          + L"(++)     File Version: <no version info>\r\n"
          + L"(++)       Process ID: " + ProcessTag() + L"\r\n"
          + L"(++)         Built on: Jan  2 2024 10:11:12\r\n"
          + L"(++)    Log File Name: <" + Lower(file) + L">\r\n"
          + L"(##) first line\r\n";
    EXPECT_EQ(ReadLog(file), expected);
}

TEST_F(LogModuleTest, HeaderIsWrittenOnceAcrossPollsForAFullLowerCasePath)
{
    doubles::LogClock clock;
    ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, clock);
    const std::wstring file = m_folder / L"once.log";
    LogTo(file, kError | kCategoryHeader);
    auto module = MakeModule();
    module->LogSimpleString(nullptr, 0, kError, L"one");
    const std::wstring afterOne = ReadLog(file);
    clock.m_ulTicks += 30001;
    module->LogSimpleString(nullptr, 0, kError, L"two");

    EXPECT_EQ(ReadLog(file), afterOne + L"(##) two\r\n");
}

TEST_F(LogModuleTest, ModuleWalkAfterTheHeaderWritesNothing)
{
    const std::wstring plain = m_folder / L"plain.log";
    const std::wstring walked = m_folder / L"walked.log";
    LogTo(plain, kError | kCategoryHeader);
    MakeModule()->LogSimpleString(nullptr, 0, kError, L"line");
    LogTo(walked, kError | kCategoryHeader, kOptionModuleWalk);
    MakeModule()->LogSimpleString(nullptr, 0, kError, L"line");

    std::wstring expected = ReadLog(plain);
    const size_t name = expected.find(Lower(plain));
    ASSERT_NE(name, std::wstring::npos);
    expected.replace(name, plain.size(), Lower(walked));
    EXPECT_EQ(ReadLog(walked), expected);
}

TEST_F(LogModuleTest, Option19SendsEachLineToTheDebuggerToo)
{
    doubles::CapturedDebugOutput debugger;
    ApiOverride<IDebugOutput> swap(g_pDebugOutput, debugger);
    const std::wstring file = m_folder / L"debugger.log";
    LogTo(file, kError, kOptionDebugger | kOptionProcess);
    auto module = MakeModule();
    module->LogSimpleString(nullptr, 0, kError, L"both");

    EXPECT_EQ(debugger.m_text, ProcessTag() + L"(##) both\r\n");
    EXPECT_EQ(ReadLog(file), ProcessTag() + L"(##) both\r\n");
}

TEST_F(LogModuleTest, LineWordBit27SendsOneLineToTheDebuggerWithoutAFile)
{
    doubles::CapturedDebugOutput debugger;
    ApiOverride<IDebugOutput> swap(g_pDebugOutput, debugger);
    m_registry.SetDword(L"", L"LogCategories", kError);
    auto module = MakeModule();
    module->LogSimpleString(nullptr, 0, kError, L"file only, and there is none");
    module->LogSimpleString(nullptr, 0, kError | kCategoryToDebugger, L"debugger");

    EXPECT_EQ(debugger.m_text, L"(##) debugger\r\n");
}

TEST_F(LogModuleTest, FormattedLineUsesWidePrintfRulesWithoutLengthLimit)
{
    const std::wstring file = m_folder / L"formatted.log";
    LogTo(file, kError);
    auto module = MakeModule();
    const std::wstring longText(600, L'x');
    LogFormatted(*module, kError, L"%s=%d, 0x%08X", L"value", 42, 0xBEEFu);
    LogFormatted(*module, kError, L"[%s]", longText.c_str());

    EXPECT_EQ(ReadLog(file), L"(##) value=42, 0x0000BEEF\r\n(##) [" + longText + L"]\r\n");
}

TEST_F(LogModuleTest, FaultInAFormatGoesToTheDebuggerAndNotToTheCaller)
{
    doubles::CapturedDebugOutput debugger;
    ApiOverride<IDebugOutput> swap(g_pDebugOutput, debugger);
    const std::wstring file = m_folder / L"fault.log";
    LogTo(file, kError);
    auto module = MakeModule();
    LogFormatted(*module, kError, L"%s", reinterpret_cast<const wchar_t*>(8));
    module->LogSimpleString(nullptr, 0, kError, L"still logging");

    EXPECT_EQ(debugger.m_text,
              L"Exception Exit: InternalLogFormattedString (Access violation)\r\n");
    EXPECT_EQ(ReadLog(file), L"(##) still logging\r\n");
}

TEST_F(LogModuleTest, LoggingKeepsTheThreadsLastError)
{
    const std::wstring file = m_folder / L"lasterror.log";
    LogTo(file, kError);
    auto module = MakeModule();

    ::SetLastError(0x1234);
    module->LogSimpleString(nullptr, 0, kError, L"written");
    EXPECT_EQ(::GetLastError(), 0x1234u);
    ::SetLastError(0x4321);
    module->LogSimpleString(nullptr, 0, kCategoryDebug, L"dropped");
    EXPECT_EQ(::GetLastError(), 0x4321u);
    ::SetLastError(0x5678);
    LogFormatted(*module, kError, L"%d", 5);
    EXPECT_EQ(::GetLastError(), 0x5678u);
    EXPECT_EQ(ReadLog(file), L"(##) written\r\n(##) 5\r\n");
}

TEST_F(LogModuleTest, ErrorTextIsTheCodeAndTheSystemTextWithoutItsLineEnd)
{
    auto module = MakeModule();
    EXPECT_EQ(module->FormatErrorText(ERROR_ACCESS_DENIED),
              L"[Err: 0x00000005] " + doubles::ErrorLineText(ERROR_ACCESS_DENIED));
}

TEST_F(LogModuleTest, ErrorTextCallbackSuppliesTheTextWhenItAddsSome)
{
    const auto callback = [](unsigned long code, wchar_t* text, unsigned long room) {
        return code == 5 ? _snwprintf(text, room, L"denied by callback") : 0;
    };
    CLogModule module("Callback", "Jan  2 2024", "10:11:12", callback, 30);
    EXPECT_EQ(module.FormatErrorText(5), L"[Err: 0x00000005] denied by callback");
    EXPECT_EQ(module.FormatErrorText(ERROR_FILE_NOT_FOUND),
              L"[Err: 0x00000002] " + doubles::ErrorLineText(ERROR_FILE_NOT_FOUND));
}
