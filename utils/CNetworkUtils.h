#pragma once

#include <string>
#include <vector>

namespace QVUtils {

// Name and subnet look-ups through Winsock and the IP helper.
class CNetworkUtils {
public:
    // Resolves a host name: the last IPv4 address found and every IPv6
    // address, as text. False for a null or empty name or a failed look-up.
    static bool GetIpAddrByHost(const wchar_t* host, std::wstring& ipv4,
                                std::vector<std::wstring>& ipv6List);
    // True when an IPv4 address lies in a prefix of one of the local adapters.
    static bool IsOnSubnet(const wchar_t* address);
};

}  // namespace QVUtils
