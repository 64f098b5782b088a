// The resolver's readers of the port monitors' registry keys, on values of
// any type and length in the real (Wine's) registry: a standard TCP/IP
// port, an IPX port, a Velnet port and a DLC port name, each read by its
// search step and checked against a plain model of the readers.
//
// HostName, IPAddress, DeviceName and an LPR port's server are never
// written: they lead to name look-ups, which would leave loopback.
#include <windows.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/FuzzInput.h"
#include "fuzz/FuzzResolver.h"
#include "fuzz/FuzzTarget.h"
#include "peers/TestKey.h"

namespace {

using fuzz::Check;
using fuzz::FuzzInput;
using namespace Orvane;

constexpr const wchar_t* kPort = L"ORVANE_FUZZ_PORT";
constexpr const wchar_t* kMonitors = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\";
// What a text value is read into, in bytes.
constexpr size_t kValueBytes = 2048;
constexpr size_t kHeldChars = kResolverTextChars - 1;

std::wstring KeyPath(const wchar_t* monitor, const wchar_t* below)
{
    return std::wstring(kMonitors) + monitor + L"\\" + below;
}

struct Keys {
    peers::TestKey standard{HKEY_LOCAL_MACHINE, KeyPath(L"Standard TCP/IP Port", L"Ports\\ORVANE_FUZZ_PORT")};
    peers::TestKey velnet{HKEY_LOCAL_MACHINE, KeyPath(L"ZQ Velnet Port", L"Ports\\ORVANE_FUZZ_PORT")};
    peers::TestKey dlc{HKEY_LOCAL_MACHINE, KeyPath(L"Zeloq Network Port", L"PortNames")};
    HKEY standardKey = nullptr;
    HKEY velnetKey = nullptr;
    HKEY dlcKey = nullptr;
    std::shared_ptr<fuzz::FuzzResolver> resolver;
};

std::unique_ptr<Keys> g_keys;

HKEY Open(const std::wstring& path)
{
    HKEY key = nullptr;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_ALL_ACCESS, &key);
    return key;
}

void SetUp()
{
    g_keys = std::make_unique<Keys>();
    g_keys->standardKey = Open(KeyPath(L"Standard TCP/IP Port", L"Ports\\ORVANE_FUZZ_PORT"));
    g_keys->velnetKey = Open(KeyPath(L"ZQ Velnet Port", L"Ports\\ORVANE_FUZZ_PORT"));
    g_keys->dlcKey = Open(KeyPath(L"Zeloq Network Port", L"PortNames"));
    Check(g_keys->standardKey && g_keys->velnetKey && g_keys->dlcKey, "the monitors' test keys could not be made");
    g_keys->resolver = fuzz::FuzzResolver::Make();
}

void TearDown()
{
    RegCloseKey(g_keys->standardKey);
    RegCloseKey(g_keys->velnetKey);
    RegCloseKey(g_keys->dlcKey);
    g_keys.reset();
}

// A value as the input gives it: absent, or of any type with any bytes.
struct Value {
    bool present = false;
    DWORD type = REG_NONE;
    std::string bytes;
};

Value TakeValue(FuzzInput& in)
{
    static const DWORD kTypes[] = {REG_SZ, REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ, REG_BINARY, REG_DWORD, REG_NONE,
                                   REG_QWORD, REG_DWORD_BIG_ENDIAN, 0x12345};
    Value value;
    const uint8_t form = in.Byte();
    value.present = form != 0;
    value.type = kTypes[form % 10];
    // Mostly short, sometimes around and beyond the readers' 2048 bytes.
    const size_t length = form & 0x80 ? 2000 + in.Byte() * 2 : in.Byte();
    const std::string source = in.Bytes(length);
    for (size_t i = 0; i < length; ++i) {
        value.bytes += source.empty() ? 'A' : source[i % source.size()];
    }
    return value;
}

// Writes the value and gives back what the registry returns of it, which
// the model reads: Wine gives a text written without its terminator back
// two bytes longer.
Value Write(HKEY key, const wchar_t* name, const Value& value)
{
    if (!value.present) {
        RegDeleteValueW(key, name);
        return value;
    }
    RegSetValueExW(key, name, 0, value.type, reinterpret_cast<const BYTE*>(value.bytes.data()),
                   static_cast<DWORD>(value.bytes.size()));
    Value stored;
    std::string bytes(value.bytes.size() + 64, '\0');
    DWORD size = static_cast<DWORD>(bytes.size());
    stored.present = RegQueryValueExW(key, name, nullptr, &stored.type, reinterpret_cast<BYTE*>(&bytes[0]), &size)
        == ERROR_SUCCESS;
    Check(stored.present, "a value written could not be read back");
    stored.bytes = bytes.substr(0, size);
    return stored;
}

void WriteDword(HKEY key, const wchar_t* name, DWORD number)
{
    RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
}

// What the readers make of a value: absent when the read fails (larger
// than their buffer) or, by `bySize`, when it is empty, else when its
// first byte is zero; its text cut at the first zero character.
std::optional<std::wstring> ModelText(const Value& value, bool bySize = false)
{
    if (!value.present || value.bytes.size() > kValueBytes
        || (bySize ? value.bytes.empty() : value.bytes.empty() || value.bytes[0] == '\0')) {
        return std::nullopt;
    }
    std::wstring text(value.bytes.size() / 2, L'\0');
    std::copy_n(value.bytes.data(), text.size() * 2, reinterpret_cast<char*>(&text[0]));
    return text.substr(0, text.find(L'\0'));
}

std::vector<std::wstring> ModelList(const Value& value)
{
    std::vector<std::wstring> list;
    if (!value.present || value.bytes.size() > kValueBytes || value.bytes.empty() || value.bytes[0] == '\0') {
        return list;
    }
    std::wstring all(value.bytes.size() / 2, L'\0');
    std::copy_n(value.bytes.data(), all.size() * 2, reinterpret_cast<char*>(&all[0]));
    for (size_t at = 0; at < all.size() && all[at] != L'\0';) {
        const size_t end = all.find(L'\0', at);
        list.push_back(all.substr(at, end == std::wstring::npos ? std::wstring::npos : end - at));
        at = end == std::wstring::npos ? all.size() : end + 1;
    }
    return list;
}

std::wstring Held(const std::wstring& text)
{
    return text.substr(0, kHeldChars);
}

uint32_t RunTcpIp(FuzzInput& in, fuzz::FuzzResolver& resolver, Keys& keys)
{
    const DWORD protocol = 1 + in.Byte() % 2;
    const DWORD portNumber = in.Number();
    WriteDword(keys.standardKey, L"Protocol", protocol);
    WriteDword(keys.standardKey, L"PortNumber", portNumber);
    const Value community = Write(keys.standardKey, L"SNMP Community", TakeValue(in));
    const Value ipv6Host = Write(keys.standardKey, L"IPv6HostName", TakeValue(in));
    const Value ipv6List = Write(keys.standardKey, L"IPv6AddressEx", TakeValue(in));
    RegDeleteValueW(keys.standardKey, L"NetNum");
    RegDeleteValueW(keys.standardKey, L"HWAddress");

    resolver.Start(kPort, L"Fuzz printer");
    Check(!resolver.StandardPortMonitor(), "a port without host or address was resolved");
    const std::optional<std::wstring> host6 = ModelText(ipv6Host);
    const std::vector<std::wstring> list = ModelList(ipv6List);
    const bool tentative = host6 || !list.empty();
    Check(resolver.Types() == (tentative ? static_cast<unsigned long>(CX_TYPE_TCPIP) : 0ul), "the TCP/IP flag differs from the model");
    if (!tentative) {
        return 1;
    }
    const std::optional<std::wstring> snmp = ModelText(community);
    Check(resolver.SNMPCommunity() == (snmp ? Held(*snmp) : L""), "SNMP community differs from the model");
    Check(resolver.IPv6HostName() == (host6 ? Held(*host6) : L""), "IPv6 host name differs from the model");
    if (!list.empty()) {
        const size_t rows = std::min<size_t>(list.size(), 20);
        Check(resolver.IPv6Count() == static_cast<int>(rows), "IPv6 list count differs from the model");
        for (size_t row = 0; row < rows; ++row) {
            Check(resolver.IPv6Row(row) == list[row].substr(0, 39), "an IPv6 row differs from the model");
        }
    }
    return 2 + (list.empty() ? 0 : 1);
}

uint32_t RunIpx(FuzzInput& in, fuzz::FuzzResolver& resolver, Keys& keys)
{
    const DWORD portNumber = in.Number();
    WriteDword(keys.standardKey, L"Protocol", 3);
    WriteDword(keys.standardKey, L"PortNumber", portNumber);
    const Value hardware = Write(keys.standardKey, L"HWAddress", TakeValue(in));
    const Value network = Write(keys.standardKey, L"NetNum", TakeValue(in));
    const Value community = Write(keys.standardKey, L"SNMP Community", TakeValue(in));

    resolver.Start(kPort, L"Fuzz printer");
    const bool resolved = resolver.StandardPortMonitor();
    const std::optional<std::wstring> hw = ModelText(hardware, true);
    const std::optional<std::wstring> net = ModelText(network, true);
    Check(resolved == (hw && net), "IPX resolution differs from the model");
    if (net) {
        const std::wstring id = Held(*net + L":" + (hw ? *hw : L""));
        Check(resolver.PortID() == id, "the IPX identity differs from the model (" + std::to_string(resolver.PortID().size())
                                           + " characters where the model has " + std::to_string(id.size()) + ")");
    }
    if (resolved) {
        Check(resolver.Types() == CX_TYPE_IPX && resolver.PortNumber() == portNumber, "IPX type or port number");
    }
    const std::optional<std::wstring> snmp = ModelText(community);
    Check(resolver.SNMPCommunity() == (snmp ? Held(*snmp) : L""), "SNMP community differs from the model");
    return 8 + (resolved ? 1 : 0);
}

uint32_t RunAnyProtocol(FuzzInput& in, fuzz::FuzzResolver& resolver, Keys& keys)
{
    // Protocol and port number of any type and length: no model, only no
    // harm and a type that is one of the two a standard port can give.
    Write(keys.standardKey, L"Protocol", TakeValue(in));
    Write(keys.standardKey, L"PortNumber", TakeValue(in));
    Write(keys.standardKey, L"HWAddress", TakeValue(in));
    Write(keys.standardKey, L"NetNum", TakeValue(in));
    RegDeleteValueW(keys.standardKey, L"IPv6HostName");
    RegDeleteValueW(keys.standardKey, L"IPv6AddressEx");
    resolver.Start(kPort, L"Fuzz printer");
    const bool resolved = resolver.StandardPortMonitor();
    Check((resolver.Types() & ~(CX_TYPE_TCPIP | CX_TYPE_IPX)) == 0, "a standard port of another type");
    return 16 + (resolved ? 1 : 0);
}

uint32_t RunVelnet(FuzzInput& in, fuzz::FuzzResolver& resolver, Keys& keys)
{
    const Value id = Write(keys.velnetKey, L"ZQNetworkPrinterID", TakeValue(in));
    resolver.Start(kPort, L"Fuzz printer");
    const bool resolved = resolver.VelnetPortResolved();
    const std::optional<std::wstring> text = ModelText(id);
    bool expected = false;
    if (text && text->rfind(L"TCPIP,", 0) == 0) {
        const std::wstring rest = text->substr(6);
        const size_t comma = rest.find(L',');
        expected = comma != std::wstring::npos;
        if (expected) {
            Check(resolver.IPAddress() == Held(rest.substr(0, comma)) && resolver.Types() == CX_TYPE_TCPIP,
                  "a Velnet TCP/IP port differs from the model");
        }
    } else if (text && text->rfind(L"IPX,", 0) == 0) {
        const std::wstring rest = text->substr(4);
        const size_t dot = rest.find(L'.');
        expected = dot != std::wstring::npos && rest.find(L',', dot) != std::wstring::npos;
        if (expected) {
            std::wstring id = rest.substr(0, rest.find(L',', dot));
            id[dot] = L':';
            Check(resolver.PortID() == Held(id) && resolver.Types() == CX_TYPE_IPX,
                  "a Velnet IPX port differs from the model");
        }
    }
    Check(resolved == expected, "Velnet resolution differs from the model");
    return 32 + (resolved ? 1 : 0);
}

uint32_t RunDlc(FuzzInput& in, fuzz::FuzzResolver& resolver, Keys& keys)
{
    const Value hardware = Write(keys.dlcKey, kPort, TakeValue(in));
    resolver.Start(kPort, L"Fuzz printer");
    const bool resolved = resolver.ZqDlcNetworkResolved();
    const std::optional<std::wstring> text = ModelText(hardware);
    const bool expected = text && text->size() == 12;
    Check(resolved == expected, "DLC resolution differs from the model");
    if (resolved) {
        Check(resolver.HWAddress() == *text && resolver.Types() == CX_TYPE_DLC, "a DLC port differs from the model");
    }
    return 64 + (resolved ? 1 : 0);
}

uint32_t RunRegistry(const unsigned char* data, size_t size)
{
    FuzzInput in(data, size);
    Keys& keys = *g_keys;
    fuzz::FuzzResolver& resolver = *keys.resolver;
    switch (in.Byte() % 5) {
    case 0: return RunTcpIp(in, resolver, keys);
    case 1: return RunIpx(in, resolver, keys);
    case 2: return RunAnyProtocol(in, resolver, keys);
    case 3: return RunVelnet(in, resolver, keys);
    default: return RunDlc(in, resolver, keys);
    }
}

const fuzz::TargetRegistration kRegistration{{
    "port_registry",
    {fuzz::CorpusFolder("port_registry")},
    {std::string("T\0C\0P\0I\0P\0,\0", 12), std::string("I\0P\0X\0,\0", 8), std::string(",\0", 2),
     std::string(".\0", 2), std::string("\0\0", 2), std::string("f\0e\0\x38\0\x30\0:\0:\0\x31\0", 14)},
    16384,
    30000,
    0,
    SetUp,
    TearDown,
    RunRegistry,
}};

}  // namespace
