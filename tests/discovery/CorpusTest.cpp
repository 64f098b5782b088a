// Messages from the corpus folder: what real peers sent (captured from
// wsdd and Wine's publisher in the namespace test), and bad input. Each is
// one datagram to a listening session; the outcome and the log's lines.
#include <gtest/gtest.h>

#include <cstdio>

#include "discovery/CWSDSession.h"

#include <psapi.h>

#include "discovery/CorpusFile.h"
#include "discovery/DatagramPeer.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"

using QVDiscovery::CWSDSession;
using namespace wsdtest;

namespace {

constexpr const char* kListener = "127.0.18.30";

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

// Bad input: each is dropped (ReceiveBegin or the reader fails) at once,
// with gSOAP's error number in the log, and the process survives.
struct BadInput : Corpus {
    // Begin and, if that passes, both announcement readers; true when
    // anything was accepted.
    // What was read stays valid until the fixture ends the message.
    bool Accepted()
    {
        return session.ReceiveBegin() && (session.ReceiveHello(&hello) || session.ReceiveBye(&bye));
    }
    ~BadInput() override { session.ReceiveEnd(); }
    struct wsd__ByeZQType bye = {};
};

SIZE_T PeakWorkingSet()
{
    PROCESS_MEMORY_COUNTERS counters = {};
    counters.cb = sizeof(counters);
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
    return counters.PeakWorkingSetSize;
}

TEST_F(BadInput, ATruncatedDatagramIsDropped)
{
    ASSERT_TRUE(Deliver(CorpusFile("truncated-hello.xml")));
    EXPECT_FALSE(Accepted());
    EXPECT_EQ(1u, log.Count(L"(##) soap_in_wsd__HelloZQType() failed, err=-1"));
}

TEST_F(BadInput, ADatagramOfTheLargestSizeIsReadWhole)
{
    const std::string datagram = CorpusFile("hello-65507-bytes.xml");
    ASSERT_EQ(65507u, datagram.size());
    ASSERT_TRUE(Deliver(datagram));
    EXPECT_TRUE(Accepted());
}

// 12000 open elements inside the Hello: skipped as unknown, they run into
// the datagram's end.
TEST_F(BadInput, DeeplyNestedElementsFailTheMessageWithinBoundedMemory)
{
    const SIZE_T before = PeakWorkingSet();
    ASSERT_TRUE(Deliver(CorpusFile("nested-bomb.xml")));
    EXPECT_FALSE(Accepted());
    EXPECT_EQ(1u, log.Count(L"(##) soap_in_wsd__HelloZQType() failed, err=-1"));
    EXPECT_LT(PeakWorkingSet() - before, 16u << 20);
}

// gSOAP reads no DOCTYPE and expands no entity: the unknown reference
// becomes one placeholder character, and the Hello is taken as it is.
TEST_F(BadInput, EntitiesAreNotExpandedAndMemoryStaysBounded)
{
    const SIZE_T before = PeakWorkingSet();
    ASSERT_TRUE(Deliver(CorpusFile("entity-bomb.xml")));
    EXPECT_TRUE(Accepted());
    EXPECT_STREQ("\x7f", hello.zqd__VendorExtension->dd__Hostname);
    EXPECT_LT(PeakWorkingSet() - before, 16u << 20);
}

// Texts are read as UTF-8 and kept so; bytes that are not UTF-8 are taken
// one by one as Latin-1 characters and come out as UTF-8 like the rest, so
// the message is read and the device record gets text it can convert.
TEST_F(BadInput, InvalidUtf8IsReadAsLatin1)
{
    ASSERT_TRUE(Deliver(CorpusFile("invalid-utf8.xml")));
    EXPECT_TRUE(Accepted());
    EXPECT_STREQ("wine-\xc3\xbf\xc3\xbe\xc3\x83(publisher", hello.zqd__VendorExtension->dd__Hostname);
}

TEST_F(BadInput, BinaryNoiseIsDropped)
{
    ASSERT_TRUE(Deliver(CorpusFile("not-xml.bin")));
    EXPECT_FALSE(Accepted());
}

TEST_F(BadInput, AnHttpRequestInADatagramIsDropped)
{
    ASSERT_TRUE(Deliver(CorpusFile("not-xml.txt")));
    EXPECT_FALSE(Accepted());
}

TEST_F(BadInput, AnEmptyDatagramIsDropped)
{
    ASSERT_TRUE(device.SendTo("", kListener, 3702));
    ASSERT_TRUE(WaitAndReset(readEvent));
    EXPECT_FALSE(Accepted());
}

}  // namespace
