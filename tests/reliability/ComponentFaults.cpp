// Faults of a connection through a component library, on the stand-ins
// carrying the bytes to the virtual printer's configuration function: the
// library reports the device gone, the channel busy, the transfer aborted
// or timed out, or is not there at all.
#include <windows.h>

#include <string>

#include "ComponentLibraries.h"
#include "iostack/FXVarloChannelLoader.h"
#include "iostack/IOStatus.h"
#include "iostack/VarloDeviceConnection.h"
#include "reliability/FaultRow.h"
#include "reliability/VirtualPrinter.h"

using namespace QVIOStack;
using namespace QVDeviceManager;
using Orvane::FXVarloChannelLoader;
using Orvane::VarloDeviceConnection;
using usb_test::ComponentLibraries;

namespace reliability {
namespace {

// A fresh connection through the stand-ins of `folder`; `act` does the
// fault's part and gives the status. The library must be freed at the end.
template <typename Act>
Outcome OnComponent(const wchar_t* folder, Act act)
{
    Outcome outcome;
    outcome.Check(Usb().Error().empty(), "the virtual printer: " + Usb().Error());
    if (!Usb().Error().empty()) {
        return outcome;
    }
    outcome.Check(Usb().Plug(FUNCTION_TYPE_CONFIG), "the configuration function could not be plugged in");
    RunLog log(L"fault-component");
    {
        ComponentLibraries libraries(folder, Usb().PathOf(FUNCTION_TYPE_CONFIG));
        auto* connection = new VarloDeviceConnection(new FXVarloChannelLoader());
        connection->AddRef();
        outcome.Check(connection->Initialize(L"USB031") == 0, "the connection did not take its port");
        connection->SetReadTimeout(300);
        connection->SetWriteTimeout(300);
        outcome.status = act(*connection, libraries, outcome);
        connection->Close();
        connection->Dispose();
    }
    outcome.Check(!ComponentLibraries::AnyLoaded(), "the connection did not free its library");
    outcome.lines = log.Lines();
    return outcome;
}

// An open connection whose next read fails with the library's `status`.
Outcome ReadFailsWith(const char* status)
{
    return OnComponent(L"all", [status](CIOCommon& connection, ComponentLibraries& libraries, Outcome& o) {
        o.Check(connection.Open(nullptr) == 0, "the connection did not open");
        libraries.Fail(std::string("ReadBulk=") + status);
        char buffer[64];
        unsigned long read = 0;
        return connection.Read(buffer, sizeof buffer, &read, nullptr);
    });
}

Outcome DeviceGoneMidRead()
{
    return ReadFailsWith("55");
}

Outcome AbortedMidRead()
{
    return ReadFailsWith("995");
}

Outcome ChannelBusy()
{
    return OnComponent(L"all", [](CIOCommon& connection, ComponentLibraries& libraries, Outcome& o) {
        libraries.Fail("OpenBulk=170");
        const unsigned long status = connection.Open(nullptr);
        o.Check(!connection.IsOpen(), "the connection is open");
        return status;
    });
}

Outcome WriteTimesOut()
{
    return OnComponent(L"all", [](CIOCommon& connection, ComponentLibraries& libraries, Outcome& o) {
        o.Check(connection.Open(nullptr) == 0, "the connection did not open");
        libraries.Fail("WriteBulk=1460");
        unsigned long written = 0;
        return connection.Write("abc", 3, &written, nullptr);
    });
}

Outcome NoLibrary()
{
    return OnComponent(L"none", [](CIOCommon& connection, ComponentLibraries&, Outcome& o) {
        const unsigned long status = connection.Open(nullptr);
        o.Check(!connection.IsOpen(), "the connection is open");
        return status;
    });
}

}  // namespace

std::vector<FaultRow> ComponentRows()
{
    return {
        {"component", "device gone mid-read (55)", DeviceGoneMidRead, IOError_DeviceGone,
         {L"(I0) ReadBulk attempt 1 failed with 0 bytes", L"(##) GetLastStatus returned 55"}},
        {"component", "channel busy (170)", ChannelBusy, IOError_Busy, {L"(##) GetLastStatus returned 170"}},
        {"component", "transfer aborted mid-read (995)", AbortedMidRead, IOError_Aborted,
         {L"(I0) ReadBulk attempt 1 failed with 0 bytes", L"(##) GetLastStatus returned 995"}},
        {"component", "write time-out (1460)", WriteTimesOut, IOError_Timeout,
         {L"(I0) WriteBulk attempt 1 failed with 0 bytes", L"(I0) Write timeout after 300 ms",
          L"(##) GetLastStatus returned 1460"}},
        {"component", "library absent", NoLibrary, IOError_Fail, {L"(##) GetLastStatus returned 0"}},
    };
}

}  // namespace reliability
