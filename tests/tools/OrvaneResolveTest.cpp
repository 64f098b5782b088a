// orvane resolve on queues and ports this test makes in the prefix's real
// spooler and registry: what it prints, as text and as JSON, and its exit
// codes.
#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "common/Text.h"
#include "peers/TestKey.h"
#include "resolver/SpoolerQueues.h"
#include "tools/ChildProcess.h"

using peers::TestKey;
using resolver_test::SpoolerQueues;
using toolstest::RunResult;
using toolstest::RunTool;

namespace {

const std::wstring kMonitors = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\";

class OrvaneResolve : public ::testing::Test {
protected:
    // A queue of this process on `port`; its name.
    std::wstring Queue(const std::wstring& name, const std::wstring& port)
    {
        const std::wstring queue = SpoolerQueues::Unique(name);
        EXPECT_TRUE(m_queues.Add(queue, port));
        return queue;
    }
    static RunResult Resolve(const std::vector<std::wstring>& arguments)
    {
        std::vector<std::wstring> all = {L"resolve"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return RunTool(L"orvane.exe", all);
    }
    static std::string Narrow(const std::wstring& text) { return tools::Text::Narrow(text); }

    SpoolerQueues m_queues;
};

}  // namespace

TEST_F(OrvaneResolve, UsbQueueByItsNameGivesThePortAsQueueName)
{
    const std::wstring queue = Queue(L"Orvane Resolve USB", L"USB097");
    const RunResult run = Resolve({queue});
    ASSERT_EQ(run.exitCode, 0) << ::testing::PrintToString(run.err);
    EXPECT_EQ(run.out, (std::vector<std::string>{
                           "name                " + Narrow(queue),
                           "kind                queue (2)",
                           "status              0x00000000 (S_OK)",
                           "connection type     0x002 (USB)",
                           "TCP/IP address      -",
                           "direct port         USB097",
                           "queue name          USB097",
                       }));
    EXPECT_TRUE(run.err.empty());
}

TEST_F(OrvaneResolve, UsbPortGivesItsQueueAsQueueNameInJson)
{
    const std::wstring queue = Queue(L"Orvane Resolve USB port", L"USB098");
    const RunResult run = Resolve({L"--port", L"USB098", L"--json"});
    ASSERT_EQ(run.exitCode, 0) << ::testing::PrintToString(run.err);
    EXPECT_EQ(run.out, (std::vector<std::string>{
                           "{\"name\": \"USB098\", \"resolveType\": 4, \"status\": \"0x00000000\", \"connectionType\": 2, "
                           "\"tcpipAddress\": null, \"tcpipPort\": null, \"directConnectPort\": \"USB098\", "
                           "\"queueName\": \"" + Narrow(queue) + "\"}"}));
}

TEST_F(OrvaneResolve, Dot4AndLptPortsAreDirectConnections)
{
    Queue(L"Orvane Resolve DOT4", L"DOT4_097");
    Queue(L"Orvane Resolve LPT", L"LPT7:");
    const RunResult dot4 = Resolve({L"--port", L"DOT4_097", L"--json"});
    ASSERT_EQ(dot4.exitCode, 0) << ::testing::PrintToString(dot4.err);
    ASSERT_EQ(dot4.out.size(), 1u);
    EXPECT_NE(dot4.out[0].find("\"connectionType\": 16, \"tcpipAddress\": null, \"tcpipPort\": null, "
                               "\"directConnectPort\": \"DOT4_097\""),
              std::string::npos)
        << dot4.out[0];
    const RunResult lpt = Resolve({L"--port", L"LPT7:"});
    ASSERT_EQ(lpt.exitCode, 0) << ::testing::PrintToString(lpt.err);
    EXPECT_EQ(lpt.out[3], "connection type     0x008 (LPT)");
    EXPECT_EQ(lpt.out[5], "direct port         LPT7:");
}

TEST_F(OrvaneResolve, StandardTcpIpPortGivesItsAddressAndPort)
{
    TestKey port(HKEY_LOCAL_MACHINE, kMonitors + L"Standard TCP/IP Port\\Ports\\ORV_TOOL_IP4");
    port.SetString(L"HostName", L"localhost");
    port.SetDword(L"Protocol", 1);
    port.SetDword(L"PortNumber", 9100);
    const std::wstring queue = Queue(L"Orvane Resolve IP", L"ORV_TOOL_IP4");
    const RunResult text = Resolve({L"--queue", queue});
    ASSERT_EQ(text.exitCode, 0) << ::testing::PrintToString(text.err);
    ASSERT_EQ(text.out.size(), 7u);
    EXPECT_EQ(text.out[3], "connection type     0x020 (TCP/IP)");
    EXPECT_EQ(text.out[4], "TCP/IP address      127.0.0.1 port 9100");
    EXPECT_EQ(text.out[5], "direct port         -");
    const RunResult json = Resolve({queue, L"--json"});
    ASSERT_EQ(json.exitCode, 0);
    EXPECT_EQ(json.out, (std::vector<std::string>{
                            "{\"name\": \"" + Narrow(queue) + "\", \"resolveType\": 2, \"status\": \"0x00000000\", "
                            "\"connectionType\": 32, \"tcpipAddress\": \"127.0.0.1\", \"tcpipPort\": 9100, "
                            "\"directConnectPort\": null, \"queueName\": \"localhost\"}"}));
}

// The search fails before it reads the port number, and still reports the
// flag and the address it took.
TEST_F(OrvaneResolve, TcpIpPortWithOnlyIpv6IsNotResolvedButShowsItsAddress)
{
    TestKey port(HKEY_LOCAL_MACHINE, kMonitors + L"Standard TCP/IP Port\\Ports\\ORV_TOOL_IP6");
    port.SetDword(L"Protocol", 1);
    port.SetDword(L"PortNumber", 9100);
    port.SetString(L"IPv6HostName", L"printhost6");
    port.SetMulti(L"IPv6AddressEx", {L"fd77::5"});
    const std::wstring queue = Queue(L"Orvane Resolve IPv6", L"ORV_TOOL_IP6");
    const RunResult run = Resolve({queue, L"--json"});
    EXPECT_EQ(run.exitCode, 1);
    ASSERT_EQ(run.out.size(), 1u);
    EXPECT_NE(run.out[0].find("\"status\": \"0x80004005\", \"connectionType\": 32, \"tcpipAddress\": \"fd77::5\", "
                              "\"tcpipPort\": 0, \"directConnectPort\": null"),
              std::string::npos)
        << ::testing::PrintToString(run.out);
    ASSERT_EQ(run.err.size(), 1u);
    EXPECT_EQ(run.err[0], "orvane resolve: could not resolve the queue name '" + Narrow(queue)
                              + "' (status 0x80004005); 'orvane log on' records each step of the search in "
                                "the OrvaneResolver lines");
}

TEST_F(OrvaneResolve, LprPortIsSpelledOutAndHasNoTcpIpAddress)
{
    TestKey port(HKEY_LOCAL_MACHINE, kMonitors + L"LPR Port\\Ports\\ORV_TOOL_LPR");
    port.SetString(L"Printer Name", L"remoteq");
    port.SetString(L"Server Name", L"localhost");
    const std::wstring queue = Queue(L"Orvane Resolve LPR", L"ORV_TOOL_LPR");
    const RunResult run = Resolve({queue});
    ASSERT_EQ(run.exitCode, 0) << ::testing::PrintToString(run.err);
    EXPECT_EQ(run.out[3], "connection type     0x080 (LPR)");
    EXPECT_EQ(run.out[4], "TCP/IP address      -");
}

TEST_F(OrvaneResolve, NameNoQueueBearsIsNotResolved)
{
    const RunResult run = Resolve({L"No such queue at all", L"--json"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.out, (std::vector<std::string>{
                           "{\"name\": \"No such queue at all\", \"resolveType\": 2, \"status\": \"0x80004005\", "
                           "\"connectionType\": 0, \"tcpipAddress\": null, \"tcpipPort\": null, "
                           "\"directConnectPort\": null, \"queueName\": \"\"}"}));
}

TEST_F(OrvaneResolve, NameOf259CharactersIsSearchedAndOneOf260IsRefused)
{
    const RunResult searched = Resolve({std::wstring(259, L'q')});
    EXPECT_EQ(searched.exitCode, 1);
    EXPECT_EQ(searched.out[2], "status              0x80004005 (E_FAIL)");
    const RunResult refused = Resolve({std::wstring(260, L'q'), L"--json"});
    EXPECT_EQ(refused.exitCode, 2);
    ASSERT_EQ(refused.out.size(), 1u);
    EXPECT_NE(refused.out[0].find("\"status\": \"0x80070057\", \"connectionType\": null"), std::string::npos);
    ASSERT_EQ(refused.err.size(), 1u);
    EXPECT_EQ(refused.err[0], "orvane resolve: the resolver refuses the queue name '" + std::string(260, 'q')
                                  + "' (status 0x80070057, E_INVALIDARG): a name must have 1 to 259 characters");
}

TEST_F(OrvaneResolve, UsageErrorsAndHelp)
{
    EXPECT_EQ(Resolve({}).exitCode, 2);
    const RunResult twoKinds = Resolve({L"--port", L"--queue", L"USB001"});
    EXPECT_EQ(twoKinds.exitCode, 2);
    ASSERT_FALSE(twoKinds.err.empty());
    EXPECT_EQ(twoKinds.err[0], "orvane resolve: give one of --queue, --port, --share and --server");
    EXPECT_EQ(Resolve({L"--bogus", L"x"}).exitCode, 2);
    const RunResult help = Resolve({L"--help"});
    EXPECT_EQ(help.exitCode, 0);
    ASSERT_FALSE(help.out.empty());
    EXPECT_EQ(help.out[0], "usage: orvane resolve [--queue | --port | --share | --server] NAME [--json]");
}
