// orvane mib against the management objects of orvane-devsim.exe, through
// the stand-in run-time "zqdrtl12.dll" beside the tools.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/DevsimProcess.h"

using toolstest::DevsimProcess;
using toolstest::RunResult;
using toolstest::RunTool;

namespace {

RunResult Mib(const DevsimProcess& devsim, const std::wstring& verb, std::vector<std::wstring> arguments)
{
    arguments.insert(arguments.begin(), {L"mib", verb, L"127.0.0.1:" + std::to_wstring(devsim.HttpPort())});
    return RunTool(L"orvane.exe", arguments);
}

TEST(OrvaneMib, GetPrintsTextAndIntegerObjectsAsSnmpToolsDo)
{
    DevsimProcess devsim;
    ASSERT_TRUE(devsim.Running());
    const RunResult text = Mib(devsim, L"get", {L"1.3.6.1.2.1.1.1.0"});
    EXPECT_EQ(0, text.exitCode);
    EXPECT_EQ(std::vector<std::string>{"1.3.6.1.2.1.1.1.0 = STRING: \"Orvane virtual printer\""}, text.out);
    const RunResult number = Mib(devsim, L"get", {L"1.3.6.1.2.1.25.3.5.1.1.1"});
    EXPECT_EQ(0, number.exitCode);
    EXPECT_EQ(std::vector<std::string>{"1.3.6.1.2.1.25.3.5.1.1.1 = INTEGER: 3"}, number.out);
}

TEST(OrvaneMib, WalkPrintsTheSubtreeInOrder)
{
    DevsimProcess devsim;
    ASSERT_TRUE(devsim.Running());
    const RunResult result = Mib(devsim, L"walk", {L"1.3.6.1.2.1.1", L"--json"});
    EXPECT_EQ(0, result.exitCode);
    ASSERT_EQ(4u, result.out.size());
    EXPECT_EQ(R"({"oid": "1.3.6.1.2.1.1.1.0", "type": "STRING", "value": "Orvane virtual printer"})", result.out[0]);
    EXPECT_EQ(0u, result.out[1].find(R"({"oid": "1.3.6.1.2.1.1.3.0", "type": "INTEGER", "value": )"));
    EXPECT_EQ(R"({"oid": "1.3.6.1.2.1.1.4.0", "type": "STRING", "value": ""})", result.out[2]);
    EXPECT_EQ(R"({"oid": "1.3.6.1.2.1.1.5.0", "type": "STRING", "value": "orvane-devsim"})", result.out[3]);
    const RunResult all = Mib(devsim, L"walk", {});
    EXPECT_EQ(0, all.exitCode);
    EXPECT_EQ(6u, all.out.size()) << "the whole tree below 1.3.6.1.2.1";
}

TEST(OrvaneMib, SetPrintsTheObjectAsReadBack)
{
    DevsimProcess devsim;
    ASSERT_TRUE(devsim.Running());
    const RunResult result = Mib(devsim, L"set", {L"1.3.6.1.2.1.1.4.0", L"Print room \"B\""});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ(std::vector<std::string>{R"(1.3.6.1.2.1.1.4.0 = STRING: "Print room \"B\"")"}, result.out);
    const RunResult again = Mib(devsim, L"get", {L"1.3.6.1.2.1.1.4.0", L"--json"});
    EXPECT_EQ(0, again.exitCode);
    EXPECT_EQ(std::vector<std::string>{R"({"oid": "1.3.6.1.2.1.1.4.0", "type": "STRING", "value": "Print room \"B\""})"},
              again.out)
        << "stderr: " << (again.err.empty() ? std::string() : again.err.front());
}

TEST(OrvaneMib, RefusedSetAndMissingObjectExitWithOne)
{
    DevsimProcess devsim;
    ASSERT_TRUE(devsim.Running());
    const RunResult readOnly = Mib(devsim, L"set", {L"--integer", L"1.3.6.1.2.1.1.3.0", L"5"});
    EXPECT_EQ(1, readOnly.exitCode);
    EXPECT_TRUE(readOnly.out.empty());
    EXPECT_EQ(std::vector<std::string>{"orvane mib: the device refused to set 1.3.6.1.2.1.1.3.0 at 127.0.0.1:"
                                       + std::to_string(devsim.HttpPort())},
              readOnly.err);
    const RunResult missing = Mib(devsim, L"get", {L"1.3.6.1.2.1.1.9.0"});
    EXPECT_EQ(1, missing.exitCode);
    EXPECT_EQ(std::vector<std::string>{"orvane mib: no object 1.3.6.1.2.1.1.9.0 at 127.0.0.1:"
                                       + std::to_string(devsim.HttpPort())},
              missing.err);
}

TEST(OrvaneMib, UsageErrorsExitWithTwo)
{
    const RunResult noVerb = RunTool(L"orvane.exe", {L"mib"});
    EXPECT_EQ(2, noVerb.exitCode);
    const RunResult badNumber = RunTool(L"orvane.exe", {L"mib", L"set", L"--integer", L"127.0.0.1", L"1.3", L"five"});
    EXPECT_EQ(2, badNumber.exitCode);
    ASSERT_FALSE(badNumber.err.empty());
    EXPECT_EQ("orvane mib: VALUE is no number: 'five'", badNumber.err.front());
    const RunResult help = RunTool(L"orvane.exe", {L"mib", L"--help"});
    EXPECT_EQ(0, help.exitCode);
    ASSERT_FALSE(help.out.empty());
    EXPECT_EQ("usage: orvane mib get [--json] TARGET OID", help.out.front());
}

}  // namespace
