#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <vector>

#include "doubles/ApiOverride.h"
#include "doubles/TempFolder.h"
#include "utils/CPathUtils.h"
#include "winapi/CKernelApi.h"

using QVUtils::CPathUtils;

namespace {

// Folders that exist in `existing`; CreateDirectoryW records its calls and
// answers with `createError` (0 for success).
class FolderKernelApi : public QVWinApi::CKernelApi {
public:
    DWORD GetFileAttributesW(LPCWSTR fileName) override
    {
        return existing.count(fileName) ? FILE_ATTRIBUTE_DIRECTORY : INVALID_FILE_ATTRIBUTES;
    }
    BOOL CreateDirectoryW(LPCWSTR path, LPSECURITY_ATTRIBUTES) override
    {
        created.push_back(path);
        ::SetLastError(createError);
        return createError == 0;
    }

    std::set<std::wstring> existing;
    std::vector<std::wstring> created;
    DWORD createError = 0;
};

}  // namespace

TEST(CPathUtilsTest, StripFilenameKeepsTheRootBackslash)
{
    EXPECT_EQ(CPathUtils::StripFilename(L"C:\\a"), L"C:\\");
    EXPECT_EQ(CPathUtils::StripFilename(L"C:\\a\\b"), L"C:\\a");
    EXPECT_EQ(CPathUtils::StripFilename(L"\\a"), L"\\");
    EXPECT_EQ(CPathUtils::StripFilename(L"a"), L"");
}

TEST(CPathUtilsTest, StripFilenameOfEmptyAndDriveOnlyPaths)
{
    EXPECT_EQ(CPathUtils::StripFilename(L""), L"");
    EXPECT_EQ(CPathUtils::StripFilename(L"C:a"), L"C:");
    EXPECT_EQ(CPathUtils::StripFilename(L"C:\\"), L"C:\\");
    EXPECT_EQ(CPathUtils::StripFilename(L"a\\b\\"), L"a\\b");
}

TEST(CPathUtilsTest, CombinePathOfTrailingAndLeadingBackslashesHasOne)
{
    EXPECT_EQ(CPathUtils::CombinePath(L"C:\\a\\", L"\\b"), L"C:\\a\\b");
    EXPECT_EQ(CPathUtils::CombinePath(L"C:\\a", L"b"), L"C:\\a\\b");
    EXPECT_EQ(CPathUtils::CombinePath(L"", L"\\b"), L"\\b");
    EXPECT_EQ(CPathUtils::CombinePath(L"C:\\a\\", L""), L"C:\\a\\");
}

TEST(CPathUtilsTest, GetPathOfExecutableIsTheFolderOfTheTestProgram)
{
    wchar_t fileName[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, fileName, MAX_PATH);
    EXPECT_EQ(CPathUtils::GetPathOfExecutable(),
              std::filesystem::path(fileName).parent_path().wstring());
}

TEST(CPathUtilsTest, DirectoryExistsOnlyForFolders)
{
    doubles::TempFolder folder(L"orvane-exists");
    std::ofstream(std::filesystem::path(folder / L"file.txt")) << "x";
    EXPECT_TRUE(CPathUtils::DirectoryExists(folder.Path()));
    EXPECT_FALSE(CPathUtils::DirectoryExists(folder / L"file.txt"));
    EXPECT_FALSE(CPathUtils::DirectoryExists(folder / L"missing"));
}

TEST(CPathUtilsTest, CreatePathHierarchyMakesADeepNewPath)
{
    doubles::TempFolder folder(L"orvane-hierarchy");
    const std::wstring deep = folder / L"one\\two\\three\\four\\five";
    EXPECT_EQ(CPathUtils::CreatePathHierarchy(deep, nullptr), S_OK);
    EXPECT_TRUE(std::filesystem::is_directory(deep));
    EXPECT_EQ(CPathUtils::CreatePathHierarchy(deep, nullptr), S_OK);
}

TEST(CPathUtilsTest, CreatePathHierarchyOfAnEmptyPath)
{
    EXPECT_EQ(CPathUtils::CreatePathHierarchy(L"", nullptr), static_cast<HRESULT>(0x8004FFFF));
}

TEST(CPathUtilsTest, CreatePathHierarchyMakesMissingFoldersFromTheTopDown)
{
    FolderKernelApi kernel;
    kernel.existing = {L"\\\\?\\C:\\", L"\\\\?\\C:\\data"};
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    EXPECT_EQ(CPathUtils::CreatePathHierarchy(L"C:\\data\\ZQ\\model", nullptr), S_OK);
    EXPECT_EQ(kernel.created, (std::vector<std::wstring>{L"C:\\data\\ZQ", L"C:\\data\\ZQ\\model"}));
}

TEST(CPathUtilsTest, CreatePathHierarchyStopsAtTheFirstFolderThatCantBeMade)
{
    FolderKernelApi kernel;
    kernel.existing = {L"\\\\?\\C:\\"};
    kernel.createError = ERROR_ACCESS_DENIED;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    EXPECT_EQ(CPathUtils::CreatePathHierarchy(L"C:\\locked\\ZQ", nullptr), E_FAIL);
    EXPECT_EQ(kernel.created, std::vector<std::wstring>{L"C:\\locked"});
}

TEST(CPathUtilsTest, CreatePathHierarchyTakesAFolderMadeMeanwhileAsMade)
{
    FolderKernelApi kernel;
    kernel.existing = {L"\\\\?\\C:\\"};
    kernel.createError = ERROR_ALREADY_EXISTS;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    EXPECT_EQ(CPathUtils::CreatePathHierarchy(L"C:\\raced\\ZQ", nullptr), S_OK);
    EXPECT_EQ(kernel.created, (std::vector<std::wstring>{L"C:\\raced", L"C:\\raced\\ZQ"}));
}

TEST(CPathUtilsTest, CreatePathHierarchyOnAMissingDriveFailsWithoutEndlessRecursion)
{
    FolderKernelApi kernel;
    kernel.createError = ERROR_PATH_NOT_FOUND;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    EXPECT_EQ(CPathUtils::CreatePathHierarchy(L"Q:\\a", nullptr), E_FAIL);
    EXPECT_EQ(kernel.created, std::vector<std::wstring>{L"Q:\\"});
}
