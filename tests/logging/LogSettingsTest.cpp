#include "LogTestFixture.h"

#include "doubles/ApiOverride.h"
#include "doubles/LogClock.h"
#include "logging/LogFlags.h"

using namespace QVLogging;
using doubles::ApiOverride;
using logtest::LogModuleTest;
using logtest::ProcessName;
using logtest::ReadLog;

namespace {

constexpr unsigned long kWarning = kCategoryWarning;
constexpr unsigned long kError = kCategoryError;
constexpr unsigned long kDebug = kCategoryDebug;

}  // namespace

TEST_F(LogModuleTest, WithoutTheKeyNothingIsWrittenAndTheNextReadWaitsForThePollInterval)
{
    doubles::LogClock clock;
    ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, clock);
    const std::wstring file = m_folder / L"late.log";
    auto module = MakeModule();
    module->LogSimpleString(nullptr, 0, kError, L"before");

    LogTo(file, kError);
    clock.m_ulTicks += 30000;
    module->LogSimpleString(nullptr, 0, kError, L"within the interval");
    EXPECT_FALSE(std::filesystem::exists(file));

    clock.m_ulTicks += 1;
    module->LogSimpleString(nullptr, 0, kError, L"after the interval");
    EXPECT_EQ(ReadLog(file), L"(##) after the interval\r\n");
}

TEST_F(LogModuleTest, LogParmsPollTimeSetsTheIntervalOfTheNextRead)
{
    doubles::LogClock clock;
    ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, clock);
    const std::wstring file = m_folder / L"poll.log";
    LogTo(file, kError);
    m_registry.SetDword(L"", L"LogParmsPollTime", 2);
    auto module = MakeModule();
    module->LogSimpleString(nullptr, 0, kError, L"one");

    m_registry.SetDword(L"", L"LogCategories", kWarning);
    clock.m_ulTicks += 2000;
    module->LogSimpleString(nullptr, 0, kError, L"two, old settings");
    clock.m_ulTicks += 1;
    module->LogSimpleString(nullptr, 0, kError, L"three, dropped");
    module->LogSimpleString(nullptr, 0, kWarning, L"four, new settings");

    EXPECT_EQ(ReadLog(file), L"(##) one\r\n(##) two, old settings\r\n(WN) four, new settings\r\n");
}

TEST_F(LogModuleTest, LogParmsPollTimeOfZeroMeansThirtySeconds)
{
    doubles::LogClock clock;
    ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, clock);
    const std::wstring file = m_folder / L"zero.log";
    LogTo(file, kError);
    m_registry.SetDword(L"", L"LogParmsPollTime", 0);
    auto module = MakeModule();
    module->LogSimpleString(nullptr, 0, kError, L"one");

    m_registry.SetDword(L"", L"LogCategories", kWarning);
    clock.m_ulTicks += 30000;
    module->LogSimpleString(nullptr, 0, kError, L"two");
    clock.m_ulTicks += 1;
    module->LogSimpleString(nullptr, 0, kError, L"three");

    EXPECT_EQ(ReadLog(file), L"(##) one\r\n(##) two\r\n");
}

TEST_F(LogModuleTest, ProcessKeyOverridesTheGlobalKeyAndTheModuleKeyOverridesBoth)
{
    const std::wstring global = m_folder / L"global.log";
    const std::wstring process = m_folder / L"process.log";
    LogTo(global, kError);
    m_registry.SetDword(ProcessName(), L"LogCategories", kWarning);
    m_registry.SetString(ProcessName(), L"LogFileName", process);
    m_registry.SetDword(ModuleKey(), L"LogCategories", kDebug);
    m_registry.SetDword(ModuleKey(L"Other"), L"LogCategories", kWarning | kDebug);
    m_registry.SetDword(ModuleKey(L"Other"), L"LogOptions", kOptionProcess);

    auto module = MakeModule();
    auto other = MakeModule("Other");
    for (auto* each : {module.get(), other.get()}) {
        each->LogSimpleString(nullptr, 0, kError, L"error");
        each->LogSimpleString(nullptr, 0, kWarning, L"warning");
        each->LogSimpleString(nullptr, 0, kDebug, L"debug");
    }

    const std::wstring tag = L"[" + std::to_wstring(::GetCurrentProcessId()) + L"] ";
    EXPECT_FALSE(std::filesystem::exists(global));
    EXPECT_EQ(ReadLog(process),
              L"(DB) debug\r\n" + tag + L"(WN) warning\r\n" + tag + L"(DB) debug\r\n");
}

TEST_F(LogModuleTest, MissingOrWronglyTypedValuesLeaveWhatTheLevelAboveSet)
{
    const std::wstring file = m_folder / L"types.log";
    LogTo(file, kError);
    m_registry.SetString(ProcessName(), L"LogCategories", L"64");
    m_registry.SetDword(ModuleKey(), L"LogInfoDetailLevel", 2);

    auto module = MakeModule();
    module->LogSimpleString(nullptr, 0, kError, L"error");
    module->LogSimpleString(nullptr, 0, kWarning, L"warning");
    module->LogSimpleString(nullptr, 0, kCategoryInfo | 2, L"info 2");

    EXPECT_EQ(ReadLog(file), L"(##) error\r\ninfo 2\r\n");
}

TEST_F(LogModuleTest, ModuleNamedLikeTheProcessReadsTheProcessKeyAsItsModuleKey)
{
    const std::wstring file = m_folder / L"same.log";
    LogTo(file, kError);
    const std::wstring base = ProcessName().substr(0, ProcessName().rfind(L'.'));
    m_registry.SetDword(ProcessName(), L"LogCategories", kDebug);
    m_registry.SetDword(ModuleKey(base), L"LogCategories", kWarning);
    m_registry.SetDword(ModuleKey(L"Control"), L"LogCategories", kWarning);

    auto sameName = MakeModule(std::string(base.begin(), base.end()).c_str());
    auto control = MakeModule("Control");
    for (auto* each : {sameName.get(), control.get()}) {
        each->LogSimpleString(nullptr, 0, kWarning, L"warning");
        each->LogSimpleString(nullptr, 0, kDebug, L"debug");
    }

    EXPECT_EQ(ReadLog(file), L"(DB) debug\r\n(WN) warning\r\n");
}

TEST_F(LogModuleTest, SourceFileSubkeyListedUnderTheModuleKeyIsReadBelowTheProcessKey)
{
    const std::wstring file = m_folder / L"source.log";
    LogTo(file, kError);
    m_registry.CreateKey(ModuleKey() + L"\\settingsa.cpp");
    m_registry.SetDword(ProcessName() + L"\\SettingsA.cpp", L"LogCategories", kDebug);
    m_registry.SetDword(ModuleKey() + L"\\settingsb.cpp", L"LogCategories", kDebug);

    auto module = MakeModule();
    module->LogSimpleString(L"settingsa.cpp", 10, kError, L"a error");
    module->LogSimpleString(L"settingsa.cpp", 11, kDebug, L"a debug");
    module->LogSimpleString(L"settingsb.cpp", 12, kDebug, L"b debug");
    module->LogSimpleString(L"settingsb.cpp", 13, kError, L"b error");
    module->LogSimpleString(nullptr, 14, kDebug, L"no file debug");
    module->LogSimpleString(nullptr, 15, kError, L"no file error");

    EXPECT_EQ(ReadLog(file), L"(DB) a debug\r\n(##) b error\r\n(##) no file error\r\n");
}

TEST_F(LogModuleTest, SourceFileSettingsAreReadAgainOnlyWhenTheirKeyChanged)
{
    doubles::LogClock clock;
    ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, clock);
    const std::wstring file = m_folder / L"changed.log";
    LogTo(file, kError);
    m_registry.SetDword(L"", L"LogParmsPollTime", 1);
    m_registry.CreateKey(ModuleKey() + L"\\settingsc.cpp");
    m_registry.SetDword(ProcessName() + L"\\settingsc.cpp", L"LogCategories", kDebug);

    auto module = MakeModule();
    module->LogSimpleString(L"settingsc.cpp", 0, kDebug, L"one");
    // Below the process key only: the listed key keeps its write time.
    m_registry.SetDword(ProcessName() + L"\\settingsc.cpp", L"LogCategories", kWarning);
    clock.m_ulTicks += 1001;
    module->LogSimpleString(L"settingsc.cpp", 0, kDebug, L"two");
    ::Sleep(20);
    m_registry.SetDword(ModuleKey() + L"\\settingsc.cpp", L"Touched", 1);
    clock.m_ulTicks += 1001;
    module->LogSimpleString(L"settingsc.cpp", 0, kDebug, L"three");
    module->LogSimpleString(L"settingsc.cpp", 0, kWarning, L"four");

    EXPECT_EQ(ReadLog(file), L"(DB) one\r\n(DB) two\r\n(WN) four\r\n");
}

TEST_F(LogModuleTest, DetailLevelAloneWritesInformationalLinesOfLevelsOneToItWithoutTag)
{
    const std::wstring file = m_folder / L"detail.log";
    m_registry.SetString(L"", L"LogFileName", file);
    m_registry.SetDword(L"", L"LogCategories", 0);
    m_registry.SetDword(L"", L"LogInfoDetailLevel", 3);

    auto module = MakeModule();
    for (unsigned long level = 0; level <= 4; ++level) {
        module->LogSimpleString(nullptr, 0, kCategoryInfo | level,
                                (L"info " + std::to_wstring(level)).c_str());
    }
    module->LogSimpleString(nullptr, 0, kError, L"error");
    module->LogSimpleString(nullptr, 0, kDebug, L"debug");

    EXPECT_EQ(ReadLog(file), L"info 1\r\ninfo 2\r\ninfo 3\r\n");
}

TEST_F(LogModuleTest, InformationalLevelZeroNeedsTheInformationalBit)
{
    const std::wstring file = m_folder / L"info.log";
    LogTo(file, kCategoryInfo);
    m_registry.SetDword(L"", L"LogInfoDetailLevel", 1);

    auto module = MakeModule();
    for (unsigned long level = 0; level <= 2; ++level) {
        module->LogSimpleString(nullptr, 0, kCategoryInfo | level,
                                (L"info " + std::to_wstring(level)).c_str());
    }

    EXPECT_EQ(ReadLog(file), L"(I0) info 0\r\n(I1) info 1\r\n");
}

TEST_F(LogModuleTest, CategoryBit24MakesTheModuleListItselfInTheRegistry)
{
    m_registry.SetDword(L"", L"LogCategories", kCategoryListModule);
    auto listed = MakeModule("Listed");
    listed->LogSimpleString(nullptr, 0, kError, L"error");
    EXPECT_TRUE(m_registry.KeyExists(ModuleKey(L"Listed")));

    m_registry.SetDword(L"", L"LogCategories", kError);
    auto unlisted = MakeModule("Unlisted");
    unlisted->LogSimpleString(nullptr, 0, kError, L"error");
    EXPECT_FALSE(m_registry.KeyExists(ModuleKey(L"Unlisted")));
}

TEST_F(LogModuleTest, ModuleThatWritesNothingSkipsTheSettingsMutexUntilThePollIsDue)
{
    doubles::LogClock clock;
    ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, clock);
    auto module = MakeModule();
    const unsigned long afterAttach = clock.m_ulWaits;
    module->LogSimpleString(nullptr, 0, kError, L"first, polls");
    const unsigned long afterFirst = clock.m_ulWaits;
    EXPECT_EQ(afterFirst, afterAttach + 1);

    for (int i = 0; i < 100; ++i) {
        module->LogSimpleString(nullptr, 0, kError, L"dropped");
    }
    clock.m_ulTicks += 30000;
    module->LogSimpleString(nullptr, 0, kError, L"dropped at the end of the interval");
    EXPECT_EQ(clock.m_ulWaits, afterFirst);

    clock.m_ulTicks += 1;
    module->LogSimpleString(nullptr, 0, kError, L"polls again");
    EXPECT_EQ(clock.m_ulWaits, afterFirst + 1);
}

TEST_F(LogModuleTest, ModuleThatWritesNothingSeesAPollOfAnotherModuleThroughTheMutex)
{
    doubles::LogClock clock;
    ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, clock);
    auto quiet = MakeModule("Quiet");
    quiet->LogSimpleString(nullptr, 0, kError, L"polls");
    const unsigned long afterFirst = clock.m_ulWaits;

    // Attaching takes the mutexes of both shared blocks, the settings and
    // the external monitor's; the poll takes the settings' once.
    auto other = MakeModule("Other");
    other->LogSimpleString(nullptr, 0, kError, L"polls too");
    EXPECT_EQ(clock.m_ulWaits, afterFirst + 3);
    quiet->LogSimpleString(nullptr, 0, kError, L"takes the mutex once");
    quiet->LogSimpleString(nullptr, 0, kError, L"and no more");

    EXPECT_EQ(clock.m_ulWaits, afterFirst + 4);
}

TEST_F(LogModuleTest, SilentModuleStillWritesTheLinesOfASourceFileWithItsOwnSettings)
{
    doubles::LogClock clock;
    ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, clock);
    const std::wstring file = m_folder / L"quietsource.log";
    m_registry.SetDword(L"", L"LogCategories", 0);
    m_registry.CreateKey(ModuleKey() + L"\\quietsource.cpp");
    m_registry.SetDword(ProcessName() + L"\\quietsource.cpp", L"LogCategories", kDebug);
    m_registry.SetString(ProcessName() + L"\\quietsource.cpp", L"LogFileName", file);

    auto module = MakeModule();
    module->LogSimpleString(L"other.cpp", 0, kDebug, L"dropped");
    const unsigned long waits = clock.m_ulWaits;
    module->LogSimpleString(L"other.cpp", 0, kDebug, L"dropped without the mutex");
    EXPECT_EQ(clock.m_ulWaits, waits);
    module->LogSimpleString(L"quietsource.cpp", 0, kDebug, L"written");

    EXPECT_EQ(ReadLog(file), L"(DB) written\r\n");
}
