#include <gtest/gtest.h>

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>
#include <iphlpapi.h>

#include <cstring>
#include <vector>

#include "doubles/ApiOverride.h"
#include "utils/CNetworkUtils.h"
#include "winapi/CIPHelperApi.h"

using QVUtils::CNetworkUtils;

namespace {

bool RunningOnWine()
{
    return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

// One adapter whose only prefix is 10.20.0.0/16. The first call can ask for
// a larger buffer than the caller gave.
class PrefixIPHelperApi : public QVWinApi::CIPHelperApi {
public:
    ULONG GetAdaptersAddresses(ULONG family, ULONG flags, PVOID, PIP_ADAPTER_ADDRESSES addresses,
                               PULONG size) override
    {
        requests.push_back({family, flags, *size});
        if (*size < neededSize) {
            *size = neededSize;
            return ERROR_BUFFER_OVERFLOW;
        }
        struct Layout {
            IP_ADAPTER_ADDRESSES adapter;
            IP_ADAPTER_PREFIX prefix;
            sockaddr_in address;
        };
        auto* layout = reinterpret_cast<Layout*>(addresses);
        std::memset(layout, 0, sizeof *layout);
        layout->address.sin_family = AF_INET;
        layout->address.sin_addr.s_addr = htonl(0x0A140000);
        layout->prefix.Address.lpSockaddr = reinterpret_cast<sockaddr*>(&layout->address);
        layout->prefix.Address.iSockaddrLength = sizeof layout->address;
        layout->prefix.PrefixLength = 16;
        layout->adapter.FirstPrefix = &layout->prefix;
        return NO_ERROR;
    }

    struct Request {
        ULONG family, flags, size;
    };
    std::vector<Request> requests;
    ULONG neededSize = 0;
};

}  // namespace

TEST(CNetworkUtilsTest, GetIpAddrByHostOfLocalhost)
{
    std::wstring ipv4 = L"stale";
    std::vector<std::wstring> ipv6 = {L"stale"};
    EXPECT_TRUE(CNetworkUtils::GetIpAddrByHost(L"localhost", ipv4, ipv6));
    EXPECT_EQ(ipv4, L"127.0.0.1");
    for (const std::wstring& address : ipv6) {
        EXPECT_EQ(address, L"::1");
    }
}

TEST(CNetworkUtilsTest, GetIpAddrByHostOfAnIPv6LiteralListsIt)
{
    std::wstring ipv4 = L"stale";
    std::vector<std::wstring> ipv6;
    EXPECT_TRUE(CNetworkUtils::GetIpAddrByHost(L"::1", ipv4, ipv6));
    EXPECT_EQ(ipv4, L"");
    EXPECT_EQ(ipv6, std::vector<std::wstring>{L"::1"});
}

TEST(CNetworkUtilsTest, GetIpAddrByHostOfNullOrEmptyNameEmptiesTheOutputs)
{
    std::wstring ipv4 = L"stale";
    std::vector<std::wstring> ipv6 = {L"stale"};
    EXPECT_FALSE(CNetworkUtils::GetIpAddrByHost(nullptr, ipv4, ipv6));
    EXPECT_EQ(ipv4, L"");
    EXPECT_TRUE(ipv6.empty());
    ipv4 = L"stale";
    EXPECT_FALSE(CNetworkUtils::GetIpAddrByHost(L"", ipv4, ipv6));
    EXPECT_EQ(ipv4, L"");
}

TEST(CNetworkUtilsTest, GetIpAddrByHostOfAnUnknownNameIsFalse)
{
    std::wstring ipv4;
    std::vector<std::wstring> ipv6;
    EXPECT_FALSE(CNetworkUtils::GetIpAddrByHost(L"orvane-no-such-host.invalid", ipv4, ipv6));
    EXPECT_EQ(ipv4, L"");
    EXPECT_TRUE(ipv6.empty());
}

TEST(CNetworkUtilsTest, IsOnSubnetOfLoopbackFollowsThePlatformsPrefixes)
{
    // Windows lists 127.0.0.0/8 for the loopback adapter; Wine lists no
    // prefixes for it.
    EXPECT_EQ(CNetworkUtils::IsOnSubnet(L"127.0.0.1"), !RunningOnWine());
}

TEST(CNetworkUtilsTest, IsOnSubnetOfAnAddressOnNoAdapterIsFalse)
{
    EXPECT_FALSE(CNetworkUtils::IsOnSubnet(L"203.0.113.77"));
    EXPECT_FALSE(CNetworkUtils::IsOnSubnet(L"not an address"));
}

TEST(CNetworkUtilsTest, IsOnSubnetComparesWithEachAdaptersPrefixes)
{
    PrefixIPHelperApi helper;
    doubles::ApiOverride<QVWinApi::IIPHelperApi> swap(g_pIPHelperApi, helper);
    EXPECT_TRUE(CNetworkUtils::IsOnSubnet(L"10.20.30.40"));
    EXPECT_TRUE(CNetworkUtils::IsOnSubnet(L"10.20.255.255"));
    EXPECT_FALSE(CNetworkUtils::IsOnSubnet(L"10.21.0.1"));
    ASSERT_EQ(helper.requests.size(), 3u);
    EXPECT_EQ(helper.requests[0].family, static_cast<ULONG>(AF_UNSPEC));
    EXPECT_EQ(helper.requests[0].flags, 63u);
    EXPECT_EQ(helper.requests[0].size, 15000u);
}

TEST(CNetworkUtilsTest, IsOnSubnetGrowsTheAdapterBufferOnce)
{
    PrefixIPHelperApi helper;
    helper.neededSize = 20000;
    doubles::ApiOverride<QVWinApi::IIPHelperApi> swap(g_pIPHelperApi, helper);
    EXPECT_TRUE(CNetworkUtils::IsOnSubnet(L"10.20.0.1"));
    ASSERT_EQ(helper.requests.size(), 2u);
    EXPECT_EQ(helper.requests[0].size, 15000u);
    EXPECT_EQ(helper.requests[1].size, 20000u);
}
