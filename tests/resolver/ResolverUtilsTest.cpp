// The resolver's utilities on the real registry, spooler and Winsock of the
// Wine prefix, with their log lines read back from a log file. Doubles
// stand in only where the machine can't give the case: a host name with
// several addresses of both families, and a vendor monitor's answer.
#include <gtest/gtest.h>

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>
#include <winspool.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "doubles/ApiOverride.h"
#include "resolver/ResolverPatterns.h"
#include "resolver/ResolverUtils.h"
#include "resolver/SpoolerQueues.h"
#include "resolver/ResolverTestSupport.h"
#include "winapi/CKernelApi.h"
#include "winapi/CSpoolerApi.h"
#include "winapi/CWinSockApi.h"

using namespace Orvane;
using resolver_test::MessageOf;
using resolver_test::MonitorPortKeys;
using resolver_test::TestKey;

namespace {

class ResolverUtils : public resolver_test::LoggedTest {
protected:
    ResolverUtils() : LoggedTest(L"resolver-utils") {}

};

// getaddrinfo that answers with a list of its own: the addresses of a host
// that has several of both families, which no name on this machine has.
class ListedHostWinSock : public QVWinApi::CWinSockApi {
public:
    int getaddrinfo(PCSTR name, PCSTR, const ADDRINFOA*, PADDRINFOA* result) override
    {
        asked = name;
        *result = nullptr;
        ADDRINFOA** tail = result;
        for (const char* address : {"10.0.0.1", "fd77::1", "10.0.0.2", "fd77::2"}) {
            auto* node = new ADDRINFOA{};
            auto* storage = new sockaddr_storage{};
            int length = sizeof(sockaddr_storage);
            const bool v6 = std::strchr(address, ':') != nullptr;
            wchar_t wide[64] = {};
            for (size_t i = 0; address[i]; ++i) {
                wide[i] = static_cast<wchar_t>(address[i]);
            }
            ::WSAStringToAddressW(wide, v6 ? AF_INET6 : AF_INET, nullptr,
                                  reinterpret_cast<sockaddr*>(storage), &length);
            node->ai_family = v6 ? AF_INET6 : AF_INET;
            node->ai_addr = reinterpret_cast<sockaddr*>(storage);
            node->ai_addrlen = static_cast<size_t>(length);
            *tail = node;
            tail = &node->ai_next;
        }
        return 0;
    }
    void freeaddrinfo(PADDRINFOA list) override
    {
        while (list) {
            ADDRINFOA* next = list->ai_next;
            delete reinterpret_cast<sockaddr_storage*>(list->ai_addr);
            delete list;
            list = next;
            ++freed;
        }
    }

    std::string asked;
    int freed = 0;
};

// A vendor monitor's transceive answer: what was asked is kept, and the
// monitor's status is `status`.
class MonitorSpooler : public QVWinApi::CSpoolerApi {
public:
    BOOL XcvDataW(HANDLE, PCWSTR command, PBYTE input, DWORD inputBytes, PBYTE output, DWORD outputBytes,
                  PDWORD needed, PDWORD monitorStatus) override
    {
        this->command = command;
        this->input.assign(input, input + inputBytes);
        this->outputBytes = outputBytes;
        std::memset(output, 0, outputBytes);
        std::memcpy(output, answer.c_str(), (answer.size() + 1) * sizeof(wchar_t));
        *needed = outputBytes;
        *monitorStatus = status;
        ::SetLastError(lastError);
        return TRUE;
    }

    std::wstring command;
    std::vector<BYTE> input;
    DWORD outputBytes = 0;
    std::wstring answer = L"urn:uuid:6a9e2d8c-2f43-4a55-9d2e-0123456789ab";
    DWORD status = 0;
    DWORD lastError = 0;
};

// A queue opener that keeps the names asked for, on a platform older than
// Vista (where the queue is opened without OpenPrinter2W).
class OldPlatformKernel : public QVWinApi::CKernelApi {
public:
    BOOL GetVersionExW(LPOSVERSIONINFOW info) override
    {
        info->dwMajorVersion = 5;
        info->dwMinorVersion = 1;
        return TRUE;
    }
};
class NameKeepingSpooler : public QVWinApi::CSpoolerApi {
public:
    BOOL OpenPrinterW(LPWSTR name, LPHANDLE handle, LPPRINTER_DEFAULTSW) override
    {
        names.push_back(name);
        *handle = nullptr;
        ::SetLastError(ERROR_INVALID_PRINTER_NAME);
        return FALSE;
    }
    std::vector<std::wstring> names;
};

}  // namespace

TEST_F(ResolverUtils, StringLengthWithinTheLimitAndWithoutATerminator)
{
    const wchar_t text[4] = {L'a', L'b', L'c', L'd'};
    EXPECT_EQ(GetStringLength(L"abc", 260), 3u);
    EXPECT_EQ(GetStringLength(nullptr, 260), 0u);
    EXPECT_EQ(GetStringLength(text, 4), 0u);
    EXPECT_EQ(m_log.Count(L"(##) StringCchLength failed " + MessageOf(0x80070057)), 1u);
}

TEST_F(ResolverUtils, BoundedCopiesCutAndReportTheTruncation)
{
    wchar_t small[4] = L"xyz";
    EXPECT_EQ(StrWcsCpy(small, 4, L"abc"), S_OK);
    EXPECT_STREQ(small, L"abc");
    EXPECT_EQ(StrWcsCpy(small, 4, L"abcdef"), static_cast<HRESULT>(0x8007007A));
    EXPECT_STREQ(small, L"abc");
    EXPECT_EQ(StrWcsNCpy(small, 4, L"abcdef", 2), S_OK);
    EXPECT_STREQ(small, L"ab");
    EXPECT_EQ(StrWcsCat(small, 4, L"cd"), static_cast<HRESULT>(0x8007007A));
    EXPECT_STREQ(small, L"abc");
    EXPECT_EQ(m_log.Count(L"(##) StringCchCopyW failed " + MessageOf(0x8007007A)), 1u);
    EXPECT_EQ(m_log.Count(L"(##) StringCchCatW failed " + MessageOf(0x8007007A)), 1u);
}

TEST_F(ResolverUtils, BoundedCopiesRefuseNullAndAbsurdSizes)
{
    wchar_t text[4] = L"old";
    EXPECT_EQ(StrWcsCpy(nullptr, 4, L"a"), E_INVALIDARG);
    EXPECT_EQ(StrWcsCpy(text, 4, nullptr), E_INVALIDARG);
    EXPECT_EQ(StrWcsCpy(text, 0, L"a"), E_INVALIDARG);
    EXPECT_EQ(StrWcsCpy(text, 0x80000000u, L"a"), E_INVALIDARG);
    EXPECT_STREQ(text, L"old");
    EXPECT_EQ(StrWcsNCpy(text, 4, L"a", 0x7FFFFFFF), E_INVALIDARG);
    EXPECT_EQ(text[0], L'\0') << "the destination is cleared";
    EXPECT_EQ(m_log.Count(L"(##) Source or Destination String is NULL"), 2u);
    EXPECT_EQ(m_log.Count(L"(##) StringCchCopyW failed " + MessageOf(0x80070057)), 2u);
    EXPECT_EQ(m_log.Count(L"(##) StringCchCopyNW failed " + MessageOf(0x80070057)), 1u);
}

TEST_F(ResolverUtils, ErrorMessageIsTheSystemsTextWithoutItsLineEnd)
{
    EXPECT_EQ(std::wstring(GetErrorMessage(ERROR_FILE_NOT_FOUND)), doubles::ErrorLineText(ERROR_FILE_NOT_FOUND));
    EXPECT_STREQ(GetErrorMessage(0x2000FFFF), L"Format message failed with 0x%x");
}

TEST_F(ResolverUtils, PortFoundInNoMonitorKeyGivesFalseAfterSixTries)
{
    std::vector<std::unique_ptr<TestKey>> monitors;
    for (const std::wstring& key : MonitorPortKeys()) {
        monitors.push_back(std::make_unique<TestKey>(HKEY_LOCAL_MACHINE, key));
    }
    HKEY key = nullptr;
    int isEquitrac = -1;
    EXPECT_FALSE(GetPortKey(L"NoSuchPort_1", &key, &isEquitrac));
    EXPECT_EQ(isEquitrac, 0) << "the last row's flag";
    std::vector<std::wstring> expected = {L"(->) GetPortKey"};
    for (int row = 1; row <= 6; ++row) {
        expected.push_back(L"(->) OpenKey");
        expected.push_back(L"(<-) OpenKey");
        expected.push_back(L"(I0) RegOpenKeyEx(monitorHive #" + std::to_wstring(row) + L") returned 0x0");
        expected.push_back(L"(->) OpenKey");
        expected.push_back(L"(##) RegOpenKeyExW RETURNED: 0x2, Msg: " + MessageOf(2));
        expected.push_back(L"(<-) OpenKey");
        expected.push_back(L"(**) [Err: 0x00000002] " + doubles::ErrorLineText(2));
        expected.push_back(L"(I0) RegOpenKeyEx returned 0x2");
    }
    expected.push_back(L"(I0) RegCloseKey(hStd_PortsKey) returned 0x0");
    expected.push_back(L"(<-) GetPortKey");
    EXPECT_EQ(m_log.Lines(), expected);
}

TEST_F(ResolverUtils, PortBelowEquitracIsMarkedAndALaterRowResetsTheMark)
{
    TestKey equitrac(HKEY_LOCAL_MACHINE, MonitorPortKeys()[3] + L"\\EQ_PORT_1");
    TestKey ipx(HKEY_LOCAL_MACHINE, MonitorPortKeys()[4] + L"\\IPX_PORT_1");
    HKEY key = nullptr;
    int isEquitrac = -1;
    ASSERT_TRUE(GetPortKey(L"EQ_PORT_1", &key, &isEquitrac));
    EXPECT_EQ(isEquitrac, 1);
    ::RegCloseKey(key);
    ASSERT_TRUE(GetPortKey(L"IPX_PORT_1", &key, &isEquitrac));
    EXPECT_EQ(isEquitrac, 0);
    ::RegCloseKey(key);
    Logged({L"(I0) RegOpenKeyEx(monitorHive #4) returned 0x0", L"(I0) RegOpenKeyEx returned 0x0",
            L"(I0) RegCloseKey(hStd_PortsKey) returned 0x0"});
    Logged({L"(I0) RegOpenKeyEx(monitorHive #5) returned 0x0", L"(I0) RegOpenKeyEx returned 0x0"});
}

TEST_F(ResolverUtils, PortKeyIsLeftOpenForTheCaller)
{
    TestKey port(HKEY_LOCAL_MACHINE, MonitorPortKeys()[0] + L"\\IP_OPEN_1");
    port.SetDword(L"PortNumber", 9100);
    HKEY key = nullptr;
    int isEquitrac = -1;
    ASSERT_TRUE(GetPortKey(L"IP_OPEN_1", &key, &isEquitrac));
    DWORD number = 0;
    EXPECT_TRUE(GetDWORDFromRegistry(key, L"PortNumber", &number));
    EXPECT_EQ(number, 9100u);
    EXPECT_EQ(::RegCloseKey(key), ERROR_SUCCESS);
}

TEST_F(ResolverUtils, DwordIsReadOnlyFromANonEmptyDwordValue)
{
    TestKey values(HKEY_CURRENT_USER, L"Software\\Orvane Tests\\Dword");
    values.SetDword(L"Protocol", 2);
    values.SetString(L"Text", L"2");
    HKEY key = nullptr;
    ASSERT_EQ(OpenKey(HKEY_CURRENT_USER, L"Software\\Orvane Tests\\Dword", KEY_ALL_ACCESS, &key), ERROR_SUCCESS);
    DWORD value = 77;
    EXPECT_FALSE(GetDWORDFromRegistry(key, L"Text", &value));
    EXPECT_FALSE(GetDWORDFromRegistry(key, L"Missing", &value));
    EXPECT_EQ(value, 77u);
    EXPECT_TRUE(GetDWORDFromRegistry(key, L"Protocol", &value));
    EXPECT_EQ(value, 2u);
    ::RegCloseKey(key);
    EXPECT_EQ(m_log.Count(L"(##) RegQueryValueExW RETURNED: 0x2, Msg: " + MessageOf(2)), 1u);
}

TEST_F(ResolverUtils, LptRemotePathIsReadFromTheUsersNetworkKey)
{
    TestKey lpt(HKEY_CURRENT_USER, L"Network\\LPT7");
    lpt.SetString(L"RemotePath", L"\\\\printhost\\queue");
    wchar_t path[kResolverTextChars] = L"none";
    EXPECT_FALSE(GetLptRemotePath(L"LPT7", path)) << "no colon: no LPT port";
    EXPECT_FALSE(GetLptRemotePath(L"LPT8:", path));
    EXPECT_STREQ(path, L"none");
    EXPECT_TRUE(GetLptRemotePath(L"LPT7:", path));
    EXPECT_STREQ(path, L"\\\\printhost\\queue");
    Logged({L"(I0) is \\\\printhost\\queue"});
}

TEST_F(ResolverUtils, PrintersAreTheSpoolersQueuesWithTheirFourNames)
{
    resolver_test::SpoolerQueues queues;
    const std::wstring name = resolver_test::SpoolerQueues::Unique(L"Orvane Utils USB");
    ASSERT_TRUE(queues.Add(name, L"USB004", L"utilsshare"));
    std::vector<PrinterRecord> records;
    DWORD count = 0;
    ASSERT_TRUE(GetPrinters(&records, &count));
    EXPECT_EQ(count, records.size());
    const auto it = std::find_if(records.begin(), records.end(),
                                 [&](const PrinterRecord& r) { return r.printerName == name; });
    ASSERT_NE(it, records.end());
    EXPECT_EQ(it->portName, std::wstring(L"USB004"));
    EXPECT_EQ(it->shareName, std::wstring(L"utilsshare"));
    EXPECT_TRUE(it->attributes & PRINTER_ATTRIBUTE_SHARED);
    EXPECT_FALSE(GetPrinters(nullptr, &count));
}

TEST_F(ResolverUtils, XcvHandleNamesTheMonitorsChannelOfThePort)
{
    OldPlatformKernel kernel;
    NameKeepingSpooler spooler;
    doubles::ApiOverride<QVWinApi::IKernelApi> swapKernel(g_pKernelApi, kernel);
    doubles::ApiOverride<QVWinApi::ISpoolerApi> swapSpooler(g_pSpoolerApi, spooler);
    HANDLE handle = nullptr;
    EXPECT_FALSE(GetXcvHandle(L"HOST", L"P1", &handle));
    EXPECT_FALSE(GetXcvHandle(L"\\\\HOST", L"P1", &handle));
    EXPECT_FALSE(GetXcvHandle(nullptr, L"P1", &handle));
    EXPECT_FALSE(GetXcvHandle(L"HOST", L"", &handle));
    EXPECT_EQ(spooler.names, (std::vector<std::wstring>{L"\\\\HOST\\,XcvPort P1", L"\\\\HOST\\,XcvPort P1"}));
    Logged({L"(##) OpenPrinter Error Code = 0x1801, Msg = " + MessageOf(ERROR_INVALID_PRINTER_NAME),
            L"(##) lpszServerName == NULL", L"(##) lpszPortName == NULL"});
}

TEST_F(ResolverUtils, PrinterHandleOpensAQueueOfTheRealSpooler)
{
    resolver_test::SpoolerQueues queues;
    const std::wstring name = resolver_test::SpoolerQueues::Unique(L"Orvane Utils Open");
    ASSERT_TRUE(queues.Add(name, L"USB005"));
    HANDLE handle = nullptr;
    ASSERT_TRUE(GetPrinterHandle(name.c_str(), &handle));
    EXPECT_TRUE(::ClosePrinter(handle));
    EXPECT_FALSE(GetPrinterHandle(L"No Such Queue Of Orvane", &handle));
    Logged({L"(##) OpenPrinter Error Code = 0x1801, Msg = " + MessageOf(ERROR_INVALID_PRINTER_NAME)});
}

TEST_F(ResolverUtils, PortDataAsksForVersionOneConfigurationAndLogsBothResults)
{
    MonitorSpooler spooler;
    spooler.status = ERROR_NOT_SUPPORTED;
    doubles::ApiOverride<QVWinApi::ISpoolerApi> swap(g_pSpoolerApi, spooler);
    BYTE data[kPortDataBytes];
    EXPECT_FALSE(GetPortData(nullptr, data));
    EXPECT_EQ(spooler.command, L"GetConfigInfo");
    std::vector<BYTE> configInfo(132, 0);
    configInfo[128] = 1;
    EXPECT_EQ(spooler.input, configInfo);
    EXPECT_EQ(spooler.outputBytes, 964u);
    Logged({L"(I0) XcvDataW RETURNED: 0x0, Msg: " + MessageOf(0),
            L"(I0) XcvDataW STATUS:   0x50, Msg: " + MessageOf(ERROR_NOT_SUPPORTED)});
}

TEST_F(ResolverUtils, WsdDataGivesTheDeviceIdentity)
{
    MonitorSpooler spooler;
    doubles::ApiOverride<QVWinApi::ISpoolerApi> swap(g_pSpoolerApi, spooler);
    BYTE data[kWsdDataBytes];
    ASSERT_TRUE(GetWsdData(nullptr, data));
    EXPECT_EQ(spooler.command, L"DeviceID");
    EXPECT_EQ(spooler.input, std::vector<BYTE>(520, 0));
    EXPECT_EQ(spooler.outputBytes, 520u);
    EXPECT_STREQ(reinterpret_cast<const wchar_t*>(data), spooler.answer.c_str());
}

TEST_F(ResolverUtils, HostWithBothFamiliesGivesTheLastIpv4AndEveryIpv6)
{
    ListedHostWinSock winsock;
    doubles::ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    std::wstring ipv4;
    wchar_t ipv6[20][kResolverTextChars] = {};
    int count = -1;
    ASSERT_TRUE(GetIpAddrByHost(L"printhost", ipv4, ipv6, 20, &count));
    EXPECT_EQ(winsock.asked, "printhost");
    EXPECT_EQ(ipv4, L"10.0.0.2");
    ASSERT_EQ(count, 2);
    EXPECT_STREQ(ipv6[0], L"fd77::1");
    EXPECT_STREQ(ipv6[1], L"fd77::2");
    EXPECT_EQ(winsock.freed, 4);
    Logged({L"(I0) getaddrinfo response 1", L"(I0) Flags: 0x0", L"(I0) Family: AF_INET (IPv4)",
            L"(I0) IPv4 address 10.0.0.1", L"(I0) getaddrinfo response 2", L"(I0) Family: AF_INET6 (IPv6)",
            L"(I0) IPv6 address fd77::1", L"(I0) IPv4 address 10.0.0.2", L"(I0) IPv6 address fd77::2"});
}

TEST_F(ResolverUtils, MoreIpv6AddressesThanRowsAreLoggedButNotKept)
{
    ListedHostWinSock winsock;
    doubles::ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    std::wstring ipv4;
    wchar_t ipv6[1][kResolverTextChars] = {};
    int count = -1;
    ASSERT_TRUE(GetIpAddrByHost(L"printhost", ipv4, ipv6, 1, &count));
    EXPECT_EQ(count, 1);
    EXPECT_STREQ(ipv6[0], L"fd77::1");
    EXPECT_EQ(m_log.Count(L"(I0) IPv6 address fd77::2"), 1u);
}

TEST_F(ResolverUtils, LoopbackNamesAndNumbersResolveThroughWinsock)
{
    std::wstring ipv4;
    wchar_t ipv6[20][kResolverTextChars] = {};
    int count = -1;
    ASSERT_TRUE(GetIpAddrByHost(L"localhost", ipv4, ipv6, 20, &count));
    EXPECT_EQ(ipv4, L"127.0.0.1");
    ipv4.clear();
    ASSERT_TRUE(GetIpAddrByHost(L"::1", ipv4, ipv6, 20, &count));
    EXPECT_TRUE(ipv4.empty());
    EXPECT_EQ(count, 1);
    EXPECT_STREQ(ipv6[0], L"::1");
    std::wstring host;
    ASSERT_TRUE(GetHostByIpAddr(L"127.0.0.1", host));
    EXPECT_EQ(host, L"localhost");
    Logged({L"(I0) gethostbyaddr function returned:", L"(I0) Host name: localhost"});
}

TEST_F(ResolverUtils, AnIllegalAddressIsNotLookedUp)
{
    std::wstring host = L"unchanged";
    EXPECT_FALSE(GetHostByIpAddr(L"printhost", host));
    EXPECT_EQ(host, L"unchanged");
    EXPECT_EQ(m_log.Count(L"(##) The IPv4 address entered must be a legal address"), 1u);
}

namespace {

// Winsock whose start, look-up or address texts fail as told.
class FailingWinSock : public ListedHostWinSock {
public:
    int WSAStartup(WORD version, LPWSADATA data) override
    {
        return startError ? startError : QVWinApi::CWinSockApi::WSAStartup(version, data);
    }
    int getaddrinfo(PCSTR name, PCSTR service, const ADDRINFOA* hints, PADDRINFOA* result) override
    {
        if (lookUpError) {
            *result = nullptr;
            return lookUpError;
        }
        const int status = ListedHostWinSock::getaddrinfo(name, service, hints, result);
        // Families the resolver only names: unspecified, NetBIOS, and one
        // it doesn't know.
        for (ADDRINFOA* node = *result; node && extraFamilies; node = node->ai_next) {
            if (node->ai_next == nullptr) {
                for (int family : {AF_UNSPEC, AF_NETBIOS, 99}) {
                    auto* extra = new ADDRINFOA{};
                    extra->ai_family = family;
                    extra->ai_addr = reinterpret_cast<sockaddr*>(new sockaddr_storage{});
                    node->ai_next = extra;
                    node = extra;
                }
            }
        }
        return status;
    }
    INT WSAAddressToStringW(LPSOCKADDR address, DWORD length, LPWSAPROTOCOL_INFOW info, LPWSTR text,
                            LPDWORD chars) override
    {
        if (textFails) {
            return SOCKET_ERROR;
        }
        return QVWinApi::CWinSockApi::WSAAddressToStringW(address, length, info, text, chars);
    }
    int WSAGetLastError() override { return textFails ? WSAEFAULT : QVWinApi::CWinSockApi::WSAGetLastError(); }

    int startError = 0;
    int lookUpError = 0;
    bool textFails = false;
    bool extraFamilies = false;
};

// The spooler's library, or its OpenPrinter2W, missing.
class NoSpoolerLibraryKernel : public QVWinApi::CKernelApi {
public:
    HMODULE LoadLibraryW(LPCWSTR name) override
    {
        return libraryMissing ? nullptr : QVWinApi::CKernelApi::LoadLibraryW(name);
    }
    FARPROC GetProcAddress(HMODULE module, LPCSTR name) override
    {
        return std::string(name) == "OpenPrinter2W" ? nullptr : QVWinApi::CKernelApi::GetProcAddress(module, name);
    }
    bool libraryMissing = true;
};

// A spooler that lists more queues than memory can hold.
class BoundlessSpooler : public QVWinApi::CSpoolerApi {
public:
    BOOL EnumPrintersW(DWORD, LPWSTR, DWORD, LPBYTE buffer, DWORD, LPDWORD needed, LPDWORD returned) override
    {
        *needed = sizeof(PRINTER_INFO_2W);
        if (buffer == nullptr) {
            ::SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return FALSE;
        }
        *returned = 0x7FFFFFFF;
        return TRUE;
    }
};

}  // namespace

TEST_F(ResolverUtils, CaptureLogsItsResult)
{
    wchar_t out[kCaptureChars] = {};
    ASSERT_TRUE(CaptureSubString(L"LPT17:", out, LPT_PORT_PATTERN, 1));
    EXPECT_EQ(m_log.Lines(), (std::vector<std::wstring>{L"(->) CaptureSubString", L"(->) StrWcsNCpy",
                                                        L"(<-) StrWcsNCpy", L"(I0) Result is: 17",
                                                        L"(<-) CaptureSubString"}));
}

TEST_F(ResolverUtils, HostLookUpWhenWinsockDoesNotStartOrTheNameIsUnknown)
{
    FailingWinSock winsock;
    doubles::ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    std::wstring ipv4;
    wchar_t ipv6[20][kResolverTextChars] = {};
    int count = -1;
    winsock.startError = WSASYSNOTREADY;
    EXPECT_FALSE(GetIpAddrByHost(L"printhost", ipv4, ipv6, 20, &count));
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(winsock.asked.empty()) << "no look-up without Winsock";
    winsock.startError = 0;
    winsock.lookUpError = WSAHOST_NOT_FOUND;
    EXPECT_FALSE(GetIpAddrByHost(L"printhost", ipv4, ipv6, 20, &count));
    Logged({L"(##) WSAStartup failed: 10091", L"(##) GetAddrInfo failed: 11001"});
}

TEST_F(ResolverUtils, HostLookUpNamesEveryFamilyAndTheAddressesItCannotWrite)
{
    FailingWinSock winsock;
    winsock.extraFamilies = true;
    winsock.textFails = true;
    doubles::ApiOverride<QVWinApi::IWinSockApi> swap(g_pWinSockApi, winsock);
    std::wstring ipv4;
    wchar_t ipv6[20][kResolverTextChars] = {};
    int count = -1;
    EXPECT_FALSE(GetIpAddrByHost(L"printhost", ipv4, ipv6, 20, &count));
    EXPECT_EQ(count, 0);
    EXPECT_EQ(winsock.freed, 7);
    EXPECT_EQ(m_log.Count(L"(##) WSAAddressToString failed with 10014"), 4u);
    Logged({L"(I0) getaddrinfo response 5", L"(I0) Family: Unspecified", L"(I0) getaddrinfo response 6",
            L"(I0) Family: AF_NETBIOS (NetBIOS)", L"(I0) getaddrinfo response 7", L"(I0) Family: Other 99"});
}

TEST_F(ResolverUtils, PrinterHandleWithoutTheSpoolersLibraryOrItsFunction)
{
    NoSpoolerLibraryKernel kernel;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    HANDLE handle = nullptr;
    EXPECT_FALSE(GetPrinterHandle(L"Any Queue", &handle));
    kernel.libraryMissing = false;
    EXPECT_FALSE(GetPrinterHandle(L"Any Queue", &handle));
    Logged({L"(##) hWinSpool == NULL - Failure", L"(##) OpenPrinter2W == NULL - Failure"});
}

TEST_F(ResolverUtils, QueuesBeyondMemoryAreCaughtAsABadAllocation)
{
    BoundlessSpooler spooler;
    doubles::ApiOverride<QVWinApi::ISpoolerApi> swap(g_pSpoolerApi, spooler);
    std::vector<PrinterRecord> records;
    DWORD count = 0;
    EXPECT_TRUE(GetPrinters(&records, &count)) << "decided by the count before the records are made";
    EXPECT_TRUE(records.empty());
    EXPECT_EQ(m_log.Count(L"(##) Bad Allocation Exception"), 1u);
}
