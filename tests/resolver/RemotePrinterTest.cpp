// Queues of other machines. Wine's spooler holds no queue whose name is a
// UNC path or an internet printing address, so a spooler double lists them;
// the host names are looked up on loopback.
#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "doubles/ApiOverride.h"
#include "resolver/ListedSpooler.h"
#include "resolver/ProbeResolver.h"
#include "resolver/ResolverTestSupport.h"

using namespace Orvane;
using resolver_test::ListedSpooler;
using resolver_test::ProbeResolver;

namespace {

class RemotePrinters : public resolver_test::LoggedTest {
protected:
    RemotePrinters() : LoggedTest(L"resolver-remote") {}
    // Resolves the one queue `printer` of a listed spooler.
    std::shared_ptr<ProbeResolver> ResolveListed(const wchar_t* printer, HRESULT expected)
    {
        ListedSpooler spooler({{nullptr, printer, nullptr, L"IP_REMOTE"}});
        doubles::ApiOverride<QVWinApi::ISpoolerApi> swap(g_pSpoolerApi, spooler);
        auto resolver = ProbeResolver::Make();
        EXPECT_EQ(resolver->Resolve(printer, RESOLVE_TYPE_PRINTER), expected);
        return resolver;
    }

};

}  // namespace

// Found, with no connection flag: an address can't be made from it.
TEST_F(RemotePrinters, InternetPrintingQueueOnAHostThatResolvesGivesItsPortAndNoType)
{
    const auto resolver = ResolveListed(L"\\\\http://localhost:631/printers/a", S_OK);
    unsigned long type = 0xFFFF;
    EXPECT_EQ(resolver->GetConnectionType(&type), S_OK);
    EXPECT_EQ(type, 0u);
    EXPECT_EQ(resolver->PortNumber(), 631u);
    EXPECT_EQ(resolver->HostName(), L"localhost");
    EXPECT_EQ(resolver->IPAddress(), L"127.0.0.1");
    wchar_t text[kResolverTextChars];
    unsigned long port = 0;
    EXPECT_EQ(resolver->GetTCPIPAddress(text, kResolverTextChars, &port), ERROR_NOT_SUPPORTED);
    Logged({L"(I0) m_pPrinterName is a UNC", L"(I0) IPP Port detected.", L"(I0) Host Name: localhost",
            L"(I0) Port Number: 631", L"Return: SUCCESS", L"(I0) IPP Port resolved."});
}

TEST_F(RemotePrinters, InternetPrintingQueueOnAnIpv4AddressTakesItAsIdentity)
{
    const auto resolver = ResolveListed(L"\\\\http://192.0.2.7:8631/ipp/print", S_OK);
    EXPECT_EQ(resolver->PortID(), L"192.0.2.7");
    EXPECT_EQ(resolver->IPAddress(), L"192.0.2.7");
    EXPECT_EQ(resolver->PortNumber(), 8631u);
    Logged({L"(I0) Updated m_wcIPAddress with Value = 192.0.2.7", L"(I0) Port Number: 8631"});
}

TEST_F(RemotePrinters, InternetPrintingQueueOnAnIpv6AddressFillsRowZero)
{
    const auto resolver = ResolveListed(L"\\\\http://[fd77::7]:631/ipp", S_OK);
    EXPECT_EQ(resolver->IPv6Row(0), L"fd77::7");
    EXPECT_EQ(resolver->IPv6Count(), 1);
    EXPECT_EQ(resolver->PortNumber(), 631u);
    EXPECT_EQ(resolver->IPAddress(), L"") << "the IPv4 search is skipped";
    Logged({L"(I0) Updated m_wcIPv6AddressList[0] with Value = fd77::7", L"(I0) Port Number: 631"});
}

TEST_F(RemotePrinters, ShareOfAnotherMachineIsNotResolvedYet)
{
    const auto resolver = ResolveListed(L"\\\\printhost\\queue", E_FAIL);
    EXPECT_EQ(resolver->State(), 11u);
    Logged({L"(I0) m_pPrinterName is a UNC", L"(I0) Could not extract IP Address & Host Name.", L"Return: FAILED",
            L"(I0) m_pPrinterName is a UNC. Not IPP."});
    EXPECT_EQ(m_log.Count(L"(->) Resolver::StandardPortMonitor"), 0u) << "the monitors are for local names";
}
