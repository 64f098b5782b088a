// Messages from the corpus folder: what real peers sent (captured from
// wsdd and Wine's publisher in the namespace test), and bad input. Each is
// one datagram to a listening session; the outcome and the log's lines.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>

#include "discovery/CWSDSession.h"
#include "discovery/DatagramPeer.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"

using QVDiscovery::CWSDSession;
using namespace wsdtest;

namespace {

constexpr const char* kListener = "127.0.18.30";

std::string CorpusFile(const char* name)
{
    std::ifstream file(std::string(ORVANE_WSD_CORPUS) + "/" + name, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

struct Corpus : ::testing::Test {
    void SetUp() override
    {
        ASSERT_TRUE(device.Bound());
        ASSERT_TRUE(session.Bind(kListener));
        readEvent = session.GetReadEvent();
        ASSERT_NE(nullptr, readEvent);
    }
    ~Corpus() override
    {
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    bool Deliver(const std::string& datagram)
    {
        return !datagram.empty() && device.SendTo(datagram, kListener, 3702) && WaitAndReset(readEvent);
    }

    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"wsd-corpus", 0x30000E90};
    DatagramPeer device{"127.0.18.31", 0};
    CWSDSession session;
    HANDLE readEvent = nullptr;
    struct wsd__HelloZQType hello = {};
};

TEST_F(Corpus, WinesPublisherHelloWithTheVendorExtensionIsAccepted)
{
    ASSERT_TRUE(Deliver(CorpusFile("wine-publisher-hello.xml")));
    ASSERT_TRUE(session.ReceiveBegin());
    ASSERT_TRUE(session.ReceiveHello(&hello));
    EXPECT_STREQ("2c9e4d7a-8b1f-4c3e-a5d6-0f1e2d3c4b5a", hello.zqd__VendorExtension->dd__UUID);
    EXPECT_STREQ("wine-publisher", hello.zqd__VendorExtension->dd__Hostname);
    EXPECT_STREQ("zqd:zqDevice", hello.wsd__Types);
    session.ReceiveEnd();
}

TEST_F(Corpus, WsddsHelloWithoutTheVendorExtensionIsDropped)
{
    ASSERT_TRUE(Deliver(CorpusFile("wsdd-hello.xml")));
    ASSERT_TRUE(session.ReceiveBegin());
    EXPECT_FALSE(session.ReceiveHello(&hello));
    EXPECT_STREQ("urn:uuid:7b4f2c1e-5a6d-4e8f-9a0b-1c2d3e4f5a6b", hello.wsa__EndpointReference.wsa__Address);
    session.ReceiveEnd();
}

}  // namespace
