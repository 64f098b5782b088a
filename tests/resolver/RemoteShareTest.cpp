// Shares of other machines, resolved through the server's port monitor and
// the family's Novell library.
//
// The server is this machine under its computer name: Wine's spooler opens
// "\\<computer>\,XcvPort <port>" and hands the monitor commands to the
// monitor whose key holds the port, here a test monitor loaded into the
// real spooler. Wine's spooler holds no queue named by a UNC path, so a
// spooler double lists the remote queues; everything else reaches the
// real spooler. The Novell library is a stand-in beside the test binary.
#include <gtest/gtest.h>

#include <windows.h>
#include <winspool.h>

#include <atomic>
#include <string>
#include <vector>

#include "doubles/ApiOverride.h"
#include "resolver/FunctionDiscoveryStandIn.h"
#include "resolver/ListedSpooler.h"
#include "resolver/ProbeResolver.h"
#include "resolver/ResolverTestSupport.h"
#include "resolver/TestMonitor.h"
#include "winapi/CKernelApi.h"

using namespace Orvane;
using resolver_test::ListedSpooler;
using resolver_test::ProbeResolver;
using resolver_test::TestKey;
using resolver_test::ComputerName;
using resolver_test::InstallTestMonitor;
using resolver_test::kMonitor;

namespace {

// The Novell library missing, or without its entry point; counts the
// spooler's library being loaded.
class LibraryKernel : public QVWinApi::CKernelApi {
public:
    HMODULE LoadLibraryW(LPCWSTR name) override
    {
        if (std::wstring(name) == L"WinSpool.drv") {
            ++spoolerLoads;
        }
        if (novellMissing && std::wstring(name) == L"zqvipx1u.dll") {
            ::SetLastError(ERROR_MOD_NOT_FOUND);
            return nullptr;
        }
        return QVWinApi::CKernelApi::LoadLibraryW(name);
    }
    FARPROC GetProcAddress(HMODULE module, LPCSTR name) override
    {
        return entryMissing && std::string(name) == "ZQNWGetIPXAddrFromUncName"
            ? nullptr
            : QVWinApi::CKernelApi::GetProcAddress(module, name);
    }
    bool novellMissing = false;
    bool entryMissing = false;
    std::atomic<int> spoolerLoads{0};
};

class RemoteShares : public resolver_test::LoggedTest {
protected:
    RemoteShares() : LoggedTest(L"resolver-shares") {}
    void SetUp() override { ASSERT_TRUE(InstallTestMonitor()) << "the test monitor could not be installed"; }
    // The queue `\\<computer>\<queue>` on `port`, listed by the spooler,
    // resolved by its name.
    std::shared_ptr<ProbeResolver> ResolveRemote(const std::wstring& queue, const std::wstring& port, HRESULT expected,
                                                 int listings = -1)
    {
        const std::wstring server = L"\\\\" + m_computer;
        const std::wstring printer = server + L"\\" + queue;
        ListedSpooler spooler({{server.c_str(), printer.c_str(), queue.c_str(), port.c_str()}});
        spooler.ListFor(listings);
        doubles::ApiOverride<QVWinApi::ISpoolerApi> swap(g_pSpoolerApi, spooler);
        auto resolver = ProbeResolver::Make();
        EXPECT_EQ(resolver->Resolve(printer.c_str(), RESOLVE_TYPE_PRINTER), expected);
        return resolver;
    }
    // A port of the test monitor.
    std::unique_ptr<TestKey> MonitorPort(const std::wstring& port)
    {
        return std::make_unique<TestKey>(HKEY_LOCAL_MACHINE, std::wstring(L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\")
                                                                 + kMonitor + L"\\Ports\\" + port);
    }

    const std::wstring m_computer = ComputerName();
};

}  // namespace

TEST_F(RemoteShares, NtShareTakesTheAddressTheServersMonitorReports)
{
    const auto port = MonitorPort(L"ORV_REMOTE_IP");
    const auto resolver = ResolveRemote(L"ntq", L"ORV_REMOTE_IP", S_OK);
    unsigned long type = 0;
    ASSERT_EQ(resolver->GetConnectionType(&type), S_OK);
    EXPECT_EQ(type, CX_TYPE_TCPIP);
    wchar_t text[kResolverTextChars];
    unsigned long number = 0;
    ASSERT_EQ(resolver->GetTCPIPAddress(text, kResolverTextChars, &number), S_OK);
    EXPECT_STREQ(text, L"127.0.0.1");
    EXPECT_EQ(number, 9100u);
    EXPECT_EQ(resolver->HostName(), L"localhost");
    EXPECT_EQ(resolver->SNMPCommunity(), L"public");
    EXPECT_EQ(resolver->ServerName(), m_computer);
    Logged({L"(I0) m_pPrinterName is a UNC. Not IPP.", L"(I0) Attempt to resolve NT Share name.",
            L"(I0) MatchPrinterInfo(match printername to get NT sharename) SUCCESS",
            L"(I0) Extracted Server Name: " + m_computer + L" from Printer Name \\\\" + m_computer + L"\\ntq",
            L"(I0) Call RemoteTcpIpPortResolved(" + m_computer + L", ORV_REMOTE_IP)",
            L"(I0) XcvDataW STATUS:   0x0, Msg: " + resolver_test::MessageOf(0),
            L"(I0) IP Address: 127.0.0.1, Host Name: localhost", L"(I0) Port number: 9100.",
            L"(I0) SNMP Community public", L"(I0) RemoteTCPIP returned -> cxType = 0x20", L"Return: SUCCESS",
            L"Return: SUCCESS", L"(I0) ResolveRemoteHost() SUCCESS"});
    EXPECT_EQ(m_log.Count(L"(->) Resolver::NonNTSharePrinter"), 0u);
}

TEST_F(RemoteShares, PortNumberBeyondSixteenBitsIsIgnored)
{
    const auto port = MonitorPort(L"ORV_REMOTE_BIGPORT");
    const auto resolver = ResolveRemote(L"bigq", L"ORV_REMOTE_BIGPORT", S_OK);
    EXPECT_EQ(resolver->PortNumber(), 0u);
    EXPECT_EQ(m_log.Count(L"(I0) Port number: 70000."), 0u);
}

TEST_F(RemoteShares, CommunityOfThirtyFourCharactersIsRefusedAndTheAddressStays)
{
    const auto port = MonitorPort(L"ORV_REMOTE_LONGSNMP");
    const auto resolver = ResolveRemote(L"snmpq", L"ORV_REMOTE_LONGSNMP", S_OK);
    EXPECT_EQ(resolver->SNMPCommunity(), L"");
    EXPECT_EQ(resolver->IPAddress(), L"127.0.0.1");
    Logged({L"(I0) SNMP Community Name is invalid."});
}

TEST_F(RemoteShares, HostAddressIsLookedUpWhenTheMonitorGivesNoIpAddress)
{
    const auto port = MonitorPort(L"ORV_REMOTE_HOST");
    const auto resolver = ResolveRemote(L"hostq", L"ORV_REMOTE_HOST", S_OK);
    EXPECT_EQ(resolver->IPAddress(), L"127.0.0.1");
    EXPECT_EQ(resolver->PortID(), L"");
    Logged({L"(I0) Didn't get a valid IP address from XCVDATA", L"(I0) so try to validate host name: localhost.",
            L"(I0) IPv4 Address: 127.0.0.1", L"(I0) Host name: localhost"});
}

// The server's WSD port: its monitor gives the device's identity, and the
// WSD provider (the Function Discovery stand-in) reports that device.
TEST_F(RemoteShares, WsdPortOfTheServerIsResolvedByItsIdentityAsTcpIp)
{
    const std::wstring wsd = L"WSD-6a9e2d8c-2f43-4a55-9d2e-0123456789ab.0007";
    const auto port = MonitorPort(wsd);
    resolver_test::DiscoveryScript script;
    resolver_test::FunctionDiscoveryStandIn standIn(script);
    ASSERT_TRUE(standIn.Ready());
    script.wsd = {{QVWinApi::QUA_ADD,
                   new resolver_test::FakeInstance(L"", L"uuid:6a9e2d8c-2f43-4a55-9d2e-0123456789ab",
                                                   {resolver_test::TextListProperty(
                                                       resolver_test::kXAddrs, {L"http://127.0.0.1:5357/wsdq"})})}};
    resolver_test::ReportedWait com(script.reported);
    doubles::ApiOverride<QVWinApi::IComApi> swap(g_pComApi, com);
    const auto resolver = ResolveRemote(L"wsdq", wsd, S_OK);
    EXPECT_EQ(resolver->DeviceID(), L"uuid:6a9e2d8c-2f43-4a55-9d2e-0123456789ab");
    unsigned long type = 0;
    ASSERT_EQ(resolver->GetConnectionType(&type), S_OK);
    EXPECT_EQ(type, CX_TYPE_TCPIP);
    wchar_t text[kResolverTextChars];
    unsigned long number = 0;
    ASSERT_EQ(resolver->GetTCPIPAddress(text, kResolverTextChars, &number), S_OK);
    EXPECT_STREQ(text, L"127.0.0.1");
    EXPECT_EQ(number, 5357u);
    EXPECT_EQ(resolver->HostName(), L"localhost");
    EXPECT_EQ(resolver->ServerName(), m_computer);
    Logged({L"(I0) Call RemoteTcpIpPortResolved(" + m_computer + L", " + wsd + L")",
            L"(I0) WSD resolved using PNPX Global Identity: uuid:6a9e2d8c-2f43-4a55-9d2e-0123456789ab",
            L"(I0) Updated m_wcIPAddress: 127.0.0.1", L"(I0) RemoteTCPIP returned -> cxType = 0x20"});
}

TEST_F(RemoteShares, ShareOfAServerWithoutAShareNameIsInvalid)
{
    const auto resolver = ResolveRemote(L"q", L"\\\\" + m_computer, E_FAIL);
    Logged({L"(I0) \\\\" + m_computer + L" is not a redirected LPT port.", L"(I0) m_pPrinterName is a UNC. Not IPP.",
            L"(I0) Invalid UNC Name, share portion not found"});
    EXPECT_EQ(m_log.Count(L"(->) Resolver::NTSharePrinter"), 0u);
}

TEST_F(RemoteShares, NovellQueueGivesItsIpxAddress)
{
    const auto resolver = ResolveRemote(L"q", L"\\\\novell-on\\queue", S_OK);
    unsigned long type = 0;
    resolver->GetConnectionType(&type);
    EXPECT_EQ(type, CX_TYPE_IPX);
    EXPECT_EQ(resolver->PortID(), L"00000001:0001E6123456");
    EXPECT_EQ(resolver->PortNumber(), 400u);
    Logged({L"(I0) Load zqvipx1u.dll", L"(I0) LoadLibrary: Success",
            L"(I0) called ZQNWGetIPXAddrFromUncName() SUCCESS - returned theFcn = 0",
            L"(I0) IPXAddress = 00000001.0001E6123456,400C", L"(I0) SUCCESSfully resolved Novell port - return(1)",
            L"(I0) NovellIpxPortResolved() SUCCESS"});
}

TEST_F(RemoteShares, NovellQueueWhosePrinterIsOffGoesOnToTheServer)
{
    ResolveRemote(L"q", L"\\\\novell-off\\queue", E_FAIL);
    Logged({L"(I0) IPXAddress = ",
            L"(I0) Valid IPX port: printer turned off - return(false) from NovellIpxPortResolved()",
            L"(I0) NovellIpxPortResolved() FAILED continuing on to ResolveRemoteHost (REMOTE_PORT_TYPE_UNKNOWN)",
            L"(I0) Extracted Server Name: novell-off from UNC Name \\\\novell-off\\queue"});
}

TEST_F(RemoteShares, NovellAnswersOfNoKnownFormAndOtherQueuesFail)
{
    ResolveRemote(L"q", L"\\\\novell-bad\\queue", E_FAIL);
    ResolveRemote(L"q", L"\\\\other\\queue", E_FAIL);
    Logged({L"(I0) Valid IPX port: improperly formatted IPX address - return(false) from NovellIpxPortResolved()",
            L"(I0) called ZQNWGetIPXAddrFromUncName() FAILED - returned theFcn = 1"});
}

TEST_F(RemoteShares, NovellLibraryAbsentOrWithoutItsEntryPoint)
{
    LibraryKernel kernel;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    kernel.novellMissing = true;
    ResolveRemote(L"q", L"\\\\novell-on\\queue", E_FAIL);
    kernel.novellMissing = false;
    kernel.entryMissing = true;
    ResolveRemote(L"q", L"\\\\novell-on\\queue", E_FAIL);
    Logged({L"(I0) LoadLibrary: Failed", L"(I0) GetProcAddress() FAILED - returned theFcn = 0x0"});
}

TEST_F(RemoteShares, RedirectedLptToANovellQueueIsIpxAndRedirected)
{
    TestKey lpt(HKEY_CURRENT_USER, L"Network\\LPT8");
    lpt.SetString(L"RemotePath", L"\\\\novell-on\\lptq");
    const auto resolver = ResolveRemote(L"lptq", L"LPT8:", S_OK);
    unsigned long type = 0;
    resolver->GetConnectionType(&type);
    EXPECT_EQ(type, CX_TYPE_REDIRECTED | CX_TYPE_LPT | CX_TYPE_IPX);
    Logged({L"(I0) LPT8: is a redirected LPT port.", L"(I0) Redirected LPTx calling NovellIpxPortResolved()",
            L"(I0) NovellIpxPortResolved() SUCCESS."});
}

TEST_F(RemoteShares, AfterTheTimeOutTheServerIsNotAskedAtAll)
{
    const auto port = MonitorPort(L"ORV_REMOTE_IP");
    const auto resolver = ResolveRemote(L"lateq", L"ORV_REMOTE_IP", S_OK);
    resolver->MarkTimedOut();
    LibraryKernel kernel;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    EXPECT_FALSE(resolver->ResolveRemoteHost((L"\\\\" + m_computer + L"\\lateq").c_str()));
    EXPECT_EQ(kernel.spoolerLoads, 0) << "no transceive channel is opened";
    EXPECT_EQ(m_log.Count(L"(I0) Could not be resolved."), 1u);
}

TEST_F(RemoteShares, RedirectedLptWhoseNovellLookUpFailsAsksTheServerAndFails)
{
    TestKey lpt(HKEY_CURRENT_USER, L"Network\\LPT9");
    lpt.SetString(L"RemotePath", L"\\\\other\\lptq");
    const auto resolver = ResolveRemote(L"lptq", L"LPT9:", E_FAIL);
    Logged({L"(I0) Redirected LPTx calling NovellIpxPortResolved()",
            L"(I0) NovellIpxPortResolved() FAILED continuing on to ResolveRemoteHost(REMOTE_PORT_TYPE_REDIRECTED)",
            L"(I0) Redirected LPTx calling ResolveRemoteHost(REMOTE_PORT_TYPE_REDIRECTED)",
            L"(I0) Extracted Server Name: other from UNC Name \\\\other\\lptq",
            L"(I0) Call RemoteTcpIpPortResolved(other, LPT9:)", L"(I0) ResolveRemoteHost() FAILED"});
}

// The queue is gone by the time the NT share step looks for it again: the
// spooler lists it for the first search's two calls only.
TEST_F(RemoteShares, NtShareWhoseQueueIsGoneAtTheSecondLookFails)
{
    ResolveRemote(L"goneq", L"USB001", E_FAIL, 2);
    Logged({L"(I0) Attempt to resolve NT Share name.",
            L"(I0) MatchPrinterInfo(match printername to get NT sharename) FAILED"});
}

TEST_F(RemoteShares, PrinterNameWithoutAServerGivesNoMachineName)
{
    ListedSpooler spooler({{nullptr, L"\\\\q", nullptr, L"USB001"}});
    doubles::ApiOverride<QVWinApi::ISpoolerApi> swap(g_pSpoolerApi, spooler);
    auto resolver = ProbeResolver::Make();
    EXPECT_EQ(resolver->Resolve(L"\\\\q", RESOLVE_TYPE_PRINTER), E_FAIL);
    Logged({L"(I0) Attempt to resolve NT Share name.",
            L"(I0) Did not get a valid machine name for the remote printer's host", L"(I0) Could not be resolved."});
}

TEST_F(RemoteShares, NonNtShareStepWithoutASearchNameFails)
{
    auto resolver = ProbeResolver::Make();
    EXPECT_FALSE(resolver->NonNTSharePrinter(nullptr));
    Logged({L"(I0) failed, lpszSearchName is NULL"});
}

TEST_F(RemoteShares, WsdPortOfTheServerWhoseDeviceDoesNotAnswerFails)
{
    const std::wstring wsd = L"WSD-6a9e2d8c-2f43-4a55-9d2e-0123456789ab.0007";
    const auto port = MonitorPort(wsd);
    resolver_test::DiscoveryScript script;
    resolver_test::FunctionDiscoveryStandIn standIn(script);
    ASSERT_TRUE(standIn.Ready());
    resolver_test::ExpiredWait com;
    doubles::ApiOverride<QVWinApi::IComApi> swap(g_pComApi, com);
    const auto resolver = ResolveRemote(L"wsdq", wsd, E_FAIL);
    EXPECT_EQ(com.asked, 30000u);
    Logged({L"(I0) No WSD device was found with the DeviceID: uuid:6a9e2d8c-2f43-4a55-9d2e-0123456789ab.",
            L"(I0) WSD resolution failed using PNPX Global Identity: uuid:6a9e2d8c-2f43-4a55-9d2e-0123456789ab"});
    unsigned long type = 1;
    ASSERT_EQ(resolver->GetConnectionType(&type), S_OK);
    EXPECT_EQ(type, 0u);
}

// An answer shorter than the structure it should fill leaves the rest as
// it was: no address, and the step fails.
TEST_F(RemoteShares, AnswerShorterThanItsStructureGivesNoAddress)
{
    const auto port = MonitorPort(L"ORV_REMOTE_SHORT");
    const auto resolver = ResolveRemote(L"shortq", L"ORV_REMOTE_SHORT", E_FAIL);
    EXPECT_EQ(resolver->IPAddress(), L"");
    EXPECT_EQ(resolver->HostName(), L"");
    EXPECT_EQ(resolver->PortNumber(), 0u);
    Logged({L"(I0) Call RemoteTcpIpPortResolved(" + m_computer + L", ORV_REMOTE_SHORT)",
            L"(I0) SNMP Community Name is invalid."});
}
