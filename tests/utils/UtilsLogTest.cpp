// The lines the utilities write to the "Utils" log module: trace scopes and
// their own lines, switched on in the registry for this process and read
// back from a real UTF-16 log file.
#include <gtest/gtest.h>

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>
#include <iphlpapi.h>
#include <shlobj.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "doubles/ApiOverride.h"
#include "doubles/LogClock.h"
#include "doubles/LoggingRegistry.h"
#include "doubles/SystemErrorText.h"
#include "doubles/TempFolder.h"
#include "logging/LogFlags.h"
#include "utils/CFileUtils.h"
#include "utils/CNetworkUtils.h"
#include "utils/CPathUtils.h"
#include "utils/CSxSConfig.h"
#include "winapi/CIPHelperApi.h"

using namespace QVLogging;
using QVUtils::CFileUtils;
using QVUtils::CNetworkUtils;
using QVUtils::CPathUtils;
using QVUtils::CSxSConfig;

namespace {

constexpr DWORD kEntryExit = kCategoryEntry | kCategoryExit;

// A UTF-16 little-endian file as text; empty when it doesn't exist.
std::wstring ReadLog(const std::wstring& path)
{
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
    std::wstring text;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
        text += static_cast<wchar_t>(static_cast<unsigned char>(bytes[i])
                                     | static_cast<unsigned char>(bytes[i + 1]) << 8);
    }
    return text;
}

// A clock whose tick count the test moves; every folder is denied, and the
// folder calls and waits are recorded in order.
class DeniedLogClock : public doubles::LogClock {
public:
    BOOL CreateDirectoryW(LPCWSTR path, LPSECURITY_ATTRIBUTES) override
    {
        calls.push_back(L"CreateDirectoryW " + std::wstring(path));
        ::SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    void Sleep(DWORD milliseconds) override
    {
        calls.push_back(L"Sleep " + std::to_wstring(milliseconds));
    }

    std::vector<std::wstring> calls;
};

// One adapter, named `name` (none when empty), whose only prefix is
// 10.20.0.0/16.
class PrefixIPHelperApi : public QVWinApi::CIPHelperApi {
public:
    explicit PrefixIPHelperApi(const wchar_t* name) : m_name(name) {}
    ULONG GetAdaptersAddresses(ULONG, ULONG, PVOID, PIP_ADAPTER_ADDRESSES addresses,
                               PULONG) override
    {
        struct Layout {
            IP_ADAPTER_ADDRESSES adapter;
            IP_ADAPTER_PREFIX prefix;
            sockaddr_in address;
        };
        auto* layout = reinterpret_cast<Layout*>(addresses);
        std::memset(layout, 0, sizeof *layout);
        layout->address.sin_family = AF_INET;
        layout->address.sin_addr.s_addr = htonl(0x0A140000);
        layout->prefix.Address.lpSockaddr = reinterpret_cast<sockaddr*>(&layout->address);
        layout->prefix.Address.iSockaddrLength = sizeof layout->address;
        layout->prefix.PrefixLength = 16;
        layout->adapter.FirstPrefix = &layout->prefix;
        layout->adapter.FriendlyName = m_name[0] != L'\0' ? const_cast<wchar_t*>(m_name) : nullptr;
        return NO_ERROR;
    }

private:
    const wchar_t* m_name;
};

// Tick counts far from any poll made before: each one is a new poll of the
// logging settings for the module of the utilities.
DWORD NextPollTicks()
{
    static DWORD s_ticks = ::GetTickCount() + 0x40000000UL;
    s_ticks += 0x01000000UL;
    return s_ticks;
}

// Sets the test's clock a poll interval on, makes a utility write a line so
// that the module reads its settings, and clears the line's file.
void PollUtilsLogSettings(doubles::LogClock& clock)
{
    clock.m_ulTicks = NextPollTicks();
    CPathUtils::StripFilename(L"C:\\poll");
}

// When it goes, logging is switched off again for the utilities: the
// registry key is gone by then and a poll reads that.
class SwitchOffAtEnd {
public:
    explicit SwitchOffAtEnd(doubles::LogClock& clock) : m_clock(clock) {}
    ~SwitchOffAtEnd() { PollUtilsLogSettings(m_clock); }
    SwitchOffAtEnd(const SwitchOffAtEnd&) = delete;
    SwitchOffAtEnd& operator=(const SwitchOffAtEnd&) = delete;

private:
    doubles::LogClock& m_clock;
};

// Each test starts and ends with logging off, has its own folder for the log
// file, and a kernel whose tick count decides when the settings are read.
class UtilsLog : public ::testing::Test {
protected:
    // The module of the utilities writes the lines with `categories` (and
    // informational lines up to `level`) to the test's file from now on.
    void LogTo(DWORD categories, DWORD level = 0)
    {
        m_registry.SetString(L"", L"LogFileName", File());
        m_registry.SetDword(L"", L"LogCategories", categories);
        m_registry.SetDword(L"", L"LogInfoDetailLevel", level);
        m_registry.SetDword(L"", L"LogOptions", 0);
        PollUtilsLogSettings(m_clock);
        std::filesystem::remove(std::filesystem::path(File()));
    }
    std::wstring File() const { return m_folder / L"utils.log"; }
    std::wstring Log() const { return ReadLog(File()); }

    DeniedLogClock m_clock;
    doubles::ApiOverride<QVWinApi::IKernelApi> m_swap{g_pKernelApi, m_clock};
    SwitchOffAtEnd m_switchOff{m_clock};
    doubles::TempFolder m_folder{L"orvane-utils-log"};
    doubles::LoggingRegistry m_registry;
};

TEST_F(UtilsLog, StripFilenameWritesItsEntryAndExitLines)
{
    LogTo(kEntryExit);
    EXPECT_EQ(CPathUtils::StripFilename(L"C:\\a\\b"), L"C:\\a");
    EXPECT_EQ(L"(->) CPathUtils::StripFilename\r\n"
              L"(<-) CPathUtils::StripFilename\r\n",
              Log());
}

TEST_F(UtilsLog, NothingIsWrittenOnceTheRegistryKeyIsGoneAndTheSettingsAreReadAgain)
{
    LogTo(kEntryExit);
    CPathUtils::StripFilename(L"C:\\a\\b");
    const std::wstring before = Log();
    ::RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\ZQ\\QV\\Logging");
    PollUtilsLogSettings(m_clock);
    CPathUtils::StripFilename(L"C:\\a\\b");
    EXPECT_EQ(L"(->) CPathUtils::StripFilename\r\n"
              L"(<-) CPathUtils::StripFilename\r\n",
              before);
    EXPECT_EQ(before, Log());
}

TEST_F(UtilsLog, LockedFolderWritesTheWaitAndTheSecondDenial)
{
    LogTo(kEntryExit | kCategoryError | kCategoryErrorText);
    EXPECT_FALSE(CFileUtils::CreateDirectoryW(L"C:\\locked"));
    EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(m_clock.calls, (std::vector<std::wstring>{L"CreateDirectoryW \\\\?\\C:\\locked",
                                                        L"Sleep 250",
                                                        L"CreateDirectoryW \\\\?\\C:\\locked"}));
    EXPECT_EQ(L"(->) CreateDirectoryW\r\n"
              L"(##) ::CreateDirectory(\\\\?\\C:\\locked, len=13), error=5. Sleeping ...\r\n"
              L"(##) ::CreateDirectory(\\\\?\\C:\\locked, len=13), error=5\r\n"
              L"(<-) CreateDirectoryW\r\n"
              L"(**) [Err: 0x00000005] " + doubles::ErrorLineText(ERROR_ACCESS_DENIED) + L"\r\n",
              Log());
}

TEST_F(UtilsLog, DeleteFileOfAMissingFileWritesOnlyItsScopeAndTheErrorText)
{
    LogTo(kEntryExit | kCategoryError | kCategoryErrorText);
    EXPECT_FALSE(CFileUtils::DeleteFileW(m_folder / L"missing.ini"));
    EXPECT_EQ(L"(->) CFileUtils::DeleteFileW\r\n"
              L"(<-) CFileUtils::DeleteFileW\r\n"
              L"(**) [Err: 0x00000002] " + doubles::ErrorLineText(ERROR_FILE_NOT_FOUND) + L"\r\n",
              Log());
}

TEST_F(UtilsLog, IsOnSubnetWritesItsAddressTheMatchAndReturnTrue)
{
    PrefixIPHelperApi helper(L"");
    doubles::ApiOverride<QVWinApi::IIPHelperApi> swap(g_pIPHelperApi, helper);
    LogTo(kEntryExit | kCategoryParameters | kCategoryInfo | kCategoryReturn | kCategoryErrorText);
    EXPECT_TRUE(CNetworkUtils::IsOnSubnet(L"10.20.30.40"));
    EXPECT_EQ(L"(->) (IP) CNetworkUtils::IsOnSubnet, IPAddress: 10.20.30.40\r\n"
              L"(I0) Found 10.20.30.40 on subnet\n\r\n"
              L"Return: TRUE\r\n"
              L"(<-) CNetworkUtils::IsOnSubnet\r\n",
              Log());
}

TEST_F(UtilsLog, IsOnSubnetNamesTheAdapterThatHasOne)
{
    PrefixIPHelperApi helper(L"Ethernet 2");
    doubles::ApiOverride<QVWinApi::IIPHelperApi> swap(g_pIPHelperApi, helper);
    LogTo(kCategoryEntry | kCategoryParameters | kCategoryInfo);
    EXPECT_TRUE(CNetworkUtils::IsOnSubnet(L"10.20.0.1"));
    EXPECT_EQ(L"(->) (IP) CNetworkUtils::IsOnSubnet, IPAddress: 10.20.0.1\r\n"
              L"(I0) Found 10.20.0.1 on Ethernet 2 subnet\n\r\n",
              Log());
}

TEST_F(UtilsLog, IsOnSubnetOffTheAdaptersPrefixesWritesReturnFalseAndErrorOne)
{
    PrefixIPHelperApi helper(L"");
    doubles::ApiOverride<QVWinApi::IIPHelperApi> swap(g_pIPHelperApi, helper);
    LogTo(kEntryExit | kCategoryParameters | kCategoryInfo | kCategoryReturn | kCategoryErrorText);
    EXPECT_FALSE(CNetworkUtils::IsOnSubnet(L"10.21.0.1"));
    EXPECT_EQ(L"(->) (IP) CNetworkUtils::IsOnSubnet, IPAddress: 10.21.0.1\r\n"
              L"Return: FALSE\r\n"
              L"(<-) CNetworkUtils::IsOnSubnet\r\n"
              L"(**) [Err: 0x00000001] " + doubles::ErrorLineText(1) + L"\r\n",
              Log());
}

TEST_F(UtilsLog, IsOnSubnetOfATextThatIsNoAddressWritesTheConversionError)
{
    LogTo(kCategoryEntry | kCategoryParameters | kCategoryError | kCategoryReturn);
    EXPECT_FALSE(CNetworkUtils::IsOnSubnet(L"not an address"));
    EXPECT_EQ(L"(->) (IP) CNetworkUtils::IsOnSubnet, IPAddress: not an address\r\n"
              L"(##) Failed to convert not an address to sockaddr struct. err="
                  + std::to_wstring(WSAEINVAL) + L"\r\n"
              L"Return: FALSE\r\n",
              Log());
}

// CSxSConfig keeps what it read for the life of the process, so the case runs
// in a child process of its own, which checks its own log file and exits with
// 0 when it held.
TEST_F(UtilsLog, DataFolderUnderCommonApplicationDataIsWrittenOnce)
{
    wchar_t fileName[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, fileName, MAX_PATH);
    const std::filesystem::path executableFolder = std::filesystem::path(fileName).parent_path();
    std::filesystem::remove(executableFolder.parent_path() / L"config.ini");
    wchar_t common[MAX_PATH] = {};
    ASSERT_EQ(::SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, common), S_OK);
    const std::wstring dataFolder = std::wstring(common) + L"\\ZQ\\"
        + executableFolder.parent_path().filename().wstring();
    LogTo(kCategoryInfo, 7);
    EXPECT_EXIT(
        {
            CSxSConfig::GetDataFolder();
            CSxSConfig::GetDataFolder();
            const bool held = Log()
                == L"(I7) GetPathOfExecutable: wstrResult = " + executableFolder.wstring()
                       + L"\r\n(I0) CSxSConfig::SetSxSProductFolder, data folder is "
                       + dataFolder + L"\r\n";
            if (!held) {
                const std::wstring log = Log();
                std::fprintf(stderr, "log: %s\n", std::string(log.begin(), log.end()).c_str());
            }
            ::RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\ZQ\\QV\\Logging");
            std::filesystem::remove_all(m_folder.Path());
            std::exit(held ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace
