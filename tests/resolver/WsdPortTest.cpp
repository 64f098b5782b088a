// Queues on ports of the system's WSD monitor, resolved end to end: real
// queues in the prefix's spooler, the device found through the Function
// Discovery stand-in that Wine's real component model creates.
#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "resolver/FunctionDiscoveryStandIn.h"
#include "resolver/ProbeResolver.h"
#include "resolver/ResolverTestSupport.h"
#include "resolver/SpoolerQueues.h"

using namespace Orvane;
using namespace resolver_test;

namespace {

const wchar_t kPort[] = L"WSD-0a1b2c3d-2f43-4a55-9d2e-0123456789ab.0007";

class WsdPorts : public resolver_test::LoggedTest {
protected:
    WsdPorts() : LoggedTest(L"resolver-wsd") {}
    // A queue of this process on the WSD port, whose plug-and-play instance
    // gives `address`, resolved by the queue's name.
    std::shared_ptr<ProbeResolver> ResolveWith(const std::wstring& address, HRESULT expected, int refused = 0)
    {
        m_script.refusedQueries = refused;
        m_script.pnp = {new FakeInstance(L"UUID:0a1b2c3d", L"",
                                         {TextProperty(kPortKey, kPort), TextListProperty(kServiceAddress, {address})})};
        const std::wstring name = SpoolerQueues::Unique(L"Orvane WSD " + std::to_wstring(++m_queueCount));
        EXPECT_TRUE(m_queues.Add(name, kPort));
        auto resolver = ProbeResolver::Make();
        EXPECT_EQ(resolver->Resolve(name.c_str(), RESOLVE_TYPE_PRINTER), expected);
        return resolver;
    }

    DiscoveryScript m_script;
    FunctionDiscoveryStandIn m_standIn{m_script};
    SpoolerQueues m_queues;
    int m_queueCount = 0;
};

}  // namespace

TEST_F(WsdPorts, LocalWsdPortGivesTheAddressAndPortOfItsUrlAndSetsNoFlag)
{
    ASSERT_TRUE(m_standIn.Ready());
    const auto resolver = ResolveWith(L"http://127.0.0.1:5357/0a1b2c3d", S_OK);
    unsigned long type = 1;
    ASSERT_EQ(resolver->GetConnectionType(&type), S_OK);
    EXPECT_EQ(type, 0u);
    EXPECT_EQ(resolver->IPAddress(), L"127.0.0.1");
    EXPECT_EQ(resolver->PortID(), L"127.0.0.1");
    EXPECT_EQ(resolver->PortNumber(), 5357u);
    EXPECT_EQ(resolver->HostName(), L"localhost");
    Logged({L"(I0) WsdPortResolved() WSD resolved using Port Name: " + std::wstring(kPort),
            L"(I0) Updated m_wcIPAddress: 127.0.0.1", L"Return: SUCCESS", L"(I0) a valid WSD port"});
    EXPECT_EQ(m_log.Count(L"(->) Resolver::VelnetPortResolved"), 0u);
}

TEST_F(WsdPorts, UrlWithoutPortKeepsPortNumberZero)
{
    ASSERT_TRUE(m_standIn.Ready());
    const auto resolver = ResolveWith(L"http://127.0.0.1/0a1b2c3d", S_OK);
    EXPECT_EQ(resolver->IPAddress(), L"127.0.0.1");
    EXPECT_EQ(resolver->PortNumber(), 0u);
}

// The IPv6 form is preferred, but the host name is looked up by the IPv4
// member, which stays empty: the step fails with its row left standing.
TEST_F(WsdPorts, IPv6AddressIsPreferredAndFailsTheReverseLookUpWithItsRowLeftStanding)
{
    ASSERT_TRUE(m_standIn.Ready());
    const auto resolver = ResolveWith(L"http://[fe80::1]:5357/0a1b2c3d", E_FAIL);
    EXPECT_EQ(resolver->IPv6Count(), 1);
    EXPECT_EQ(resolver->IPv6Row(0), L"fe80::1");
    EXPECT_EQ(resolver->PortNumber(), 5357u);
    EXPECT_EQ(resolver->IPAddress(), L"");
    Logged({L"(I0) Updated m_wcIPv6Address: fe80::1 (preferred)",
            L"(I0) IP ADDRESS  could not be resolved to a host name.", L"Return: FAILED",
            L"(->) Resolver::VelnetPortResolved"});
    EXPECT_EQ(m_log.Count(L"(I0) a valid WSD port"), 0u);
}

TEST_F(WsdPorts, TextWithoutAnAddressFailsTheStep)
{
    ASSERT_TRUE(m_standIn.Ready());
    const auto resolver = ResolveWith(L"http://printer.example/0a1b2c3d", E_FAIL);
    EXPECT_EQ(resolver->IPAddress(), L"");
    Logged({L"(I0) WsdPortResolved() WSD resolved using Port Name: " + std::wstring(kPort), L"Return: FAILED",
            L"(->) Resolver::VelnetPortResolved"});
}

TEST_F(WsdPorts, WsdPortThatNoDeviceAnswersCouldNotBeResolved)
{
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, FunctionDiscoveryStandIn::kClassKey);
    const auto resolver = ResolveWith(L"http://127.0.0.1/", E_FAIL);
    Logged({L"(I0) WsdPortResolved() WSD port could not be resolved.", L"Return: FAILED",
            L"(->) Resolver::VelnetPortResolved"});
}

// The look-up by port name fails (Function Discovery refuses its query);
// the one by the queue's name, which reads the same port, then succeeds.
TEST_F(WsdPorts, PortLookUpThatFailsIsFollowedByTheQueuesOwn)
{
    ASSERT_TRUE(m_standIn.Ready());
    const auto resolver = ResolveWith(L"http://127.0.0.1:5357/0a1b2c3d", S_OK, 1);
    EXPECT_EQ(resolver->IPAddress(), L"127.0.0.1");
    Logged({L"(I0) Getting port...", L"(I0) Using printer port (" + std::wstring(kPort) + L")",
            L"(I0) WsdPortResolved() WSD resolved using Printer Name: " + resolver->PrinterName(),
            L"(I0) a valid WSD port"});
}
