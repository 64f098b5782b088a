// Faults of a TCP connection on loopback, and of a secure one: a device that
// resets the connection during a read and during a write, a port that
// refuses, a connect that nobody answers, a device that accepts and never
// says a word, a progress object that says stop, a read with nothing to
// read.
#include <windows.h>

#include <string>

#include "doubles/ManualEvent.h"
#include "doubles/ModuleLogFile.h"
#include "doubles/ScriptedProgress.h"
#include "http/CHTTPClient.h"
#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "iostack/IOStatus.h"
#include "iostack/NetworkTestSupport.h"
#include "logging/LogModules.h"
#include "peers/ClosedPort.h"
#include "reliability/FaultRow.h"

using namespace QVIOStack;
using doubles::ManualEvent;
using doubles::ScriptedProgress;
using peers::LoopbackPeer;
using peers::PeerSocket;

namespace reliability {
namespace {

// A device that resets its connection once the test says so.
LoopbackPeer::Session ResetWhen(ManualEvent& signal)
{
    return [&signal](PeerSocket& s) {
        signal.Wait();
        s.Reset();
    };
}

// A counted connection to `peer` with the network log modules writing to a
// file; `act` does the fault's part and gives the status.
template <typename Act>
Outcome OnConnectionTo(const std::wstring& target, Act act)
{
    Outcome outcome;
    RunLog log(L"fault-network");
    auto* connection = new iostack_test::TestableNetwork();
    connection->AddRef();
    connection->Initialize(target.c_str());
    outcome.status = act(*connection, outcome);
    connection->Close();
    connection->Dispose();
    outcome.lines = log.Lines();
    return outcome;
}

// A read that the device cuts with a reset while it waits: the progress
// object's first call comes once the read is pending.
Outcome PeerResetMidRead()
{
    ManualEvent reset;
    LoopbackPeer peer(ResetWhen(reset));
    Outcome outcome = OnConnectionTo(peer.ServiceAddress(), [&](CIOCommon& connection, Outcome& o) {
        o.Check(connection.Open(nullptr) == 0, "the connection did not open");
        connection.SetReadWaitInterval(20);
        ScriptedProgress progress([&](double, unsigned long) {
            reset.Set();
            return true;
        });
        char buffer[64];
        unsigned long count = 7;
        const unsigned long status = connection.Read(buffer, sizeof(buffer), &count, &progress);
        o.Check(count == 0, "bytes were counted as read");
        reset.Set();
        return status;
    });
    return outcome;
}

// A write larger than the sockets hold, to a device that reads nothing and
// resets the connection while the write waits.
Outcome PeerResetMidWrite()
{
    ManualEvent reset;
    LoopbackPeer peer(ResetWhen(reset));
    return OnConnectionTo(peer.ServiceAddress(), [&](CIOCommon& connection, Outcome& o) {
        o.Check(connection.Open(nullptr) == 0, "the connection did not open");
        connection.SetWriteWaitInterval(20);
        connection.SetWriteTimeout(5000);
        // Write asks once before it starts: the second call comes once the
        // write waits.
        int calls = 0;
        ScriptedProgress progress([&](double, unsigned long) {
            if (++calls == 2) {
                reset.Set();
            }
            return true;
        });
        const std::string job(64 << 20, 'j');
        unsigned long count = 0;
        const unsigned long status =
            connection.Write(job.data(), static_cast<unsigned long>(job.size()), &count, &progress);
        o.Check(count < job.size(), "the whole job was counted as written");
        reset.Set();
        return status;
    });
}

Outcome ConnectRefused()
{
    peers::ClosedPort port(60999, 60000);
    return OnConnectionTo(port.Target(), [&](CIOCommon& connection, Outcome& o) {
        o.Check(port.Port() != 0, "no closed port could be held");
        return connection.Open(nullptr);
    });
}

// A listener that takes no connection, with its one backlog place taken:
// the system drops every further connection request unanswered.
Outcome ConnectUnanswered()
{
    LoopbackPeer peer(LoopbackPeer::Silent, LoopbackPeer::PortChoice::Ephemeral, 0, false);
    SOCKET filler = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(peer.Port());
    const bool filled = connect(filler, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
    Outcome outcome = OnConnectionTo(peer.ServiceAddress(), [&](CIOCommon& connection, Outcome& o) {
        o.Check(filled, "the backlog could not be filled");
        connection.SetOpenTimeout(1000);
        return connection.Open(nullptr);
    });
    closesocket(filler);
    return outcome;
}

Outcome ProgressSaysStopDuringRead()
{
    LoopbackPeer peer(LoopbackPeer::Silent);
    return OnConnectionTo(peer.ServiceAddress(), [&](CIOCommon& connection, Outcome& o) {
        o.Check(connection.Open(nullptr) == 0, "the connection did not open");
        connection.SetReadWaitInterval(20);
        ScriptedProgress stop([](double, unsigned long) { return false; });
        char buffer[64];
        unsigned long count = 0;
        return connection.Read(buffer, sizeof(buffer), &count, &stop);
    });
}

Outcome ReadTimeoutWithNothingPending()
{
    LoopbackPeer peer(LoopbackPeer::Silent);
    return OnConnectionTo(peer.ServiceAddress(), [&](CIOCommon& connection, Outcome& o) {
        o.Check(connection.Open(nullptr) == 0, "the connection did not open");
        connection.SetReadTimeout(200);
        char buffer[64];
        unsigned long count = 0;
        return connection.Read(buffer, sizeof(buffer), &count, nullptr);
    });
}

// A GET through the HTTP client on a secure connection to `target`.
Outcome SecureGet(const std::wstring& target, unsigned long readTimeout, QVUtils::IProgress* progress = nullptr)
{
    Outcome outcome;
    RunLog log(L"fault-secure");
    IDeviceConnection* connection = CreateIONetwork(true);
    outcome.Check(connection != nullptr, "no secure connection was made");
    if (connection == nullptr) {
        return outcome;
    }
    connection->Initialize(target.c_str());
    connection->SetReadTimeout(readTimeout);
    auto* client = new CHTTPClient(connection);
    client->AddRef();
    CHTTPNavigateParams params;
    params.SetHTTPRequestMethod(0);
    params.SetURI(L"/status");
    outcome.status = client->Navigate(&params, progress);
    outcome.Check(client->GetStatusCode() == 0, "a status code was read");
    client->Dispose();
    outcome.lines = log.Lines();
    return outcome;
}

}  // namespace

std::vector<FaultRow> NetworkRows()
{
    return {
        {"network", "peer reset mid-read", PeerResetMidRead, IOError_Fail,
         {L"(##) ReadFile failed with 10054", ScopeErrorLine(L"0x83E8F4FF")}},
        {"network", "peer reset mid-write", PeerResetMidWrite, IOError_Fail,
         {L"(##) WriteFile failed with 10054", ScopeErrorLine(L"0x83E8F4FF")}},
        {"network", "connect refused", ConnectRefused, IOError_Fail,
         {L"(##) FAIL: Other failure 10061 occurred during connect attempt", ScopeErrorLine(L"0x83E8F4FF")}},
        {"network", "connect unanswered", ConnectUnanswered, IOError_Timeout,
         {L"(##) TIMEOUT: WSA_WAIT_TIMEOUT or WSAETIMEDOUT during connect attempt", ScopeErrorLine(L"0x83E8F4FE")}},
        {"network", "progress says stop", ProgressSaysStopDuringRead, IOError_Aborted,
         {ScopeErrorLine(L"0x83E8F4FD")}},
        {"network", "read time-out with nothing pending", ReadTimeoutWithNothingPending, IOError_Timeout,
         {ScopeErrorLine(L"0x83E8F4FE")}},
    };
}

std::vector<FaultRow> SecureRows()
{
    return {
        {"secure", "TLS server that accepts and never speaks",
         [] {
             LoopbackPeer peer(LoopbackPeer::Silent);
             return SecureGet(peer.ServiceAddress(), 1000);
         },
         Error_Fail,
         {L"(##) No answer within 1000 ms, closing the request", L"(##) HttpSendRequest failed, last error = 1460"}},
        {"secure", "progress says stop",
         [] {
             LoopbackPeer peer(LoopbackPeer::Silent);
             // The client's own two steps go on; the connection's first says stop.
             int calls = 0;
             ScriptedProgress stop([&calls](double, unsigned long) { return ++calls < 3; });
             return SecureGet(peer.ServiceAddress(), 1000, &stop);
         },
         Error_Aborted,
         {L"(->) CIOSecureT::Open", L"(<-) CIOSecureT::Open", ScopeErrorLine(L"0x83E8F4FD"),
          L"(<-) CHTTPClient::Navigate", ScopeErrorLine(L"0x83E8FFFE")}},
        {"secure", "connect refused",
         [] {
             peers::ClosedPort port(59999, 59000);
             return SecureGet(port.Target(), 5000);
         },
         Error_Fail, {L"(##) HttpSendRequest failed, last error = 12029"}},
        {"secure", "peer reset mid-read",
         [] {
             // The device takes the client's first bytes and resets.
             LoopbackPeer peer([](PeerSocket& s) {
                 char hello[512];
                 s.Receive(hello, sizeof(hello));
                 s.Reset();
             });
             return SecureGet(peer.ServiceAddress(), 5000);
         },
         Error_Fail, {L"(##) HttpSendRequest failed, last error = 12157"}},
    };
}

}  // namespace reliability
