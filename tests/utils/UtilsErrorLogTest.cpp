// The error lines of the utilities' failure paths, read back from a real
// UTF-16 log file: real files where the platform fails by itself, and
// doubles behind the platform pointers where it can't be made to.
#include <gtest/gtest.h>

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "doubles/ApiOverride.h"
#include "doubles/ModuleLogFile.h"
#include "doubles/SystemErrorText.h"
#include "doubles/TempFolder.h"
#include "logging/LogModules.h"
#include "utils/CFileUtils.h"
#include "utils/CNetworkUtils.h"
#include "winapi/CKernelApi.h"
#include "winapi/CWinSockApi.h"

using QVUtils::CFileUtils;
using QVUtils::CNetworkUtils;

namespace {

// Reports `path` as a read-only archive file the platform doesn't have, so
// that clearing the attribute fails on the platform itself, and counts the
// deletes asked for. Its tick count is the one of the kernel it stands in
// for, so the log module keeps to its settings.
class ReadOnlyPhantomKernel : public QVWinApi::CKernelApi {
public:
    ReadOnlyPhantomKernel(QVWinApi::IKernelApi& outer, std::wstring path)
        : m_outer(outer), m_path(std::move(path))
    {
    }
    DWORD GetTickCount() override { return m_outer.GetTickCount(); }
    DWORD GetFileAttributesW(LPCWSTR lpFileName) override
    {
        return lpFileName == m_path ? FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE
                                    : QVWinApi::CKernelApi::GetFileAttributesW(lpFileName);
    }
    BOOL DeleteFileW(LPCWSTR lpFileName) override
    {
        ++deletes;
        return QVWinApi::CKernelApi::DeleteFileW(lpFileName);
    }

    int deletes = 0;

private:
    QVWinApi::IKernelApi& m_outer;
    std::wstring m_path;
};

// Winsock that refuses to start with `code`; counts what is asked of it
// after that.
class UnreadyWinSockApi : public QVWinApi::CWinSockApi {
public:
    explicit UnreadyWinSockApi(int code) : m_code(code) {}
    int WSAStartup(WORD, LPWSADATA) override { return m_code; }
    INT WSAStringToAddressW(LPWSTR, INT, LPWSAPROTOCOL_INFOW, LPSOCKADDR, LPINT) override
    {
        ++laterCalls;
        return SOCKET_ERROR;
    }
    int WSACleanup() override
    {
        ++laterCalls;
        return 0;
    }

    int laterCalls = 0;

private:
    int m_code;
};

// Winsock whose address texts don't fit: each conversion reaches the
// platform with room for one character, and the platform's refusal is
// the answer. The families of the addresses are kept in order.
class NoRoomWinSockApi : public QVWinApi::CWinSockApi {
public:
    INT WSAAddressToStringW(LPSOCKADDR lpsaAddress, DWORD dwAddressLength,
                            LPWSAPROTOCOL_INFOW lpProtocolInfo, LPWSTR lpszAddressString,
                            LPDWORD lpdwAddressStringLength) override
    {
        families.push_back(lpsaAddress->sa_family);
        *lpdwAddressStringLength = 1;
        return QVWinApi::CWinSockApi::WSAAddressToStringW(lpsaAddress, dwAddressLength, lpProtocolInfo,
                                                          lpszAddressString, lpdwAddressStringLength);
    }

    std::vector<int> families;
};

// The lines of a scope `name` that wrote the error line `text` and ended
// with the system error `code`.
std::vector<std::wstring> FailedScope(const std::wstring& name, const std::wstring& text, DWORD code)
{
    wchar_t number[16] = {};
    std::swprintf(number, 16, L"0x%08X", static_cast<unsigned>(code));
    return {L"(->) " + name, L"(##) " + text, L"(<-) " + name,
            L"(**) [Err: " + std::wstring(number) + L"] " + doubles::ErrorLineText(code)};
}

// Each test has its own folder and its own log file for the module of the
// utilities; the log is shown when a test fails.
class UtilsErrorLog : public ::testing::Test {
protected:
    ~UtilsErrorLog() override
    {
        if (HasFailure()) {
            std::printf("%ls", m_log.Text().c_str());
        }
    }
    // The lines written, without the empty rest behind the last line end.
    std::vector<std::wstring> Written() const
    {
        std::vector<std::wstring> lines = m_log.Lines();
        if (!lines.empty() && lines.back().empty()) {
            lines.pop_back();
        }
        return lines;
    }

    doubles::TempFolder m_folder{L"orvane-utils-errors"};
    doubles::ModuleLogFile m_log{g_pUtilsLog, L"utils-errors"};
};

TEST_F(UtilsErrorLog, DeleteFileOfAFileInUseWritesTheDeleteErrorAndKeepsTheFile)
{
    const std::wstring path = m_folder / L"in-use.ini";
    std::ofstream(std::filesystem::path(path)) << "[a]\n";
    const HANDLE open = ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(open, INVALID_HANDLE_VALUE);

    EXPECT_FALSE(CFileUtils::DeleteFileW(path));
    EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    ::CloseHandle(open);
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(path)));
    EXPECT_EQ(Written(), FailedScope(L"CFileUtils::DeleteFileW", L"::DeleteFile(" + path + L"), error=32",
                                     ERROR_SHARING_VIOLATION));
}

TEST_F(UtilsErrorLog, DeleteFileOfAReadOnlyFileThatCannotBeMadeWritableWritesTheAttributeError)
{
    const std::wstring path = m_folder / L"read-only.ini";
    ReadOnlyPhantomKernel kernel(*g_pKernelApi, path);
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);

    EXPECT_FALSE(CFileUtils::DeleteFileW(path));
    EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(kernel.deletes, 0);
    EXPECT_EQ(Written(), FailedScope(L"CFileUtils::DeleteFileW",
                                     L"::SetFileAttributes(" + path + L", 0x20), error=2",
                                     ERROR_FILE_NOT_FOUND));
}

TEST_F(UtilsErrorLog, CreateDirectoryUnderAMissingFolderWritesTheErrorOnceWithoutWaiting)
{
    const std::wstring path = m_folder / L"missing\\new";
    const std::wstring longPath = L"\\\\?\\" + path;

    EXPECT_FALSE(CFileUtils::CreateDirectoryW(path));
    EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(Written(), FailedScope(L"CreateDirectoryW",
                                     L"::CreateDirectory(" + longPath + L", len="
                                         + std::to_wstring(longPath.size()) + L"), error=3",
                                     ERROR_PATH_NOT_FOUND));
}

TEST_F(UtilsErrorLog, IsOnSubnetWhenWinsockDoesNotStartWritesTheReturnedCodeAndReturnFalse)
{
    UnreadyWinSockApi winsock(WSASYSNOTREADY);
    doubles::ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);

    EXPECT_FALSE(CNetworkUtils::IsOnSubnet(L"10.20.30.40"));
    EXPECT_EQ(winsock.laterCalls, 0);
    EXPECT_EQ(Written(), (std::vector<std::wstring>{
                             L"(->) CNetworkUtils::IsOnSubnet, IPAddress: 10.20.30.40",
                             L"(##) Failed to start winsock with WSAStartup(2.2).  Returned 10091",
                             L"Return: FALSE",
                             L"(<-) CNetworkUtils::IsOnSubnet",
                             L"(**) [Err: 0x00000001] " + doubles::ErrorLineText(1),
                         }));
}

TEST_F(UtilsErrorLog, GetIpAddrByHostWritesEachAddressItCannotTurnIntoText)
{
    NoRoomWinSockApi winsock;
    doubles::ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    std::wstring ipv4 = L"old";
    std::vector<std::wstring> ipv6List{L"old"};

    EXPECT_TRUE(CNetworkUtils::GetIpAddrByHost(L"127.0.0.1", ipv4, ipv6List));
    EXPECT_EQ(ipv4, L"");
    EXPECT_TRUE(ipv6List.empty());
    ASSERT_FALSE(winsock.families.empty());
    std::vector<std::wstring> expected{L"(->) CNetworkUtils::GetIpAddrByHost"};
    for (const int family : winsock.families) {
        EXPECT_EQ(family, AF_INET);
        expected.push_back(L"(##) WSAAddressToString failed with 10014\n");
    }
    expected.push_back(L"(<-) CNetworkUtils::GetIpAddrByHost");
    EXPECT_EQ(Written(), expected);
}

}  // namespace
