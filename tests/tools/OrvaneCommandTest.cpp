// orvane.exe run against orvane-devsim.exe: exit codes, output lines, and
// the bytes that reach the device.
#include <gtest/gtest.h>

#include <winsock2.h>

#include <algorithm>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "common/Text.h"
#include "peers/ClosedPort.h"
#include "peers/LoopbackPeer.h"
#include "tools/DevsimProcess.h"
#include "tools/ResettingDevice.h"

using toolstest::DevsimProcess;
using toolstest::ResettingDevice;
using toolstest::RunTool;
using toolstest::RunResult;
using toolstest::TempFile;

namespace {

std::string Pattern(size_t size)
{
    std::string bytes(size, '\0');
    unsigned value = 12345;
    for (char& c : bytes) {
        value = value * 1103515245u + 12345u;
        c = static_cast<char>(value >> 16);
    }
    return bytes;
}

// A port in the stream range where nothing listens.
class ClosedPort : public peers::ClosedPort {
public:
    ClosedPort() : peers::ClosedPort(8999, 8000) {}
};

TEST(OrvaneCommand, ListsItsCommandsOnHelpAndAsksForOneWithoutArguments)
{
    const RunResult help = RunTool(L"orvane.exe", {L"--help"});
    EXPECT_EQ(0, help.exitCode);
    EXPECT_EQ((std::vector<std::string>{"usage: orvane COMMAND [OPTIONS] [ARGUMENTS]", "", "commands:",
                                        "  devices  list, find or open devices through the device manager",
                                        "  discover search the network for devices by WS-Discovery",
                                        "  http     one HTTP request to a device's web server (default port 80)",
                                        "  log      switch the library's log on or off, or show it",
                                        "  mib      read, walk or set a device's management objects",
                                        "  read     copy what a device sends, until it falls silent",
                                        "  resolve  show what stands behind a print queue, port, share or server name",
                                        "  send     write a file to a device (raw port, default 9100)",
                                        "  wait     print a device's interrupts as they come", "",
                                        "'orvane COMMAND --help' describes a command.",
                                        "Exit codes: 0 done, 1 device or protocol failure, 2 usage error."}),
              help.out);

    const RunResult none = RunTool(L"orvane.exe", {});
    EXPECT_EQ(2, none.exitCode);
    EXPECT_EQ(help.out, none.err);
    EXPECT_TRUE(none.out.empty());

    const RunResult unknown = RunTool(L"orvane.exe", {L"print"});
    EXPECT_EQ(2, unknown.exitCode);
    EXPECT_EQ(std::vector<std::string>{"orvane: unknown command 'print'; 'orvane --help' lists the commands"},
              unknown.err);
}

TEST(OrvaneCommand, DiscoverRefusesTwoSearchesAndStrayArguments)
{
    const RunResult two = RunTool(L"orvane.exe", {L"discover", L"--id", L"urn:uuid:1", L"--address", L"192.0.2.7"});
    EXPECT_EQ(2, two.exitCode);
    EXPECT_TRUE(two.out.empty());
    ASSERT_FALSE(two.err.empty());
    EXPECT_EQ("orvane discover: give one of --type, --id and --address", two.err[0]);
    const RunResult stray = RunTool(L"orvane.exe", {L"discover", L"192.0.2.7"});
    EXPECT_EQ(2, stray.exitCode);
    ASSERT_FALSE(stray.err.empty());
    EXPECT_EQ("orvane discover: unexpected argument '192.0.2.7'", stray.err[0]);
    const RunResult empty = RunTool(L"orvane.exe", {L"discover", L"--id", L""});
    EXPECT_EQ(2, empty.exitCode);
}

TEST(OrvaneCommand, EachCommandDescribesItselfOnHelp)
{
    const std::vector<std::pair<std::wstring, std::string>> usages{
        {L"send", "usage: orvane send [--timeout MS] ADDRESS[:PORT] FILE"},
        {L"read", "usage: orvane read [--timeout MS] [-o FILE] ADDRESS[:PORT]"},
        {L"http", "usage: orvane http [OPTIONS] ADDRESS[:PORT] URI"},
        {L"log", "usage: orvane log on|off|show [--process EXE [--module NAME]] [--file PATH] [--level N]"},
        {L"resolve", "usage: orvane resolve [--queue | --port | --share | --server] NAME [--json]"},
        {L"discover", "usage: orvane discover [--type \"QNAME ...\" | --id ID | --address IP] [--json]"},
        {L"devices", "usage: orvane devices [--usb] [--network] [--json]"},
        {L"mib", "usage: orvane mib get [--json] TARGET OID"},
        {L"wait", "usage: orvane wait [--count N] [--timeout S] TARGET"},
    };
    for (const auto& usage : usages) {
        const RunResult result = RunTool(L"orvane.exe", {usage.first, L"--help"});
        EXPECT_EQ(0, result.exitCode);
        ASSERT_FALSE(result.out.empty());
        EXPECT_EQ(usage.second, result.out[0]);
        // Each text ends with its exit codes.
        EXPECT_EQ(1, std::count_if(result.out.begin(), result.out.end(), [](const std::string& line) {
                      return line.rfind("exit codes: 0 ", 0) == 0;
                  })) << usage.second;
        EXPECT_TRUE(result.err.empty());
    }
}

TEST(OrvaneSend, RejectsBadArgumentsWithExitCodeTwo)
{
    const RunResult port = RunTool(L"orvane.exe", {L"send", L"127.0.0.1:9101", L"file.prn"});
    EXPECT_EQ(2, port.exitCode);
    EXPECT_EQ((std::vector<std::string>{"orvane send: invalid port '9101': streams use ports 80 to 9100",
                                        "see 'orvane send --help'"}),
              port.err);

    const RunResult count = RunTool(L"orvane.exe", {L"send", L"127.0.0.1"});
    EXPECT_EQ(2, count.exitCode);
    EXPECT_EQ("orvane send: expected ADDRESS[:PORT] and FILE", count.err.at(0));

    const RunResult timeout = RunTool(L"orvane.exe", {L"send", L"--timeout", L"soon", L"127.0.0.1", L"f"});
    EXPECT_EQ(2, timeout.exitCode);
    EXPECT_EQ("orvane send: option --timeout needs a number from 1 to 2147483647, not 'soon'", timeout.err.at(0));

    const RunResult missing = RunTool(L"orvane.exe", {L"send", L"127.0.0.1", L"C:\\no\\such\\file.prn"});
    EXPECT_EQ(2, missing.exitCode);
    ASSERT_EQ(1u, missing.err.size());
    EXPECT_EQ("orvane send: cannot open C:\\no\\such\\file.prn: error 3 (", missing.err[0].substr(0, missing.err[0].find('(') + 1));
}

TEST(OrvaneSend, FailsWithExitCodeOneWhenNobodyListens)
{
    ClosedPort closed;
    TempFile file("data");
    const RunResult result = RunTool(L"orvane.exe", {L"send", L"--timeout", L"3000", closed.Target(), file.Path()});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ(std::vector<std::string>{"orvane send: cannot connect to " + closed.Text() + ": error 31 (general failure)"},
              result.err);
    EXPECT_TRUE(result.out.empty());
}

TEST(OrvaneSend, DeliversEveryByteOfAMultiMegabyteFileWithoutProgressOnAPipe)
{
    DevsimProcess devsim;
    ASSERT_TRUE(devsim.Running());
    const std::string job = Pattern(5 * 1024 * 1024 + 17);
    TempFile file(job);
    const RunResult result = RunTool(L"orvane.exe", {L"send", devsim.JobTarget(), file.Path()});
    EXPECT_EQ(0, result.exitCode);
    ASSERT_EQ(1u, result.out.size());
    // One plain line: no progress bar, no carriage return.
    EXPECT_TRUE(std::regex_match(result.out[0], std::regex("sent 5242897 bytes to 127\\.0\\.0\\.1:" +
                                                           std::to_string(devsim.JobPort()) + " in [0-9]+\\.[0-9]{2} s")))
        << result.out[0];
    EXPECT_TRUE(result.err.empty());
    std::string stored;
    ASSERT_TRUE(devsim.ReadJob(L"job-0001.prn", &stored));
    EXPECT_EQ(job.size(), stored.size());
    EXPECT_TRUE(job == stored);
    EXPECT_EQ("job 1 stored 5242897 bytes in " + tools::Text::Narrow(devsim.JobsFolder()) + "\\job-0001.prn",
              devsim.Process().WaitForLine("job 1 stored"));
}

TEST(OrvaneSend, FailsWithExitCodeOneWhenTheDeviceResetsMidway)
{
    const size_t total = 8 * 1024 * 1024;
    TempFile file(Pattern(total));
    std::vector<std::string> err;
    size_t received = 0;
    {
        ResettingDevice device(1024 * 1024);
        // A write pending when the reset comes may only end at its timeout
        // under Wine; either way the write fails.
        const RunResult result = RunTool(L"orvane.exe", {L"send", L"--timeout", L"3000", device.Target(), file.Path()});
        EXPECT_EQ(1, result.exitCode);
        EXPECT_TRUE(result.out.empty());
        err = result.err;
        received = device.Received();
    }
    EXPECT_LE(1024u * 1024u, received);
    ASSERT_EQ(1u, err.size());
    std::smatch match;
    ASSERT_TRUE(std::regex_match(err[0], match, std::regex("orvane send: write to 127\\.0\\.0\\.1:[0-9]+ failed after "
                                                           "([0-9]+) of 8388608 bytes: status 0x80004005; the stream "
                                                           "keeps no system error code for a write, 'orvane log on' "
                                                           "records the cause")))
        << err[0];
    // What the device took was handed to the stream; what was handed on is
    // less than the file.
    EXPECT_LE(received, std::stoull(match[1]));
    EXPECT_GT(total, std::stoull(match[1]));
}

TEST(OrvaneRead, CopiesWhatTheDeviceSendsUntilItFallsSilent)
{
    DevsimProcess devsim{{L"--idle", L"100"}};
    ASSERT_TRUE(devsim.Running());
    const RunResult result = RunTool(L"orvane.exe", {L"read", L"--timeout", L"800", devsim.JobTarget()});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ(std::vector<std::string>{"STATUS READY JOBS 0"}, result.out);
    EXPECT_EQ(std::vector<std::string>{"received 21 bytes from " + tools::Text::Narrow(devsim.JobTarget())},
              result.err);
}

TEST(OrvaneRead, WritesTheBytesUnchangedToAFile)
{
    DevsimProcess devsim{{L"--idle", L"100"}};
    ASSERT_TRUE(devsim.Running());
    TempFile out;
    const RunResult result = RunTool(L"orvane.exe", {L"read", L"-o", out.Path(), L"--timeout", L"800", devsim.JobTarget()});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ(std::vector<std::string>{"received 21 bytes from " + tools::Text::Narrow(devsim.JobTarget())},
              result.out);
    EXPECT_TRUE(result.err.empty());
    EXPECT_EQ("STATUS READY JOBS 0\r\n", out.Contents());
}

TEST(OrvaneRead, FailsWithExitCodeOneWhenNobodyListensAndTwoOnABadAddress)
{
    ClosedPort closed;
    const RunResult refused = RunTool(L"orvane.exe", {L"read", L"--timeout", L"3000", closed.Target()});
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_EQ(std::vector<std::string>{"orvane read: cannot connect to " + closed.Text() + ": error 31 (general failure)"},
              refused.err);

    const RunResult bad = RunTool(L"orvane.exe", {L"read", L"[::1"});
    EXPECT_EQ(2, bad.exitCode);
    EXPECT_EQ("orvane read: invalid address '[::1'", bad.err.at(0));
}

}  // namespace
