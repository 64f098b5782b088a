// orvane wait: its arguments, and the devices that report no interrupts.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/ChildProcess.h"

using toolstest::RunResult;
using toolstest::RunTool;

namespace {

TEST(OrvaneWait, RejectsBadArgumentsWithExitCodeTwo)
{
    const RunResult none = RunTool(L"orvane.exe", {L"wait"});
    EXPECT_EQ(2, none.exitCode);
    EXPECT_EQ((std::vector<std::string>{"orvane wait: expected TARGET", "see 'orvane wait --help'"}), none.err);

    const RunResult count = RunTool(L"orvane.exe", {L"wait", L"--count", L"0", L"127.0.0.1"});
    EXPECT_EQ(2, count.exitCode);
    EXPECT_EQ("orvane wait: option --count needs a number from 1 to 1000000, not '0'", count.err.at(0));

    const RunResult timeout = RunTool(L"orvane.exe", {L"wait", L"--timeout", L"soon", L"127.0.0.1"});
    EXPECT_EQ(2, timeout.exitCode);
    EXPECT_EQ("orvane wait: option --timeout needs a number from 1 to 86400, not 'soon'", timeout.err.at(0));

    const RunResult both = RunTool(L"orvane.exe", {L"wait", L"--port", L"USB001", L"127.0.0.1"});
    EXPECT_EQ(2, both.exitCode);
    EXPECT_EQ("orvane wait: expected no TARGET with --queue or --port", both.err.at(0));
}

TEST(OrvaneWait, ANetworkDeviceReportsNoInterrupts)
{
    const RunResult result = RunTool(L"orvane.exe", {L"wait", L"--timeout", L"1", L"127.0.0.1"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_TRUE(result.out.empty());
    EXPECT_EQ((std::vector<std::string>{"orvane wait: 127.0.0.1 reports no interrupts: the library has no notifier for it"}),
              result.err);
}

TEST(OrvaneWait, APortThatNamesNoDeviceIsAFailure)
{
    const RunResult result = RunTool(L"orvane.exe", {L"wait", L"--port", L"NOSUCHPORT"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ((std::vector<std::string>{"orvane wait: no device found for port 'NOSUCHPORT'; "
                                        "'orvane resolve' tells what stands behind a name"}),
              result.err);
}

}  // namespace
