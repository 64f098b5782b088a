// Real traffic with peers that are not ours, in two network namespaces that
// wsd-netns.sh makes: this program runs in one, with Wine's server started
// there; Debian's wsdd and Wine's own WS-Discovery publisher run in the
// other. The script passes the addresses and the peers' identifiers.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "discovery/CWSDSession.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"

using QVDiscovery::CWSDSession;

namespace {

std::string Setting(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}

bool WaitAndReset(HANDLE readEvent, unsigned ms)
{
    return readEvent != nullptr && WaitForSingleObject(readEvent, ms) == WAIT_OBJECT_0 && WSAResetEvent(readEvent);
}

struct Namespace : ::testing::Test {
    void SetUp() override
    {
        ASSERT_FALSE(local4.empty()) << "run by wsd-netns.sh, which sets ORVANE_NETNS_LOCAL4";
        ASSERT_FALSE(local6.empty());
        ASSERT_FALSE(wsddUuid.empty());
        ASSERT_FALSE(publisherUuid.empty());
    }
    ~Namespace() override
    {
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    size_t DuplicateLines() const
    {
        size_t count = 0;
        for (const std::wstring& line : log.Lines()) {
            count += line.rfind(L"(##) Message ID (urn:uuid:", 0) == 0
                && line.size() > 16 && line.compare(line.size() - 16, 16, L") is a duplicate") == 0;
        }
        return count;
    }
    // wsdd answers a Probe for its own type; each of its replies comes
    // twice with one identifier: the first is read, the second dropped.
    void ProbeWsdd(const std::string& local, const char* group)
    {
        CWSDSession session;
        ASSERT_TRUE(session.SendProbe(local.c_str(), group, "wsdp:Device", SO_BROADCAST));
        HANDLE readEvent = session.GetReadEvent();
        ASSERT_TRUE(WaitAndReset(readEvent, 5000)) << "no reply from wsdd";
        ASSERT_TRUE(session.ReceiveBegin());
        struct wsd__ProbeMatchesZQType matches = {};
        // Parsed whole, and not taken: wsdd carries no vendor extension.
        EXPECT_FALSE(session.ReceiveProbeMatches(&matches));
        ASSERT_EQ(1, matches.__sizeProbeMatch);
        EXPECT_EQ("urn:uuid:" + wsddUuid, matches.wsd__ProbeMatch[0].wsa__EndpointReference.wsa__Address);
        EXPECT_EQ(nullptr, matches.wsd__ProbeMatch[0].zqd__VendorExtension);
        session.ReceiveEnd();
        // Under Wine the read event can fire once more with nothing queued
        // after a read: that receive fails at once, and the wait goes on.
        const DWORD deadline = GetTickCount() + 5000;
        while (DuplicateLines() == 0 && GetTickCount() < deadline
               && WaitAndReset(readEvent, deadline - GetTickCount())) {
            EXPECT_FALSE(session.ReceiveBegin());
            session.ReceiveEnd();
        }
        EXPECT_EQ(1u, DuplicateLines()) << "wsdd's repeat was not dropped as a duplicate";
    }

    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"wsd-netns", 0x30000E90};
    const std::string local4 = Setting("ORVANE_NETNS_LOCAL4");
    const std::string local6 = Setting("ORVANE_NETNS_LOCAL6");
    const std::string wsddUuid = Setting("ORVANE_NETNS_WSDD_UUID");
    const std::string publisherUuid = Setting("ORVANE_NETNS_PUBLISHER_UUID");
};

TEST_F(Namespace, ProbeOnTheIPv4GroupIsAnsweredByWsddAndTheRepeatIsDropped)
{
    ProbeWsdd(local4, "239.255.255.250");
}

TEST_F(Namespace, ProbeOnTheIPv6GroupIsAnsweredByWsddAndTheRepeatIsDropped)
{
    ProbeWsdd(local6, "FF02::C");
}

TEST_F(Namespace, ResolveOnTheIPv4GroupIsAnsweredByWsdd)
{
    CWSDSession session;
    ASSERT_TRUE(session.SendResolve(local4.c_str(), "239.255.255.250", ("urn:uuid:" + wsddUuid).c_str()));
    HANDLE readEvent = session.GetReadEvent();
    ASSERT_TRUE(WaitAndReset(readEvent, 5000)) << "no reply from wsdd";
    ASSERT_TRUE(session.ReceiveBegin());
    struct wsd__ResolveMatchesZQType matches = {};
    EXPECT_FALSE(session.ReceiveResolveMatches(&matches));
    ASSERT_NE(nullptr, matches.wsd__ResolveMatch);
    EXPECT_EQ("urn:uuid:" + wsddUuid, matches.wsd__ResolveMatch->wsa__EndpointReference.wsa__Address);
    ASSERT_NE(nullptr, matches.wsd__ResolveMatch->wsd__XAddrs);
    EXPECT_EQ(0, std::string(matches.wsd__ResolveMatch->wsd__XAddrs).rfind("http://10.77.0.2:5357/", 0))
        << matches.wsd__ResolveMatch->wsd__XAddrs;
    session.ReceiveEnd();
}

// Wine's publisher answers a Probe for the family by announcing itself: its
// Hello carries the vendor extension and is accepted, and its repeats,
// which keep the identifier, are dropped. (Its ProbeMatch does not reach
// the wire under Wine 8, though MatchProbeEx succeeds.)
TEST_F(Namespace, WinesPublisherHelloIsAcceptedAndItsRepeatsAreDropped)
{
    CWSDSession listener;
    ASSERT_TRUE(listener.Bind(local4.c_str()));
    ASSERT_TRUE(listener.AddMembership(local4.c_str(), "239.255.255.250"));
    HANDLE announcements = listener.GetReadEvent();
    ASSERT_NE(nullptr, announcements);

    CWSDSession session;
    ASSERT_TRUE(session.SendProbe(local4.c_str(), "239.255.255.250", nullptr, SO_BROADCAST));
    int accepted = 0;
    int wakes = 0;
    const DWORD deadline = GetTickCount() + 5000;
    while (GetTickCount() < deadline && WaitAndReset(announcements, deadline - GetTickCount())) {
        ++wakes;
        struct wsd__HelloZQType hello = {};
        if (listener.ReceiveBegin() && listener.ReceiveHello(&hello)) {
            ++accepted;
            EXPECT_EQ(publisherUuid, hello.zqd__VendorExtension->dd__UUID);
            EXPECT_STREQ("wine-publisher", hello.zqd__VendorExtension->dd__Hostname);
            EXPECT_STREQ("http://10.77.0.2:80/wsd", hello.wsd__XAddrs);
        }
        listener.ReceiveEnd();
        if (accepted == 1 && DuplicateLines() >= 1) {
            break;
        }
    }
    EXPECT_EQ(1, accepted) << wakes << " wake-ups";
    EXPECT_LE(1u, DuplicateLines()) << "Wine's repeated Hello was not dropped";
}

}  // namespace
