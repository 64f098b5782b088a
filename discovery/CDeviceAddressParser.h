#pragma once

#include <string>

namespace QVDiscovery {

// The dotted IPv4 address at the head of a transport address such as
// "http://10.1.2.3:3702/x"; a host name or an IPv6 address gives nothing.
class CDeviceAddressParser {
public:
    explicit CDeviceAddressParser(const std::wstring& text);
    virtual ~CDeviceAddressParser() = default;

    std::wstring GetAddress() const { return m_address; }

private:
    std::wstring m_address;
};

}  // namespace QVDiscovery
