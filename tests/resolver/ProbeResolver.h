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

    using Orvane::Resolver::GetResolveThreadTimeout;
    void SetResolveTimeout(DWORD timeout) { m_dwResolveTimeout = timeout; }

    // What the network steps leave behind for a TCP/IP port: the flag, the
    // IPv4 address (or none) and the IPv6 rows, and the port number.
    void TakeTcpIpResult(const wchar_t* ipv4, std::initializer_list<const wchar_t*> ipv6, DWORD port)
    {
        m_cxType = Orvane::CX_TYPE_TCPIP;
        Orvane::StrWcsCpy(m_wcIPAddress, Orvane::kResolverTextChars, ipv4);
        m_nIPv6AddressCount = 0;
        for (wchar_t* row : m_wcIPv6AddressList) {
            row[0] = L'\0';
        }
        for (const wchar_t* address : ipv6) {
            Orvane::StrWcsCpy(m_wcIPv6AddressList[m_nIPv6AddressCount++], Orvane::kResolverTextChars, address);
        }
        m_dwPortNumber = port;
    }

private:
    ProbeResolver() = default;

    HANDLE m_destroyed = nullptr;
};

}  // namespace resolver_test
