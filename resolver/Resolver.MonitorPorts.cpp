// The resolver's steps for the ports of this machine's port monitors,
// looked up in the monitors' registry keys: the standard TCP/IP and IPX
// monitors, Velnet, LPR and DLC.
#include "resolver/Resolver.h"

#include <algorithm>
#include <cwchar>
#include <optional>
#include <string>
#include <vector>

#include "logging/LogTrace.h"
#include "resolver/ResolverPatterns.h"
#include "winapi/IRegistryApi.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

namespace {

using QVLogging::kCategoryReturn;

// What a text value is read into.
constexpr DWORD kValueBytes = 2048;
// The rows of a port's own IPv6 list, and their width.
constexpr size_t kPortIPv6Rows = 20;
constexpr size_t kPortIPv6Chars = 40;

// When a value that was read counts as present.
enum class Presence { FirstByte, Size };

// The value read into kValueBytes, as the bytes the registry gave; absent
// when the read failed, or when its first byte is zero (its size is 0 for
// Presence::Size).
std::optional<std::vector<BYTE>> ReadValue(HKEY key, const wchar_t* name, Presence presence = Presence::FirstByte)
{
    std::vector<BYTE> data(kValueBytes + sizeof(wchar_t), 0);
    DWORD type = 0;
    DWORD size = kValueBytes;
    if (QueryValue(key, name, &type, data.data(), &size) != ERROR_SUCCESS
        || (presence == Presence::FirstByte ? data[0] == 0 : size == 0)) {
        return std::nullopt;
    }
    data.resize(size);
    return data;
}

// A text value: present as for ReadValue, cut at its first terminator.
std::optional<std::wstring> ReadText(HKEY key, const wchar_t* name, Presence presence = Presence::FirstByte)
{
    const std::optional<std::vector<BYTE>> data = ReadValue(key, name, presence);
    if (!data) {
        return std::nullopt;
    }
    std::wstring text(reinterpret_cast<const wchar_t*>(data->data()), data->size() / sizeof(wchar_t));
    return text.substr(0, text.find(L'\0'));
}

// The strings of a list value, each ended by a zero, the list by an empty
// one.
std::vector<std::wstring> ReadList(HKEY key, const wchar_t* name)
{
    std::vector<std::wstring> list;
    const std::optional<std::vector<BYTE>> data = ReadValue(key, name);
    if (!data) {
        return list;
    }
    const std::wstring all(reinterpret_cast<const wchar_t*>(data->data()), data->size() / sizeof(wchar_t));
    for (size_t at = 0; at < all.size() && all[at] != L'\0';) {
        const size_t end = all.find(L'\0', at);
        list.push_back(all.substr(at, end == std::wstring::npos ? std::wstring::npos : end - at));
        at = end == std::wstring::npos ? all.size() : end + 1;
    }
    return list;
}

// A monitor's key for one port below HKEY_LOCAL_MACHINE, closed when done.
class PortKey {
public:
    PortKey(const wchar_t* monitorKey, const wchar_t* port)
    {
        HKEY monitor = nullptr;
        if (OpenKey(HKEY_LOCAL_MACHINE, monitorKey, KEY_READ, &monitor) == ERROR_SUCCESS) {
            if (OpenKey(monitor, port, KEY_READ, &m_key) != ERROR_SUCCESS) {
                m_key = nullptr;
            }
            g_pRegistryApi->RegCloseKey(monitor);
        }
    }
    ~PortKey()
    {
        if (m_key) {
            g_pRegistryApi->RegCloseKey(m_key);
        }
    }
    PortKey(const PortKey&) = delete;
    PortKey& operator=(const PortKey&) = delete;

    HKEY Get() const { return m_key; }

private:
    HKEY m_key = nullptr;
};

}  // namespace

bool Resolver::StandardPortMonitor()
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::StandardPortMonitor");
    HKEY key = nullptr;
    int isEquitrac = 0;
    bool resolved = false;
    if (GetPortKey(m_pPortName, &key, &isEquitrac)) {
        DWORD portNumber = 0;
        GetDWORDFromRegistry(key, L"PortNumber", &portNumber);
        DWORD protocol = 0;
        // An Equitrac port has no protocol.
        if (!isEquitrac) {
            GetDWORDFromRegistry(key, L"Protocol", &protocol);
        }
        if (isEquitrac || protocol == 1 || protocol == 2) {
            resolved = LocalTcpIpPortResolved(key, isEquitrac);
            QV_LOG_INFO(0, L"TCP/IP or LPR port");
        } else if (protocol == 3) {
            resolved = IpxPortResolved(key);
            QV_LOG_INFO(0, L"IPX port");
        }
        if (resolved) {
            m_dwPortNumber = portNumber;
        }
        QV_LOG_INFO(0, L"RegCloseKey( hPortKey ) returned 0x%x", g_pRegistryApi->RegCloseKey(key));
    }
    if (!resolved) {
        QV_LOG_INFO(0, L"Port could not be resolved as a TCPIP, LPR, or IPX port.");
    }
    QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(resolved));
    return resolved;
}

bool Resolver::LocalTcpIpPortResolved(HKEY key, int isEquitrac)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::LocalTcpIpPortResolved");
    const std::optional<std::wstring> host = ReadText(key, L"HostName");
    std::optional<std::wstring> address;
    if (!host) {
        QV_LOG_INFO(0, L"HostName string was blank");
        const wchar_t* name = isEquitrac ? L"DeviceName" : L"IPAddress";
        QV_LOG_INFO(0, L"TempIP = %s", name);
        address = ReadText(key, name);
    }
    const std::optional<std::wstring> community = ReadText(key, L"SNMP Community");
    const std::optional<std::wstring> ipv6Host = ReadText(key, L"IPv6HostName");
    std::vector<std::wstring> ipv6;
    int number = 0;
    for (std::wstring entry : ReadList(key, L"IPv6AddressEx")) {
        ++number;
        QV_LOG_INFO(0, L"IPv6 Address #%d: Length = %d, Value = %s", number, static_cast<int>(entry.size()),
                    entry.c_str());
        // The port's list has room for 20 addresses of 40 characters.
        if (ipv6.size() == kPortIPv6Rows) {
            continue;
        }
        entry.resize(std::min(entry.size(), kPortIPv6Chars - 1));
        QV_LOG_INFO(0, L"Updated IPv6AddrList[%d] Value = %s", static_cast<int>(ipv6.size()), entry.c_str());
        ipv6.push_back(entry);
    }
    if (!host && !address && !ipv6Host && ipv6.empty()) {
        QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(false));
        return false;
    }
    QV_LOG_INFO(0, L"Tentative success, verifying host name or IP address...");
    // The flag stays even when the name or address proves false.
    m_cxType |= CX_TYPE_TCPIP;
    bool resolved = false;
    if (host) {
        std::wstring ipv4;
        resolved = GetIpAddrByHost(host->c_str(), ipv4, m_wcIPv6AddressList, kIPv6Rows, &m_nIPv6AddressCount);
        if (resolved) {
            if (!ipv4.empty()) {
                StrWcsCpy(m_wcIPAddress, kResolverTextChars, ipv4.c_str());
            }
            if (m_nIPv6AddressCount > 0) {
                QV_LOG_INFO(0, L"IP Address: %s", m_wcIPv6AddressList[0]);
            }
            StrWcsCpy(m_wcHostName, kResolverTextChars, host->c_str());
            QV_LOG_INFO(0, L"Host Name: %s", m_wcHostName);
        } else {
            QV_LOG_INFO(0, L"HOST NAME is invalid.");
        }
    } else if (address) {
        std::wstring hostName;
        resolved = GetHostByIpAddr(address->c_str(), hostName);
        if (resolved) {
            StrWcsCpy(m_wcHostName, kResolverTextChars, hostName.c_str());
            StrWcsCpy(m_pPortID, kResolverTextChars, address->c_str());
            StrWcsCpy(m_wcIPAddress, kResolverTextChars, address->c_str());
            QV_LOG_INFO(0, L"IPAddress & Port ID = %s, %s", m_wcIPAddress, m_pPortID);
        } else {
            QV_LOG_INFO(0, L"IP ADDRESS  is not valid.");
        }
    }
    if (ipv6Host) {
        StrWcsCpy(m_wcIPv6HostName, kResolverTextChars, ipv6Host->c_str());
        QV_LOG_INFO(0, L"IPv6HostName = %s", m_wcIPv6HostName);
    }
    if (!ipv6.empty()) {
        for (size_t row = 0; row < ipv6.size(); ++row) {
            StrWcsCpy(m_wcIPv6AddressList[row], kResolverTextChars, ipv6[row].c_str());
            QV_LOG_INFO(0, L"IPv6Address #%d = %s", static_cast<int>(row), m_wcIPv6AddressList[row]);
        }
        m_nIPv6AddressCount = static_cast<int>(ipv6.size());
    }
    if (community) {
        StrWcsCpy(m_pSNMPCommunity, kResolverTextChars, community->c_str());
    }
    QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(resolved));
    return resolved;
}

bool Resolver::IpxPortResolved(HKEY key)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::IpxPortResolved");
    const std::optional<std::wstring> hardware = ReadText(key, L"HWAddress", Presence::Size);
    const std::optional<std::wstring> network = ReadText(key, L"NetNum", Presence::Size);
    const std::optional<std::wstring> community = ReadText(key, L"SNMP Community");
    bool resolved = false;
    // The identity reads network number, colon, hardware address; it is
    // added to what stood there.
    if (network) {
        StrWcsCat(m_pPortID, kResolverTextChars, network->c_str());
        StrWcsCat(m_pPortID, kResolverTextChars, L":");
        if (hardware) {
            StrWcsCat(m_pPortID, kResolverTextChars, hardware->c_str());
            m_cxType |= CX_TYPE_IPX;
            resolved = true;
        }
    }
    if (community) {
        StrWcsCpy(m_pSNMPCommunity, kResolverTextChars, community->c_str());
    }
    QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(resolved));
    return resolved;
}

bool Resolver::VelnetPortResolved()
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::VelnetPortResolved");
    const PortKey key(L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\ZQ Velnet Port\\Ports", m_pPortName);
    const std::optional<std::wstring> id = key.Get() ? ReadText(key.Get(), L"ZQNetworkPrinterID") : std::nullopt;
    bool resolved = false;
    if (id && id->rfind(L"TCPIP,", 0) == 0) {
        // "TCPIP,address,port"
        const std::wstring rest = id->substr(6);
        const size_t comma = rest.find(L',');
        if (comma != std::wstring::npos) {
            const std::wstring address = rest.substr(0, comma);
            m_dwPortNumber = static_cast<DWORD>(std::wcstol(rest.c_str() + comma + 1, nullptr, 10));
            StrWcsCpy(m_pPortID, kResolverTextChars, address.c_str());
            StrWcsCpy(m_wcIPAddress, kResolverTextChars, address.c_str());
            m_cxType = CX_TYPE_TCPIP;
            resolved = true;
        }
    } else if (id && id->rfind(L"IPX,", 0) == 0) {
        // "IPX,network.node,port", kept as "network:node".
        std::wstring rest = id->substr(4);
        const size_t dot = rest.find(L'.');
        const size_t comma = dot == std::wstring::npos ? dot : rest.find(L',', dot);
        if (comma != std::wstring::npos) {
            rest[dot] = L':';
            m_dwPortNumber = static_cast<DWORD>(std::wcstol(rest.c_str() + comma + 1, nullptr, 10));
            StrWcsCpy(m_pPortID, kResolverTextChars, rest.substr(0, comma).c_str());
            m_cxType = CX_TYPE_IPX;
            resolved = true;
        }
    }
    QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(resolved));
    return resolved;
}

bool Resolver::LprPortResolved()
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::LprPortResolved");
    const PortKey key(L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\LPR Port\\Ports", m_pPortName);
    const std::optional<std::wstring> printer = key.Get() ? ReadText(key.Get(), L"Printer Name") : std::nullopt;
    const std::optional<std::wstring> server = printer ? ReadText(key.Get(), L"Server Name") : std::nullopt;
    if (!server) {
        QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(false));
        return false;
    }
    bool resolved = false;
    if (MatchWholeString(server->c_str(), IPV4_PATTERN)) {
        // A dotted server address doesn't end the search, even when it
        // names a host.
        std::wstring hostName;
        if (GetHostByIpAddr(server->c_str(), hostName)) {
            if (!hostName.empty()) {
                StrWcsCpy(m_wcHostName, kResolverTextChars, hostName.c_str());
                QV_LOG_INFO(0, L"Host Name %s", m_wcHostName);
            }
            StrWcsCpy(m_pPortID, kResolverTextChars, server->c_str());
            StrWcsCpy(m_wcIPAddress, kResolverTextChars, server->c_str());
            QV_LOG_INFO(0, L"IP Address %s", m_wcIPAddress);
        } else {
            QV_LOG_INFO(0, L"Server name is not a valid IP ADDRESS.");
        }
    } else {
        std::wstring ipv4;
        resolved = GetIpAddrByHost(server->c_str(), ipv4, m_wcIPv6AddressList, kIPv6Rows, &m_nIPv6AddressCount);
        if (resolved) {
            if (!ipv4.empty()) {
                StrWcsCpy(m_wcIPAddress, kResolverTextChars, ipv4.c_str());
                QV_LOG_INFO(0, L"IP Address: %s", m_wcIPAddress);
            }
            if (m_nIPv6AddressCount > 0) {
                QV_LOG_INFO(0, L"IPv6 Address: %s", m_wcIPv6AddressList[0]);
            }
        } else {
            QV_LOG_INFO(0, L"Host name does not map to a valid IP address.");
        }
        StrWcsCpy(m_wcHostName, kResolverTextChars, server->c_str());
    }
    StrWcsCpy(m_pPortID, kResolverTextChars, m_pPortName);
    StrWcsCpy(m_pServerName, kResolverTextChars, server->c_str());
    // The remote queue's name takes the place of the local one.
    StrWcsCpy(m_pPrinterName, kResolverTextChars, printer->c_str());
    m_cxType |= CX_TYPE_LPR;
    QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(resolved));
    return resolved;
}

bool Resolver::ZqDlcNetworkResolved()
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::ZqDlcNetworkResolved");
    HKEY key = nullptr;
    bool resolved = false;
    if (OpenKey(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Zeloq Network Port\\PortNames",
                KEY_READ, &key)
        == ERROR_SUCCESS) {
        const std::optional<std::wstring> hardware = ReadText(key, m_pPortName);
        if (hardware && hardware->size() == 12) {
            StrWcsCpy(m_wcHWAddress, kResolverTextChars, hardware->c_str());
            m_cxType |= CX_TYPE_DLC;
            resolved = true;
        }
        g_pRegistryApi->RegCloseKey(key);
    }
    QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(resolved));
    return resolved;
}

}  // namespace Orvane
