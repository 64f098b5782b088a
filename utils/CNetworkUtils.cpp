#include "utils/CNetworkUtils.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>
#include <iphlpapi.h>

#include "utils/StringUtils.h"
#include "winapi/IIPHelperApi.h"
#include "winapi/IWinSockApi.h"

namespace QVUtils {

namespace {

constexpr WORD kWinsockVersion = 0x202;
constexpr ULONG kAdapterFlags = GAA_FLAG_SKIP_UNICAST | GAA_FLAG_SKIP_ANYCAST
    | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER | GAA_FLAG_INCLUDE_PREFIX
    | GAA_FLAG_SKIP_FRIENDLY_NAME;
constexpr ULONG kAdapterBufferSize = 15000;

std::wstring AddressText(sockaddr* address, size_t length)
{
    wchar_t text[INET6_ADDRSTRLEN + 16] = {};
    DWORD size = sizeof text / sizeof text[0];
    if (g_pWinSockApi->WSAAddressToStringW(address, static_cast<DWORD>(length), nullptr, text, &size)
        != 0) {
        return std::wstring();
    }
    return text;
}

// Host-order IPv4 mask of a prefix length.
unsigned long PrefixMask(ULONG length)
{
    return length == 0 ? 0UL : 0xFFFFFFFFUL << (32 - (length > 32 ? 32 : length));
}

bool InPrefix(const in_addr& address, const IP_ADAPTER_PREFIX& prefix)
{
    const sockaddr* prefixAddress = prefix.Address.lpSockaddr;
    if (!prefixAddress || prefixAddress->sa_family != AF_INET) {
        return false;
    }
    const unsigned long network = ntohl(reinterpret_cast<const sockaddr_in*>(prefixAddress)->sin_addr.s_addr);
    const unsigned long mask = PrefixMask(prefix.PrefixLength);
    return ((ntohl(address.s_addr) ^ network) & mask) == 0;
}

bool FindInAdapterPrefixes(const in_addr& address)
{
    ULONG size = kAdapterBufferSize;
    std::vector<unsigned char> buffer(size);
    ULONG result = g_pIPHelperApi->GetAdaptersAddresses(
        AF_UNSPEC, kAdapterFlags, nullptr, reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data()), &size);
    if (result == ERROR_BUFFER_OVERFLOW) {
        buffer.resize(size);
        result = g_pIPHelperApi->GetAdaptersAddresses(
            AF_UNSPEC, kAdapterFlags, nullptr, reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data()), &size);
    }
    if (result != NO_ERROR) {
        return false;
    }
    for (auto* adapter = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data()); adapter;
         adapter = adapter->Next) {
        for (IP_ADAPTER_PREFIX* prefix = adapter->FirstPrefix; prefix; prefix = prefix->Next) {
            if (InPrefix(address, *prefix)) {
                return true;
            }
        }
    }
    return false;
}

}  // namespace

bool CNetworkUtils::GetIpAddrByHost(const wchar_t* host, std::wstring& ipv4,
                                    std::vector<std::wstring>& ipv6List)
{
    ipv4.clear();
    ipv6List.clear();
    if (!host || !*host) {
        return false;
    }
    WSADATA data;
    if (g_pWinSockApi->WSAStartup(kWinsockVersion, &data) != 0) {
        return false;
    }
    const std::string name = StringUtils::WideToUtf8(host);
    ADDRINFOA hints = {};
    ADDRINFOA* results = nullptr;
    const bool found = g_pWinSockApi->getaddrinfo(name.c_str(), nullptr, &hints, &results) == 0;
    for (ADDRINFOA* entry = found ? results : nullptr; entry; entry = entry->ai_next) {
        if (entry->ai_family != AF_INET && entry->ai_family != AF_INET6) {
            continue;
        }
        const std::wstring text = AddressText(entry->ai_addr, entry->ai_addrlen);
        if (text.empty()) {
            continue;
        }
        if (entry->ai_family == AF_INET) {
            ipv4 = text;
        } else {
            ipv6List.push_back(text);
        }
    }
    if (results) {
        g_pWinSockApi->freeaddrinfo(results);
    }
    g_pWinSockApi->WSACleanup();
    return found;
}

bool CNetworkUtils::IsOnSubnet(const wchar_t* address)
{
    WSADATA data;
    if (!address || g_pWinSockApi->WSAStartup(kWinsockVersion, &data) != 0) {
        return false;
    }
    std::wstring text = address;
    sockaddr_in parsed = {};
    INT length = sizeof parsed;
    INT status = g_pWinSockApi->WSAStringToAddressW(&text[0], AF_INET, nullptr,
                                                    reinterpret_cast<sockaddr*>(&parsed), &length);
    if (status != 0 && g_pWinSockApi->WSAGetLastError() == WSA_NOT_ENOUGH_MEMORY) {
        length = sizeof parsed;
        status = g_pWinSockApi->WSAStringToAddressW(&text[0], AF_INET, nullptr,
                                                    reinterpret_cast<sockaddr*>(&parsed), &length);
    }
    const bool onSubnet = status == 0 && FindInAdapterPrefixes(parsed.sin_addr);
    g_pWinSockApi->WSACleanup();
    return onSubnet;
}

}  // namespace QVUtils
