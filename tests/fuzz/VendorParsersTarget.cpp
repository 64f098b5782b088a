// The vendor extension's text values as a device sends them: the four
// parsers on wide text of any content, each against a plain model of its
// documented rules, and the discovered-device record built from a vendor
// extension of any UTF-8 bytes.
#include <cwctype>
#include <string>

#include "WSDH.h"
#include "discovery/CAdapterTypeParser.h"
#include "discovery/CDeviceAddressParser.h"
#include "discovery/CDeviceIdParser.h"
#include "discovery/CDeviceServicesParser.h"
#include "discovery/CDiscoveredDeviceXpWSD.h"
#include "fuzz/FuzzInput.h"
#include "fuzz/FuzzTarget.h"

namespace {

using fuzz::Check;
using fuzz::FuzzInput;

// Wide text from the input, two bytes a character, up to a zero character.
std::wstring WideText(FuzzInput& in, size_t max)
{
    std::wstring text;
    while (in.Left() > 0 && text.size() < max) {
        const uint8_t low = in.Byte();
        const wchar_t c = static_cast<wchar_t>(low | in.Byte() << 8);
        if (c == 0) {
            break;
        }
        text += c;
    }
    return text;
}

std::wstring ModelDeviceIdValue(const std::wstring& id, const std::wstring& key)
{
    if (key.empty()) {
        return L"";
    }
    size_t start;
    if (id.compare(0, key.size() + 1, key + L":") == 0) {
        start = key.size() + 1;
    } else {
        const size_t found = id.find(L";" + key + L":");
        if (found == std::wstring::npos) {
            return L"";
        }
        start = found + key.size() + 2;
    }
    const size_t end = id.find(L';', start);
    return id.substr(start, end == std::wstring::npos ? std::wstring::npos : end - start);
}

unsigned long ModelServices(const std::wstring& list)
{
    static const struct {
        const wchar_t* token;
        unsigned long flag;
    } kTokens[] = {{L"Print9100", 1}, {L"RestScan", 2}, {L"CIFS", 4}, {L"EWS", 8}, {L"DSD", 16},
                   {L"HESK", 16},     {L"Fax", 32},     {L"HeskFax", 32}};
    unsigned long flags = 0;
    size_t start = 0;
    while (start <= list.size()) {
        const size_t blank = list.find(L' ', start);
        const std::wstring token = list.substr(start, blank == std::wstring::npos ? std::wstring::npos : blank - start);
        for (const auto& row : kTokens) {
            if (token == row.token) {
                flags |= row.flag;
                break;
            }
        }
        if (blank == std::wstring::npos) {
            break;
        }
        start = blank + 1;
    }
    return flags;
}

bool IsAscii(const std::wstring& text)
{
    for (wchar_t c : text) {
        if (c >= 0x80) {
            return false;
        }
    }
    return true;
}

std::wstring AsciiLower(std::wstring text)
{
    for (wchar_t& c : text) {
        if (c >= L'A' && c <= L'Z') {
            c = static_cast<wchar_t>(c - L'A' + L'a');
        }
    }
    return text;
}

// Four runs of one to three decimal digits with dots between: the form
// whose outcome the model knows exactly.
bool PlainDottedQuad(const std::wstring& text, bool* below256)
{
    *below256 = true;
    size_t at = 0;
    for (int part = 0; part < 4; ++part) {
        size_t digits = 0;
        unsigned value = 0;
        while (at < text.size() && text[at] >= L'0' && text[at] <= L'9' && digits < 4) {
            value = value * 10 + (text[at] - L'0');
            ++at;
            ++digits;
        }
        if (digits == 0 || digits > 3) {
            return false;
        }
        *below256 = *below256 && value < 256;
        if (part < 3) {
            if (at >= text.size() || text[at] != L'.') {
                return false;
            }
            ++at;
        }
    }
    return at == text.size();
}

void CheckParsers(FuzzInput& in)
{
    const std::wstring id = WideText(in, 300);
    const std::wstring key = WideText(in, 8);
    for (const std::wstring& asked : {key, std::wstring(L"MFG"), std::wstring(L"MDL")}) {
        Check(QVDiscovery::CDeviceIdParser(id).GetValue(asked.c_str()) == ModelDeviceIdValue(id, asked),
              "a device identifier's value differs from the model");
    }
    const std::wstring services = WideText(in, 200);
    Check(QVDiscovery::CDeviceServicesParser(services).m_services == ModelServices(services),
          "service flags differ from the model");
    const std::wstring adapter = WideText(in, 40);
    const unsigned long type = QVDiscovery::CAdapterTypeParser(adapter).m_type;
    Check(type <= 2, "an adapter type out of range");
    if (IsAscii(adapter)) {
        const std::wstring lower = AsciiLower(adapter);
        const unsigned long expected = lower == L"ethernet" ? 1 : lower == L"wifiembedded" || lower == L"wifiaccessory" ? 2 : 0;
        Check(type == expected, "adapter type differs from the model");
    }
    const std::wstring transport = WideText(in, 120);
    std::wstring copy = transport.compare(0, 7, L"http://") == 0 ? transport.substr(7) : transport;
    size_t cut = copy.find(L':');
    if (cut == std::wstring::npos) {
        cut = copy.find(L'/');
    }
    copy = copy.substr(0, cut);
    const std::wstring address = QVDiscovery::CDeviceAddressParser(transport).GetAddress();
    Check(address.empty() || address == copy, "an address that is not the text's head");
    bool below256 = false;
    if (PlainDottedQuad(copy, &below256)) {
        Check(address == (below256 ? copy : L""), "a dotted quad judged against the model");
    }
}

// A vendor extension of UTF-8 texts from the input, each present or null.
void CheckRecord(FuzzInput& in)
{
    std::string texts[10];
    char* fields[10] = {};
    const uint16_t present = static_cast<uint16_t>(in.Byte() | in.Byte() << 8);
    for (int i = 0; i < 10; ++i) {
        texts[i] = in.Text(200);
        fields[i] = present & (1 << i) ? &texts[i][0] : nullptr;
    }
    std::string endpoint = in.Text(100);
    char* endpointText = present & (1 << 10) ? &endpoint[0] : nullptr;
    const bool ipv6 = present & (1 << 11);
    std::string ipv6Item = in.Text(60);
    char* ipv6Items[1] = {&ipv6Item[0]};
    struct dd__IPv6AddressArrayType ipv6List = {};
    ipv6List.__sizeitem = present & (1 << 12) ? 1 : 0;
    ipv6List.item = ipv6Items;

    struct zqd__VendorExtensionType extension = {};
    extension.dd__HardwareAddress = fields[0];
    extension.dd__UUID = fields[1];
    extension.dd__IPv4Address = fields[2];
    extension.dd__IPv6Address = present & (1 << 13) ? &ipv6List : nullptr;
    extension.dd__Hostname = fields[3];
    extension.pwg__DeviceId = fields[4];
    extension.pwg__SerialNumber = fields[5];
    extension.pwg__Services = fields[6];
    extension.pwg__AdapterType = fields[7];
    extension.dd__SimAddress = fields[8];
    const QVDiscovery::CDiscoveredDeviceXpWSD device(present & (1 << 14) ? nullptr : &extension, endpointText, ipv6);
    Check(device.GetId() != nullptr && device.GetIPAddress() != nullptr && device.GetModel() != nullptr,
          "a record gives a null text");
    Check(device.GetServices() <= 63, "service flags out of range");
    Check(device.GetAdapterType() <= 2, "adapter type out of range");
}

uint32_t RunParsers(const unsigned char* data, size_t size)
{
    FuzzInput in(data, size);
    if (in.Byte() & 1) {
        CheckRecord(in);
        return 1;
    }
    CheckParsers(in);
    return 0;
}

const fuzz::TargetRegistration kRegistration{{
    "vendor_parsers",
    {fuzz::CorpusFolder("vendor_parsers")},
    {std::string("M\0F\0G\0:\0", 8), std::string("M\0D\0L\0:\0", 8), std::string(";\0", 2), std::string(" \0", 2),
     std::string("P\0r\0i\0n\0t\0\x39\0\x31\0\x30\0\x30\0", 18), std::string("F\0a\0x\0", 6),
     std::string("h\0t\0t\0p\0:\0/\0/\0", 14), std::string(".\0", 2), std::string("2\0\x35\0\x35\0", 6),
     "MFG:", "MDL:", "Print9100", "Ethernet", "WifiEmbedded", "http://10.1.2.3:3702/x"},
    4096,
    1000,
    0,
    nullptr,
    nullptr,
    RunParsers,
}};

}  // namespace
