#include "utils/CNetworkUtils.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>
#include <iphlpapi.h>

#include "logging/LogTrace.h"
#include "utils/StringUtils.h"
#include "winapi/IIPHelperApi.h"
#include "winapi/IWinSockApi.h"

QV_LOG_SOURCE_FILE()

namespace QVUtils {

namespace {

constexpr WORD kWinsockVersion = 0x202;
constexpr ULONG kAdapterFlags = GAA_FLAG_SKIP_UNICAST | GAA_FLAG_SKIP_ANYCAST
    | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER | GAA_FLAG_INCLUDE_PREFIX
    | GAA_FLAG_SKIP_FRIENDLY_NAME;
constexpr ULONG kAdapterBufferSize = 15000;

// The address as text; false with the Winsock error in `error` when it
// can't be converted.
bool AddressText(sockaddr* address, size_t length, std::wstring& text, unsigned int& error)
{
    wchar_t buffer[INET6_ADDRSTRLEN + 16] = {};
    DWORD size = sizeof buffer / sizeof buffer[0];
    if (g_pWinSockApi->WSAAddressToStringW(address, static_cast<DWORD>(length), nullptr, buffer,
                                           &size)
        != 0) {
        error = static_cast<unsigned int>(g_pWinSockApi->WSAGetLastError());
        return false;
    }
    text = buffer;
    return true;
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

// The adapter with a prefix that holds the address, with its name in
// `adapterName` (empty when the adapter has none).
bool FindInAdapterPrefixes(const in_addr& address, std::wstring& adapterName)
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
                adapterName = adapter->FriendlyName ? adapter->FriendlyName : L"";
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
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CNetworkUtils::GetIpAddrByHost");
    ipv4.clear();
    ipv6List.clear();
    if (!host || !*host) {
        return false;
    }
    WSADATA data;
    const int started = g_pWinSockApi->WSAStartup(kWinsockVersion, &data);
    if (started != 0) {
        logScope.m_errorCode = static_cast<unsigned long>(started);
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
        std::wstring text;
        unsigned int error = 0;
        if (!AddressText(entry->ai_addr, entry->ai_addrlen, text, error)) {
            QV_LOG_ERROR(L"WSAAddressToString failed with %u\n", error);
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
    QV_LOG_FUNCTION_BOOL(g_pUtilsLog, L"QVUtils::CNetworkUtils::IsOnSubnet", L"IPAddress: %s",
                         address);
    if (!address) {
        return logScope.Return(false);
    }
    WSADATA data;
    const int started = g_pWinSockApi->WSAStartup(kWinsockVersion, &data);
    if (started != 0) {
        QV_LOG_ERROR(L"Failed to start winsock with WSAStartup(2.2).  Returned %d", started);
        return logScope.Return(false);
    }
    std::wstring text = address;
    sockaddr_in parsed = {};
    INT length = sizeof parsed;
    INT status = g_pWinSockApi->WSAStringToAddressW(&text[0], AF_INET, nullptr,
                                                    reinterpret_cast<sockaddr*>(&parsed), &length);
    int error = status != 0 ? g_pWinSockApi->WSAGetLastError() : 0;
    if (status != 0 && error == WSA_NOT_ENOUGH_MEMORY) {
        length = sizeof parsed;
        status = g_pWinSockApi->WSAStringToAddressW(&text[0], AF_INET, nullptr,
                                                    reinterpret_cast<sockaddr*>(&parsed), &length);
        error = status != 0 ? g_pWinSockApi->WSAGetLastError() : 0;
    }
    bool onSubnet = false;
    if (status != 0) {
        QV_LOG_ERROR(L"Failed to convert %s to sockaddr struct. err=%d", address, error);
    } else {
        std::wstring adapterName;
        onSubnet = FindInAdapterPrefixes(parsed.sin_addr, adapterName);
        if (onSubnet && adapterName.empty()) {
            QV_LOG_INFO(0, L"Found %s on subnet\n", address);
        } else if (onSubnet) {
            QV_LOG_INFO(0, L"Found %s on %s subnet\n", address, adapterName.c_str());
        }
    }
    g_pWinSockApi->WSACleanup();
    return logScope.Return(onSubnet);
}

}  // namespace QVUtils
