#pragma once

namespace QVDiscovery {

// The one test that tells the families apart: a text with a colon is an
// IPv6 address.
bool IsIPv6Address(const char* address);

// The interface index of a local address: the decimal number after "%" of
// an IPv6 address, 0 otherwise.
unsigned long InterfaceIndexOf(const char* address);

}  // namespace QVDiscovery
