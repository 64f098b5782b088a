#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <fstream>

#include "doubles/TempFolder.h"
#include "utils/CFileVersionInfo.h"

using QVUtils::CFileVersionInfo;

namespace {

std::wstring TestProgram()
{
    wchar_t fileName[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, fileName, MAX_PATH);
    return fileName;
}

}  // namespace

TEST(CFileVersionInfoTest, ReadsTheTextsOfTheTestProgramsResource)
{
    CFileVersionInfo info(TestProgram().c_str());
    EXPECT_STREQ(info.GetCompanyName(), L"Orvane Test Company");
    EXPECT_STREQ(info.GetFileDescription(), L"Orvane utilities tests");
    EXPECT_STREQ(info.GetFileVersion(), L"9.8.7.6");
    EXPECT_STREQ(info.GetProductVersion(), L"1.2.3.4");
    ASSERT_NE(info.GetFixedFileInfo(), nullptr);
    EXPECT_EQ(info.GetFixedFileInfo()->dwFileVersionMS, 0x00090008u);
    EXPECT_EQ(info.GetFixedFileInfo()->dwFileVersionLS, 0x00070006u);
}

TEST(CFileVersionInfoTest, TheLastTranslationWithTheTextWins)
{
    CFileVersionInfo info(TestProgram().c_str());
    EXPECT_STREQ(info.GetProductName(), L"Orvane Tests (Deutsch)");
    EXPECT_STREQ(info.GetStringValue(L"Comments"), L"English only");
    EXPECT_EQ(info.GetStringValue(L"LegalCopyright"), nullptr);
    EXPECT_EQ(info.GetStringValue(nullptr), nullptr);
}

TEST(CFileVersionInfoTest, FileWithoutVersionResourceGivesNullForEachText)
{
    doubles::TempFolder folder(L"orvane-version");
    const std::wstring file = folder / L"plain.txt";
    std::ofstream(std::filesystem::path(file)) << "no resources here";
    CFileVersionInfo info(file.c_str());
    EXPECT_EQ(info.GetCompanyName(), nullptr);
    EXPECT_EQ(info.GetFileDescription(), nullptr);
    EXPECT_EQ(info.GetFileVersion(), nullptr);
    EXPECT_EQ(info.GetProductName(), nullptr);
    EXPECT_EQ(info.GetProductVersion(), nullptr);
    EXPECT_EQ(info.GetFixedFileInfo(), nullptr);
}

TEST(CFileVersionInfoTest, NullFileNameGivesNullForEachText)
{
    CFileVersionInfo info(nullptr);
    EXPECT_EQ(info.GetFileVersion(), nullptr);
    EXPECT_EQ(info.GetFixedFileInfo(), nullptr);
}
