#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "doubles/ApiOverride.h"
#include "doubles/TempFolder.h"
#include "utils/CFileUtils.h"
#include "winapi/CKernelApi.h"

using QVUtils::CFileUtils;

namespace {

// Every folder is denied; calls are recorded in order.
class DeniedKernelApi : public QVWinApi::CKernelApi {
public:
    BOOL CreateDirectoryW(LPCWSTR path, LPSECURITY_ATTRIBUTES attributes) override
    {
        calls.push_back(L"CreateDirectoryW " + std::wstring(path)
                        + (attributes ? L" attributes" : L""));
        ::SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    void Sleep(DWORD milliseconds) override
    {
        calls.push_back(L"Sleep " + std::to_wstring(milliseconds));
    }

    std::vector<std::wstring> calls;
};

// Answers GetVersionExW with a given platform and version.
class VersionKernelApi : public QVWinApi::CKernelApi {
public:
    VersionKernelApi(DWORD platform, DWORD major, DWORD minor)
        : m_platform(platform), m_major(major), m_minor(minor)
    {
    }
    BOOL GetVersionExW(LPOSVERSIONINFOW info) override
    {
        if (info->dwOSVersionInfoSize != sizeof(OSVERSIONINFOEXW)) {
            return FALSE;
        }
        info->dwPlatformId = m_platform;
        info->dwMajorVersion = m_major;
        info->dwMinorVersion = m_minor;
        return TRUE;
    }

private:
    DWORD m_platform, m_major, m_minor;
};

bool IsWindows7OrLaterOn(DWORD platform, DWORD major, DWORD minor)
{
    VersionKernelApi kernel(platform, major, minor);
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    return CFileUtils::IsWindows7OrLater();
}

}  // namespace

TEST(CFileUtilsTest, LockedFolderWaitsOnceFor250MsThenTheSecondDenialFails)
{
    DeniedKernelApi kernel;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    EXPECT_FALSE(CFileUtils::CreateDirectoryW(L"C:\\locked"));
    EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(kernel.calls, (std::vector<std::wstring>{L"CreateDirectoryW \\\\?\\C:\\locked",
                                                       L"Sleep 250",
                                                       L"CreateDirectoryW \\\\?\\C:\\locked"}));
}

TEST(CFileUtilsTest, CreateDirectoryMakesANewFolder)
{
    doubles::TempFolder folder(L"orvane-mkdir");
    EXPECT_TRUE(CFileUtils::CreateDirectoryW(folder / L"NetworkDevices"));
    EXPECT_TRUE(std::filesystem::is_directory(folder / L"NetworkDevices"));
}

TEST(CFileUtilsTest, CreateDirectoryOfAnExistingFolderIsTrueWithLastErrorZero)
{
    doubles::TempFolder folder(L"orvane-mkdir-again");
    ::SetLastError(ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(CFileUtils::CreateDirectoryW(folder.Path()));
    EXPECT_EQ(::GetLastError(), 0u);
}

TEST(CFileUtilsTest, CreateDirectoryFailsAtOnceForAMissingParent)
{
    doubles::TempFolder folder(L"orvane-mkdir-orphan");
    EXPECT_FALSE(CFileUtils::CreateDirectoryW(folder / L"missing\\child"));
    EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
}

TEST(CFileUtilsTest, DeleteFileClearsTheReadOnlyAttributeFirst)
{
    doubles::TempFolder folder(L"orvane-delete");
    const std::wstring file = folder / L"device.ini";
    std::ofstream(std::filesystem::path(file)) << "[Device]\n";
    ASSERT_TRUE(::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_TRUE(CFileUtils::DeleteFileW(file));
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST(CFileUtilsTest, DeleteFileOfAMissingFileIsFalse)
{
    doubles::TempFolder folder(L"orvane-delete-missing");
    EXPECT_FALSE(CFileUtils::DeleteFileW(folder / L"missing.ini"));
}

TEST(CFileUtilsTest, IsWindows7OrLaterFromTheVersion)
{
    EXPECT_TRUE(IsWindows7OrLaterOn(VER_PLATFORM_WIN32_NT, 6, 1));
    EXPECT_TRUE(IsWindows7OrLaterOn(VER_PLATFORM_WIN32_NT, 10, 0));
    EXPECT_FALSE(IsWindows7OrLaterOn(VER_PLATFORM_WIN32_NT, 6, 0));
    EXPECT_FALSE(IsWindows7OrLaterOn(VER_PLATFORM_WIN32_NT, 5, 2));
    EXPECT_FALSE(IsWindows7OrLaterOn(VER_PLATFORM_WIN32_WINDOWS, 10, 0));
}
