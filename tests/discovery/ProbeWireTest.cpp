// The requests on the wire, byte for byte, as a plain socket of the test
// receives them; each is also saved for an independent XML parser
// (wire-xml.sh) when ORVANE_WSD_CAPTURE names a folder.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <regex>

#include "discovery/CWSDSession.h"
#include "discovery/DatagramPeer.h"
#include "discovery/HttpDevicePeer.h"
#include "discovery/WSDMessages.h"

using QVDiscovery::CWSDSession;

namespace {

constexpr const char* kDevice = "127.0.18.2";

void Capture(const char* name, const std::string& bytes)
{
    if (const char* folder = std::getenv("ORVANE_WSD_CAPTURE")) {
        std::ofstream(std::string(folder) + "\\" + name, std::ios::binary) << bytes;
    }
}

struct ProbeWire : ::testing::Test {
    wsdtest::DatagramPeer device{kDevice, 3702};
    std::string datagram;
};

TEST_F(ProbeWire, ProbeToAGroupIsOneDatagramWithTheDefaultTypes)
{
    ASSERT_TRUE(device.Bound());
    CWSDSession session;
    ASSERT_TRUE(session.SendProbe("127.0.0.1", kDevice, nullptr, SO_BROADCAST));
    ASSERT_TRUE(device.Receive(datagram));
    EXPECT_EQ(wsdtest::ExpectedProbe(session.MessageId(), "zqd:zqDevice"), datagram);
    Capture("probe.xml", datagram);
}

TEST_F(ProbeWire, ProbeCarriesTheCallersTypeList)
{
    ASSERT_TRUE(device.Bound());
    CWSDSession session;
    ASSERT_TRUE(session.SendProbe("127.0.0.1", kDevice, "wsdp:Device zqd:zqDevice", SO_BROADCAST));
    ASSERT_TRUE(device.Receive(datagram));
    EXPECT_EQ(wsdtest::ExpectedProbe(session.MessageId(), "wsdp:Device zqd:zqDevice"), datagram);
    Capture("probe-types.xml", datagram);
}

TEST_F(ProbeWire, ResolveCarriesTheDeviceIdentifierInItsAddress)
{
    ASSERT_TRUE(device.Bound());
    CWSDSession session;
    ASSERT_TRUE(session.SendResolve("127.0.0.1", kDevice, "urn:uuid:4a6f1c2e-0000-1000-8000-00aa00bb00cc"));
    ASSERT_TRUE(device.Receive(datagram));
    EXPECT_EQ(wsdtest::ExpectedResolve(session.MessageId(), "urn:uuid:4a6f1c2e-0000-1000-8000-00aa00bb00cc"),
              datagram);
    Capture("resolve.xml", datagram);
}

TEST_F(ProbeWire, EachRequestHasANewLowerCaseUuidIdentifier)
{
    ASSERT_TRUE(device.Bound());
    CWSDSession first;
    CWSDSession second;
    ASSERT_TRUE(first.SendProbe("127.0.0.1", kDevice, nullptr, SO_BROADCAST));
    ASSERT_TRUE(second.SendProbe("127.0.0.1", kDevice, nullptr, SO_BROADCAST));
    const std::regex uuid("uuid:[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}");
    EXPECT_TRUE(std::regex_match(first.MessageId(), uuid)) << first.MessageId();
    EXPECT_TRUE(std::regex_match(second.MessageId(), uuid)) << second.MessageId();
    EXPECT_NE(first.MessageId(), second.MessageId());
}

TEST_F(ProbeWire, DirectedProbeIsAnHttpPostWithAnEmptyProbe)
{
    wsdtest::HttpDevicePeer web("127.0.18.3", [](const std::string&) { return std::string(); });
    ASSERT_TRUE(web.Listening());
    CWSDSession session;
    ASSERT_TRUE(session.SendProbe("", "127.0.18.3", "zqd:zqDevice", 0));
    const std::string body = wsdtest::ExpectedProbe(session.MessageId(), nullptr);
    const std::string request = web.Request();
    EXPECT_EQ("POST /StableWSDiscoveryEndpoint/schemas-xmlsoap-org_ws_2005_04_discovery HTTP/1.1\r\n"
              "Host: 127.0.18.3\r\n"
              "User-Agent: gSOAP/2.8\r\n"
              "Content-Type: application/soap+xml; charset=utf-8\r\n"
              "Content-Length: " + std::to_string(body.size()) + "\r\n"
              "Connection: close\r\n\r\n" + body,
              request);
    EXPECT_EQ(std::string::npos, request.find("SOAPAction"));
    Capture("directed-probe.http", request);
}

}  // namespace
