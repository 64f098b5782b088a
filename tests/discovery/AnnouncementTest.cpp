// Hello and Bye as devices and other peers write them, sent from a plain
// socket to a session bound on a loopback address of the test's; the
// outcome and the lines of a real log file.
#include <gtest/gtest.h>

#include <cstdio>

#include "discovery/CWSDSession.h"
#include "discovery/DatagramPeer.h"
#include "discovery/WSDMessages.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"

using QVDiscovery::CWSDSession;
using namespace wsdtest;

namespace {

constexpr const char* kListener = "127.0.18.10";
constexpr const char* kUuid = "6f1c0a2e-1111-2222-3333-444455556666";

struct Announcement : ::testing::Test {
    void SetUp() override
    {
        ASSERT_TRUE(device.Bound());
        ASSERT_TRUE(session.Bind(kListener));
        readEvent = session.GetReadEvent();
        ASSERT_NE(nullptr, readEvent);
    }
    ~Announcement() override
    {
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    // Sends one message and takes it in up to its body.
    bool Deliver(const std::string& message)
    {
        return device.SendTo(message, kListener, 3702) && WaitAndReset(readEvent) && session.ReceiveBegin();
    }
    std::string Hello(const std::string& id, const std::string& body)
    {
        return Incoming(MessageIdHeader(id) + ActionHeader("Hello"), "<d:Hello>" + body + "</d:Hello>");
    }

    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"wsd-announcement", 0x30000E90};
    DatagramPeer device{"127.0.18.11", 0};
    CWSDSession session;
    HANDLE readEvent = nullptr;
    struct wsd__HelloZQType hello = {};
    struct wsd__ByeZQType bye = {};
};

TEST_F(Announcement, HelloWithTheVendorExtensionIsReadWhole)
{
    ASSERT_TRUE(Deliver(Hello("uuid:h-1", Children("urn:uuid:dev-1", Extension(kUuid)))));
    ASSERT_TRUE(session.ReceiveHello(&hello));
    EXPECT_STREQ("urn:uuid:dev-1", hello.wsa__EndpointReference.wsa__Address);
    EXPECT_STREQ("http://10.0.0.7:80/wsd", hello.wsd__XAddrs);
    EXPECT_EQ(1u, hello.wsd__MetadataVersion);
    const zqd__VendorExtensionType* extension = hello.zqd__VendorExtension;
    ASSERT_NE(nullptr, extension);
    EXPECT_STREQ(kUuid, extension->dd__UUID);
    EXPECT_STREQ("00:11:22:33:44:55", extension->dd__HardwareAddress);
    EXPECT_STREQ("10.0.0.7", extension->dd__IPv4Address);
    ASSERT_NE(nullptr, extension->dd__IPv6Address);
    ASSERT_EQ(2, extension->dd__IPv6Address->__sizeitem);
    EXPECT_STREQ("fd00::7", extension->dd__IPv6Address->item[1]);
    EXPECT_STREQ("zq-printer", extension->dd__Hostname);
    EXPECT_STREQ("MFG:ZQ;MDL:QV1;", extension->pwg__DeviceId);
    EXPECT_STREQ("SN0001", extension->pwg__SerialNumber);
    EXPECT_STREQ("print scan", extension->pwg__Services);
    EXPECT_STREQ("wired", extension->pwg__AdapterType);
    EXPECT_EQ(nullptr, extension->dd__SimAddress);
    session.ReceiveEnd();
}

TEST_F(Announcement, HelloWithoutTheVendorExtensionIsDroppedEvenWithTheRightTypes)
{
    ASSERT_TRUE(Deliver(Hello("uuid:h-2", Children("urn:uuid:dev-2", ""))));
    EXPECT_FALSE(session.ReceiveHello(&hello));
    // Types are read as qualified names: the prefix becomes ours.
    EXPECT_STREQ("zqd:zqDevice", hello.wsd__Types);
    session.ReceiveEnd();
}

TEST_F(Announcement, HelloWithTheExtensionButNoUUIDIsDropped)
{
    const std::string extension = "<v:VendorExtension><x:Hostname>zq-printer</x:Hostname></v:VendorExtension>";
    ASSERT_TRUE(Deliver(Hello("uuid:h-3", Children("urn:uuid:dev-3", extension))));
    EXPECT_FALSE(session.ReceiveHello(&hello));
    ASSERT_NE(nullptr, hello.zqd__VendorExtension);
    EXPECT_STREQ("zq-printer", hello.zqd__VendorExtension->dd__Hostname);
    session.ReceiveEnd();
}

TEST_F(Announcement, ByeWithoutMetadataVersionIsValid)
{
    const std::string bye_ = Incoming(MessageIdHeader("uuid:b-1") + ActionHeader("Bye"),
                                      "<d:Bye>" + Children("urn:uuid:dev-4", Extension(kUuid), nullptr) + "</d:Bye>");
    ASSERT_TRUE(Deliver(bye_));
    // A Bye is no Hello: the first reader leaves it for the second, silently.
    EXPECT_FALSE(session.ReceiveHello(&hello));
    ASSERT_TRUE(session.ReceiveBye(&bye));
    EXPECT_EQ(nullptr, bye.wsd__MetadataVersion);
    EXPECT_STREQ("urn:uuid:dev-4", bye.wsa__EndpointReference.wsa__Address);
    session.ReceiveEnd();
    EXPECT_EQ(0u, log.Count(L"(##) soap_in_wsd__HelloZQType() failed, err=3"));
}

TEST_F(Announcement, AForeignPrefixForAVendorNamespaceIsAsGoodAsOurs)
{
    // "x" and "p" for the dictionaries and pwg, and "q" for the vendor's
    // discovery namespace, declared on the element itself.
    const std::string extension = std::string("<q:VendorExtension xmlns:q=\"") + kVendorHost
        + "/schemas/imaging/con/discovery/2006/09/19\"><x:UUID>" + kUuid + "</x:UUID></q:VendorExtension>";
    ASSERT_TRUE(Deliver(Hello("uuid:h-4", Children("urn:uuid:dev-5", extension))));
    ASSERT_TRUE(session.ReceiveHello(&hello));
    EXPECT_STREQ(kUuid, hello.zqd__VendorExtension->dd__UUID);
    session.ReceiveEnd();
}

TEST_F(Announcement, ASoap11EnvelopeIsRead)
{
    const std::string message = Incoming(MessageIdHeader("uuid:h-5"),
                                         "<d:Hello>" + Children("urn:uuid:dev-6", Extension(kUuid)) + "</d:Hello>",
                                         Soap::V11);
    ASSERT_TRUE(Deliver(message));
    EXPECT_TRUE(session.ReceiveHello(&hello));
    session.ReceiveEnd();
}

TEST_F(Announcement, HeaderElementsInAnotherOrderWithAppSequenceAreRead)
{
    const std::string header = ActionHeader("Hello")
        + "<d:AppSequence InstanceId=\"7\" MessageNumber=\"3\"/><a:To>urn:schemas-xmlsoap-org:ws:2005:04:discovery</a:To>"
        + MessageIdHeader("uuid:h-6");
    ASSERT_TRUE(Deliver(Incoming(header, "<d:Hello>" + Children("urn:uuid:dev-7", Extension(kUuid)) + "</d:Hello>")));
    EXPECT_TRUE(session.ReceiveHello(&hello));
    session.ReceiveEnd();
}

TEST_F(Announcement, AnUnknownHeaderWithoutMustUnderstandIsSkipped)
{
    const std::string header = "<o:Other xmlns:o=\"urn:other\">x</o:Other>" + MessageIdHeader("uuid:h-7");
    ASSERT_TRUE(Deliver(Incoming(header, "<d:Hello>" + Children("urn:uuid:dev-8", Extension(kUuid)) + "</d:Hello>")));
    EXPECT_TRUE(session.ReceiveHello(&hello));
    session.ReceiveEnd();
}

TEST_F(Announcement, AnUnknownHeaderWithMustUnderstandTrueRejectsTheMessage)
{
    const std::string header = "<o:Other xmlns:o=\"urn:other\" s:mustUnderstand=\"true\">x</o:Other>"
        + MessageIdHeader("uuid:h-8");
    EXPECT_FALSE(Deliver(Incoming(header, "<d:Hello>" + Children("urn:uuid:dev-9", Extension(kUuid)) + "</d:Hello>")));
    session.ReceiveEnd();
    EXPECT_EQ(1u, log.Count(L"(##) soap_recv_header() failed, err=8"));
}

TEST_F(Announcement, AnUnknownHeaderWithMustUnderstandOneRejectsTheMessage)
{
    const std::string header = "<o:Other xmlns:o=\"urn:other\" s:mustUnderstand=\"1\">x</o:Other>"
        + MessageIdHeader("uuid:h-9");
    EXPECT_FALSE(Deliver(Incoming(header, "<d:Hello>" + Children("urn:uuid:dev-10", Extension(kUuid)) + "</d:Hello>")));
    session.ReceiveEnd();
    EXPECT_EQ(1u, log.Count(L"(##) soap_recv_header() failed, err=8"));
}

TEST_F(Announcement, ASecondMessageIdIsSkippedLikeAnUnknownHeader)
{
    const std::string header = MessageIdHeader("uuid:h-10") + MessageIdHeader("uuid:h-10-again");
    ASSERT_TRUE(Deliver(Incoming(header, "<d:Hello>" + Children("urn:uuid:dev-11", Extension(kUuid)) + "</d:Hello>")));
    EXPECT_TRUE(session.ReceiveHello(&hello));
    session.ReceiveEnd();
    // The first one counts: the second identifier is still new.
    EXPECT_TRUE(Deliver(Hello("uuid:h-10-again", Children("urn:uuid:dev-11", Extension(kUuid)))));
    session.ReceiveEnd();
}

TEST_F(Announcement, ASecondMessageIdWithMustUnderstandRejectsTheMessage)
{
    const std::string header = MessageIdHeader("uuid:h-11")
        + "<a:MessageID s:mustUnderstand=\"true\">uuid:h-11-again</a:MessageID>";
    EXPECT_FALSE(Deliver(Incoming(header, "<d:Hello>" + Children("urn:uuid:dev-12", Extension(kUuid)) + "</d:Hello>")));
    session.ReceiveEnd();
    EXPECT_EQ(1u, log.Count(L"(##) soap_recv_header() failed, err=8"));
}

TEST_F(Announcement, AMessageWithoutAHeaderCountsAsADuplicate)
{
    EXPECT_FALSE(Deliver(Incoming("", "<d:Hello>" + Children("urn:uuid:dev-13", Extension(kUuid)) + "</d:Hello>")));
    session.ReceiveEnd();
    EXPECT_EQ(1u, log.Count(L"(##) Message ID ((null)) is a duplicate"));
}

TEST_F(Announcement, AnEmptyMessageIdFailsReceiveBegin)
{
    EXPECT_FALSE(Deliver(Hello("", Children("urn:uuid:dev-14", Extension(kUuid)))));
    session.ReceiveEnd();
    EXPECT_EQ(1u, log.Count(L"(##) Message ID () is a duplicate"));
}

TEST_F(Announcement, ARetransmittedHelloFailsReceiveBegin)
{
    const std::string message = Hello("uuid:h-12", Children("urn:uuid:dev-15", Extension(kUuid)));
    ASSERT_TRUE(Deliver(message));
    EXPECT_TRUE(session.ReceiveHello(&hello));
    session.ReceiveEnd();
    EXPECT_FALSE(Deliver(message));
    session.ReceiveEnd();
    EXPECT_EQ(1u, log.Count(L"(##) Message ID (uuid:h-12) is a duplicate"));
}

TEST_F(Announcement, TheSameMessageIdInAnotherCaseIsADuplicate)
{
    ASSERT_TRUE(Deliver(Hello("uuid:ab-CD", Children("urn:uuid:dev-16", Extension(kUuid)))));
    session.ReceiveEnd();
    EXPECT_FALSE(Deliver(Hello("UUID:AB-cd", Children("urn:uuid:dev-16", Extension(kUuid)))));
    session.ReceiveEnd();
    EXPECT_EQ(1u, log.Count(L"(##) Message ID (UUID:AB-cd) is a duplicate"));
}

TEST_F(Announcement, AnotherBodyElementIsNeitherHelloNorBye)
{
    ASSERT_TRUE(Deliver(Incoming(MessageIdHeader("uuid:h-13"), "<d:Probe><d:Types>v:zqDevice</d:Types></d:Probe>")));
    EXPECT_FALSE(session.ReceiveHello(&hello));
    EXPECT_FALSE(session.ReceiveBye(&bye));
    session.ReceiveEnd();
    EXPECT_EQ(0u, log.Count(L"(##) soap_in_wsd__ByeZQType() failed, err=3"));
}

}  // namespace
