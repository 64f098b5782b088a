// Trace scopes: entry and exit lines, indentation, duration, return values,
// error lines and exception marks, written through a real module to a real
// UTF-16 file.
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>

#include "doubles/SystemErrorText.h"
#include "logging/CLogFunction.h"
#include "logging/CLogFunctionT.h"
#include "logging/LogFlags.h"
#include "logging/LogTestFixture.h"
#include "utils/CWin32Exception.h"

using namespace QVLogging;
using logtest::LogModuleTest;
using logtest::ReadLog;

namespace {

constexpr DWORD kEntryExit = kCategoryEntry | kCategoryExit;

class FunctionTrace : public LogModuleTest {
protected:
    std::wstring File() const { return m_folder.Path() + L"\\trace.log"; }
    void LogScopesTo(DWORD categories, DWORD options = 0)
    {
        LogTo(File(), categories, options);
        module = MakeModule();
    }
    std::wstring Log() const { return ReadLog(File()); }

    std::unique_ptr<CLogModule> module;
    CLogSourceFile source{L".\\FunctionTraceTest.cpp"};
};

TEST_F(FunctionTrace, EntryAndExitLinesCarryTheDisplayNameAndNestWithIndentation)
{
    LogScopesTo(kEntryExit | kCategoryInfo, kOptionIndent);
    {
        CLogFunction outer(module.get(), &source, L"QVTest::COuter::Run", 10);
        {
            CLogFunction inner(module.get(), &source, L"QVTest::CInner::Step", 20);
            inner.LogFormat(kCategoryInfo, 21, L"step %d of %s", 2, L"three");
        }
    }
    EXPECT_EQ(L"(->) COuter::Run\r\n"
              L"(->)   CInner::Step\r\n"
              L"(I0)     step 2 of three\r\n"
              L"(<-)   CInner::Step\r\n"
              L"(<-) COuter::Run\r\n",
              Log());
}

TEST_F(FunctionTrace, ParameterTextFollowsTheNameOnTheEntryLine)
{
    LogScopesTo(kEntryExit | kCategoryParameters);
    {
        CLogFunction scope(module.get(), &source, L"QVIOStack::CIOCommon::Read", 5, 0, 0,
                           L"ulBufferSize=%lu", 4096UL);
    }
    EXPECT_EQ(L"(->) (IP) CIOCommon::Read, ulBufferSize=4096\r\n"
              L"(<-) CIOCommon::Read\r\n",
              Log());
}

TEST_F(FunctionTrace, AFilteredEntryLinesNameAndParametersLeadTheNextLineWritten)
{
    LogScopesTo(kCategoryInfo);
    {
        CLogFunction scope(module.get(), &source, L"QVIOStack::CIOCommon::Read", 5, 0, 0,
                           L"ulBufferSize=%lu", 4096UL);
        scope.LogFormat(kCategoryInfo, 6, L"first %d", 1);
        scope.LogFormat(kCategoryInfo, 7, L"second");
    }
    // The entry line is dropped, but the name and ", " it began with stay
    // and lead the first line that is written; its parameters went with it.
    EXPECT_EQ(L"(I0) CIOCommon::Read, first 1\r\n"
              L"(I0) second\r\n",
              Log());
}

TEST_F(FunctionTrace, SourceLineOfEachCallIsPrintedWithTheCounterField)
{
    LogScopesTo(kEntryExit | kCategoryError, kOptionCounter);
    {
        CLogFunction scope(module.get(), &source, L"QVTest::CLines::Run", 42);
        scope.LogFormat(kCategoryError, 57, L"failed");
    }
    const std::wregex layout(L"[0-9]{10} 0042: \\(->\\) CLines::Run\r\n"
                             L"[0-9]{10} 0057: \\(##\\) failed\r\n"
                             L"[0-9]{10}       \\(<-\\) CLines::Run\r\n");
    EXPECT_TRUE(std::regex_match(Log(), layout)) << Log().c_str();
}

TEST_F(FunctionTrace, ExitLineWithDurationOption)
{
    LogScopesTo(kEntryExit, kOptionDuration);
    {
        CLogFunction scope(module.get(), &source, L"QVTest::CTimed::Run", 1);
        Sleep(20);
    }
    const std::wregex layout(L"\\(->\\) CTimed::Run\r\n\\(<-\\) CTimed::Run \\(Dur: ([0-9]+) us\\) \r\n");
    std::wsmatch match;
    const std::wstring log = Log();
    ASSERT_TRUE(std::regex_match(log, match, layout)) << log.c_str();
    EXPECT_GE(std::stol(match[1].str()), 10000);
}

TEST_F(FunctionTrace, ForeignExceptionInFlightGivesAnOrdinaryExitLine)
{
    LogScopesTo(kEntryExit);
    try {
        CLogFunction scope(module.get(), &source, L"QVTest::CThrower::Run", 1);
        throw std::runtime_error("not a structured fault");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(L"(->) CThrower::Run\r\n(<-) CThrower::Run\r\n", Log());
}

TEST_F(FunctionTrace, LivingStructuredExceptionOnAnotherThreadMarksEndingScopes)
{
    LogScopesTo(kEntryExit);
    std::mutex lock;
    std::condition_variable changed;
    bool alive = false;
    bool done = false;
    std::thread other([&] {
        QVUtils::CWin32Exception fault(0xC0000005, nullptr);
        std::unique_lock<std::mutex> guard(lock);
        alive = true;
        changed.notify_all();
        changed.wait(guard, [&] { return done; });
    });
    {
        std::unique_lock<std::mutex> guard(lock);
        changed.wait(guard, [&] { return alive; });
    }
    {
        CLogFunction scope(module.get(), &source, L"QVTest::CBystander::Run", 1);
    }
    {
        std::lock_guard<std::mutex> guard(lock);
        done = true;
    }
    changed.notify_all();
    other.join();
    {
        CLogFunction scope(module.get(), &source, L"QVTest::CAfter::Run", 1);
    }
    EXPECT_EQ(L"(->) CBystander::Run\r\n"
              L"(<-) CBystander::Run   *** UNHANDLED EXCEPTION PENDING ***\r\n"
              L"(->) CAfter::Run\r\n"
              L"(<-) CAfter::Run\r\n",
              Log());
}

TEST_F(FunctionTrace, NonZeroWatchFlagMarksTheExitAsLeftByAnUnhandledException)
{
    LogScopesTo(kEntryExit);
    {
        CLogFunction watched(module.get(), &source, L"QVTest::CWatched::Run", 1, 0, 1, nullptr);
    }
    {
        CLogFunction watched(module.get(), &source, L"QVTest::CWatched::Step", 2, 0, 0x80000000, L"n=%d", 7);
    }
    {
        CLogFunction unwatched(module.get(), &source, L"QVTest::CPlain::Run", 3, 0, 0, nullptr);
    }
    {
        // With a structured exception alive as well, the mark follows the
        // pending text on the one exit line.
        QVUtils::CWin32Exception fault(0xC0000005, nullptr);
        CLogFunction watched(module.get(), &source, L"QVTest::CWatched::Fault", 4, 0, 1, nullptr);
    }
    EXPECT_EQ(L"(->) CWatched::Run\r\n"
              L"(<-) CWatched::Run(*unhandled exception*) \r\n"
              L"(->) CWatched::Step, n=7\r\n"
              L"(<-) CWatched::Step(*unhandled exception*) \r\n"
              L"(->) CPlain::Run\r\n"
              L"(<-) CPlain::Run\r\n"
              L"(->) CWatched::Fault\r\n"
              L"(<-) CWatched::Fault   *** UNHANDLED EXCEPTION PENDING ***(*unhandled exception*) \r\n",
              Log());
}

TEST_F(FunctionTrace, UnhandledExceptionMarkFollowsTheDuration)
{
    LogScopesTo(kEntryExit, kOptionDuration);
    {
        CLogFunction watched(module.get(), &source, L"QVTest::CWatched::Run", 1, 0, 1, nullptr);
    }
    const std::wregex layout(L"\\(->\\) CWatched::Run\r\n"
                             L"\\(<-\\) CWatched::Run \\(Dur: [0-9]+ us\\) \\(\\*unhandled exception\\*\\) \r\n");
    EXPECT_TRUE(std::regex_match(Log(), layout)) << Log().c_str();
}

TEST_F(FunctionTrace, ReturnBoolFalseWritesTheReturnLineAndAnErrorLineForCode1)
{
    LogScopesTo(kEntryExit | kCategoryReturn | kCategoryErrorText);
    {
        CLogFunctionT<bool> scope(LogReturnBool, module.get(), &source, L"QVTest::CCheck::IsIt", 1,
                                  0, 0, nullptr);
        scope.Return(false);
    }
    {
        CLogFunctionT<bool> scope(LogReturnBool, module.get(), &source, L"QVTest::CCheck::IsIt", 1,
                                  0, 0, nullptr);
        scope.Return(true);
    }
    EXPECT_EQ(L"(->) CCheck::IsIt\r\n"
              L"Return: FALSE\r\n"
              L"(<-) CCheck::IsIt\r\n"
              L"(**) [Err: 0x00000001] " + doubles::ErrorLineText(1) + L"\r\n"
              L"(->) CCheck::IsIt\r\n"
              L"Return: TRUE\r\n"
              L"(<-) CCheck::IsIt\r\n",
              Log());
}

TEST_F(FunctionTrace, ErrorLineHasNoFilterAndItsTagOnlyWithBit29)
{
    LogScopesTo(kEntryExit);
    {
        CLogFunction scope(module.get(), &source, L"QVTest::CFail::Run", 1);
        scope.m_errorCode = ERROR_FILE_NOT_FOUND;
    }
    EXPECT_EQ(L"(->) CFail::Run\r\n"
              L"(<-) CFail::Run\r\n"
              L"[Err: 0x00000002] " + doubles::ErrorLineText(ERROR_FILE_NOT_FOUND) + L"\r\n",
              Log());
}

TEST_F(FunctionTrace, WithExitLinesOffNoErrorLineAndTheIndentationKeepsGrowing)
{
    LogScopesTo(kCategoryEntry, kOptionIndent);
    for (int i = 0; i < 3; ++i) {
        CLogFunction scope(module.get(), &source, L"QVTest::CFail::Run", 1);
        scope.m_errorCode = ERROR_FILE_NOT_FOUND;
    }
    EXPECT_EQ(L"(->) CFail::Run\r\n(->)   CFail::Run\r\n(->)     CFail::Run\r\n", Log());
}

TEST_F(FunctionTrace, FilteredEntryWithParametersLeavesTheNameForTheExitLine)
{
    LogScopesTo(kCategoryExit);
    {
        CLogFunction scope(module.get(), &source, L"QVTest::CParams::Run", 1, 0, 0, L"n=%d", 3);
    }
    EXPECT_EQ(L"(<-) CParams::Run, CParams::Run\r\n", Log());
}

TEST_F(FunctionTrace, LastErrorSurvivesAScope)
{
    LogScopesTo(kEntryExit | kCategoryInfo);
    ::SetLastError(1234);
    {
        CLogFunction scope(module.get(), &source, L"QVTest::CQuiet::Run", 1);
        EXPECT_EQ(1234u, ::GetLastError());
        scope.LogFormat(kCategoryInfo, 2, L"x");
        EXPECT_EQ(1234u, ::GetLastError());
    }
    EXPECT_EQ(1234u, ::GetLastError());
    EXPECT_FALSE(Log().empty());
}

TEST_F(FunctionTrace, PerSourceFileSettingsFollowTheScopesSourceFile)
{
    // Globally only exits; this file's own subkey adds the entries.
    LogTo(File(), kCategoryExit);
    m_registry.SetDword(logtest::ProcessName() + L"\\functiontracetest.cpp", L"LogCategories",
                        kEntryExit);
    m_registry.CreateKey(ModuleKey() + L"\\functiontracetest.cpp");
    module = MakeModule();
    CLogSourceFile other(L".\\Other.cpp");
    {
        CLogFunction scope(module.get(), &source, L"QVTest::CMine::Run", 1);
    }
    {
        CLogFunction scope(module.get(), &other, L"QVTest::COther::Run", 1);
    }
    EXPECT_EQ(L"(->) CMine::Run\r\n(<-) CMine::Run\r\n(<-) COther::Run\r\n", Log());
}

TEST_F(FunctionTrace, NullModuleWritesNothing)
{
    LogScopesTo(kEntryExit);
    {
        CLogFunction scope(nullptr, &source, L"QVTest::CSilent::Run", 1);
        scope.LogFormat(kCategoryInfo, 2, L"x");
        scope.m_errorCode = 5;
    }
    EXPECT_EQ(L"", Log());
}

TEST(FunctionNames, SplitIntoClassAndDisplayName)
{
    CLogFunction navigate(nullptr, nullptr, L"QVIOStack::CHTTPClient::Navigate", 1);
    EXPECT_STREQ(L"CHTTPClient::Navigate", navigate.GetDisplayName());
    EXPECT_EQ(L"CHTTPClient", navigate.GetFunctionClassName());

    CLogFunction single(nullptr, nullptr, L"CreateDirectoryW", 1);
    EXPECT_STREQ(L"CreateDirectoryW", single.GetDisplayName());
    EXPECT_EQ(L"", single.GetFunctionClassName());

    CLogFunction templated(nullptr, nullptr, L"QVDeviceManager::CDeviceT<QVDeviceManager::IUSBDevice>::Refresh", 1);
    EXPECT_STREQ(L"CDeviceT::Refresh", templated.GetDisplayName());
    EXPECT_EQ(L"CDeviceT", templated.GetFunctionClassName());

    CLogFunction global(nullptr, nullptr, L"::Helper", 1);
    EXPECT_STREQ(L"Helper", global.GetDisplayName());
}

TEST(FunctionNames, NameOver255CharactersIsCutBeforeSplitting)
{
    // The first 255 characters end with "::"; "Tail::More" beyond them does
    // not count.
    const std::wstring name = L"A::" + std::wstring(250, L'b') + L"::Tail::More";
    CLogFunction scope(nullptr, nullptr, name.c_str(), 1);
    EXPECT_EQ(std::wstring(250, L'b') + L"::", std::wstring(scope.GetDisplayName()));
    EXPECT_EQ(std::wstring(250, L'b'), scope.GetFunctionClassName());
}

TEST(SourceFiles, ShortNameInLowerCase)
{
    EXPECT_EQ(L"disposable.cpp", CLogSourceFile(L".\\Disposable.cpp").GetName());
    EXPECT_EQ(L"file.cpp", CLogSourceFile(L"A\\B\\File.CPP").GetName());
    EXPECT_EQ(L"\\x.cpp", CLogSourceFile(L"\\X.cpp").GetName());
    EXPECT_EQ(L"plain.cpp", CLogSourceFile(L"Plain.cpp").GetName());
}

}  // namespace
