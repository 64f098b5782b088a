// Reverse look-ups that fail, as on a machine whose name service knows no
// name for an address. These tests run only under no-name-service.sh, which
// gives the test program a name service of its own on loopback: 10.0.0.1
// is no name, 10.0.0.2 has no record, anything else is to be tried again.
// No query leaves the machine. The normal run of the suite leaves them out.
#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "doubles/ApiOverride.h"
#include "resolver/ListedSpooler.h"
#include "resolver/ProbeResolver.h"
#include "resolver/ResolverTestSupport.h"
#include "resolver/SpoolerQueues.h"
#include "resolver/TestMonitor.h"

using namespace Orvane;
using resolver_test::MonitorPortKeys;
using resolver_test::ProbeResolver;
using resolver_test::SpoolerQueues;
using resolver_test::TestKey;

TEST(NoNameService, BlankHostNameWithAnAddressWhoseReverseLookUpFailsGivesFalseWithTcpIpSet)
{
    resolver_test::ResolverLog log(L"resolver-no-names");
    TestKey port(HKEY_LOCAL_MACHINE, MonitorPortKeys()[2] + L"\\ORV_IP_NODNS");
    port.SetString(L"HostName", L"");
    port.SetString(L"IPAddress", L"10.0.0.1");
    port.SetDword(L"PortNumber", 9100);
    port.SetDword(L"Protocol", 1);
    SpoolerQueues queues;
    const std::wstring name = SpoolerQueues::Unique(L"Orvane No Names");
    ASSERT_TRUE(queues.Add(name, L"ORV_IP_NODNS"));
    const auto resolver = ProbeResolver::Make();
    EXPECT_EQ(resolver->Resolve(name.c_str(), RESOLVE_TYPE_PRINTER), E_FAIL);
    unsigned long type = 0;
    ASSERT_EQ(resolver->GetConnectionType(&type), S_OK);
    EXPECT_EQ(type, CX_TYPE_TCPIP);
    EXPECT_EQ(resolver->HostName(), L"");
    EXPECT_EQ(log.Count(L"(I0) HostName string was blank"), 1u);
    std::wstring missing;
    EXPECT_TRUE(log.InOrder({L"(I0) HostName string was blank", L"(##) Host not found",
                             L"(I0) IP ADDRESS  is not valid."},
                            &missing))
        << ::testing::PrintToString(missing);
    EXPECT_EQ(log.Count(L"(I0) gethostbyaddr function returned:"), 0u);
    if (HasFailure()) {
        log.Show();
    }
}

TEST(NoNameService, AddressWithoutARecordAndAServiceThatFailsAreLoggedApart)
{
    resolver_test::ResolverLog log(L"resolver-no-records");
    std::wstring name = L"unchanged";
    EXPECT_FALSE(GetHostByIpAddr(L"10.0.0.2", name));
    EXPECT_FALSE(GetHostByIpAddr(L"10.0.0.3", name));
    EXPECT_EQ(name, L"unchanged");
    std::wstring missing;
    EXPECT_TRUE(log.InOrder({L"(##) No data record found", L"(##) gethostbyaddr failed with error: 11002"}, &missing))
        << ::testing::PrintToString(missing);
    if (HasFailure()) {
        log.Show();
    }
}

// An internet printing queue whose host has no address.
TEST(NoNameService, InternetPrintingQueueOnAHostWithoutAnAddressIsInvalid)
{
    resolver_test::ResolverLog log(L"resolver-no-host");
    const wchar_t printer[] = L"\\\\http://nohost:631/printers/a";
    resolver_test::ListedSpooler spooler({{L"\\\\nohost", printer, nullptr, L"IPP_1"}});
    doubles::ApiOverride<QVWinApi::ISpoolerApi> swap(g_pSpoolerApi, spooler);
    const auto resolver = ProbeResolver::Make();
    EXPECT_EQ(resolver->Resolve(printer, RESOLVE_TYPE_PRINTER), E_FAIL);
    std::wstring missing;
    EXPECT_TRUE(log.InOrder({L"(I0) HOST NAME is invalid.", L"(I0) Could not extract IP Address & Host Name.",
                             L"(I0) m_pPrinterName is a UNC. Not IPP."},
                            &missing))
        << ::testing::PrintToString(missing);
    if (HasFailure()) {
        log.Show();
    }
}

// The server's monitor reports an address without a name and a host
// address: the address is refused and the host looked up instead.
TEST(NoNameService, RemotePortWhoseAddressHasNoNameFallsBackOnItsHostAddress)
{
    ASSERT_TRUE(resolver_test::InstallTestMonitor()) << "the test monitor could not be installed";
    resolver_test::ResolverLog log(L"resolver-no-name-remote");
    TestKey port(HKEY_LOCAL_MACHINE, std::wstring(L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\")
                                         + resolver_test::kMonitor + L"\\Ports\\ORV_REMOTE_NONAME");
    const std::wstring server = L"\\\\" + resolver_test::ComputerName();
    const std::wstring printer = server + L"\\nonameq";
    resolver_test::ListedSpooler spooler({{server.c_str(), printer.c_str(), L"nonameq", L"ORV_REMOTE_NONAME"}});
    doubles::ApiOverride<QVWinApi::ISpoolerApi> swap(g_pSpoolerApi, spooler);
    const auto resolver = ProbeResolver::Make();
    EXPECT_EQ(resolver->Resolve(printer.c_str(), RESOLVE_TYPE_PRINTER), S_OK);
    EXPECT_EQ(resolver->IPAddress(), L"127.0.0.1");
    EXPECT_EQ(resolver->HostName(), L"localhost");
    std::wstring missing;
    EXPECT_TRUE(log.InOrder({L"(##) Host not found", L"(I0) XcvData returned an invalid IP address",
                             L"(I0) GetHostByIpAddr Failed", L"(I0) Didn't get a valid IP address from XCVDATA",
                             L"(I0) so try to validate host name: localhost.", L"(I0) IPv4 Address: 127.0.0.1"},
                            &missing))
        << ::testing::PrintToString(missing);
    if (HasFailure()) {
        log.Show();
    }
}
