// The resolver's steps for queues of other machines: an internet printing
// queue ("\\http://host:port/..."), whose address stands in its name, and
// shares of NT and other servers, whose address comes from the server's
// port monitor or, for Novell queues, from the family's IPX library.
#include "resolver/Resolver.h"

#include <cstring>
#include <cwchar>

#include "logging/LogTrace.h"
#include "resolver/ResolverLock.h"
#include "resolver/ResolverPatterns.h"
#include "winapi/IKernelApi.h"
#include "winapi/ISpoolerApi.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

using QVLogging::kCategoryReturn;

namespace {

// The longest SNMP community a monitor's answer may carry.
constexpr size_t kMaxCommunityChars = 33;
constexpr size_t kIpxAddressChars = 40;
constexpr size_t kNovellNameChars = 256;

}  // namespace

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

bool Resolver::NonNTSharePrinter(const wchar_t* searchName)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::NonNTSharePrinter");
    if (searchName == nullptr) {
        QV_LOG_INFO(0, L"failed, lpszSearchName is NULL");
        return false;
    }
    // The server part ends at the first backslash behind the leading two.
    const wchar_t* share = wcslen(searchName) > 2 ? wcschr(searchName + 2, L'\\') : nullptr;
    if (share == nullptr) {
        QV_LOG_INFO(0, L"Invalid UNC Name, share portion not found");
        return false;
    }
    if (m_cxType & CX_TYPE_REDIRECTED) {
        QV_LOG_INFO(0, L"Redirected LPTx calling NovellIpxPortResolved()");
        if (NovellIpxPortResolved(searchName)) {
            m_cxType |= CX_TYPE_IPX;
            QV_LOG_INFO(0, L"NovellIpxPortResolved() SUCCESS.");
            return true;
        }
        QV_LOG_INFO(0, L"NovellIpxPortResolved() FAILED continuing on to ResolveRemoteHost(REMOTE_PORT_TYPE_REDIRECTED)");
        QV_LOG_INFO(0, L"Redirected LPTx calling ResolveRemoteHost(REMOTE_PORT_TYPE_REDIRECTED)");
        m_eResolveType = REMOTE_PORT_TYPE_REDIRECTED;
        const bool resolved = ResolveRemoteHost(searchName);
        if (resolved) {
            m_cxType |= CX_TYPE_REDIRECTED;
        }
        QV_LOG_INFO(0, resolved ? L"ResolveRemoteHost() SUCCESS" : L"ResolveRemoteHost() FAILED");
        return resolved;
    }
    // A share that a queue of this machine publishes is no remote share.
    if (MatchPrinterInfo(share + 1, RESOLVE_TYPE_SHARE)) {
        return false;
    }
    if (NovellIpxPortResolved(nullptr)) {
        QV_LOG_INFO(0, L"NovellIpxPortResolved() SUCCESS");
        return true;
    }
    QV_LOG_INFO(0, L"NovellIpxPortResolved() FAILED continuing on to ResolveRemoteHost (REMOTE_PORT_TYPE_UNKNOWN)");
    m_eResolveType = REMOTE_PORT_TYPE_UNKNOWN;
    const bool resolved = ResolveRemoteHost(searchName);
    if (resolved) {
        QV_LOG_INFO(0, L"ResolveRemoteHost() SUCCESS");
    }
    return resolved;
}

bool Resolver::NTSharePrinter()
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::NTSharePrinter");
    if (!MatchPrinterInfo(m_pPrinterName, RESOLVE_TYPE_PRINTER)) {
        QV_LOG_INFO(0, L"MatchPrinterInfo(match printername to get NT sharename) FAILED");
        return false;
    }
    QV_LOG_INFO(0, L"MatchPrinterInfo(match printername to get NT sharename) SUCCESS");
    m_eResolveType = REMOTE_PORT_TYPE_SHARE;
    const bool resolved = ResolveRemoteHost(nullptr);
    if (resolved) {
        QV_LOG_INFO(0, L"ResolveRemoteHost() SUCCESS");
    }
    return resolved;
}

bool Resolver::ResolveRemoteHost(const wchar_t* name)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::ResolveRemoteHost");
    wchar_t server[kCaptureChars] = {};
    bool found = false;
    const struct {
        const wchar_t* text;
        const wchar_t* line;
    } kSources[] = {
        {name, L"Extracted Server Name: %s from UNC Name %s"},
        {m_pPrinterName, L"Extracted Server Name: %s from Printer Name %s"},
        {m_pPortName, L"Extracted Server Name: %s from Port Name %s"},
    };
    for (const auto& source : kSources) {
        if (source.text && source.text[0] != L'\0'
            && CaptureSubString(source.text, server, UNC_SERVER_PATTERN, 1)) {
            QV_LOG_INFO(0, source.line, server, source.text);
            found = true;
            break;
        }
    }
    if (!found) {
        QV_LOG_INFO(0, L"Did not get a valid machine name for the remote printer's host");
    }
    bool resolved = false;
    {
        // Two resolvers never query remote servers at once, and one whose
        // time-out passed while it waited here doesn't start its query.
        const ResolverLock::Hold hold(*m_pLock);
        if ((m_eResolveState & RESOLVE_STATE_RUNNING) && found) {
            QV_LOG_INFO(0, L"Call RemoteTcpIpPortResolved(%s, %s)", server, m_pPortName);
            resolved = RemoteTcpIpPortResolved(server, m_pPortName);
            if (resolved) {
                m_cxType |= CX_TYPE_TCPIP;
                QV_LOG_INFO(0, L"RemoteTCPIP returned -> cxType = 0x%X", m_cxType);
                StrWcsCpy(m_pServerName, kResolverTextChars, server);
            }
        } else {
            QV_LOG_INFO(0, L"Could not be resolved.");
        }
        QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(resolved));
    }
    QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(resolved));
    return resolved;
}

bool Resolver::RemoteTcpIpPortResolved(const wchar_t* server, const wchar_t* port)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::RemoteTcpIpPortResolved");
    HANDLE handle = nullptr;
    bool resolved = false;
    if (GetXcvHandle(server, port, &handle)) {
        if (MatchWholeString(port, WSD_PORT_PATTERN)) {
            // A system WSD port of the server: the device is looked for by
            // the identity its monitor gives, empty when it gave none.
            BYTE identity[kWsdDataBytes] = {};
            if (GetWsdData(handle, identity)) {
                StrWcsNCpy(m_pDeviceID, kResolverTextChars, reinterpret_cast<const wchar_t*>(identity),
                           kWsdDataBytes / sizeof(wchar_t) - 1);
            }
            resolved = WsdPortResolved(m_pDeviceID);
        } else {
            PortData1 data = {};
            if (GetPortData(handle, reinterpret_cast<BYTE*>(&data))) {
                resolved = TakeRemotePortData(data);
            }
        }
    }
    g_pSpoolerApi->ClosePrinter(handle);
    QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(resolved));
    return resolved;
}

bool Resolver::TakeRemotePortData(const PortData1& data)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::TakeRemotePortData");
    // The answer's texts, each cut to its field.
    const auto text = [](const wchar_t* field, size_t chars) { return std::wstring(field, wcsnlen(field, chars)); };
    const std::wstring ip = text(data.sztIPAddress, 16);
    const std::wstring host = text(data.sztHostAddress, 49);
    bool resolved = false;
    bool haveAddress = false;
    if (!ip.empty()) {
        std::wstring name;
        if (GetHostByIpAddr(ip.c_str(), name) && !name.empty()) {
            resolved = haveAddress = true;
            StrWcsCpy(m_wcHostName, kResolverTextChars, name.c_str());
            StrWcsCpy(m_pPortID, kResolverTextChars, ip.c_str());
            StrWcsCpy(m_wcIPAddress, kResolverTextChars, ip.c_str());
            QV_LOG_INFO(0, L"IP Address: %s, Host Name: %s", m_wcIPAddress, m_wcHostName);
        } else {
            QV_LOG_INFO(0, L"XcvData returned an invalid IP address");
            if (name.empty()) {
                QV_LOG_INFO(0, L"GetHostByIpAddr Failed");
            }
        }
    }
    if (!haveAddress && !host.empty()) {
        QV_LOG_INFO(0, L"Didn't get a valid IP address from XCVDATA");
        QV_LOG_INFO(0, L"so try to validate host name: %s.", host.c_str());
        std::wstring ipv4;
        if (GetIpAddrByHost(host.c_str(), ipv4, m_wcIPv6AddressList, kIPv6Rows, &m_nIPv6AddressCount)) {
            if (!ipv4.empty() || m_nIPv6AddressCount > 0) {
                resolved = true;
                if (!ipv4.empty()) {
                    StrWcsCpy(m_wcIPAddress, kResolverTextChars, ipv4.c_str());
                    QV_LOG_INFO(0, L"IPv4 Address: %s", m_wcIPAddress);
                }
                if (m_nIPv6AddressCount > 0) {
                    QV_LOG_INFO(0, L"IPv6 Address %s", m_wcIPv6AddressList[0]);
                }
            } else {
                QV_LOG_INFO(0, L"Host name could not be resolved to a valid IP address.");
            }
            StrWcsCpy(m_wcHostName, kResolverTextChars, host.c_str());
            QV_LOG_INFO(0, L"Host name: %s", m_wcHostName);
        }
    }
    // The port and the community count whether or not an address was found.
    if (data.dwPortNumber < 0x10000) {
        m_dwPortNumber = data.dwPortNumber;
        QV_LOG_INFO(0, L"Port number: %d.", m_dwPortNumber);
    }
    // The community's field is followed by more of the answer: a text that
    // runs on past it is too long.
    const BYTE* raw = reinterpret_cast<const BYTE*>(&data);
    const auto* community = reinterpret_cast<const wchar_t*>(raw + offsetof(PortData1, sztSNMPCommunity));
    const size_t communityChars = wcsnlen(community, kMaxCommunityChars + 1);
    if (communityChars >= 1 && communityChars <= kMaxCommunityChars) {
        StrWcsNCpy(m_pSNMPCommunity, kResolverTextChars, community, communityChars);
        QV_LOG_INFO(0, L"SNMP Community %s", m_pSNMPCommunity);
    } else {
        QV_LOG_INFO(0, L"SNMP Community Name is invalid.");
    }
    return resolved;
}

bool Resolver::NovellIpxPortResolved(const wchar_t* name)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::NovellIpxPortResolved");
    QV_LOG_INFO(0, L"Load zqvipx1u.dll");
    const HMODULE library = g_pKernelApi->LoadLibraryW(L"zqvipx1u.dll");
    if (library == nullptr) {
        QV_LOG_INFO(0, L"LoadLibrary: Failed");
        QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(false));
        return false;
    }
    QV_LOG_INFO(0, L"LoadLibrary: Success");
    using GetIpxAddress = int(WINAPI*)(wchar_t*, wchar_t*);
    const auto function = reinterpret_cast<GetIpxAddress>(
        reinterpret_cast<void*>(g_pKernelApi->GetProcAddress(library, "ZQNWGetIPXAddrFromUncName")));
    if (function == nullptr) {
        g_pKernelApi->FreeLibrary(library);
        QV_LOG_INFO(0, L"GetProcAddress() FAILED - returned theFcn = 0x%x", 0);
        QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(false));
        return false;
    }
    QV_LOG_INFO(0, L"GetProcAddress() SUCCEEDED - returned theFcn = 0x%x",
                static_cast<unsigned>(reinterpret_cast<uintptr_t>(function)));
    wchar_t uncName[kNovellNameChars] = {};
    StrWcsCpy(uncName, kNovellNameChars, name ? name : m_pPortName);
    wchar_t address[kIpxAddressChars] = {};
    const int status = function(uncName, address);
    g_pKernelApi->FreeLibrary(library);
    address[kIpxAddressChars - 1] = L'\0';
    bool resolved = false;
    if (status != 0) {
        QV_LOG_INFO(0, L"called ZQNWGetIPXAddrFromUncName() FAILED - returned theFcn = %d", status);
    } else {
        QV_LOG_INFO(0, L"called ZQNWGetIPXAddrFromUncName() SUCCESS - returned theFcn = %d", status);
        QV_LOG_INFO(0, L"IPXAddress = %s", address);
        if (address[0] == L'\0') {
            // A Novell queue whose printer doesn't answer.
            QV_LOG_INFO(0, L"Valid IPX port: printer turned off - return(false) from NovellIpxPortResolved()");
        } else if (wcslen(address) > 21 && address[8] == L'.' && address[21] == L',') {
            // network (8) '.' node (12) ',' socket, kept as network:node
            address[8] = L':';
            address[21] = L'\0';
            m_dwPortNumber = static_cast<DWORD>(std::wcstol(address + 22, nullptr, 10));
            StrWcsCpy(m_pPortID, kResolverTextChars, address);
            m_cxType |= CX_TYPE_IPX;
            QV_LOG_INFO(0, L"SUCCESSfully resolved Novell port - return(%d)", 1);
            resolved = true;
        } else {
            QV_LOG_INFO(0,
                        L"Valid IPX port: improperly formatted IPX address - return(false) from NovellIpxPortResolved()");
        }
    }
    QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(resolved));
    return resolved;
}

}  // namespace Orvane
