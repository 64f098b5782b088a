#include <gtest/gtest.h>

#include <windows.h>
#include <shlobj.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "doubles/TempFolder.h"
#include "utils/CPathUtils.h"
#include "utils/CSxSConfig.h"

using QVUtils::CPathUtils;
using QVUtils::CSxSConfig;

// CSxSConfig keeps what it read for the life of the process, so each case
// runs in a child process of its own (a death test that exits with 0 when
// all its checks held).

namespace {

std::filesystem::path ExecutableFolder()
{
    wchar_t fileName[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, fileName, MAX_PATH);
    return std::filesystem::path(fileName).parent_path();
}

std::filesystem::path ConfigPath()
{
    return ExecutableFolder().parent_path() / L"config.ini";
}

// "config.ini" in the parent of the test program's folder, removed at the end.
class ConfigFile {
public:
    explicit ConfigFile(const std::string& content) { std::ofstream(ConfigPath()) << content; }
    ~ConfigFile() { std::filesystem::remove(ConfigPath()); }
};

int Check(bool held)
{
    return held ? 0 : 1;
}

}  // namespace

TEST(CSxSConfigTest, RootFolderIsTheParentOfTheExecutablesFolder)
{
    EXPECT_EQ(CSxSConfig::GetRootFolder(), ExecutableFolder().parent_path().wstring());
}

TEST(CSxSConfigDeathTest, ReadsModelUsbIdAndDataFolderFromConfigIni)
{
    doubles::TempFolder folder(L"orvane-sxs");
    const std::wstring dataFolder = folder / L"Data\\ZQ 520";
    const std::string narrowDataFolder(dataFolder.begin(), dataFolder.end());
    ConfigFile config("[DeviceInfo]\r\nModelName=ZQ 520\r\nUSBID=VID_0A5F&PID_0080\r\n"
                      "[Directories]\r\nDataFolder=" + narrowDataFolder + "\r\n");
    EXPECT_EXIT(
        {
            const bool held = CSxSConfig::GetModelName() == L"ZQ 520"
                && CSxSConfig::GetUSBID() == L"VID_0A5F&PID_0080"
                && CSxSConfig::GetDataFolder() == dataFolder
                && CPathUtils::GetTamrikDataDirectory(true) == dataFolder
                && CPathUtils::DirectoryExists(dataFolder);
            std::exit(Check(held));
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(CSxSConfigDeathTest, WithoutConfigIniTheDataFolderIsUnderCommonApplicationData)
{
    wchar_t common[MAX_PATH] = {};
    ASSERT_EQ(::SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, common), S_OK);
    const std::wstring expected = std::wstring(common) + L"\\ZQ\\"
        + ExecutableFolder().parent_path().filename().wstring();
    std::filesystem::remove(ConfigPath());
    EXPECT_EXIT(
        {
            const bool held = CSxSConfig::GetDataFolder() == expected
                && CSxSConfig::GetModelName().empty() && CSxSConfig::GetUSBID().empty()
                && CPathUtils::GetTamrikDataDirectory(false) == expected;
            std::exit(Check(held));
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(CSxSConfigDeathTest, AnEmptyModelNameIsReadAgainAtTheNextCall)
{
    std::filesystem::remove(ConfigPath());
    EXPECT_EXIT(
        {
            const bool emptyFirst = CSxSConfig::GetModelName().empty();
            bool readLater = false;
            {
                ConfigFile config("[DeviceInfo]\r\nModelName=ZQ 630\r\n");
                readLater = CSxSConfig::GetModelName() == L"ZQ 630";
            }
            std::exit(Check(emptyFirst && readLater));
        },
        ::testing::ExitedWithCode(0), "");
    EXPECT_FALSE(std::filesystem::exists(ConfigPath()));
}
