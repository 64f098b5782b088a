// Queues on ports of this machine's port monitors, resolved end to end:
// real queues in the prefix's spooler, the monitors' keys and values written
// into its registry, names looked up on loopback. A registry double that
// only records the value names read shows what a step never looks at.
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "doubles/ApiOverride.h"
#include "resolver/ProbeResolver.h"
#include "resolver/ResolverTestSupport.h"
#include "resolver/SpoolerQueues.h"
#include "winapi/CRegistryApi.h"

using namespace Orvane;
using resolver_test::MonitorPortKeys;
using resolver_test::ProbeResolver;
using resolver_test::SpoolerQueues;
using resolver_test::TestKey;

namespace {

const std::wstring kMonitors = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\";

// Keeps the names of the values asked for.
class ValueNameRegistry : public QVWinApi::CRegistryApi {
public:
    LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                             LPDWORD size) override
    {
        {
            const std::lock_guard<std::mutex> guard(m_guard);
            names.push_back(name ? name : L"");
        }
        return QVWinApi::CRegistryApi::RegQueryValueExW(key, name, reserved, type, data, size);
    }
    bool Asked(const std::wstring& name) const
    {
        return std::find(names.begin(), names.end(), name) != names.end();
    }
    std::vector<std::wstring> names;

private:
    std::mutex m_guard;
};

class MonitorPorts : public resolver_test::LoggedTest {
protected:
    MonitorPorts() : LoggedTest(L"resolver-monitors") {}
    // A queue of this process on `port`, resolved by its name.
    std::shared_ptr<ProbeResolver> ResolveQueueOn(const std::wstring& port, HRESULT expected)
    {
        const std::wstring name = SpoolerQueues::Unique(L"Orvane Monitor " + port);
        EXPECT_TRUE(m_queues.Add(name, port));
        auto resolver = ProbeResolver::Make();
        EXPECT_EQ(resolver->Resolve(name.c_str(), RESOLVE_TYPE_PRINTER), expected);
        return resolver;
    }
    static unsigned long TypeOf(Resolver& resolver)
    {
        unsigned long type = 0;
        EXPECT_EQ(resolver.GetConnectionType(&type), S_OK);
        return type;
    }
    static std::wstring AddressOf(Resolver& resolver, unsigned long* port = nullptr)
    {
        wchar_t text[kResolverTextChars] = {};
        unsigned long number = 0;
        const HRESULT status = resolver.GetTCPIPAddress(text, kResolverTextChars, &number);
        if (port) {
            *port = number;
        }
        return status == S_OK ? text : L"status " + std::to_wstring(status);
    }

    SpoolerQueues m_queues;
};

}  // namespace

TEST_F(MonitorPorts, StandardPortWithHostNameUsesItAndNeverReadsIPAddress)
{
    TestKey port(HKEY_LOCAL_MACHINE, MonitorPortKeys()[0] + L"\\ORV_IP_1");
    port.SetString(L"HostName", L"localhost");
    port.SetString(L"IPAddress", L"10.9.9.9");
    port.SetDword(L"PortNumber", 9100);
    port.SetDword(L"Protocol", 1);
    port.SetString(L"SNMP Community", L"public");
    ValueNameRegistry registry;
    doubles::ApiOverride<QVWinApi::IRegistryApi> swap(g_pRegistryApi, registry);
    const auto resolver = ResolveQueueOn(L"ORV_IP_1", S_OK);
    EXPECT_EQ(TypeOf(*resolver), CX_TYPE_TCPIP);
    unsigned long number = 0;
    EXPECT_EQ(AddressOf(*resolver, &number), L"127.0.0.1");
    EXPECT_EQ(number, 9100u);
    EXPECT_EQ(resolver->PortID(), L"") << "a host name leaves the identity empty";
    EXPECT_EQ(resolver->SNMPCommunity(), L"public");
    wchar_t text[kResolverTextChars];
    unsigned long reserved = 0;
    EXPECT_EQ(resolver->GetDirectConnectPort(text, kResolverTextChars, &reserved), ERROR_NOT_SUPPORTED);
    ASSERT_EQ(resolver->GetQueueName(text, kResolverTextChars), S_OK);
    EXPECT_STREQ(text, L"localhost") << "a network device reports its host name";
    EXPECT_FALSE(registry.Asked(L"IPAddress"));
    Logged({L"(I0) Tentative success, verifying host name or IP address...", L"(I0) Host Name: localhost",
            L"(I0) TCP/IP or LPR port", L"(I0) RegCloseKey( hPortKey ) returned 0x0",
            L"(I0) a valid standard port monitor"});
}

TEST_F(MonitorPorts, TcpIpPortWithBothFamiliesReportsIpv4AndNoDirectPort)
{
    TestKey port(HKEY_LOCAL_MACHINE, MonitorPortKeys()[0] + L"\\ORV_IP_46");
    port.SetString(L"HostName", L"localhost");
    port.SetDword(L"Protocol", 1);
    port.SetDword(L"PortNumber", 9100);
    port.SetMulti(L"IPv6AddressEx", {L"fd77::5"});
    const auto resolver = ResolveQueueOn(L"ORV_IP_46", S_OK);
    EXPECT_EQ(resolver->IPv6Row(0), L"fd77::5");
    EXPECT_EQ(AddressOf(*resolver), L"127.0.0.1") << "IPv4 before IPv6";
    wchar_t text[kResolverTextChars];
    unsigned long reserved = 0;
    EXPECT_EQ(resolver->GetDirectConnectPort(text, kResolverTextChars, &reserved), ERROR_NOT_SUPPORTED);
    wchar_t small[4];
    unsigned long number = 7;
    EXPECT_EQ(resolver->GetTCPIPAddress(small, 4, &number), static_cast<HRESULT>(0x8007007A));
    EXPECT_EQ(number, 7u) << "the port only after a whole copy";
}

TEST_F(MonitorPorts, StandardPortWithBlankHostNameTakesTheAddressAndItsName)
{
    TestKey port(HKEY_LOCAL_MACHINE, MonitorPortKeys()[2] + L"\\ORV_IP_2");
    port.SetString(L"HostName", L"");
    port.SetString(L"IPAddress", L"127.0.0.1");
    port.SetDword(L"PortNumber", 515);
    port.SetDword(L"Protocol", 2);
    const auto resolver = ResolveQueueOn(L"ORV_IP_2", S_OK);
    EXPECT_EQ(resolver->PortID(), L"127.0.0.1");
    EXPECT_EQ(resolver->HostName(), L"localhost");
    unsigned long number = 0;
    EXPECT_EQ(AddressOf(*resolver, &number), L"127.0.0.1");
    EXPECT_EQ(number, 515u);
    Logged({L"(I0) HostName string was blank", L"(I0) TempIP = IPAddress",
            L"(I0) IPAddress & Port ID = 127.0.0.1, 127.0.0.1"});
}

TEST_F(MonitorPorts, ProtocolFourIsNoStandardPortAndTheSearchGoesOn)
{
    TestKey port(HKEY_LOCAL_MACHINE, MonitorPortKeys()[0] + L"\\ORV_IP_3");
    port.SetString(L"HostName", L"localhost");
    port.SetDword(L"Protocol", 4);
    const auto resolver = ResolveQueueOn(L"ORV_IP_3", E_FAIL);
    EXPECT_EQ(TypeOf(*resolver), 0u);
    Logged({L"(I0) Port could not be resolved as a TCPIP, LPR, or IPX port.", L"(->) Resolver::WsdPortResolved",
            L"(I0) WsdPortResolved() WSD port could not be resolved.", L"(->) Resolver::VelnetPortResolved",
            L"(->) Resolver::LprPortResolved", L"(->) Resolver::ZqDlcNetworkResolved",
            L"(I0) failed to resolve port"});
}

TEST_F(MonitorPorts, EquitracPortWithBlankHostNameReadsDeviceNameAndNeverProtocol)
{
    TestKey port(HKEY_LOCAL_MACHINE, MonitorPortKeys()[3] + L"\\ORV_EQ_1");
    port.SetString(L"DeviceName", L"127.0.0.1");
    port.SetDword(L"Protocol", 4);
    ValueNameRegistry registry;
    doubles::ApiOverride<QVWinApi::IRegistryApi> swap(g_pRegistryApi, registry);
    const auto resolver = ResolveQueueOn(L"ORV_EQ_1", S_OK);
    EXPECT_EQ(AddressOf(*resolver), L"127.0.0.1");
    EXPECT_TRUE(registry.Asked(L"DeviceName"));
    EXPECT_FALSE(registry.Asked(L"Protocol"));
    EXPECT_FALSE(registry.Asked(L"IPAddress"));
    Logged({L"(I0) TempIP = DeviceName"});
}

TEST_F(MonitorPorts, PortWithOnlyIpv6ValuesSetsTheFlagAndMembersAndStillFails)
{
    TestKey port(HKEY_LOCAL_MACHINE, MonitorPortKeys()[1] + L"\\ORV_V6_1");
    port.SetDword(L"Protocol", 1);
    port.SetString(L"IPv6HostName", L"printhost6");
    port.SetMulti(L"IPv6AddressEx", {L"fd77::5", L"fd77::6"});
    const auto resolver = ResolveQueueOn(L"ORV_V6_1", E_FAIL);
    EXPECT_EQ(TypeOf(*resolver), CX_TYPE_TCPIP) << "the flag stays";
    EXPECT_EQ(resolver->IPv6HostName(), L"printhost6");
    EXPECT_EQ(resolver->IPv6Count(), 2);
    EXPECT_EQ(AddressOf(*resolver), L"fd77::5") << "without IPv4, row 0";
    Logged({L"(I0) IPv6 Address #1: Length = 7, Value = fd77::5", L"(I0) Updated IPv6AddrList[0] Value = fd77::5",
            L"(I0) IPv6 Address #2: Length = 7, Value = fd77::6", L"(I0) Tentative success, verifying host name or IP address...",
            L"(I0) IPv6HostName = printhost6", L"(I0) IPv6Address #0 = fd77::5", L"(I0) IPv6Address #1 = fd77::6"});
}

TEST_F(MonitorPorts, StandardIpxPortGivesNetworkColonNode)
{
    TestKey port(HKEY_LOCAL_MACHINE, MonitorPortKeys()[4] + L"\\ORV_IPX_1");
    port.SetDword(L"Protocol", 3);
    port.SetDword(L"PortNumber", 1024);
    port.SetString(L"NetNum", L"00000001");
    port.SetString(L"HWAddress", L"0001E6123456");
    const auto resolver = ResolveQueueOn(L"ORV_IPX_1", S_OK);
    EXPECT_EQ(TypeOf(*resolver), CX_TYPE_IPX);
    EXPECT_EQ(resolver->PortID(), L"00000001:0001E6123456");
    EXPECT_EQ(resolver->PortNumber(), 1024u);
    Logged({L"(I0) IPX port", L"(I0) a valid standard port monitor"});
}

TEST_F(MonitorPorts, VelnetTcpIpValueReplacesTheTypeWithTcpIp)
{
    TestKey port(HKEY_LOCAL_MACHINE, kMonitors + L"ZQ Velnet Port\\Ports\\ORV_VEL_1");
    port.SetString(L"ZQNetworkPrinterID", L"TCPIP,10.0.0.5,9100");
    const auto resolver = ResolveQueueOn(L"ORV_VEL_1", S_OK);
    EXPECT_EQ(TypeOf(*resolver), 0x020u);
    unsigned long number = 0;
    EXPECT_EQ(AddressOf(*resolver, &number), L"10.0.0.5");
    EXPECT_EQ(number, 9100u);
    Logged({L"(I0) a valid Velnet port"});
}

TEST_F(MonitorPorts, VelnetIpxValueGivesNetworkColonNodeAndTheDecimalPartOfThePort)
{
    TestKey port(HKEY_LOCAL_MACHINE, kMonitors + L"ZQ Velnet Port\\Ports\\ORV_VEL_2");
    port.SetString(L"ZQNetworkPrinterID", L"IPX,00000001.0001E6123456,400C");
    const auto resolver = ResolveQueueOn(L"ORV_VEL_2", S_OK);
    EXPECT_EQ(TypeOf(*resolver), 0x040u);
    EXPECT_EQ(resolver->PortID(), L"00000001:0001E6123456");
    EXPECT_EQ(resolver->PortNumber(), 400u) << "read in base 10, up to the C";
}

TEST_F(MonitorPorts, VelnetValuesOfNoKnownFormAreRefused)
{
    TestKey port(HKEY_LOCAL_MACHINE, kMonitors + L"ZQ Velnet Port\\Ports\\ORV_VEL_3");
    port.SetString(L"ZQNetworkPrinterID", L"tcpip,10.0.0.5,9100");
    ResolveQueueOn(L"ORV_VEL_3", E_FAIL);
    TestKey dotless(HKEY_LOCAL_MACHINE, kMonitors + L"ZQ Velnet Port\\Ports\\ORV_VEL_4");
    dotless.SetString(L"ZQNetworkPrinterID", L"IPX,00000001,400C");
    ResolveQueueOn(L"ORV_VEL_4", E_FAIL);
    EXPECT_EQ(m_log.Count(L"(I0) a valid Velnet port"), 0u);
}

TEST_F(MonitorPorts, LprPortOnADottedServerFailsWithItsMembersFilledAndTheSearchGoesOn)
{
    TestKey port(HKEY_LOCAL_MACHINE, kMonitors + L"LPR Port\\Ports\\ORV_LPR_1");
    port.SetString(L"Printer Name", L"remoteq");
    port.SetString(L"Server Name", L"127.0.0.1");
    const auto resolver = ResolveQueueOn(L"ORV_LPR_1", E_FAIL);
    EXPECT_EQ(TypeOf(*resolver), CX_TYPE_LPR);
    EXPECT_EQ(resolver->HostName(), L"localhost");
    EXPECT_EQ(resolver->IPAddress(), L"127.0.0.1");
    EXPECT_EQ(resolver->PortID(), L"ORV_LPR_1") << "the port name overwrites the address";
    EXPECT_EQ(resolver->ServerName(), L"127.0.0.1");
    EXPECT_EQ(resolver->PrinterName(), L"remoteq") << "the remote queue's name";
    Logged({L"(I0) Host Name localhost", L"(I0) IP Address 127.0.0.1", L"(->) Resolver::ZqDlcNetworkResolved"});
}

TEST_F(MonitorPorts, LprPortOnAServerNameResolves)
{
    TestKey port(HKEY_LOCAL_MACHINE, kMonitors + L"LPR Port\\Ports\\ORV_LPR_2");
    port.SetString(L"Printer Name", L"remoteq");
    port.SetString(L"Server Name", L"localhost");
    const auto resolver = ResolveQueueOn(L"ORV_LPR_2", S_OK);
    EXPECT_EQ(TypeOf(*resolver), CX_TYPE_LPR);
    EXPECT_EQ(resolver->PortID(), L"ORV_LPR_2");
    EXPECT_EQ(resolver->HostName(), L"localhost");
    Logged({L"(I0) IP Address: 127.0.0.1", L"(I0) a valid LPR port"});
}

TEST_F(MonitorPorts, DlcAddressMustBeTwelveCharacters)
{
    TestKey names(HKEY_LOCAL_MACHINE, kMonitors + L"Zeloq Network Port\\PortNames");
    names.SetString(L"ORV_DLC_11", L"0001E612345");
    names.SetString(L"ORV_DLC_13", L"0001E61234567");
    names.SetString(L"ORV_DLC_12", L"0001E6123456");
    ResolveQueueOn(L"ORV_DLC_11", E_FAIL);
    ResolveQueueOn(L"ORV_DLC_13", E_FAIL);
    const auto resolver = ResolveQueueOn(L"ORV_DLC_12", S_OK);
    EXPECT_EQ(TypeOf(*resolver), CX_TYPE_DLC);
    EXPECT_EQ(resolver->HWAddress(), L"0001E6123456");
    EXPECT_EQ(m_log.Count(L"(I0) a valid Zeloq Network (DLC) port"), 1u);
}

TEST_F(MonitorPorts, RedirectedLptPortKeepsItsRedirectedFlag)
{
    TestKey lpt(HKEY_CURRENT_USER, L"Network\\LPT9");
    lpt.SetString(L"RemotePath", L"\\\\printhost\\q");
    const auto resolver = ResolveQueueOn(L"LPT9:", S_OK);
    EXPECT_EQ(TypeOf(*resolver), CX_TYPE_REDIRECTED | CX_TYPE_LPT);
    EXPECT_EQ(resolver->PortNumber(), 9u);
    Logged({L"(I0) LPT9: is a redirected LPT port.", L"(I0) a valid LPT port"});
}

TEST_F(MonitorPorts, ValuesTooLongOrOfTheWrongTypeAreNoValues)
{
    TestKey port(HKEY_LOCAL_MACHINE, MonitorPortKeys()[0] + L"\\ORV_BAD_1");
    port.SetString(L"HostName", std::wstring(1500, L'h'));
    port.SetDword(L"Protocol", 1);
    ResolveQueueOn(L"ORV_BAD_1", E_FAIL);
    EXPECT_EQ(m_log.Count(L"(##) RegQueryValueExW RETURNED: 0x234, Msg: " + resolver_test::MessageOf(ERROR_MORE_DATA)),
              1u)
        << "more than 2048 bytes";
    Logged({L"(I0) HostName string was blank"});
    TestKey names(HKEY_LOCAL_MACHINE, kMonitors + L"Zeloq Network Port\\PortNames");
    names.SetDword(L"ORV_BAD_2", 0x30303030);
    ResolveQueueOn(L"ORV_BAD_2", E_FAIL);
}

TEST_F(MonitorPorts, VelnetAndLprValuesEmptyTooLongOrOfTheWrongTypeGiveFalse)
{
    TestKey dword(HKEY_LOCAL_MACHINE, kMonitors + L"ZQ Velnet Port\\Ports\\ORV_VEL_DW");
    dword.SetDword(L"ZQNetworkPrinterID", 0x00430054);  // "TC" read as text, no comma behind
    TestKey longText(HKEY_LOCAL_MACHINE, kMonitors + L"ZQ Velnet Port\\Ports\\ORV_VEL_LONG");
    longText.SetString(L"ZQNetworkPrinterID", L"TCPIP,127.0.0.1," + std::wstring(1100, L'9'));
    TestKey empty(HKEY_LOCAL_MACHINE, kMonitors + L"LPR Port\\Ports\\ORV_LPR_EMPTY");
    empty.SetString(L"Server Name", L"");
    empty.SetString(L"Printer Name", L"");
    for (const wchar_t* port : {L"ORV_VEL_DW", L"ORV_VEL_LONG", L"ORV_LPR_EMPTY"}) {
        const auto resolver = ResolveQueueOn(port, E_FAIL);
        EXPECT_EQ(TypeOf(*resolver), 0u) << ::testing::PrintToString(port);
        EXPECT_EQ(resolver->IPAddress(), L"") << ::testing::PrintToString(port);
    }
    EXPECT_EQ(m_log.Count(L"(I0) a valid Velnet port"), 0u);
    EXPECT_EQ(m_log.Count(L"(I0) a valid LPR port"), 0u);
}

// A monitor's key without its Ports subkey, and a Ports key without the
// port's own: each step gives false and the search goes on.
TEST_F(MonitorPorts, MonitorKeysMissingHalfwayDownThePathGiveFalse)
{
    TestKey velnet(HKEY_LOCAL_MACHINE, kMonitors + L"ZQ Velnet Port");
    TestKey lprPorts(HKEY_LOCAL_MACHINE, kMonitors + L"LPR Port\\Ports");
    const auto resolver = ResolveQueueOn(L"ORV_HALFWAY", E_FAIL);
    EXPECT_EQ(TypeOf(*resolver), 0u);
    Logged({L"(->) Resolver::VelnetPortResolved", L"(->) Resolver::LprPortResolved",
            L"(->) Resolver::ZqDlcNetworkResolved", L"(I0) failed to resolve port"});
}
