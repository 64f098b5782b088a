// The discovered device record and its four parsers, filled from vendor
// extensions as gSOAP hands them over.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "WSDH.h"
#include "discovery/CAdapterTypeParser.h"
#include "discovery/CDeviceAddressParser.h"
#include "discovery/CDeviceIdParser.h"
#include "discovery/CDeviceServicesParser.h"
#include "discovery/CDiscoveredDeviceXpWSD.h"

using namespace QVDiscovery;

namespace {

std::wstring Value(const wchar_t* deviceId, const wchar_t* key)
{
    return CDeviceIdParser(deviceId).GetValue(key);
}

std::wstring AddressOf(const wchar_t* text)
{
    return CDeviceAddressParser(text).GetAddress();
}

char* Text(const char* text)
{
    return const_cast<char*>(text);
}

// An extension with every field of a wired printer.
struct Extension : zqd__VendorExtensionType {
    Extension() : zqd__VendorExtensionType()
    {
        dd__HardwareAddress = Text("00:11:22:33:44:55");
        dd__UUID = Text("uuid:5a0f0000-0000-0000-0000-000000000001");
        dd__IPv4Address = Text("192.0.2.10");
        v6.__sizeitem = 2;
        v6.item = v6Items;
        dd__IPv6Address = &v6;
        dd__Hostname = Text("printer-1");
        pwg__DeviceId = Text("MFG:ACME;MDL:Laser 5;CMD:PCL;");
        pwg__SerialNumber = Text("SN0001");
        pwg__Services = Text("Print9100 EWS");
        pwg__AdapterType = Text("Ethernet");
    }
    char* v6Items[2] = {Text("2001:db8::10"), Text("2001:db8::11")};
    dd__IPv6AddressArrayType v6{};
};

}  // namespace

TEST(DeviceIdParser, ManufacturerAndModelKeepTheirBlanks)
{
    EXPECT_EQ(L"ACME", Value(L"MFG:ACME;MDL:Laser 5;", L"MFG"));
    EXPECT_EQ(L"Laser 5", Value(L"MFG:ACME;MDL:Laser 5;", L"MDL"));
}

TEST(DeviceIdParser, KeyBehindASemicolonIsFoundButNotInsideAnotherKey)
{
    EXPECT_EQ(L"ACME", Value(L";MFG:ACME", L"MFG"));
    EXPECT_EQ(L"", Value(L"XMFG:ACME", L"MFG"));
}

TEST(DeviceIdParser, KeyComparisonIsExactAsToCase)
{
    EXPECT_EQ(L"", Value(L"mfg:ACME", L"MFG"));
}

TEST(DeviceIdParser, LastValueWithoutSemicolonRunsToTheEnd)
{
    EXPECT_EQ(L"Laser 5", Value(L"MFG:ACME;MDL:Laser 5", L"MDL"));
}

TEST(DeviceIdParser, NullOrEmptyKeyOrLongKeysOnlyGiveNothing)
{
    EXPECT_EQ(L"", Value(L"MFG:ACME;", nullptr));
    EXPECT_EQ(L"", Value(L"MFG:ACME;", L""));
    EXPECT_EQ(L"", Value(L"MANUFACTURER:ACME;MODEL:Laser 5;", L"MFG"));
    EXPECT_EQ(L"", Value(L"MANUFACTURER:ACME;MODEL:Laser 5;", L"MDL"));
}

TEST(DeviceServicesParser, DoubleBlankDoesNothing)
{
    EXPECT_EQ(35u, CDeviceServicesParser(L"Print9100 RestScan  Fax").m_services);
}

TEST(DeviceServicesParser, LowerCaseTokenGivesNoFlag)
{
    EXPECT_EQ(0u, CDeviceServicesParser(L"print9100").m_services);
}

TEST(DeviceServicesParser, EveryTokenOfTheTable)
{
    EXPECT_EQ(1u, CDeviceServicesParser(L"Print9100").m_services);
    EXPECT_EQ(2u, CDeviceServicesParser(L"RestScan").m_services);
    EXPECT_EQ(4u, CDeviceServicesParser(L"CIFS").m_services);
    EXPECT_EQ(8u, CDeviceServicesParser(L"EWS").m_services);
    EXPECT_EQ(16u, CDeviceServicesParser(L"DSD").m_services);
    EXPECT_EQ(16u, CDeviceServicesParser(L"HESK").m_services);
    EXPECT_EQ(32u, CDeviceServicesParser(L"Fax").m_services);
    EXPECT_EQ(32u, CDeviceServicesParser(L"HeskFax").m_services);
    EXPECT_EQ(0u, CDeviceServicesParser(L"").m_services);
    EXPECT_EQ(0u, CDeviceServicesParser(L"Scan Print").m_services);
}

TEST(AdapterTypeParser, LowerCaseWifiEmbeddedIsWireless)
{
    EXPECT_EQ(2u, CAdapterTypeParser(L"wifiembedded").m_type);
}

TEST(AdapterTypeParser, EthernetWifiAccessoryAndOthers)
{
    EXPECT_EQ(1u, CAdapterTypeParser(L"Ethernet").m_type);
    EXPECT_EQ(1u, CAdapterTypeParser(L"ETHERNET").m_type);
    EXPECT_EQ(2u, CAdapterTypeParser(L"WifiAccessory").m_type);
    EXPECT_EQ(0u, CAdapterTypeParser(L"").m_type);
    EXPECT_EQ(0u, CAdapterTypeParser(L"Ethernet ").m_type);
    EXPECT_EQ(0u, CAdapterTypeParser(L"Bluetooth").m_type);
}

TEST(DeviceAddressParser, IPv4AtTheHeadOfAnAddressHostNameAndBadPartGiveNothing)
{
    EXPECT_EQ(L"10.1.2.3", AddressOf(L"http://10.1.2.3:3702/x"));
    EXPECT_EQ(L"10.1.2.3", AddressOf(L"10.1.2.3/x"));
    EXPECT_EQ(L"", AddressOf(L"printer.local"));
    EXPECT_EQ(L"", AddressOf(L"1.2.3.400"));
}

TEST(DeviceAddressParser, BracketedIPv6AndTrailingTextGiveNothing)
{
    EXPECT_EQ(L"", AddressOf(L"http://[2001:db8::1]:80/x"));
    EXPECT_EQ(L"", AddressOf(L"10.1.2.3x"));
    EXPECT_EQ(L"", AddressOf(L"999.1.1.1"));
    EXPECT_EQ(L"", AddressOf(L""));
}

TEST(DiscoveredDevice, DefaultRecordIsEmptyAndCopiesAreDeep)
{
    const CDiscoveredDevice empty;
    EXPECT_STREQ(L"", empty.GetId());
    EXPECT_STREQ(L"", empty.GetIPAddress());
    EXPECT_EQ(0u, empty.GetServices());
    EXPECT_EQ(0u, empty.GetAdapterType());

    Extension extension;
    CDiscoveredDevice copy;
    {
        const CDiscoveredDeviceXpWSD device(&extension, "urn:uuid:1", false);
        copy = device;
    }
    EXPECT_STREQ(L"urn:uuid:1", copy.GetId());
    EXPECT_STREQ(L"printer-1", copy.GetHostName());
}

TEST(DiscoveredDeviceXpWSD, EveryFieldFromAnIPv4Message)
{
    Extension extension;
    const CDiscoveredDeviceXpWSD device(&extension, "urn:uuid:5a0f0000-0000-0000-0000-000000000001", false);
    EXPECT_STREQ(L"urn:uuid:5a0f0000-0000-0000-0000-000000000001", device.GetId());
    EXPECT_STREQ(L"00:11:22:33:44:55", device.GetHardwareAddress());
    EXPECT_STREQ(L"printer-1", device.GetHostName());
    EXPECT_STREQ(L"192.0.2.10", device.GetIPAddress());
    EXPECT_STREQ(L"ACME", device.GetManufacturer());
    EXPECT_STREQ(L"Laser 5", device.GetModel());
    EXPECT_STREQ(L"SN0001", device.GetSerialNumber());
    EXPECT_EQ(9u, device.GetServices());
    EXPECT_EQ(1u, device.GetAdapterType());
}

TEST(DiscoveredDeviceXpWSD, IPv6SearchTakesTheFirstItem)
{
    Extension extension;
    EXPECT_STREQ(L"2001:db8::10", CDiscoveredDeviceXpWSD(&extension, nullptr, true).GetIPAddress());
    extension.v6.__sizeitem = 0;
    EXPECT_STREQ(L"", CDiscoveredDeviceXpWSD(&extension, nullptr, true).GetIPAddress());
    extension.dd__IPv6Address = nullptr;
    EXPECT_STREQ(L"", CDiscoveredDeviceXpWSD(&extension, nullptr, true).GetIPAddress());
}

TEST(DiscoveredDeviceXpWSD, WithoutEndpointTheUuidIsTheIdentifier)
{
    Extension extension;
    EXPECT_STREQ(L"uuid:5a0f0000-0000-0000-0000-000000000001",
                 CDiscoveredDeviceXpWSD(&extension, nullptr, false).GetId());
    EXPECT_STREQ(L"uuid:5a0f0000-0000-0000-0000-000000000001",
                 CDiscoveredDeviceXpWSD(&extension, "", false).GetId());
}

TEST(DiscoveredDeviceXpWSD, SimAddressReplacesTheIPv4Address)
{
    Extension extension;
    extension.dd__SimAddress = Text("127.0.0.77");
    EXPECT_STREQ(L"127.0.0.77", CDiscoveredDeviceXpWSD(&extension, nullptr, false).GetIPAddress());
    EXPECT_STREQ(L"127.0.0.77", CDiscoveredDeviceXpWSD(&extension, nullptr, true).GetIPAddress());
}

TEST(DiscoveredDeviceXpWSD, NoExtensionLeavesAllButTheIdentifierEmpty)
{
    const CDiscoveredDeviceXpWSD device(nullptr, "urn:uuid:2", false);
    EXPECT_STREQ(L"urn:uuid:2", device.GetId());
    EXPECT_STREQ(L"", device.GetHostName());
    EXPECT_STREQ(L"", device.GetIPAddress());
    EXPECT_EQ(0u, device.GetServices());
}

TEST(DiscoveredDeviceXpWSD, MissingServicesAndAdapterLeaveZero)
{
    Extension extension;
    extension.pwg__Services = nullptr;
    extension.pwg__AdapterType = nullptr;
    extension.pwg__DeviceId = nullptr;
    const CDiscoveredDeviceXpWSD device(&extension, nullptr, false);
    EXPECT_EQ(0u, device.GetServices());
    EXPECT_EQ(0u, device.GetAdapterType());
    EXPECT_STREQ(L"", device.GetManufacturer());
    EXPECT_STREQ(L"", device.GetModel());
}

// Bad input: the record takes the texts as they come and nothing overflows.
TEST(DiscoveredDeviceXpWSD, BadInputIsTakenAsItComes)
{
    Extension extension;
    const std::string longName(10 * 1024, 'h');
    extension.dd__Hostname = Text(longName.c_str());
    // A lead byte followed by no continuation, then a lone continuation byte:
    // each becomes U+FFFD.
    extension.pwg__SerialNumber = Text("SN\xC3\x28\x80X");
    std::string tokens;
    for (int i = 0; i < 10000; ++i) {
        tokens += i % 2 ? "Fax " : "Bogus ";
    }
    extension.pwg__Services = Text(tokens.c_str());
    extension.dd__IPv4Address = Text("999.1.1.1");
    const CDiscoveredDeviceXpWSD device(&extension, "not a url", false);
    EXPECT_EQ(std::wstring(10 * 1024, L'h'), device.GetHostName());
    EXPECT_EQ(std::wstring(L"SN\xFFFD(\xFFFDX"), device.GetSerialNumber());
    EXPECT_EQ(32u, device.GetServices());
    EXPECT_STREQ(L"999.1.1.1", device.GetIPAddress());
    EXPECT_STREQ(L"not a url", device.GetId());
}
