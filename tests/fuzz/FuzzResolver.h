#pragma once

#include <memory>
#include <string>

#include "resolver/Resolver.h"

namespace fuzz {

// A Resolver whose search steps a target runs one by one on a port name of
// its choice, as the worker does once it has matched a queue. One failed
// Resolve first gives it the process-wide lock its steps take.
class FuzzResolver : public Orvane::Resolver {
public:
    static std::shared_ptr<FuzzResolver> Make();

    // The state the worker's steps start from: running, nothing found.
    void Start(const std::wstring& portName, const std::wstring& printerName);

    using Orvane::Resolver::IpxPortResolved;
    using Orvane::Resolver::LocalPrinter;
    using Orvane::Resolver::StandardPortMonitor;
    using Orvane::Resolver::VelnetPortResolved;
    using Orvane::Resolver::ZqDlcNetworkResolved;

    unsigned long Types() const { return m_cxType; }
    unsigned long PortNumber() const { return m_dwPortNumber; }
    std::wstring PortID() const { return m_pPortID; }
    std::wstring IPAddress() const { return m_wcIPAddress; }
    std::wstring HWAddress() const { return m_wcHWAddress; }
    std::wstring SNMPCommunity() const { return m_pSNMPCommunity; }
    std::wstring IPv6HostName() const { return m_wcIPv6HostName; }
    int IPv6Count() const { return m_nIPv6AddressCount; }
    std::wstring IPv6Row(size_t row) const { return m_wcIPv6AddressList[row]; }

private:
    FuzzResolver() = default;
};

}  // namespace fuzz
