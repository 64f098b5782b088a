// The record filled from the system provider's XML: trees built here in the
// provider's node layout, as the provider hands them over.
#include <gtest/gtest.h>

#include <string>

#include "discovery/CDiscoveredDeviceWSD.h"
#include "discovery/DeviceRecord.h"
#include "discovery/ProviderDouble.h"

using namespace QVDiscovery;
using discoverytest::Describe;
using wsdprovider::XmlTree;

namespace {

// A vendor extension with every field, named as the devices name them.
struct FullExtension {
    FullExtension()
    {
        body = tree.Element(L"VendorExtension");
        tree.Field(body, L"HardwareAddress", L"00:11:22:33:44:55");
        tree.Field(body, L"UUID", L"uuid:5a0f0000-0000-0000-0000-000000000001");
        tree.Field(body, L"IPv4Address", L"192.0.2.10");
        WSDXML_ELEMENT* v6 = tree.Element(L"IPv6Address", body);
        tree.Field(v6, L"item", L"2001:db8::10");
        tree.Field(body, L"Hostname", L"printer-1");
        tree.Field(body, L"DeviceId", L"MFG:ACME;MDL:Laser 5;CMD:PCL;");
        tree.Field(body, L"SerialNumber", L"SN0001");
        tree.Field(body, L"Services", L"Print9100 EWS");
        tree.Field(body, L"AdapterType", L"Ethernet");
    }
    XmlTree tree;
    WSDXML_ELEMENT* body;
};

}  // namespace

TEST(DiscoveredDeviceWSD, EveryFieldOfTheVendorExtension)
{
    FullExtension extension;
    const CDiscoveredDeviceWSD device(extension.body, nullptr, L"urn:uuid:5a0f0000-0000-0000-0000-000000000001");
    EXPECT_EQ(L"urn:uuid:5a0f0000-0000-0000-0000-000000000001|00:11:22:33:44:55|printer-1|192.0.2.10|ACME|Laser 5|"
              L"SN0001|9|1",
              Describe(device));
}

TEST(DiscoveredDeviceWSD, NamesAreComparedWithoutRegardToCase)
{
    XmlTree tree;
    WSDXML_ELEMENT* body = tree.Element(L"vendorextension");
    tree.Field(body, L"HARDWAREADDRESS", L"00:11:22:33:44:55");
    tree.Field(body, L"uuid", L"uuid:lower");
    tree.Field(body, L"IPV4ADDRESS", L"192.0.2.11");
    tree.Field(body, L"hostname", L"printer-2");
    tree.Field(body, L"deviceid", L"MFG:ACME;MDL:Laser 6;");
    tree.Field(body, L"SERIALNUMBER", L"SN0002");
    tree.Field(body, L"services", L"Fax");
    tree.Field(body, L"adaptertype", L"WifiAccessory");
    tree.Field(body, L"simaddress", L"198.51.100.9");
    const CDiscoveredDeviceWSD device(body, nullptr, nullptr);
    EXPECT_EQ(L"uuid:lower|00:11:22:33:44:55|printer-2|198.51.100.9|ACME|Laser 6|SN0002|32|2", Describe(device));
}

TEST(DiscoveredDeviceWSD, RemoteTransportAddressGivesTheIPAddressBeforeIpv4Address)
{
    FullExtension extension;
    const CDiscoveredDeviceWSD device(extension.body, L"http://10.1.2.3:3702/x", nullptr);
    EXPECT_STREQ(L"10.1.2.3", device.GetIPAddress());
}

TEST(DiscoveredDeviceWSD, RemoteAddressThatIsNoDottedIPv4LeavesIpv4AddressToFill)
{
    FullExtension host;
    EXPECT_STREQ(L"192.0.2.10", CDiscoveredDeviceWSD(host.body, L"printer.local", nullptr).GetIPAddress());
    FullExtension v6;
    EXPECT_STREQ(L"192.0.2.10", CDiscoveredDeviceWSD(v6.body, L"http://[fe80::1]:3702/x", nullptr).GetIPAddress());
    FullExtension bad;
    EXPECT_STREQ(L"192.0.2.10", CDiscoveredDeviceWSD(bad.body, L"1.2.3.400", nullptr).GetIPAddress());
}

TEST(DiscoveredDeviceWSD, EndpointAddressIsTheIdentifierAndUuidOnlyFillsAnEmptyOne)
{
    FullExtension extension;
    EXPECT_STREQ(L"urn:uuid:endpoint", CDiscoveredDeviceWSD(extension.body, nullptr, L"urn:uuid:endpoint").GetId());
    EXPECT_STREQ(L"uuid:5a0f0000-0000-0000-0000-000000000001",
                 CDiscoveredDeviceWSD(extension.body, nullptr, nullptr).GetId());
    EXPECT_STREQ(L"uuid:5a0f0000-0000-0000-0000-000000000001",
                 CDiscoveredDeviceWSD(extension.body, nullptr, L"").GetId());
}

TEST(DiscoveredDeviceWSD, Ipv4AddressAndSimAddressReportTheSimAddress)
{
    FullExtension extension;
    extension.tree.Field(extension.body, L"SimAddress", L"203.0.113.5");
    EXPECT_STREQ(L"203.0.113.5", CDiscoveredDeviceWSD(extension.body, nullptr, nullptr).GetIPAddress());
    // Over the transport's address too.
    EXPECT_STREQ(L"203.0.113.5", CDiscoveredDeviceWSD(extension.body, L"10.1.2.3/x", nullptr).GetIPAddress());
}

TEST(DiscoveredDeviceWSD, SimAddressBeforeIpv4AddressStillWins)
{
    XmlTree tree;
    WSDXML_ELEMENT* body = tree.Element(L"VendorExtension");
    tree.Field(body, L"SimAddress", L"203.0.113.6");
    tree.Field(body, L"Ipv4Address", L"192.0.2.12");
    EXPECT_STREQ(L"203.0.113.6", CDiscoveredDeviceWSD(body, nullptr, nullptr).GetIPAddress());
}

TEST(DiscoveredDeviceWSD, ChildWithoutATextNodeFirstIsPassedOver)
{
    XmlTree tree;
    WSDXML_ELEMENT* body = tree.Element(L"VendorExtension");
    // No child at all.
    tree.Element(L"HostName", body);
    // An element first, then the text.
    WSDXML_ELEMENT* serial = tree.Element(L"SerialNumber", body);
    tree.Element(L"Inner", serial);
    tree.Text(serial, L"SN-LATE");
    // A text node among the children of the extension itself.
    tree.Text(body, L"loose text");
    tree.Field(body, L"UUID", L"uuid:kept");
    const CDiscoveredDeviceWSD device(body, nullptr, nullptr);
    EXPECT_EQ(L"uuid:kept|||||||0|0", Describe(device));
}

TEST(DiscoveredDeviceWSD, TextNodeWithoutTextCountsAsEmpty)
{
    XmlTree tree;
    WSDXML_ELEMENT* body = tree.Element(L"VendorExtension");
    tree.Field(body, L"UUID", nullptr);
    tree.Field(body, L"HostName", nullptr);
    tree.Field(body, L"Services", nullptr);
    const CDiscoveredDeviceWSD device(body, nullptr, L"urn:uuid:e");
    EXPECT_EQ(L"urn:uuid:e|||||||0|0", Describe(device));
}

TEST(DiscoveredDeviceWSD, IPv6AddressHasNoRowEvenWithTextFirst)
{
    XmlTree tree;
    WSDXML_ELEMENT* body = tree.Element(L"VendorExtension");
    tree.Field(body, L"IPv6Address", L"2001:db8::1");
    EXPECT_STREQ(L"", CDiscoveredDeviceWSD(body, nullptr, nullptr).GetIPAddress());
}

TEST(DiscoveredDeviceWSD, ServicesAreReplacedByTheLastListAndParsedExactly)
{
    XmlTree tree;
    WSDXML_ELEMENT* body = tree.Element(L"VendorExtension");
    tree.Field(body, L"Services", L"EWS");
    tree.Field(body, L"Services", L"Print9100 RestScan  Fax print9100");
    EXPECT_EQ(35u, CDiscoveredDeviceWSD(body, nullptr, nullptr).GetServices());
}

TEST(DiscoveredDeviceWSD, DeviceIdWithOnlyLongKeysLeavesManufacturerAndModelEmpty)
{
    XmlTree tree;
    WSDXML_ELEMENT* body = tree.Element(L"VendorExtension");
    tree.Field(body, L"DeviceId", L"MANUFACTURER:ACME;MODEL:Laser 5;");
    const CDiscoveredDeviceWSD device(body, nullptr, nullptr);
    EXPECT_STREQ(L"", device.GetManufacturer());
    EXPECT_STREQ(L"", device.GetModel());
}

TEST(DiscoveredDeviceWSD, AdapterTypeInLowerCaseIsWireless)
{
    XmlTree tree;
    WSDXML_ELEMENT* body = tree.Element(L"VendorExtension");
    tree.Field(body, L"AdapterType", L"wifiembedded");
    EXPECT_EQ(2u, CDiscoveredDeviceWSD(body, nullptr, nullptr).GetAdapterType());
}

TEST(DiscoveredDeviceWSD, NoBodyLeavesOnlyTheTransportAndEndpoint)
{
    const CDiscoveredDeviceWSD device(nullptr, L"10.1.2.3/x", L"urn:uuid:bare");
    EXPECT_EQ(L"urn:uuid:bare|||10.1.2.3||||0|0", Describe(device));
    const CDiscoveredDeviceWSD nothing(nullptr, nullptr, nullptr);
    EXPECT_EQ(L"|||||||0|0", Describe(nothing));
}
