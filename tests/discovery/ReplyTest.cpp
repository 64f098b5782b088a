// ProbeMatches and ResolveMatches on the socket of the request: a device of
// the test's answers from a plain socket, relating its reply to the request
// or not; the outcome and the lines of a real log file.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "discovery/CWSDSession.h"
#include "discovery/CorpusFile.h"
#include "discovery/DatagramPeer.h"
#include "discovery/HttpDevicePeer.h"
#include "discovery/WSDMessages.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"

using QVDiscovery::CWSDSession;
using namespace wsdtest;

namespace {

constexpr const char* kDevice = "127.0.18.20";
constexpr const char* kUuid = "6f1c0a2e-1111-2222-3333-444455556666";

std::string Upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
    return text;
}

std::string ProbeMatches(const std::string& id, const std::string& relatesTo, const std::string& matches)
{
    return Incoming(MessageIdHeader(id) + RelatesToHeader(relatesTo) + ActionHeader("ProbeMatches"),
                    "<d:ProbeMatches>" + matches + "</d:ProbeMatches>");
}

std::string ResolveMatches(const std::string& id, const std::string& relatesTo, const std::string& match)
{
    return Incoming(MessageIdHeader(id) + RelatesToHeader(relatesTo) + ActionHeader("ResolveMatches"),
                    "<d:ResolveMatches>" + match + "</d:ResolveMatches>");
}

struct Reply : ::testing::Test {
    ~Reply() override
    {
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    // Sends a Probe to the device and waits until the device has it.
    void Probe()
    {
        ASSERT_TRUE(device.Bound());
        ASSERT_TRUE(session.SendProbe("127.0.0.1", kDevice, nullptr, SO_BROADCAST));
        std::string probe;
        ASSERT_TRUE(device.Receive(probe));
        readEvent = session.GetReadEvent();
        ASSERT_NE(nullptr, readEvent);
    }
    void Resolve()
    {
        ASSERT_TRUE(device.Bound());
        ASSERT_TRUE(session.SendResolve("127.0.0.1", kDevice, "urn:uuid:dev-1"));
        std::string resolve;
        ASSERT_TRUE(device.Receive(resolve));
        readEvent = session.GetReadEvent();
        ASSERT_NE(nullptr, readEvent);
    }
    bool Answer(const std::string& message)
    {
        return device.Reply(message) && WaitAndReset(readEvent) && session.ReceiveBegin();
    }

    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"wsd-reply", 0x30000E90};
    DatagramPeer device{kDevice, 3702};
    CWSDSession session;
    HANDLE readEvent = nullptr;
    struct wsd__ProbeMatchesZQType probeMatches = {};
    struct wsd__ResolveMatchesZQType resolveMatches = {};
};

TEST_F(Reply, ProbeMatchesRelatedToTheProbeIsAccepted)
{
    Probe();
    ASSERT_TRUE(Answer(ProbeMatches("uuid:r-1", session.MessageId(),
                                    "<d:ProbeMatch>" + Children("urn:uuid:dev-1", Extension(kUuid)) + "</d:ProbeMatch>")));
    ASSERT_TRUE(session.ReceiveProbeMatches(&probeMatches));
    ASSERT_EQ(1, probeMatches.__sizeProbeMatch);
    EXPECT_STREQ("urn:uuid:dev-1", probeMatches.wsd__ProbeMatch[0].wsa__EndpointReference.wsa__Address);
    EXPECT_STREQ(kUuid, probeMatches.wsd__ProbeMatch[0].zqd__VendorExtension->dd__UUID);
    session.ReceiveEnd();
}

TEST_F(Reply, ProbeMatchesWithTwoMatchesYieldsTheFirst)
{
    Probe();
    const std::string first = "<d:ProbeMatch>" + Children("urn:uuid:dev-1", Extension(kUuid)) + "</d:ProbeMatch>";
    const std::string second = "<d:ProbeMatch>" + Children("urn:uuid:dev-2", "") + "</d:ProbeMatch>";
    ASSERT_TRUE(Answer(ProbeMatches("uuid:r-2", session.MessageId(), first + second)));
    ASSERT_TRUE(session.ReceiveProbeMatches(&probeMatches));
    EXPECT_STREQ("urn:uuid:dev-1", probeMatches.wsd__ProbeMatch[0].wsa__EndpointReference.wsa__Address);
    session.ReceiveEnd();
}

TEST_F(Reply, ProbeMatchesWhoseFirstMatchLacksTheUUIDIsDropped)
{
    Probe();
    const std::string first = "<d:ProbeMatch>" + Children("urn:uuid:dev-2", "") + "</d:ProbeMatch>";
    const std::string second = "<d:ProbeMatch>" + Children("urn:uuid:dev-1", Extension(kUuid)) + "</d:ProbeMatch>";
    ASSERT_TRUE(Answer(ProbeMatches("uuid:r-3", session.MessageId(), first + second)));
    EXPECT_FALSE(session.ReceiveProbeMatches(&probeMatches));
    EXPECT_EQ(2, probeMatches.__sizeProbeMatch);
    session.ReceiveEnd();
}

TEST_F(Reply, EmptyProbeMatchesIsDropped)
{
    Probe();
    ASSERT_TRUE(Answer(ProbeMatches("uuid:r-4", session.MessageId(), "")));
    EXPECT_FALSE(session.ReceiveProbeMatches(&probeMatches));
    session.ReceiveEnd();
}

TEST_F(Reply, RelatesToInUpperCaseRelatesToTheLowerCaseProbe)
{
    Probe();
    ASSERT_NE(session.MessageId(), Upper(session.MessageId()));
    ASSERT_TRUE(Answer(ProbeMatches("uuid:r-5", Upper(session.MessageId()),
                                    "<d:ProbeMatch>" + Children("urn:uuid:dev-1", Extension(kUuid)) + "</d:ProbeMatch>")));
    EXPECT_TRUE(session.ReceiveProbeMatches(&probeMatches));
    session.ReceiveEnd();
}

TEST_F(Reply, AReplyForAnotherRequestIsLoggedAtDebugAndIgnoredAndItsIdentifierStays)
{
    Probe();
    const std::string match = "<d:ProbeMatch>" + Children("urn:uuid:dev-1", Extension(kUuid)) + "</d:ProbeMatch>";
    ASSERT_TRUE(Answer(ProbeMatches("uuid:r-6", "uuid:00000000-0000-0000-0000-000000000000", match)));
    EXPECT_FALSE(session.ReceiveProbeMatches(&probeMatches));
    session.ReceiveEnd();
    EXPECT_EQ(1u, log.Count(L"(DB) Wrong RelatesTo value in SOAP header"));
    // The same identifier again, now relating to the Probe: still a duplicate.
    EXPECT_FALSE(Answer(ProbeMatches("uuid:r-6", session.MessageId(), match)));
    session.ReceiveEnd();
    EXPECT_EQ(1u, log.Count(L"(##) Message ID (uuid:r-6) is a duplicate"));
}

TEST_F(Reply, AReplyWithoutRelatesToIsLoggedAtDebugAndIgnored)
{
    Probe();
    const std::string message = Incoming(MessageIdHeader("uuid:r-7") + ActionHeader("ProbeMatches"),
                                         "<d:ProbeMatches><d:ProbeMatch>" + Children("urn:uuid:dev-1", Extension(kUuid))
                                             + "</d:ProbeMatch></d:ProbeMatches>");
    ASSERT_TRUE(Answer(message));
    EXPECT_FALSE(session.ReceiveProbeMatches(&probeMatches));
    session.ReceiveEnd();
    EXPECT_EQ(1u, log.Count(L"(DB) Missing RelatesTo value in SOAP header"));
}

TEST_F(Reply, ARetransmittedProbeMatchesFailsReceiveBeginAndIsNotParsed)
{
    Probe();
    const std::string message = ProbeMatches(
        "uuid:r-8", session.MessageId(), "<d:ProbeMatch>" + Children("urn:uuid:dev-1", Extension(kUuid)) + "</d:ProbeMatch>");
    ASSERT_TRUE(Answer(message));
    EXPECT_TRUE(session.ReceiveProbeMatches(&probeMatches));
    session.ReceiveEnd();
    EXPECT_FALSE(Answer(message));
    session.ReceiveEnd();
    EXPECT_EQ(1u, log.Count(L"(##) Message ID (uuid:r-8) is a duplicate"));
    EXPECT_EQ(1u, log.Count(L"(->) CWSDSession::ReceiveProbeMatches"));
}

TEST_F(Reply, ResolveMatchesRelatedToTheResolveIsAccepted)
{
    Resolve();
    ASSERT_TRUE(Answer(ResolveMatches("uuid:r-9", session.MessageId(),
                                      "<d:ResolveMatch>" + Children("urn:uuid:dev-1", Extension(kUuid)) + "</d:ResolveMatch>")));
    ASSERT_TRUE(session.ReceiveResolveMatches(&resolveMatches));
    ASSERT_NE(nullptr, resolveMatches.wsd__ResolveMatch);
    EXPECT_STREQ("http://10.0.0.7:80/wsd", resolveMatches.wsd__ResolveMatch->wsd__XAddrs);
    session.ReceiveEnd();
}

TEST_F(Reply, ResolveMatchesWithoutTheVendorExtensionIsDropped)
{
    Resolve();
    ASSERT_TRUE(Answer(ResolveMatches("uuid:r-10", session.MessageId(),
                                      "<d:ResolveMatch>" + Children("urn:uuid:dev-1", "") + "</d:ResolveMatch>")));
    EXPECT_FALSE(session.ReceiveResolveMatches(&resolveMatches));
    session.ReceiveEnd();
}

TEST_F(Reply, AProbeMatchesIsNoResolveMatches)
{
    Resolve();
    ASSERT_TRUE(Answer(ProbeMatches("uuid:r-11", session.MessageId(),
                                    "<d:ProbeMatch>" + Children("urn:uuid:dev-1", Extension(kUuid)) + "</d:ProbeMatch>")));
    EXPECT_FALSE(session.ReceiveResolveMatches(&resolveMatches));
    session.ReceiveEnd();
    EXPECT_EQ(0u, log.Count(L"(##) soap_in_wsd__ResolveMatchesZQType() failed, err=3"));
}

TEST_F(Reply, DirectedProbeReadsTheHttpReplyOnTheSameConnection)
{
    const std::string match = "<d:ProbeMatch>" + Children("urn:uuid:dev-1", Extension(kUuid)) + "</d:ProbeMatch>";
    HttpDevicePeer web("127.0.18.21", [&](const std::string& request) {
        return HttpReply(ProbeMatches("uuid:r-12", MessageIdOf(request), match));
    });
    ASSERT_TRUE(web.Listening());
    ASSERT_TRUE(session.SendProbe("", "127.0.18.21", nullptr, 0));
    readEvent = session.GetReadEvent();
    ASSERT_TRUE(WaitAndReset(readEvent));
    ASSERT_TRUE(session.ReceiveBegin());
    ASSERT_TRUE(session.ReceiveProbeMatches(&probeMatches));
    EXPECT_STREQ("urn:uuid:dev-1", probeMatches.wsd__ProbeMatch[0].wsa__EndpointReference.wsa__Address);
    session.ReceiveEnd();
}

// The session reads the connection of a directed Probe as it reads
// datagrams (its input mode stays UDP): the reply's XML decides where the
// message ends, and a wrong Content-Length, too long or too short, is not
// looked at.
TEST_F(Reply, DirectedReplyWithAWrongContentLengthIsReadAsItsXmlStands)
{
    for (const char* file : {"http-reply-too-long.http", "http-reply-too-short.http"}) {
        CWSDSession directed;
        HttpDevicePeer web("127.0.18.22", [&](const std::string& request) {
            return CorpusReply(file, MessageIdOf(request));
        });
        ASSERT_TRUE(web.Listening());
        ASSERT_TRUE(directed.SendProbe("", "127.0.18.22", nullptr, 0));
        ASSERT_TRUE(WaitAndReset(directed.GetReadEvent()));
        web.Request();
        EXPECT_TRUE(directed.ReceiveBegin());
        EXPECT_TRUE(directed.ReceiveProbeMatches(&probeMatches)) << file;
        directed.ReceiveEnd();
    }
}

// The device closes in the middle of its reply: the reader meets the end of
// the stream and the reply is dropped.
TEST_F(Reply, DirectedReplyCutShortByTheDeviceIsDropped)
{
    HttpDevicePeer web("127.0.18.23", [&](const std::string& request) {
        return CorpusReply("http-reply-cut-short.http", MessageIdOf(request));
    });
    ASSERT_TRUE(web.Listening());
    ASSERT_TRUE(session.SendProbe("", "127.0.18.23", nullptr, 0));
    readEvent = session.GetReadEvent();
    ASSERT_TRUE(WaitAndReset(readEvent));
    web.Request();
    EXPECT_TRUE(session.ReceiveBegin());
    EXPECT_FALSE(session.ReceiveProbeMatches(&probeMatches));
    session.ReceiveEnd();
    EXPECT_EQ(1u, log.Count(L"(##) soap_in_wsd__ProbeMatchesZQType() failed, err=-1"));
}

}  // namespace
