// The resolver's steps for queues of other machines: an internet printing
// queue ("\\http://host:port/..."), whose address stands in its name.
#include "resolver/Resolver.h"

#include <cwchar>

#include "logging/LogTrace.h"
#include "resolver/ResolverPatterns.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

using QVLogging::kCategoryReturn;

bool Resolver::IppPortResolved()
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::IppPortResolved");
    bool resolved = false;
    if (SearchString(m_pPrinterName, UNC_HTTP_PREFIX_PATTERN)) {
        wchar_t capture[kCaptureChars] = {};
        // The port, when the name gives one behind the address.
        const auto takePort = [&](const wchar_t* pattern, size_t group) {
            wchar_t port[kCaptureChars] = {};
            if (CaptureSubString(m_pPrinterName, port, pattern, group)) {
                m_dwPortNumber = static_cast<DWORD>(std::wcstoul(port, nullptr, 10));
                QV_LOG_INFO(0, L"Port Number: %d", m_dwPortNumber);
            }
        };
        if (CaptureSubString(m_pPrinterName, capture, BRACKET_ADDRESS_PATTERN, 1)) {
            StrWcsCpy(m_wcIPv6AddressList[0], kResolverTextChars, capture);
            ++m_nIPv6AddressCount;
            QV_LOG_INFO(0, L"Updated m_wcIPv6AddressList[0] with Value = %s", capture);
            takePort(BRACKET_ADDRESS_PATTERN, 2);
            resolved = true;
        } else if (CaptureSubString(m_pPrinterName, capture, IPV4_PATTERN, 0)) {
            StrWcsCpy(m_pPortID, kResolverTextChars, capture);
            StrWcsCpy(m_wcIPAddress, kResolverTextChars, capture);
            QV_LOG_INFO(0, L"Updated m_wcIPAddress with Value = %s", capture);
            takePort(IPV4_PORT_PATTERN, 1);
            resolved = true;
        } else if (CaptureSubString(m_pPrinterName, capture, URL_HOST_PATTERN, 1)) {
            std::wstring ipv4;
            if (GetIpAddrByHost(capture, ipv4, m_wcIPv6AddressList, kIPv6Rows, &m_nIPv6AddressCount)) {
                if (!ipv4.empty()) {
                    StrWcsCpy(m_wcIPAddress, kResolverTextChars, ipv4.c_str());
                }
                if (m_nIPv6AddressCount > 0) {
                    QV_LOG_INFO(0, L"IP Address: %s", m_wcIPv6AddressList[0]);
                }
                StrWcsCpy(m_wcHostName, kResolverTextChars, capture);
                QV_LOG_INFO(0, L"IPP Port detected.");
                QV_LOG_INFO(0, L"Host Name: %s", m_wcHostName);
                takePort(URL_HOST_PATTERN, 2);
                resolved = true;
            } else {
                QV_LOG_INFO(0, L"HOST NAME is invalid.");
            }
        }
    }
    if (!resolved) {
        QV_LOG_INFO(0, L"Could not extract IP Address & Host Name.");
    }
    QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(resolved));
    return resolved;
}

}  // namespace Orvane
