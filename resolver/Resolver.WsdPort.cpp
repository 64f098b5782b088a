// The resolver's step for a port of the system's WSD monitor, whose address
// comes from WSD discovery rather than from the registry.
#include "resolver/Resolver.h"

#include <cwchar>

#include "logging/LogTrace.h"
#include "resolver/ResolverPatterns.h"
#include "resolver/WSDResolver.h"
#include "resolver/WSDPortResolver.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

bool Resolver::WsdPortResolved(const wchar_t* deviceID)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::WsdPortResolved");
    wchar_t text[kWsdAddressChars] = {};
    if (deviceID) {
        if (GetIPAddressFromDeviceID(deviceID, text, kWsdAddressChars)) {
            QV_LOG_INFO(0, L"WSD resolved using PNPX Global Identity: %s", deviceID);
        } else {
            QV_LOG_INFO(0, L"WSD resolution failed using PNPX Global Identity: %s", deviceID);
        }
    } else if (GetIPAddressFromWSDPort(m_pPortName, text, kWsdAddressChars)) {
        QV_LOG_INFO(0, L"WsdPortResolved() WSD resolved using Port Name: %s", m_pPortName);
    } else if (GetIPAddressFromWSDPrinter(m_pPrinterName, text, kWsdAddressChars)) {
        QV_LOG_INFO(0, L"WsdPortResolved() WSD resolved using Printer Name: %s", m_pPrinterName);
    } else {
        QV_LOG_INFO(0, L"WsdPortResolved() WSD port could not be resolved.");
    }
    bool resolved = false;
    if (text[0] != L'\0') {
        wchar_t capture[kCaptureChars] = {};
        bool found = false;
        if (CaptureSubString(text, capture, BRACKET_ADDRESS_PATTERN, 1)) {
            // An IPv6 form is preferred; IPv4 is not looked for then.
            StrWcsCpy(m_wcIPv6AddressList[0], kResolverTextChars, capture);
            ++m_nIPv6AddressCount;
            QV_LOG_INFO(0, L"Updated m_wcIPv6Address: %s (preferred)", capture);
            if (CaptureSubString(text, capture, BRACKET_ADDRESS_PATTERN, 2)) {
                m_dwPortNumber = static_cast<DWORD>(std::wcstol(capture, nullptr, 10));
            }
            found = true;
        } else if (CaptureSubString(text, capture, IPV4_PATTERN, 0)) {
            StrWcsCpy(m_pPortID, kResolverTextChars, capture);
            StrWcsCpy(m_wcIPAddress, kResolverTextChars, capture);
            QV_LOG_INFO(0, L"Updated m_wcIPAddress: %s", capture);
            if (CaptureSubString(text, capture, IPV4_PORT_PATTERN, 1)) {
                m_dwPortNumber = static_cast<DWORD>(std::wcstol(capture, nullptr, 10));
            }
            found = true;
        }
        if (found) {
            // The host name is looked up by the IPv4 member, also after an
            // IPv6 form: such a result fails here with its row left standing.
            std::wstring name;
            if (GetHostByIpAddr(m_wcIPAddress, name)) {
                if (!name.empty()) {
                    StrWcsCpy(m_wcHostName, kResolverTextChars, name.c_str());
                }
                resolved = true;
            } else {
                QV_LOG_INFO(0, L"IP ADDRESS  could not be resolved to a host name.");
            }
        }
    }
    QV_LOG_LINE(QVLogging::kCategoryReturn, L"Return: %s", StepOutcome(resolved));
    return resolved;
}

}  // namespace Orvane
