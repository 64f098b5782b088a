#include "LogTestFixture.h"

#include <vector>

#include "doubles/ApiOverride.h"
#include "doubles/CapturedDebugOutput.h"
#include "doubles/FileOpenCounter.h"
#include "doubles/LogClock.h"
#include "logging/CLogFunction.h"
#include "logging/LogFlags.h"

using namespace QVLogging;
using doubles::ApiOverride;
using logtest::LogModuleTest;
using logtest::Lower;
using logtest::ModuleKeyOf;
using logtest::ReadBytes;
using logtest::ReadLog;

namespace {

constexpr unsigned long kError = kCategoryError;
const std::wstring kHundred(100, L'x');  // with its tag and line end, 214 bytes
const std::wstring kLimitText
    = L"*** FILE SIZE LIMIT REACHED, LOGGING DISABLED FOR TestModule MODULE ***";

std::wstring Lines(int count)
{
    std::wstring text;
    for (int i = 0; i < count; ++i) {
        text += L"(##) " + kHundred + L"\r\n";
    }
    return text;
}

HANDLE HoldExclusively(const std::wstring& file)
{
    return ::CreateFileW(file.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
}

std::vector<std::wstring> FilesIn(const std::wstring& folder)
{
    std::vector<std::wstring> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        files.push_back(entry.path().wstring());
    }
    return files;
}

}  // namespace

TEST_F(LogModuleTest, LineThatCrossesTheLimitIsWrittenWholeAndFollowedByTheLimitText)
{
    const std::wstring file = m_folder / L"limit.log";
    LogTo(file, kError, 1);
    auto module = MakeModule();
    for (int i = 0; i < 7; ++i) {
        module->LogSimpleString(nullptr, 0, kError, kHundred.c_str());
    }

    EXPECT_EQ(ReadLog(file), Lines(5) + kLimitText);
    EXPECT_EQ(ReadBytes(file).size(), 5u * 214u + kLimitText.size() * 2u);
}

TEST_F(LogModuleTest, AfterTheLimitTheFileIsNotOpenedAgain)
{
    doubles::CapturedDebugOutput debugger;
    ApiOverride<IDebugOutput> swap(g_pDebugOutput, debugger);
    const std::wstring file = m_folder / L"closed.log";
    LogTo(file, kError, 1);
    auto module = MakeModule();
    for (int i = 0; i < 5; ++i) {
        module->LogSimpleString(nullptr, 0, kError, kHundred.c_str());
    }

    // Held by another: an open would fail and be tried again after sleeps,
    // and the line would wait in the queue.
    HANDLE held = HoldExclusively(file);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    doubles::FileOpenCounter kernel;
    {
        ApiOverride<QVWinApi::IKernelApi> counting(g_pKernelApi, kernel);
        module->LogSimpleString(nullptr, 0, kError, kHundred.c_str());
    }
    ::CloseHandle(held);
    module->LogSimpleString(nullptr, 0, kError, kHundred.c_str());

    EXPECT_EQ(kernel.m_ulOpens, 0u);
    EXPECT_EQ(kernel.m_ulSleeps, 0u);
    EXPECT_EQ(debugger.m_text, L"");
    EXPECT_EQ(ReadLog(file), Lines(5) + kLimitText);
}

TEST_F(LogModuleTest, FileAlreadyAtTheLimitWhenOpenedGetsNothing)
{
    const std::wstring file = m_folder / L"full.log";
    const std::string full(1024, 'z');
    {
        std::ofstream(std::filesystem::path(file), std::ios::binary) << full;
    }
    LogTo(file, kError, 1);
    auto module = MakeModule();
    module->LogSimpleString(nullptr, 0, kError, L"one");
    module->LogSimpleString(nullptr, 0, kError, L"two");

    EXPECT_EQ(ReadBytes(file), full);
}

TEST_F(LogModuleTest, Options16And17RollOverToANewUniqueFileWhenTheLimitIsReached)
{
    const std::wstring name = m_folder / L"roll.log";
    LogTo(name, kError, kOptionTruncate | kOptionUniqueFile | 1);
    auto module = MakeModule();
    for (int i = 0; i < 7; ++i) {
        module->LogSimpleString(nullptr, 0, kError, kHundred.c_str());
    }

    const std::vector<std::wstring> files = FilesIn(m_folder.Path());
    ASSERT_EQ(files.size(), 2u);
    const bool firstIsFull = ReadLog(files[0]).size() > ReadLog(files[1]).size();
    const std::wstring& full = files[firstIsFull ? 0 : 1];
    const std::wstring& next = files[firstIsFull ? 1 : 0];
    EXPECT_EQ(Lower(full.substr(full.size() - 4)), L".tmp");
    EXPECT_EQ(Lower(full.substr(m_folder.Path().size() + 1, 3)), L"rol");
    EXPECT_EQ(ReadLog(full), Lines(5) + kLimitText);
    EXPECT_EQ(ReadLog(next), Lines(2));
}

TEST_F(LogModuleTest, RolledOverFileStartsWithItsOwnHeader)
{
    const std::wstring name = m_folder / L"head.log";
    LogTo(name, kError | kCategoryHeader, kOptionTruncate | kOptionUniqueFile | 2);
    auto module = MakeModule();
    int lines = 0;
    while (FilesIn(m_folder.Path()).size() < 2 && lines < 50) {
        module->LogSimpleString(nullptr, 0, kError, kHundred.c_str());
        ++lines;
    }
    module->LogSimpleString(nullptr, 0, kError, kHundred.c_str());

    const std::vector<std::wstring> files = FilesIn(m_folder.Path());
    ASSERT_EQ(files.size(), 2u);
    const bool firstIsFull = ReadLog(files[0]).size() > ReadLog(files[1]).size();
    const std::wstring full = ReadLog(files[firstIsFull ? 0 : 1]);
    const std::wstring next = ReadLog(files[firstIsFull ? 1 : 0]);
    for (const std::wstring& file : files) {
        const std::wstring text = ReadLog(file);
        EXPECT_EQ(text.find(L"(++) Module File Name: "), 0u);
        EXPECT_NE(Lower(text).find(L"(++)    log file name: <" + Lower(file) + L">\r\n"),
                  std::wstring::npos);
    }
    EXPECT_EQ(full.substr(full.find(L"(##) ")), Lines(lines - 1) + kLimitText);
    EXPECT_EQ(next.substr(next.find(L"(##) ")), Lines(2));
    const size_t fullBytes = ReadBytes(files[firstIsFull ? 0 : 1]).size() - kLimitText.size() * 2;
    EXPECT_GE(fullBytes, 2048u);
    EXPECT_LT(fullBytes, 2048u + 214u);
}

TEST_F(LogModuleTest, LinesWaitInTheQueueWhileTheFileIsHeldAndComeFirstWithTheirMarks)
{
    doubles::LogClock clock;
    clock.m_bFixedTicks = false;
    ApiOverride<QVWinApi::IKernelApi> swapKernel(g_pKernelApi, clock);
    doubles::CapturedDebugOutput debugger;
    ApiOverride<IDebugOutput> swapDebugger(g_pDebugOutput, debugger);
    const std::wstring file = m_folder / L"queue.log";
    LogTo(file, kError, kOptionTime);
    auto module = MakeModule();
    module->LogSimpleString(nullptr, 0, kError, L"one");

    HANDLE held = HoldExclusively(file);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    clock.m_localTime.wSecond = 10;
    const DWORD start = ::GetTickCount();
    module->LogSimpleString(nullptr, 0, kError, L"two");
    const DWORD elapsed = ::GetTickCount() - start;
    clock.m_localTime.wSecond = 11;
    module->LogSimpleString(nullptr, 0, kError, L"three");
    ::CloseHandle(held);
    clock.m_localTime.wSecond = 12;
    module->LogSimpleString(nullptr, 0, kError, L"four");

    EXPECT_GE(elapsed, 90u);
    EXPECT_LT(elapsed, 400u);
    const std::wstring failure = L"Unable to open log file:\r\n<" + Lower(file) + L">\r\n"
        + module->FormatErrorText(ERROR_SHARING_VIOLATION) + L"\r\n";
    EXPECT_EQ(debugger.m_text, failure + failure);
    EXPECT_EQ(ReadLog(file), L"07:08:09 (##) one\r\n"
                             L"--- Queued Lines Start ---\r\n"
                             L"07:08:10 (##) two\r\n"
                             L"07:08:11 (##) three\r\n"
                             L"--- Queued Lines End ---\r\n"
                             L"07:08:12 (##) four\r\n");
}

TEST_F(LogModuleTest, TwoModulesWithTheirOwnFilesCountTheirBytesApart)
{
    const std::wstring first = m_folder / L"first.log";
    const std::wstring second = m_folder / L"second.log";
    m_registry.SetDword(L"", L"LogCategories", kError);
    m_registry.SetDword(L"", L"LogOptions", 1);
    m_registry.SetString(ModuleKeyOf(L"TestModule"), L"LogFileName", first);
    m_registry.SetString(ModuleKeyOf(L"Second"), L"LogFileName", second);
    auto module = MakeModule();
    auto other = MakeModule("Second");
    for (int i = 0; i < 5; ++i) {
        module->LogSimpleString(nullptr, 0, kError, kHundred.c_str());
    }
    for (int i = 0; i < 4; ++i) {
        other->LogSimpleString(nullptr, 0, kError, kHundred.c_str());
    }

    EXPECT_EQ(ReadLog(first), Lines(5) + kLimitText);
    EXPECT_EQ(ReadLog(second), Lines(4));
}

TEST_F(LogModuleTest, TwoModulesWithTheirOwnFilesKeepTheirOwnIndentation)
{
    const std::wstring first = m_folder / L"first.log";
    const std::wstring second = m_folder / L"second.log";
    m_registry.SetDword(L"", L"LogCategories", kCategoryEntry | kCategoryExit | kCategoryInfo);
    m_registry.SetDword(L"", L"LogOptions", kOptionIndent);
    m_registry.SetString(ModuleKeyOf(L"TestModule"), L"LogFileName", first);
    m_registry.SetString(ModuleKeyOf(L"Second"), L"LogFileName", second);
    auto module = MakeModule();
    auto other = MakeModule("Second");
    CLogSourceFile source(L".\\LogFileTest.cpp");
    {
        CLogFunction outer(module.get(), &source, L"QVTest::CFirst::Outer", 1);
        CLogFunction inner(module.get(), &source, L"QVTest::CFirst::Inner", 2);
        {
            // Two levels deep in the first file, at the top in the second.
            CLogFunction call(other.get(), &source, L"QVTest::CSecond::Call", 3);
            call.LogFormat(kCategoryInfo, 4, L"second, one deep");
        }
        inner.LogFormat(kCategoryInfo, 5, L"first, two deep");
        CLogFunction again(other.get(), &source, L"QVTest::CSecond::Again", 6);
    }

    EXPECT_EQ(ReadLog(first), L"(->) CFirst::Outer\r\n"
                              L"(->)   CFirst::Inner\r\n"
                              L"(I0)     first, two deep\r\n"
                              L"(<-)   CFirst::Inner\r\n"
                              L"(<-) CFirst::Outer\r\n");
    EXPECT_EQ(ReadLog(second), L"(->) CSecond::Call\r\n"
                               L"(I0)   second, one deep\r\n"
                               L"(<-) CSecond::Call\r\n"
                               L"(->) CSecond::Again\r\n"
                               L"(<-) CSecond::Again\r\n");
}
