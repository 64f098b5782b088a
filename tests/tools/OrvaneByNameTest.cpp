// orvane send, read and http on a device named by print queue or print
// port: a queue in Wine's spooler on a standard TCP/IP port whose device is
// orvane-devsim.exe on loopback, made with orvane-queue.exe.
#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "tools/DevsimProcess.h"

using toolstest::DevsimProcess;
using toolstest::RunResult;
using toolstest::RunTool;
using toolstest::TempFile;

namespace {

// A queue and a port of this process, removed again with this object.
class NetworkQueue {
public:
    NetworkQueue()
        : m_queue(L"Orvane Tools Queue " + std::to_wstring(GetCurrentProcessId())),
          m_port(L"ORV_TOOLS_" + std::to_wstring(GetCurrentProcessId()))
    {
        m_added = RunTool(L"orvane-queue.exe", {L"add", m_queue, m_port, L"127.0.0.1", L"9100"}).exitCode == 0;
    }
    ~NetworkQueue() { RunTool(L"orvane-queue.exe", {L"remove", m_queue, m_port}); }
    bool Added() const { return m_added; }
    const std::wstring& Queue() const { return m_queue; }
    const std::wstring& Port() const { return m_port; }

private:
    std::wstring m_queue;
    std::wstring m_port;
    bool m_added = false;
};

std::string Narrow(const std::wstring& text)
{
    return std::string(text.begin(), text.end());
}

class OrvaneByName : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_devsim.Running()) << "orvane-devsim.exe did not start";
        ASSERT_TRUE(m_queue.Added()) << "orvane-queue.exe made no queue";
    }
    // Sends `contents` with orvane send and the naming options, and expects
    // it stored byte for byte.
    void ExpectSent(const std::wstring& option, const std::wstring& name, const std::string& named)
    {
        const std::string contents = "%!PS by " + named + "\n";
        TempFile file(contents);
        const RunResult result = RunTool(
            L"orvane.exe", {L"send", option, name, L"--port-number", std::to_wstring(m_devsim.JobPort()), file.Path()});
        EXPECT_EQ(0, result.exitCode);
        ASSERT_EQ(1u, result.out.size());
        EXPECT_EQ(0u, result.out[0].find("sent " + std::to_string(contents.size()) + " bytes to " + named + " in "))
            << result.out[0];
        std::string stored;
        ASSERT_TRUE(m_devsim.ReadJob(L"job-0001.prn", &stored));
        EXPECT_EQ(contents, stored);
    }

    DevsimProcess m_devsim{{L"--idle", L"100"}};
    NetworkQueue m_queue;
};

}  // namespace

TEST_F(OrvaneByName, SendsAFileToTheDeviceOfAQueue)
{
    ExpectSent(L"--queue", m_queue.Queue(), "queue '" + Narrow(m_queue.Queue()) + "'");
}

TEST_F(OrvaneByName, SendsAFileToTheDeviceOfAPort)
{
    ExpectSent(L"--port", m_queue.Port(), "port '" + Narrow(m_queue.Port()) + "'");
}

TEST_F(OrvaneByName, ReadsFromTheDeviceOfAQueue)
{
    const RunResult result = RunTool(L"orvane.exe", {L"read", L"--timeout", L"800", L"--queue", m_queue.Queue(),
                                                     L"--port-number", std::to_wstring(m_devsim.JobPort())});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ(std::vector<std::string>{"STATUS READY JOBS 0"}, result.out);
    EXPECT_EQ(std::vector<std::string>{"received 21 bytes from queue '" + Narrow(m_queue.Queue()) + "'"}, result.err);
}

TEST_F(OrvaneByName, FetchesAPageFromTheDeviceOfAPort)
{
    const RunResult result = RunTool(L"orvane.exe", {L"http", L"--port", m_queue.Port(), L"--port-number",
                                                     std::to_wstring(m_devsim.HttpPort()), L"/jobs"});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ(std::vector<std::string>{"jobs: 0"}, result.out);
}

TEST_F(OrvaneByName, AQueueThatStandsForNoDeviceExitsWithOne)
{
    TempFile file("x");
    const RunResult result = RunTool(L"orvane.exe", {L"send", L"--queue", L"Orvane Tools no such queue", file.Path()});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ(std::vector<std::string>{"orvane send: no device found for queue 'Orvane Tools no such queue'; "
                                       "'orvane resolve' tells what stands behind a name"},
              result.err);
}

TEST(OrvaneByNameUsage, PortNumberWithoutANameAndTwoNamesAreUsageErrors)
{
    const RunResult number = RunTool(L"orvane.exe", {L"read", L"--port-number", L"9100", L"127.0.0.1"});
    EXPECT_EQ(2, number.exitCode);
    ASSERT_FALSE(number.err.empty());
    EXPECT_EQ("orvane read: --port-number goes with --queue or --port; give an address as ADDRESS:PORT",
              number.err[0]);
    const RunResult both = RunTool(L"orvane.exe", {L"http", L"--queue", L"Q", L"--port", L"P", L"/"});
    EXPECT_EQ(2, both.exitCode);
    ASSERT_FALSE(both.err.empty());
    EXPECT_EQ("orvane http: give --queue or --port, not both", both.err[0]);
    const RunResult address = RunTool(L"orvane.exe", {L"send", L"--queue", L"Q", L"127.0.0.1", L"file"});
    EXPECT_EQ(2, address.exitCode);
    ASSERT_FALSE(address.err.empty());
    EXPECT_EQ("orvane send: expected FILE", address.err[0]);
}
