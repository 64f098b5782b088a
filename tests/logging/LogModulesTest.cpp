#include "LogTestFixture.h"

#include <string>

#include "doubles/ApiOverride.h"
#include "doubles/LogClock.h"
#include "logging/LogFlags.h"
#include "logging/LogModules.h"

using logtest::LogModuleTest;
using logtest::ReadLog;

TEST(LogModulesTest, EachLibraryReachesItsModuleByName)
{
    const std::pair<QVLogging::CLogModule*, const wchar_t*> modules[] = {
        {g_pOrvaneAPILog, L"OrvaneAPI"},
        {g_pUtilsLog, L"Utils"},
        {g_pOrvaneLibLog, L"OrvaneLib"},
        {g_pDeviceManagerLibLog, L"DeviceManagerLib"},
        {g_pHTTPClientLibLog, L"HTTPClientLib"},
        {g_pIONetworkLog, L"IONetwork"},
        {g_pIOCommonLog, L"IOCommon"},
        {g_pIOUSBLog, L"IOUSB"},
        {g_pOrvaneResolverLog, L"OrvaneResolver"},
        {g_pDiscoveryLibLog, L"DiscoveryLib"},
    };
    for (const auto& module : modules) {
        ASSERT_NE(module.first, nullptr);
        EXPECT_EQ(module.first->GetModuleName(), module.second);
    }
}

TEST(LogModulesTest, SettingsBlockIsNamedAfterTheLibraryAndTheProcessId)
{
    const std::wstring base = L"logging_tests[" + std::to_wstring(::GetCurrentProcessId())
                              + L"]RegValues";
    HANDLE mutex = ::OpenMutexW(SYNCHRONIZE, FALSE, (base + L"Lock").c_str());
    HANDLE section = ::OpenFileMappingW(FILE_MAP_READ, FALSE, (base + L"MappedFile").c_str());
    EXPECT_NE(mutex, nullptr);
    EXPECT_NE(section, nullptr);
    ::CloseHandle(mutex);
    ::CloseHandle(section);
}

TEST(LogModulesTest, ModuleWithoutANameTakesTheLibrarysBaseName)
{
    QVLogging::CLogModule module("", "Jan  2 2024", "10:11:12", nullptr, 30);
    EXPECT_EQ(module.GetModuleName(), L"logging_tests");
}

// The values of the README's example, for this process and one module.
TEST_F(LogModuleTest, ReadmeExampleLogsOneModuleOfAProcessToItsFile)
{
    doubles::LogClock clock;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, clock);
    const std::wstring file = m_folder / L"orvane.log";
    const std::wstring processKey = logtest::ProcessName();
    m_registry.SetDword(processKey, L"LogCategories", 0x40000FF0);
    m_registry.SetDword(processKey, L"LogInfoDetailLevel", 3);
    m_registry.SetDword(processKey, L"LogOptions", 0x0F000400);
    m_registry.SetString(processKey + L"\\IOCommon", L"LogFileName", file);
    auto module = MakeModule("IOCommon");
    auto silent = MakeModule("IONetwork");
    module->LogSimpleString(nullptr, 0, QVLogging::kCategoryInfo | 2, L"informational");
    module->LogSimpleString(nullptr, 0, QVLogging::kCategoryError, L"error");
    silent->LogSimpleString(nullptr, 0, QVLogging::kCategoryError, L"not in this file");

    wchar_t prefix[64] = {};
    _snwprintf(prefix, 64, L"2024/03/05 07:08:09 [%lu] {tid: 0x%04X} ",
               ::GetCurrentProcessId(), static_cast<unsigned>(::GetCurrentThreadId()));
    const std::wstring text = ReadLog(file);
    const std::wstring lines = std::wstring(prefix) + L"(I2) informational\r\n" + prefix
                               + L"(##) error\r\n";
    ASSERT_GT(text.size(), lines.size());
    EXPECT_EQ(text.find(std::wstring(prefix) + L"(++) Module File Name: "), 0u);
    EXPECT_EQ(text.substr(text.size() - lines.size()), lines);
    EXPECT_EQ(text.find(L"not in this file"), std::wstring::npos);
}
