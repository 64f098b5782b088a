// orvane log: what it writes to and removes from the registry, and what it
// shows. Each test uses a process name of its own and cleans up.
#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "common/Text.h"
#include "tools/ChildProcess.h"

using toolstest::RunResult;
using toolstest::RunTool;

namespace {

const std::wstring kRoot = L"Software\\ZQ\\QV\\Logging";
const std::string kRootText = "HKEY_CURRENT_USER\\Software\\ZQ\\QV\\Logging";

bool KeyExists(const std::wstring& path)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
        return false;
    }
    RegCloseKey(key);
    return true;
}

// The DWORD value, or -1 when it is missing or of another type.
long long Dword(const std::wstring& path, const wchar_t* name)
{
    DWORD value = 0;
    DWORD size = sizeof(value);
    if (RegGetValueW(HKEY_CURRENT_USER, path.c_str(), name, RRF_RT_REG_DWORD, nullptr, &value, &size) != ERROR_SUCCESS) {
        return -1;
    }
    return value;
}

// The REG_SZ value, or "<missing>".
std::wstring String(const std::wstring& path, const wchar_t* name)
{
    wchar_t value[MAX_PATH];
    DWORD size = sizeof(value);
    if (RegGetValueW(HKEY_CURRENT_USER, path.c_str(), name, RRF_RT_REG_SZ, nullptr, value, &size) != ERROR_SUCCESS) {
        return L"<missing>";
    }
    return value;
}

class OrvaneLog : public ::testing::Test {
protected:
    void TearDown() override
    {
        RegDeleteTreeW(HKEY_CURRENT_USER, (kRoot + L"\\" + process).c_str());
    }

    const std::wstring process = L"tools-test-" + std::to_wstring(GetCurrentProcessId()) + L".exe";
    const std::string processText = tools::Text::Narrow(process);
};

TEST_F(OrvaneLog, OnWritesTheModuleValuesShowReportsThemAndOffRemovesTheKeys)
{
    const std::wstring moduleKey = kRoot + L"\\" + process + L"\\IONetwork";
    const std::string moduleText = kRootText + "\\" + processText + "\\IONetwork";
    const RunResult on = RunTool(L"orvane.exe", {L"log", L"on", L"--process", process, L"--module", L"IONetwork",
                                                L"--file", L"C:\\logs\\orvane-test.log", L"--level", L"3"});
    EXPECT_EQ(0, on.exitCode);
    EXPECT_EQ((std::vector<std::string>{"logging on: values written to " + moduleText, "LogCategories = 0x7600FFFF",
                                        "LogOptions = 0x0B600000", "LogInfoDetailLevel = 3",
                                        "LogFileName = C:\\logs\\orvane-test.log"}),
              on.out);
    EXPECT_EQ(0x7600FFFF, Dword(moduleKey, L"LogCategories"));
    EXPECT_EQ(0x0B600000, Dword(moduleKey, L"LogOptions"));
    EXPECT_EQ(3, Dword(moduleKey, L"LogInfoDetailLevel"));
    EXPECT_EQ(L"C:\\logs\\orvane-test.log", String(moduleKey, L"LogFileName"));

    const RunResult show = RunTool(L"orvane.exe", {L"log", L"show", L"--process", process, L"--module", L"IONetwork"});
    EXPECT_EQ(0, show.exitCode);
    EXPECT_EQ((std::vector<std::string>{"settings for " + moduleText, "LogCategories = 0x7600FFFF",
                                        "LogOptions = 0x0B600000", "LogInfoDetailLevel = 3",
                                        "LogFileName = C:\\logs\\orvane-test.log", "set in " + moduleText,
                                        "logging: on", "log file: C:\\logs\\orvane-test.log"}),
              show.out);

    const RunResult off = RunTool(L"orvane.exe", {L"log", L"off", L"--process", process, L"--module", L"IONetwork"});
    EXPECT_EQ(0, off.exitCode);
    EXPECT_EQ(std::vector<std::string>{"logging off: values removed from " + moduleText}, off.out);
    EXPECT_FALSE(KeyExists(moduleKey));
    EXPECT_FALSE(KeyExists(kRoot + L"\\" + process));
}

TEST_F(OrvaneLog, ShowLayersTheProcessKeyBelowAModuleAndARelativeFileBecomesAbsolute)
{
    const RunResult on = RunTool(L"orvane.exe", {L"log", L"on", L"--process", process, L"--file", L"relative.log"});
    EXPECT_EQ(0, on.exitCode);
    wchar_t folder[MAX_PATH];
    GetCurrentDirectoryW(MAX_PATH, folder);
    std::wstring expected = folder;
    expected += expected.back() == L'\\' ? L"relative.log" : L"\\relative.log";
    EXPECT_EQ(expected, String(kRoot + L"\\" + process, L"LogFileName"));
    EXPECT_EQ(7, Dword(kRoot + L"\\" + process, L"LogInfoDetailLevel"));

    const RunResult show = RunTool(L"orvane.exe", {L"log", L"show", L"--process", process, L"--module", L"IOCommon"});
    EXPECT_EQ(0, show.exitCode);
    EXPECT_EQ((std::vector<std::string>{"settings for " + kRootText + "\\" + processText + "\\IOCommon",
                                        "LogCategories = 0x7600FFFF", "LogOptions = 0x0B600000",
                                        "LogInfoDetailLevel = 7", "LogFileName = " + tools::Text::Narrow(expected),
                                        "set in " + kRootText + "\\" + processText, "logging: on",
                                        "log file: " + tools::Text::Narrow(expected)}),
              show.out);
}

TEST_F(OrvaneLog, OnWithoutScopeWritesTheRootKeyWithTheDefaultFile)
{
    ASSERT_EQ(-1, Dword(kRoot, L"LogCategories")) << "the root key already holds logging values";
    const RunResult on = RunTool(L"orvane.exe", {L"log", L"on"});
    EXPECT_EQ(0, on.exitCode);
    EXPECT_EQ(0x7600FFFF, Dword(kRoot, L"LogCategories"));
    EXPECT_EQ(0x0B600000, Dword(kRoot, L"LogOptions"));
    EXPECT_EQ(7, Dword(kRoot, L"LogInfoDetailLevel"));
    EXPECT_EQ(L"C:\\ProgramData\\orvane.log", String(kRoot, L"LogFileName"));

    const RunResult off = RunTool(L"orvane.exe", {L"log", L"off"});
    EXPECT_EQ(0, off.exitCode);
    EXPECT_EQ(std::vector<std::string>{"logging off: values removed from " + kRootText}, off.out);
    EXPECT_EQ(-1, Dword(kRoot, L"LogCategories"));
    EXPECT_EQ(L"<missing>", String(kRoot, L"LogFileName"));

    const RunResult show = RunTool(L"orvane.exe", {L"log", L"show"});
    EXPECT_EQ(0, show.exitCode);
    EXPECT_EQ((std::vector<std::string>{"settings for " + kRootText, "LogCategories = (not set)",
                                        "LogOptions = (not set)", "LogInfoDetailLevel = (not set)",
                                        "LogFileName = (not set)", "logging: off",
                                        "log file: none (LogFileName not set)"}),
              show.out);
}

TEST_F(OrvaneLog, RejectsBadUsageWithExitCodeTwoAndWritesNothing)
{
    const std::vector<std::pair<std::vector<std::wstring>, std::string>> cases = {
        {{L"log"}, "orvane log: expected on, off or show"},
        {{L"log", L"maybe"}, "orvane log: expected on, off or show, not 'maybe'"},
        {{L"log", L"on", L"--process", process, L"--module", L"Bogus"},
         "orvane log: unknown module 'Bogus'; 'orvane log --help' lists the modules"},
        {{L"log", L"on", L"--process", process, L"--level", L"16"},
         "orvane log: option --level needs a number from 0 to 15, not '16'"},
        {{L"log", L"off", L"--process", process, L"--file", L"x.log"}, "orvane log: --file and --level go with 'on'"},
    };
    for (const auto& c : cases) {
        const RunResult result = RunTool(L"orvane.exe", c.first);
        EXPECT_EQ(2, result.exitCode) << c.second;
        EXPECT_EQ((std::vector<std::string>{c.second, "see 'orvane log --help'"}), result.err);
    }
    EXPECT_FALSE(KeyExists(kRoot + L"\\" + process));
}

}  // namespace
