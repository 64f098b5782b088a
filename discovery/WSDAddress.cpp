#include "discovery/WSDAddress.h"

#include <cstdlib>
#include <cstring>

namespace QVDiscovery {

bool IsIPv6Address(const char* address)
{
    return address != nullptr && std::strchr(address, ':') != nullptr;
}

unsigned long InterfaceIndexOf(const char* address)
{
    if (!IsIPv6Address(address)) {
        return 0;
    }
    const char* zone = std::strchr(address, '%');
    return zone ? std::strtoul(zone + 1, nullptr, 10) : 0;
}

}  // namespace QVDiscovery
