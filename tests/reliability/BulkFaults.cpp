// Faults of the flat bulk functions on a standard TCP/IP port of Wine's
// spooler, whose device is a peer at port 80 of loopback in the matrix's
// own network namespace: the device resets the connection while a read
// waits, a read runs out of time, the device is not there.
#include <windows.h>

#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "api/BulkThreadSlots.h"
#include "doubles/ManualEvent.h"
#include "orvane64_bulk.h"
#include "peers/LoopbackPeer.h"
#include "reliability/BulkPort.h"
#include "reliability/FaultRow.h"

using Orvane::BulkThreadSlots;
using doubles::ManualEvent;
using peers::LoopbackPeer;
using peers::PeerSocket;

namespace reliability {

BulkPort& BulkPortOfTheProgram()
{
    static BulkPort* port = new BulkPort();
    return *port;
}

namespace {

// The bulk functions on the port, the device running `session` (none: no
// device); `act` does the fault's part and gives the status: 1 or 0, as
// the function gave it.
template <typename Act>
Outcome OnBulk(LoopbackPeer::Session session, Act act)
{
    Outcome outcome;
    outcome.Check(BulkPortOfTheProgram().Ready(), "the port's queue could not be added to Wine's spooler");
    if (!outcome.problems.empty()) {
        return outcome;
    }
    RunLog log(L"fault-bulk");
    {
        std::unique_ptr<LoopbackPeer> device;
        if (session) {
            device = std::make_unique<LoopbackPeer>(std::move(session), BulkPort::kDeviceAddress, 80);
        }
        outcome.status = act(outcome, log);
        CloseBulk();
        outcome.Check(BulkThreadSlots::Current() == nullptr, "the thread's channel stayed");
    }
    outcome.lines = log.Lines();
    return outcome;
}

// The device resets once the read that waits for its answer has begun, as
// the read's first line in the log tells: a reset before it would only make
// the stream connect again.
Outcome DeviceResetsMidRead()
{
    ManualEvent reading;
    return OnBulk(
        [&reading](PeerSocket& s) {
            if (reading.Wait()) {
                s.Reset();
            }
        },
        [&reading](Outcome& o, RunLog& log) {
            o.Check(OpenBulk(BulkPortOfTheProgram().Name()) == 1, "the channel did not open");
            ManualEvent stop;
            std::thread watcher([&] {
                while (!stop.Wait(5)) {
                    const std::vector<std::wstring> lines = log.Lines();
                    if (std::find(lines.begin(), lines.end(), L"(->) CIOCommon::Read, ulBufferSize=64") != lines.end()) {
                        reading.Set();
                        return;
                    }
                }
            });
            char buffer[64];
            unsigned long size = sizeof buffer;
            const unsigned char result = ReadBulk(buffer, &size);
            stop.Set();
            reading.Set();
            watcher.join();
            o.Check(size == 0, "the failed read counted " + std::to_string(size) + " bytes");
            return static_cast<unsigned long>(result);
        });
}

Outcome ReadTimesOut()
{
    return OnBulk(LoopbackPeer::Silent, [](Outcome& o, RunLog&) {
        o.Check(OpenBulk(BulkPortOfTheProgram().Name()) == 1, "the channel did not open");
        SetTimeout(200);
        char buffer[64];
        unsigned long size = sizeof buffer;
        const unsigned char result = ReadBulk(buffer, &size);
        o.Check(size == 0, "the read that ran out of time counted " + std::to_string(size) + " bytes");
        return static_cast<unsigned long>(result);
    });
}

// Nothing listens at the device's port: the open is refused, and a read
// after it finds no channel.
Outcome DeviceAbsent()
{
    return OnBulk(nullptr, [](Outcome& o, RunLog&) {
        const unsigned char opened = OpenBulk(BulkPortOfTheProgram().Name());
        char buffer[8];
        unsigned long size = sizeof buffer;
        o.Check(ReadBulk(buffer, &size) == 0 && size == 0, "a read without a device succeeded");
        return static_cast<unsigned long>(opened);
    });
}

}  // namespace

std::vector<FaultRow> BulkRows()
{
    return {
        {"bulk", "device resets mid-read", DeviceResetsMidRead, 0,
         {L"(->) Orvane::ReadBulk", L"(##) ReadFile failed with 10054", ScopeErrorLine(L"0x83E8F4FF"),
          L"(<-) Orvane::ReadBulk"}},
        {"bulk", "read time-out with nothing pending", ReadTimesOut, 0,
         {L"(->) Orvane::ReadBulk", ScopeErrorLine(L"0x83E8F4FE"), L"(<-) Orvane::ReadBulk"}},
        {"bulk", "device absent (connect refused)", DeviceAbsent, 0,
         {L"(->) Orvane::OpenBulk", L"(##) FAIL: Other failure 10061 occurred during connect attempt",
          L"(<-) Orvane::OpenBulk", L"(->) Orvane::ReadBulk", L"(<-) Orvane::ReadBulk"}},
    };
}

}  // namespace reliability
