// Resolve and its getters on queues of the prefix's real spooler, with the
// log read back from a log file. A spooler double lists queues Wine's
// spooler won't hold (a connection to a remote server, port names empty or
// thousands of characters long); a kernel double refuses the thread.
#include <gtest/gtest.h>

#include <windows.h>
#include <winspool.h>

#include <atomic>
#include <string>
#include <vector>

#include "doubles/ApiOverride.h"
#include "resolver/ListedSpooler.h"
#include "resolver/ProbeResolver.h"
#include "resolver/ResolverTestSupport.h"
#include "resolver/SpoolerQueues.h"
#include "winapi/CKernelApi.h"
#include "winapi/CSpoolerApi.h"

using namespace Orvane;
using resolver_test::ListedSpooler;
using resolver_test::MessageOf;
using resolver_test::ProbeResolver;
using resolver_test::SpoolerQueues;

namespace {

constexpr HRESULT kNotSupported = ERROR_NOT_SUPPORTED;

// Counts the threads started through the platform layer; refuses them with
// `refusal` as the last error when it is not 0.
class ThreadCountingKernel : public QVWinApi::CKernelApi {
public:
    uintptr_t _beginthreadex(void* security, unsigned stackSize, unsigned(__stdcall* start)(void*),
                             void* argument, unsigned flags, unsigned* id) override
    {
        ++started;
        if (refusal != 0) {
            ::SetLastError(refusal);
            return 0;
        }
        return QVWinApi::CKernelApi::_beginthreadex(security, stackSize, start, argument, flags, id);
    }
    std::atomic<int> started{0};
    DWORD refusal = 0;
};

class ResolverCore : public resolver_test::LoggedTest {
protected:
    ResolverCore() : LoggedTest(L"resolver-core") {}
    // A queue of this process on `port`; its full name.
    std::wstring Queue(const std::wstring& name, const std::wstring& port)
    {
        const std::wstring full = SpoolerQueues::Unique(name);
        DWORD error = 0;
        EXPECT_TRUE(m_queues.Add(full, port, L"", &error)) << "AddPrinterW failed with " << error;
        return full;
    }
    static std::wstring Upper(std::wstring text)
    {
        for (wchar_t& c : text) {
            c = c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - 32) : c;
        }
        return text;
    }

    SpoolerQueues m_queues;
};

// The three text getters and the type, as one record.
struct Reported {
    HRESULT typeStatus;
    unsigned long type;
    HRESULT tcpStatus;
    std::wstring address;
    unsigned long port;
    HRESULT directStatus;
    std::wstring direct;
    HRESULT queueStatus;
    std::wstring queue;
};

Reported Report(Resolver& resolver)
{
    Reported r{};
    wchar_t text[kResolverTextChars] = {};
    unsigned long reserved = 0xABCD;
    r.typeStatus = resolver.GetConnectionType(&r.type);
    r.tcpStatus = resolver.GetTCPIPAddress(text, kResolverTextChars, &r.port);
    r.address = r.tcpStatus == S_OK ? text : L"";
    text[0] = L'\0';
    r.directStatus = resolver.GetDirectConnectPort(text, kResolverTextChars, &reserved);
    r.direct = r.directStatus == S_OK ? text : L"";
    EXPECT_EQ(reserved, 0xABCDu) << "the third argument is not written";
    text[0] = L'\0';
    r.queueStatus = resolver.GetQueueName(text, kResolverTextChars);
    r.queue = r.queueStatus == S_OK ? text : L"";
    return r;
}

}  // namespace

TEST_F(ResolverCore, EveryGetterIsPendingBeforeResolve)
{
    const auto resolver = ProbeResolver::Make();
    const Reported r = Report(*resolver);
    EXPECT_EQ(r.typeStatus, E_PENDING);
    EXPECT_EQ(r.tcpStatus, E_PENDING);
    EXPECT_EQ(r.directStatus, E_PENDING);
    EXPECT_EQ(r.queueStatus, E_PENDING);
    unsigned long value = 0;
    wchar_t text[8];
    EXPECT_EQ(resolver->GetConnectionType(nullptr), E_INVALIDARG);
    EXPECT_EQ(resolver->GetTCPIPAddress(nullptr, 8, &value), E_INVALIDARG);
    EXPECT_EQ(resolver->GetTCPIPAddress(text, 8, nullptr), E_INVALIDARG);
    EXPECT_EQ(resolver->GetDirectConnectPort(text, 8, nullptr), E_INVALIDARG);
    EXPECT_EQ(resolver->GetQueueName(nullptr, 8), E_INVALIDARG);
    EXPECT_EQ(resolver->State(), 0u);
}

TEST_F(ResolverCore, NameOf259CharactersIsSearchedAndOneOf260IsRefusedWithoutAThread)
{
    ThreadCountingKernel kernel;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    const auto refused = ProbeResolver::Make();
    EXPECT_EQ(refused->Resolve(std::wstring(260, L'q').c_str(), RESOLVE_TYPE_PRINTER), E_INVALIDARG);
    EXPECT_EQ(kernel.started, 0);
    EXPECT_EQ(refused->State(), 0u);
    const auto searched = ProbeResolver::Make();
    EXPECT_EQ(searched->Resolve(std::wstring(259, L'q').c_str(), RESOLVE_TYPE_PRINTER), E_FAIL);
    EXPECT_EQ(kernel.started, 1);
    EXPECT_EQ(searched->State(), RESOLVE_STATE_RUNNING | RESOLVE_STATE_DONE | RESOLVE_STATE_FAILED);
}

TEST_F(ResolverCore, NullEmptyAndTypelessNamesAreRefused)
{
    const auto resolver = ProbeResolver::Make();
    EXPECT_EQ(resolver->Resolve(nullptr, RESOLVE_TYPE_PORT), E_INVALIDARG);
    EXPECT_EQ(resolver->Resolve(L"", RESOLVE_TYPE_PORT), E_INVALIDARG);
    EXPECT_EQ(resolver->Resolve(L"USB001", 0), E_INVALIDARG);
    EXPECT_EQ(resolver->State(), 0u);
    EXPECT_EQ(m_log.Count(L"(->) Resolver::Resolve, name (null), type 4"), 1u);
    EXPECT_EQ(m_log.Count(L"Return: " + MessageOf(0x80070057)), 3u);
}

TEST_F(ResolverCore, TypeOfTwoBitsMatchesNoFieldAndFails)
{
    const std::wstring name = Queue(L"Orvane Two Bits", L"USB011");
    const auto resolver = ProbeResolver::Make();
    EXPECT_EQ(resolver->Resolve(name.c_str(), RESOLVE_TYPE_SHARE | RESOLVE_TYPE_PRINTER), E_FAIL);
    EXPECT_EQ(resolver->State(), 11u);
    EXPECT_EQ(m_log.Count(L"(##) Failed to match printer information " + name), 1u);
    EXPECT_EQ(m_log.Count(L"(->) Resolver::MatchPrinterInfo"), 0u);
}

TEST_F(ResolverCore, PortThatNoQueueUsesFailsAtOnce)
{
    Queue(L"Orvane Other Port", L"USB018");
    const auto resolver = ProbeResolver::Make();
    EXPECT_EQ(resolver->Resolve(L"USB987", RESOLVE_TYPE_PORT), E_FAIL);
    EXPECT_EQ(resolver->State(), 11u) << "running, done, failed";
    EXPECT_EQ(Report(*resolver).typeStatus, S_OK) << "the getters answer after a failure";
    Logged({L"(->) Resolver::Resolve, name USB987, type 4", L"(I0) Name = USB987", L"(I0) RESOLVE_TYPE_PORT",
            L"Return: FAILED", L"(##) Failed to match printer information USB987",
            L"(I0) WAIT_OBJECT_0 received while waiting on thread", L"(I0) m_eResolveState set to 2",
            L"Return: " + MessageOf(0x80004005)});
    EXPECT_EQ(m_log.Count(L"(->) Resolver::LocalPrinter"), 0u) << "no port that no queue uses is looked at";
}

TEST_F(ResolverCore, PrinterNameInOtherCaseFindsTheUsbQueueAndReportsItsPort)
{
    const std::wstring name = Queue(L"Orvane Case Queue", L"USB012");
    const auto resolver = ProbeResolver::Make();
    ASSERT_EQ(resolver->Resolve(Upper(name).c_str(), RESOLVE_TYPE_PRINTER), S_OK);
    EXPECT_EQ(resolver->State(), 19u) << "running, done, succeeded";
    const Reported r = Report(*resolver);
    EXPECT_EQ(r.type, CX_TYPE_USB);
    EXPECT_EQ(r.tcpStatus, kNotSupported);
    EXPECT_EQ(r.directStatus, S_OK);
    EXPECT_EQ(r.direct, L"USB012");
    EXPECT_EQ(r.queue, L"USB012") << "the caller that gave a queue learns the port";
    EXPECT_EQ(resolver->PortNumber(), 12u);
    EXPECT_EQ(resolver->PrinterName(), name) << "the spooler's spelling";
    Logged({L"(I0) Timeout is 30000", L"(I0) RESOLVE_TYPE_PRINTER", L"(I0) Found a match - Type: RESOLVE_TYPE_PRINTER",
            L"(I0) Printer Name: " + name, L"(I0) Port Name: USB012", L"(I0) Share Name: ", L"Return: SUCCESS",
            L"(I0) MatchPrinterInfo(match printername and portname) SUCCESS", L"(I0) a valid USB port",
            L"(I0) WAIT_OBJECT_0 received while waiting on thread", L"(I0) m_eResolveState set to 2",
            L"Return: " + MessageOf(0)});
}

TEST_F(ResolverCore, PortGivenLearnsTheQueue)
{
    const std::wstring name = Queue(L"Orvane Port Given", L"DOT4_013");
    const auto resolver = ProbeResolver::Make();
    ASSERT_EQ(resolver->Resolve(L"dot4_013", RESOLVE_TYPE_PORT), S_OK);
    const Reported r = Report(*resolver);
    EXPECT_EQ(r.type, CX_TYPE_DOT4);
    EXPECT_EQ(r.direct, L"DOT4_013");
    EXPECT_EQ(r.queue, name);
}

TEST_F(ResolverCore, LocalPortsGiveTheirNumberIdentityAndFlag)
{
    const struct {
        const wchar_t* port;
        DWORD number;
        unsigned long type;
    } cases[] = {
        {L"LPT1:", 1, CX_TYPE_LPT},
        {L"DOT4_002", 2, CX_TYPE_DOT4},
        {L"1394_3", 3, CX_TYPE_FIREWIRE},
        {L"USB014", 14, CX_TYPE_USB},
    };
    for (const auto& c : cases) {
        Queue(std::wstring(L"Orvane Local ") + c.port, c.port);
        const auto resolver = ProbeResolver::Make();
        ASSERT_EQ(resolver->Resolve(c.port, RESOLVE_TYPE_PORT), S_OK) << ::testing::PrintToString(c.port);
        EXPECT_EQ(resolver->PortNumber(), c.number);
        EXPECT_EQ(resolver->PortID(), c.port);
        EXPECT_EQ(Report(*resolver).type, c.type);
    }
    EXPECT_EQ(m_log.Count(L"(I0) This is an valid LPTx port"), 1u);
    EXPECT_EQ(m_log.Count(L"(I0) a valid DOT4 - USB / Direct Connect parallel port"), 1u);
    EXPECT_EQ(m_log.Count(L"(I0) This is a valid firewire (1394) port"), 1u);
    EXPECT_EQ(m_log.Count(L"(I0) a valid 1394x port"), 1u);
}

// The terminal service step reads its number from character 3, as its
// neighbours do: the digit at index 2 is skipped. A terminal service port
// is no direct connection, so the queue name is the (empty) host name.
TEST_F(ResolverCore, TerminalServicePortReadsItsNumberFromTheFourthCharacter)
{
    Queue(L"Orvane TS012", L"TS012");
    Queue(L"Orvane TS123", L"TS123");
    const auto first = ProbeResolver::Make();
    ASSERT_EQ(first->Resolve(L"TS012", RESOLVE_TYPE_PORT), S_OK);
    EXPECT_EQ(first->PortNumber(), 12u);
    const Reported r = Report(*first);
    EXPECT_EQ(r.type, CX_TYPE_REDIRECTED);
    EXPECT_EQ(r.directStatus, kNotSupported);
    EXPECT_EQ(r.queue, L"");
    const auto second = ProbeResolver::Make();
    ASSERT_EQ(second->Resolve(L"TS123", RESOLVE_TYPE_PORT), S_OK);
    EXPECT_EQ(second->PortNumber(), 23u);
    EXPECT_EQ(m_log.Count(L"(I0) a valid Terminal Service port"), 2u);
}

TEST_F(ResolverCore, QueueOnAPortOfNoKnownFormFails)
{
    Queue(L"Orvane COM", L"COM7:");
    const auto resolver = ProbeResolver::Make();
    EXPECT_EQ(resolver->Resolve(L"COM7:", RESOLVE_TYPE_PORT), E_FAIL);
    EXPECT_EQ(resolver->State(), 11u);
    EXPECT_EQ(m_log.Count(L"(I0) failed to resolve port"), 1u);
    EXPECT_EQ(m_log.Count(L"(##) Failed to match printer information COM7:"), 0u) << "the queue was found";
}

TEST_F(ResolverCore, QueueNamedOutsideLatin1IsFoundOnlyInItsOwnCase)
{
    const std::wstring name = Queue(L"\x0395\x03BA\x03C4\x03C5\x03C0\x03C9\x03C4\x03AE\x03C2", L"USB015");
    const auto found = ProbeResolver::Make();
    ASSERT_EQ(found->Resolve(name.c_str(), RESOLVE_TYPE_PRINTER), S_OK);
    EXPECT_EQ(Report(*found).direct, L"USB015");
    // Only A to Z are compared without their case.
    std::wstring upper = name;
    upper[1] = L'\x039A';
    const auto other = ProbeResolver::Make();
    EXPECT_EQ(other->Resolve(upper.c_str(), RESOLVE_TYPE_PRINTER), E_FAIL);
    EXPECT_EQ(m_log.Count(L"(##) Failed to match printer information " + upper), 1u);
}

TEST_F(ResolverCore, RemotePrinterOnAUsbPortIsNoLocalPort)
{
    ListedSpooler spooler({{L"\\\\printhost", L"\\\\printhost\\usbqueue", nullptr, L"USB001"}});
    doubles::ApiOverride<QVWinApi::ISpoolerApi> swap(g_pSpoolerApi, spooler);
    const auto resolver = ProbeResolver::Make();
    EXPECT_EQ(resolver->Resolve(L"\\\\PRINTHOST\\usbqueue", RESOLVE_TYPE_PRINTER), E_FAIL);
    EXPECT_EQ(resolver->State(), 11u);
    Logged({L"(I0) Server Name: \\\\printhost", L"Return: SUCCESS", L"(->) Resolver::LocalPrinter",
            L"(<-) Resolver::LocalPrinter"});
    EXPECT_EQ(m_log.Count(L"(->) Resolver::UsbPortResolved"), 0u);
    EXPECT_EQ(m_log.Count(L"(I0) failed to resolve port"), 0u);
}

TEST_F(ResolverCore, NullFieldsMatchNothingAndAnAbsurdlyLongPortIsCut)
{
    const std::wstring longPort = L"USB" + std::wstring(3000, L'9');
    ListedSpooler spooler({{nullptr, L"Orvane Null Port", nullptr, nullptr},
                           {nullptr, L"Orvane Empty Port", nullptr, L""},
                           {nullptr, L"Orvane Long Port", nullptr, longPort.c_str()}});
    doubles::ApiOverride<QVWinApi::ISpoolerApi> swap(g_pSpoolerApi, spooler);
    const auto nullPort = ProbeResolver::Make();
    EXPECT_EQ(nullPort->Resolve(L"Orvane Null Port", RESOLVE_TYPE_PRINTER), E_FAIL);
    EXPECT_EQ(nullPort->PortName(), L"") << "a null field leaves the member as it was";
    const auto emptyPort = ProbeResolver::Make();
    EXPECT_EQ(emptyPort->Resolve(L"Orvane Empty Port", RESOLVE_TYPE_PRINTER), E_FAIL);
    EXPECT_EQ(emptyPort->State(), 11u);
    const auto longOne = ProbeResolver::Make();
    EXPECT_EQ(longOne->Resolve(L"Orvane Long Port", RESOLVE_TYPE_PRINTER), E_FAIL);
    EXPECT_EQ(longOne->PortName(), longPort.substr(0, kResolverTextChars - 1)) << "cut, not refused";
    EXPECT_EQ(m_log.Count(L"(##) StringCchCopyW failed " + MessageOf(0x8007007A)), 1u);
    const auto byNullShare = ProbeResolver::Make();
    EXPECT_EQ(byNullShare->Resolve(L"x", RESOLVE_TYPE_SHARE), E_FAIL);
    EXPECT_EQ(m_log.Count(L"(I0) failed to resolve port"), 3u);
}

TEST_F(ResolverCore, TimeoutIsBroughtWithinTenToNinetySeconds)
{
    const auto resolver = ProbeResolver::Make();
    EXPECT_EQ(resolver->GetResolveThreadTimeout(), 30000u);
    resolver->SetResolveTimeout(9999);
    EXPECT_EQ(resolver->GetResolveThreadTimeout(), 10000u);
    resolver->SetResolveTimeout(90001);
    EXPECT_EQ(resolver->GetResolveThreadTimeout(), 90000u);
    resolver->SetResolveTimeout(90000);
    EXPECT_EQ(resolver->GetResolveThreadTimeout(), 90000u);
    EXPECT_EQ(m_log.Lines(), (std::vector<std::wstring>{
                                 L"(->) Resolver::GetResolveThreadTimeout", L"(I0) Timeout is 30000",
                                 L"(<-) Resolver::GetResolveThreadTimeout",
                                 L"(->) Resolver::GetResolveThreadTimeout",
                                 L"(I0) Requested timeout is not within limits: 10000 - 90000 ms",
                                 L"(I0) Resetting to closest valid time.", L"(I0) Timeout is 10000",
                                 L"(<-) Resolver::GetResolveThreadTimeout",
                                 L"(->) Resolver::GetResolveThreadTimeout",
                                 L"(I0) Requested timeout is not within limits: 10000 - 90000 ms",
                                 L"(I0) Resetting to closest valid time.", L"(I0) Timeout is 90000",
                                 L"(<-) Resolver::GetResolveThreadTimeout",
                                 L"(->) Resolver::GetResolveThreadTimeout", L"(I0) Timeout is 90000",
                                 L"(<-) Resolver::GetResolveThreadTimeout"}));
}

TEST_F(ResolverCore, ThreadThatCannotStartEndsWithStateTwo)
{
    const std::wstring name = Queue(L"Orvane No Thread", L"USB017");
    ThreadCountingKernel kernel;
    kernel.refusal = ERROR_NOT_ENOUGH_MEMORY;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    const auto resolver = ProbeResolver::Make();
    EXPECT_EQ(resolver->Resolve(name.c_str(), RESOLVE_TYPE_PRINTER), E_FAIL);
    EXPECT_EQ(resolver->State(), RESOLVE_STATE_DONE);
    EXPECT_EQ(Report(*resolver).queueStatus, S_OK) << "done: the getters answer";
    Logged({L"(##) Error 8 : Unable to create 'CreateInstanceThread'", L"Return: " + MessageOf(1)});
    EXPECT_EQ(m_log.Count(L"(I0) m_eResolveState set to 2"), 0u);
}

namespace {

// Waits for the thread as long as it takes and then reports the wait as
// failed.
class FailingWaitKernel : public QVWinApi::CKernelApi {
public:
    DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) override
    {
        if (milliseconds != 30000) {
            return QVWinApi::CKernelApi::WaitForSingleObject(handle, milliseconds);
        }
        QVWinApi::CKernelApi::WaitForSingleObject(handle, INFINITE);
        return WAIT_FAILED;
    }
};

}  // namespace

// The search had ended with a result when the wait failed: the failed wait
// keeps its own result, and Resolve still goes by the state.
TEST_F(ResolverCore, FailedWaitStillReportsTheSearchThatEnded)
{
    const std::wstring name = Queue(L"Orvane Failed Wait", L"USB019");
    FailingWaitKernel kernel;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    const auto resolver = ProbeResolver::Make();
    EXPECT_EQ(resolver->Resolve(name.c_str(), RESOLVE_TYPE_PRINTER), S_OK);
    EXPECT_EQ(resolver->State(), 19u);
    Logged({L"(##) WAIT_FAILED received while waiting on thread", L"(I0) m_eResolveState set to 2",
            L"Return: " + MessageOf(1)});
}

TEST_F(ResolverCore, ShareNameFindsItsQueueAndServerNameAConnection)
{
    const std::wstring share = L"orvshare" + std::to_wstring(::GetCurrentProcessId());
    const std::wstring name = SpoolerQueues::Unique(L"Orvane Shared");
    ASSERT_TRUE(m_queues.Add(name, L"USB020", share));
    const auto byShare = ProbeResolver::Make();
    ASSERT_EQ(byShare->Resolve(share.c_str(), RESOLVE_TYPE_SHARE), S_OK);
    EXPECT_EQ(byShare->PrinterName(), name);
    EXPECT_EQ(Report(*byShare).queue, L"") << "a share given learns no queue";
    Logged({L"(I0) RESOLVE_TYPE_SHARE", L"(I0) Found a match - Type: RESOLVE_TYPE_SHARE",
            L"(I0) Share Name: " + share});

    ListedSpooler spooler({{L"\\\\printhost", L"\\\\printhost\\q", nullptr, L"USB001"}});
    doubles::ApiOverride<QVWinApi::ISpoolerApi> swap(g_pSpoolerApi, spooler);
    const auto byServer = ProbeResolver::Make();
    EXPECT_EQ(byServer->Resolve(L"\\\\PrintHost", RESOLVE_TYPE_SERVER), E_FAIL) << "a remote queue";
    Logged({L"(I0) RESOLVE_TYPE_SERVER", L"(I0) Found a match - Type: RESOLVE_TYPE_SERVER"});
}

// The USB step looks the queue up again by its printer name: a queue gone
// by then fails the step (the spooler lists it for the first search's two
// calls only).
TEST_F(ResolverCore, UsbQueueGoneAtTheSecondLookFailsTheUsbStep)
{
    ListedSpooler spooler({{nullptr, L"Orvane Vanishing USB", nullptr, L"USB077"}});
    spooler.ListFor(2);
    doubles::ApiOverride<QVWinApi::ISpoolerApi> swap(g_pSpoolerApi, spooler);
    auto resolver = ProbeResolver::Make();
    EXPECT_EQ(resolver->Resolve(L"Orvane Vanishing USB", RESOLVE_TYPE_PRINTER), E_FAIL);
    Logged({L"(I0) MatchPrinterInfo(match printername and portname) FAILED"});
}
