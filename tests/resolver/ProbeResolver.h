#pragma once

#include <windows.h>

#include <memory>
#include <string>

#include "resolver/Resolver.h"

namespace resolver_test {

// A Resolver whose state and members a test can read, and whose end it can
// see: `destroyed`, when given, is set by the destructor.
class ProbeResolver : public Orvane::Resolver {
public:
    static std::shared_ptr<ProbeResolver> Make(HANDLE destroyed = nullptr)
    {
        std::shared_ptr<ProbeResolver> resolver = Adopt(new ProbeResolver);
        resolver->m_destroyed = destroyed;
        return resolver;
    }
    ~ProbeResolver() override
    {
        if (m_destroyed) {
            ::SetEvent(m_destroyed);
        }
    }

    unsigned long State() const { return m_eResolveState; }
    DWORD PortNumber() const { return m_dwPortNumber; }
    std::wstring PortID() const { return m_pPortID; }
    std::wstring PortName() const { return m_pPortName; }
    std::wstring PrinterName() const { return m_pPrinterName; }
    std::wstring ServerName() const { return m_pServerName; }
    std::wstring HostName() const { return m_wcHostName; }
    std::wstring IPAddress() const { return m_wcIPAddress; }
    std::wstring HWAddress() const { return m_wcHWAddress; }
    std::wstring SNMPCommunity() const { return m_pSNMPCommunity; }
    std::wstring IPv6HostName() const { return m_wcIPv6HostName; }
    int IPv6Count() const { return m_nIPv6AddressCount; }
    std::wstring IPv6Row(size_t row) const { return m_wcIPv6AddressList[row]; }
    std::wstring DeviceID() const { return m_pDeviceID; }

    using Orvane::Resolver::GetResolveThreadTimeout;
    using Orvane::Resolver::NonNTSharePrinter;
    using Orvane::Resolver::ResolveRemoteHost;
    // The state a search is left in when its caller's wait ran out.
    void MarkTimedOut() { m_eResolveState = Orvane::RESOLVE_STATE_TIMED_OUT | Orvane::RESOLVE_STATE_DONE; }
    void SetResolveTimeout(DWORD timeout) { m_dwResolveTimeout = timeout; }

private:
    ProbeResolver() = default;

    HANDLE m_destroyed = nullptr;
};

}  // namespace resolver_test
