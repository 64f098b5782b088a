// Addresses by print port and print queue name: real queues in the prefix's
// spooler, the standard TCP/IP monitor's keys in its registry, and
// orvane-devsim.exe on loopback receiving the job. The factory's lines are
// read back from a real log file.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "api/AddressFactory.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"
#include "peers/TestKey.h"
#include "resolver/SpoolerQueues.h"
#include "tools/DevsimProcess.h"

using namespace Orvane;
using resolver_test::SpoolerQueues;

namespace {

const std::wstring kStandardPorts = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Standard TCP/IP Port\\Ports\\";

class AddressFactoryTest : public ::testing::Test {
protected:
    ~AddressFactoryTest() override
    {
        if (HasFailure()) {
            std::printf("%ls", m_log.Text().c_str());
        }
    }
    // A standard TCP/IP port of this process whose device is at `host`, and
    // a queue on it; the queue's name.
    std::wstring NetworkQueue(const std::wstring& port, const std::wstring& host)
    {
        m_port = std::make_unique<peers::TestKey>(HKEY_LOCAL_MACHINE, kStandardPorts + port);
        m_port->SetString(L"HostName", host);
        m_port->SetDword(L"Protocol", 1);
        m_port->SetDword(L"PortNumber", 9100);
        const std::wstring queue = SpoolerQueues::Unique(L"Orvane Factory " + port);
        EXPECT_TRUE(m_queues.Add(queue, port));
        return queue;
    }
    // Writes `job` through a stream of `address` on the simulator's job
    // port and expects it stored byte for byte.
    static void ExpectJobArrives(Address* address, toolstest::DevsimProcess& devsim, const std::string& job)
    {
        ASSERT_NE(nullptr, address);
        Stream* stream = nullptr;
        ASSERT_EQ(0u, address->CreateStream(devsim.JobPort(), &stream));
        ASSERT_NE(nullptr, stream);
        unsigned long written = 0;
        EXPECT_EQ(0u, stream->Write(job.data(), static_cast<unsigned long>(job.size()), &written));
        EXPECT_EQ(job.size(), written);
        EXPECT_EQ(0u, stream->Close());
        stream->Dispose();
        address->Dispose();
        std::string stored;
        ASSERT_TRUE(devsim.ReadJob(L"job-0001.prn", &stored));
        EXPECT_EQ(job, stored);
    }
    // A port name of this process.
    static std::wstring PortOfThisProcess(const wchar_t* stem)
    {
        return stem + std::to_wstring(::GetCurrentProcessId());
    }

    doubles::ModuleLogFile m_log{{g_pOrvaneAPILog}, L"address-factory"};
    SpoolerQueues m_queues;
    std::unique_ptr<peers::TestKey> m_port;
};

}  // namespace

TEST_F(AddressFactoryTest, IPAddressOfAnyTextEvenEmptyIsMade)
{
    for (const wchar_t* text : {L"", L"no such host at all", L"127.0.0.1"}) {
        Address* address = AddressFactory::CreateFromIPAddress(text);
        ASSERT_NE(nullptr, address) << ::testing::PrintToString(std::wstring(text));
        EXPECT_STREQ(text, address->GetAddress());
        EXPECT_EQ(0u, address->Dispose());
    }
    Address* null = AddressFactory::CreateFromIPAddress(nullptr);
    ASSERT_NE(nullptr, null);
    EXPECT_STREQ(L"", null->GetAddress());
    null->Dispose();
}

TEST_F(AddressFactoryTest, QueueOnAStandardTcpIpPortSendsAJobToTheDevice)
{
    toolstest::DevsimProcess devsim;
    ASSERT_TRUE(devsim.Running()) << "orvane-devsim.exe did not start";
    const std::wstring queue = NetworkQueue(PortOfThisProcess(L"ORV_FQ_"), L"127.0.0.1");
    Address* address = AddressFactory::CreateFromQueueName(queue.c_str());
    ASSERT_NE(nullptr, address);
    EXPECT_STREQ(L"127.0.0.1", address->GetAddress());
    ExpectJobArrives(address, devsim, "%!PS queue job\n\x01\x02\xff");
    EXPECT_EQ(1u, m_log.Count(L"(I0) Port is IP"));
    EXPECT_EQ(0u, m_log.Count(L"(##) Port is unsupported type"));
}

TEST_F(AddressFactoryTest, StandardTcpIpPortNameWithASuffixSendsAJobToTheDevice)
{
    toolstest::DevsimProcess devsim;
    ASSERT_TRUE(devsim.Running()) << "orvane-devsim.exe did not start";
    const std::wstring port = PortOfThisProcess(L"ORV_FP_");
    NetworkQueue(port, L"localhost");
    // Everything from the first colon on is not part of the name.
    const std::wstring given = port + L":extra:text";
    Address* address = AddressFactory::CreateFromPortName(given.c_str());
    ASSERT_NE(nullptr, address);
    EXPECT_STREQ(L"127.0.0.1", address->GetAddress()) << "the resolver's address, not the host name";
    ExpectJobArrives(address, devsim, std::string("port job\0with a zero", 20));
    doubles::ExpectLinesInOrder(m_log.Lines(), {L"(->) AddressFactory::CreatePortAddress",
                                                L"(I0) Create address for port " + given, L"(I0) Port is IP",
                                                L"(<-) AddressFactory::CreatePortAddress"});
}

TEST_F(AddressFactoryTest, LowerCaseUsbPortThatTheResolverCannotFindGivesNull)
{
    // No queue stands on usb001 here, so the search fails; "usb" is no
    // "USB", and no last attempt at a USB device follows.
    EXPECT_EQ(nullptr, AddressFactory::CreateFromPortName(L"usb001"));
    EXPECT_EQ(1u, m_log.Count(L"(I0) Create address for port usb001"));
    EXPECT_EQ(0u, m_log.Count(L"(I0) Port is USB"));
}

TEST_F(AddressFactoryTest, QueueOnAPortNeitherUsbDot4NorIpGivesNull)
{
    const std::wstring queue = SpoolerQueues::Unique(L"Orvane Factory LPT");
    ASSERT_TRUE(m_queues.Add(queue, L"LPT1:"));
    EXPECT_EQ(nullptr, AddressFactory::CreateFromQueueName(queue.c_str()));
    EXPECT_EQ(1u, m_log.Count(L"(##) Port is unsupported type"));
}

TEST_F(AddressFactoryTest, PortNeitherUsbDot4NorIpGivesNull)
{
    // A terminal service port: found, and redirected.
    const std::wstring queue = SpoolerQueues::Unique(L"Orvane Factory TS port");
    ASSERT_TRUE(m_queues.Add(queue, L"TS026"));
    EXPECT_EQ(nullptr, AddressFactory::CreateFromPortName(L"TS026"));
    EXPECT_EQ(1u, m_log.Count(L"(I0) Create address for port TS026"));
    EXPECT_EQ(1u, m_log.Count(L"(##) Port is unsupported type"));
}

TEST_F(AddressFactoryTest, UnknownQueueGivesNullWithoutATypeLine)
{
    const std::wstring queue = SpoolerQueues::Unique(L"Orvane Factory no such queue");
    EXPECT_EQ(nullptr, AddressFactory::CreateFromQueueName(queue.c_str()));
    EXPECT_EQ(0u, m_log.Count(L"(##) Port is unsupported type"));
    EXPECT_EQ(1u, m_log.Count(L"(->) AddressFactory::CreateQueueAddress"));
}
