// The simulator's discovery messages on their own: what it reads from a
// Probe or Resolve, which Probes it matches, and the messages it writes.
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "devsim/DevsimOptions.h"
#include "devsim/DiscoveryMessages.h"
#include "devsim/DiscoveryNamespaces.h"
#include "devsim/DiscoveryRequest.h"

using namespace devsim;

namespace {

const std::string kVendor = "http://schemas.zq.com/schemas/imaging/con/discovery/2006/09/19";

// A request as other clients write it: prefixes of their own.
std::string Request(const std::string& body, const std::string& extraNamespaces = "")
{
    return "<?xml version=\"1.0\"?><e:Envelope xmlns:e=\"http://www.w3.org/2003/05/soap-envelope\""
           " xmlns:w=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\""
           " xmlns:n=\"http://schemas.xmlsoap.org/ws/2005/04/discovery\""
        + extraNamespaces + "><e:Header><w:MessageID>urn:uuid:0a1b2c3d-0000-4000-8000-00000000abcd</w:MessageID>"
                            "</e:Header><e:Body>" + body + "</e:Body></e:Envelope>";
}

DiscoveryIdentity Identity()
{
    DiscoveryIdentity identity;
    identity.uuid = "11111111-2222-4333-8444-555555555555";
    identity.types = "zqd:zqDevice pwg:Printer";
    identity.hardwareAddress = "00:11:22:33:44:55";
    identity.hostName = "office<1>&co";
    identity.ipv4 = "10.0.0.7";
    identity.ipv6 = {"fd00::7", "fe80::7"};
    identity.serialNumber = "SN7";
    identity.deviceId = "MFG:ACME;MDL:Laser 5;";
    identity.services = "Print9100 Fax";
    identity.adapterType = "WifiEmbedded";
    return identity;
}

// The message with its MessageID made "ID", which is new in every message.
std::string WithoutMessageId(const std::string& message)
{
    return std::regex_replace(message, std::regex("<wsa:MessageID>urn:uuid:[0-9a-f-]{36}</wsa:MessageID>"),
                              "<wsa:MessageID>ID</wsa:MessageID>");
}

const char kEnvelopeOpen[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SOAP-ENV:Envelope"
    " xmlns:SOAP-ENV=\"http://www.w3.org/2003/05/soap-envelope\""
    " xmlns:wsa=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\""
    " xmlns:wsd=\"http://schemas.xmlsoap.org/ws/2005/04/discovery\""
    " xmlns:zqd=\"http://schemas.zq.com/schemas/imaging/con/discovery/2006/09/19\""
    " xmlns:dd=\"http://schemas.zq.com/schemas/imaging/con/dictionaries/1.0\""
    " xmlns:pwg=\"http://schemas.zq.com/schemas/imaging/con/pwg/sm/1.0\">";

const char kChildren[] =
    "<wsa:EndpointReference><wsa:Address>urn:uuid:11111111-2222-4333-8444-555555555555</wsa:Address>"
    "</wsa:EndpointReference><wsd:Types>zqd:zqDevice pwg:Printer</wsd:Types>"
    "<wsd:XAddrs>http://10.0.0.7/StableWSDiscoveryEndpoint/schemas-xmlsoap-org_ws_2005_04_discovery"
    " http://[fd00::7]/StableWSDiscoveryEndpoint/schemas-xmlsoap-org_ws_2005_04_discovery"
    " http://[fe80::7]/StableWSDiscoveryEndpoint/schemas-xmlsoap-org_ws_2005_04_discovery</wsd:XAddrs>";

const char kExtension[] =
    "<zqd:VendorExtension><dd:HardwareAddress>00:11:22:33:44:55</dd:HardwareAddress>"
    "<dd:UUID>11111111-2222-4333-8444-555555555555</dd:UUID><dd:IPv4Address>10.0.0.7</dd:IPv4Address>"
    "<dd:IPv6Address><item>fd00::7</item><item>fe80::7</item></dd:IPv6Address>"
    "<dd:Hostname>office&lt;1&gt;&amp;co</dd:Hostname><pwg:DeviceId>MFG:ACME;MDL:Laser 5;</pwg:DeviceId>"
    "<pwg:SerialNumber>SN7</pwg:SerialNumber><pwg:Services>Print9100 Fax</pwg:Services>"
    "<pwg:AdapterType>WifiEmbedded</pwg:AdapterType></zqd:VendorExtension>";

TEST(DiscoveryRequest, ReadsAProbesTypesByTheirNamespaceWhateverThePrefix)
{
    const DiscoveryRequest probe = DiscoveryRequest::Read(
        Request("<n:Probe><n:Types> v:zqDevice\n p:Printer </n:Types></n:Probe>",
                " xmlns:v=\"" + kVendor + "\" xmlns:p=\"http://schemas.zq.com/schemas/imaging/con/pwg/sm/1.0\""));
    EXPECT_EQ(DiscoveryRequest::Kind::Probe, probe.kind);
    EXPECT_EQ("urn:uuid:0a1b2c3d-0000-4000-8000-00000000abcd", probe.messageId);
    ASSERT_EQ(2u, probe.types.size());
    EXPECT_EQ(DiscoveryRequest::QName(kVendor, "zqDevice"), probe.types[0]);
    EXPECT_EQ(DiscoveryRequest::QName("http://schemas.zq.com/schemas/imaging/con/pwg/sm/1.0", "Printer"),
              probe.types[1]);
    EXPECT_FALSE(probe.unresolvedType);
}

TEST(DiscoveryRequest, MatchesWhenEveryTypeAskedForIsOneOfTheDevices)
{
    std::vector<DiscoveryRequest::QName> device;
    std::string error;
    ASSERT_TRUE(DiscoveryMessages::ResolveTypes("zqd:zqDevice pwg:Printer", &device, &error));
    const std::string v = " xmlns:v=\"" + kVendor + "\"";
    EXPECT_TRUE(DiscoveryRequest::Read(Request("<n:Probe><n:Types>v:zqDevice</n:Types></n:Probe>", v)).Matches(device));
    EXPECT_FALSE(DiscoveryRequest::Read(Request("<n:Probe><n:Types>v:zqDevice v:Scanner</n:Types></n:Probe>", v))
                     .Matches(device));
    // The local name alone does not do: the namespace must be the vendor's.
    EXPECT_FALSE(DiscoveryRequest::Read(Request("<n:Probe><n:Types>n:zqDevice</n:Types></n:Probe>")).Matches(device));
    // A prefix the message does not declare names nothing.
    const DiscoveryRequest undeclared = DiscoveryRequest::Read(Request("<n:Probe><n:Types>zz:zqDevice</n:Types></n:Probe>"));
    EXPECT_TRUE(undeclared.unresolvedType);
    EXPECT_FALSE(undeclared.Matches(device));
}

TEST(DiscoveryRequest, AProbeWithoutTypesMatchesEveryDevice)
{
    std::vector<DiscoveryRequest::QName> device;
    std::string error;
    ASSERT_TRUE(DiscoveryMessages::ResolveTypes("zqd:zqDevice", &device, &error));
    EXPECT_TRUE(DiscoveryRequest::Read(Request("<n:Probe></n:Probe>")).Matches(device));
    EXPECT_TRUE(DiscoveryRequest::Read(Request("<n:Probe/>")).Matches(device));
    EXPECT_TRUE(DiscoveryRequest::Read(Request("<n:Probe><n:Types></n:Types></n:Probe>")).Matches(device));
}

TEST(DiscoveryRequest, ReadsTheEndpointAResolveAsksFor)
{
    const DiscoveryRequest resolve = DiscoveryRequest::Read(
        Request("<n:Resolve><w:EndpointReference><w:Address> urn:uuid:11111111-2222-4333-8444-555555555555 "
                "</w:Address></w:EndpointReference></n:Resolve>"));
    EXPECT_EQ(DiscoveryRequest::Kind::Resolve, resolve.kind);
    EXPECT_EQ("urn:uuid:11111111-2222-4333-8444-555555555555", resolve.endpoint);
}

TEST(DiscoveryRequest, AHelloOrAnElementOfAnotherNamespaceIsNoRequest)
{
    EXPECT_EQ(DiscoveryRequest::Kind::Other, DiscoveryRequest::Read(Request("<n:Hello></n:Hello>")).kind);
    EXPECT_EQ(DiscoveryRequest::Kind::Other,
              DiscoveryRequest::Read(Request("<w:Probe></w:Probe>")).kind);
    EXPECT_EQ(DiscoveryRequest::Kind::Other, DiscoveryRequest::Read("<n:Probe").kind);
    EXPECT_EQ(DiscoveryRequest::Kind::Other, DiscoveryRequest::Read("").kind);
}

TEST(DiscoveryMessages, ResolveTypesRefusesAPrefixItDoesNotKnow)
{
    std::vector<DiscoveryRequest::QName> types;
    std::string error;
    EXPECT_FALSE(DiscoveryMessages::ResolveTypes("zqd:zqDevice foo:Printer", &types, &error));
    EXPECT_EQ("type 'foo:Printer' has none of the prefixes zqd, dd, pwg, wsd, wsa", error);
    EXPECT_FALSE(DiscoveryMessages::ResolveTypes("zqDevice", &types, &error));
    EXPECT_FALSE(DiscoveryMessages::ResolveTypes("zqd:", &types, &error));
}

TEST(DiscoveryMessages, ProbeMatchesRelateToTheProbeAndCarryTheWholeIdentity)
{
    DiscoveryMessages messages(Identity(), 1234);
    EXPECT_EQ(std::string(kEnvelopeOpen)
                  + "<SOAP-ENV:Header><wsa:MessageID>ID</wsa:MessageID>"
                    "<wsa:RelatesTo>urn:uuid:0a1b2c3d-0000-4000-8000-00000000abcd</wsa:RelatesTo>"
                    "<wsa:To>http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous</wsa:To>"
                    "<wsa:Action>http://schemas.xmlsoap.org/ws/2005/04/discovery/ProbeMatches</wsa:Action>"
                    "<wsd:AppSequence InstanceId=\"1234\" MessageNumber=\"1\"/></SOAP-ENV:Header>"
                    "<SOAP-ENV:Body><wsd:ProbeMatches><wsd:ProbeMatch>"
                  + kChildren + "<wsd:MetadataVersion>1</wsd:MetadataVersion>" + kExtension
                  + "</wsd:ProbeMatch></wsd:ProbeMatches></SOAP-ENV:Body></SOAP-ENV:Envelope>",
              WithoutMessageId(messages.ProbeMatches("urn:uuid:0a1b2c3d-0000-4000-8000-00000000abcd")));
}

TEST(DiscoveryMessages, HelloAndByeGoToTheDiscoveryUrnAndByeHasNoMetadataVersion)
{
    DiscoveryMessages messages(Identity(), 99);
    const std::string header = "<SOAP-ENV:Header><wsa:MessageID>ID</wsa:MessageID>"
                               "<wsa:To>urn:schemas-xmlsoap-org:ws:2005:04:discovery</wsa:To>"
                               "<wsa:Action>http://schemas.xmlsoap.org/ws/2005/04/discovery/";
    EXPECT_EQ(std::string(kEnvelopeOpen) + header
                  + "Hello</wsa:Action><wsd:AppSequence InstanceId=\"99\" MessageNumber=\"1\"/></SOAP-ENV:Header>"
                    "<SOAP-ENV:Body><wsd:Hello>" + kChildren + "<wsd:MetadataVersion>1</wsd:MetadataVersion>"
                  + kExtension + "</wsd:Hello></SOAP-ENV:Body></SOAP-ENV:Envelope>",
              WithoutMessageId(messages.Hello()));
    EXPECT_EQ(std::string(kEnvelopeOpen) + header
                  + "Bye</wsa:Action><wsd:AppSequence InstanceId=\"99\" MessageNumber=\"2\"/></SOAP-ENV:Header>"
                    "<SOAP-ENV:Body><wsd:Bye>" + kChildren + kExtension
                  + "</wsd:Bye></SOAP-ENV:Body></SOAP-ENV:Envelope>",
              WithoutMessageId(messages.Bye()));
}

TEST(DiscoveryMessages, ResolveMatchesCarryOneMatchAndEveryMessageANewId)
{
    DiscoveryIdentity identity = Identity();
    identity.ipv6.clear();
    identity.hardwareAddress.clear();
    DiscoveryMessages messages(identity, 5);
    const std::string first = messages.ResolveMatches("urn:uuid:r");
    const std::string second = messages.ResolveMatches("urn:uuid:r");
    std::smatch id1;
    std::smatch id2;
    const std::regex id("<wsa:MessageID>(urn:uuid:[0-9a-f-]{36})</wsa:MessageID>");
    ASSERT_TRUE(std::regex_search(first, id1, id));
    ASSERT_TRUE(std::regex_search(second, id2, id));
    EXPECT_NE(id1[1].str(), id2[1].str());
    // An empty value leaves its element out; no IPv6 address, no list.
    EXPECT_NE(std::string::npos,
              first.find("<wsd:ResolveMatches><wsd:ResolveMatch><wsa:EndpointReference><wsa:Address>urn:uuid:"
                         "11111111-2222-4333-8444-555555555555</wsa:Address></wsa:EndpointReference>"
                         "<wsd:Types>zqd:zqDevice pwg:Printer</wsd:Types><wsd:XAddrs>http://10.0.0.7/"
                         "StableWSDiscoveryEndpoint/schemas-xmlsoap-org_ws_2005_04_discovery</wsd:XAddrs>"
                         "<wsd:MetadataVersion>1</wsd:MetadataVersion><zqd:VendorExtension><dd:UUID>"));
    EXPECT_NE(std::string::npos, first.find("</dd:IPv4Address><dd:Hostname>"));
    EXPECT_NE(std::string::npos, second.find("MessageNumber=\"2\""));
}

}  // namespace

namespace {

TEST(DevsimDiscoveryOptions, TakeEveryIdentityValueAndTheBindAddressAsIPv4)
{
    devsim::DevsimOptions options;
    std::string error;
    ASSERT_TRUE(options.Parse({L"--bind", L"10.1.2.3", L"--wsd", L"--uuid", L"u-1", L"--types", L"pwg:Printer",
                               L"--hardware-address", L"02:00:00:00:00:01", L"--host-name", L"h", L"--ipv6",
                               L"fd00::1", L"--ipv6", L"fd00::2", L"--serial-number", L"S", L"--device-id",
                               L"MFG:A;MDL:B;", L"--services", L"CIFS", L"--adapter-type", L"WifiAccessory"},
                              &error))
        << error;
    EXPECT_TRUE(options.wsd);
    EXPECT_EQ("urn:uuid:u-1", options.identity.Endpoint());
    EXPECT_EQ("pwg:Printer", options.identity.types);
    EXPECT_EQ("02:00:00:00:00:01", options.identity.hardwareAddress);
    EXPECT_EQ("h", options.identity.hostName);
    EXPECT_EQ("10.1.2.3", options.identity.ipv4);
    EXPECT_EQ((std::vector<std::string>{"fd00::1", "fd00::2"}), options.identity.ipv6);
    EXPECT_EQ("S", options.identity.serialNumber);
    EXPECT_EQ("MFG:A;MDL:B;", options.identity.deviceId);
    EXPECT_EQ("CIFS", options.identity.services);
    EXPECT_EQ("WifiAccessory", options.identity.adapterType);
}

TEST(DevsimDiscoveryOptions, DefaultsWithoutWsdAndAnIPv6BindAnnouncesNoIPv4)
{
    devsim::DevsimOptions options;
    std::string error;
    ASSERT_TRUE(options.Parse({L"--bind", L"::1"}, &error)) << error;
    EXPECT_FALSE(options.wsd);
    EXPECT_EQ("", options.identity.ipv4);
    EXPECT_EQ("urn:uuid:6f72766e-6465-4673-896d-000000000001", options.identity.Endpoint());
    EXPECT_EQ("zqd:zqDevice", options.identity.types);
}

TEST(DevsimDiscoveryOptions, RefuseAnUnknownTypePrefixAnEmptyUuidAndANinthIPv6Address)
{
    std::string error;
    devsim::DevsimOptions types;
    EXPECT_FALSE(types.Parse({L"--types", L"x:Printer"}, &error));
    EXPECT_EQ("type 'x:Printer' has none of the prefixes zqd, dd, pwg, wsd, wsa", error);
    devsim::DevsimOptions uuid;
    EXPECT_FALSE(uuid.Parse({L"--uuid", L""}, &error));
    EXPECT_EQ("--uuid must not be empty", error);
    std::vector<std::wstring> nine;
    for (int i = 1; i <= 9; ++i) {
        nine.insert(nine.end(), {L"--ipv6", L"fd00::" + std::to_wstring(i)});
    }
    devsim::DevsimOptions addresses;
    EXPECT_FALSE(addresses.Parse(nine, &error));
    EXPECT_EQ("at most 8 --ipv6 addresses", error);
}

}  // namespace
