// Faults of a USB connection on the virtual printer: the device pulled out
// during a write and put back, its channel held by another process, a
// progress object that says stop, a read with nothing to read.
#include <windows.h>

#include <memory>
#include <string>
#include <thread>

#include "UsbTestSupport.h"
#include "api/QVUSBDeviceConnection.h"
#include "doubles/ModuleLogFile.h"
#include "doubles/ScriptedProgress.h"
#include "iostack/CIOUSB.h"
#include "iostack/IOStatus.h"
#include "logging/LogModules.h"
#include "reliability/FaultRow.h"
#include "reliability/VirtualPrinter.h"
#include "tools/ChildProcess.h"

using namespace QVIOStack;
using namespace QVDeviceManager;
using Orvane::QVUSBDeviceConnection;
using usb_test::PluggedDevice;

namespace reliability {

PluggedDevice& Usb()
{
    static PluggedDevice* device = new PluggedDevice();
    return *device;
}

namespace {

usbprinter::VirtualUsbPrinter& Printer()
{
    return Usb().Printer();
}

// A fresh connection on the print function, with the USB log modules
// writing to a file; `act` does the fault's part and gives the status.
template <typename Connection, typename Act>
Outcome OnUsb(Act act)
{
    Outcome outcome;
    outcome.Check(Usb().Error().empty(), "the virtual printer: " + Usb().Error());
    if (!Usb().Error().empty()) {
        return outcome;
    }
    Printer().ClearRecords(USBPRINTER_FUNCTION_PRINT);
    outcome.Check(Usb().Plug(FUNCTION_TYPE_PRINT), "the print function could not be plugged in");
    RunLog log(L"fault-usb");
    auto* connection = new Connection();
    connection->AddRef();
    outcome.Check(connection->Initialize(&Usb().Device(), {FUNCTION_TYPE_PRINT}) == 0,
                  "the connection did not take the device");
    outcome.status = act(*connection, outcome);
    connection->Close();
    connection->Dispose();
    outcome.lines = log.Lines();
    return outcome;
}

unsigned long WriteText(CIOCommon& connection, const std::string& text)
{
    unsigned long written = 0;
    return connection.Write(text.data(), static_cast<unsigned long>(text.size()), &written, nullptr);
}

std::string Received()
{
    const std::vector<unsigned char> bytes = Printer().Received(USBPRINTER_FUNCTION_PRINT);
    return std::string(bytes.begin(), bytes.end());
}

// The device goes while a write waits in it, and comes back: the write
// fails, and once closed and opened again the session goes on.
Outcome VanishesMidTransferAndComesBack()
{
    return OnUsb<QVUSBDeviceConnection>([](CIOCommon& connection, Outcome& o) {
        o.Check(connection.Open(nullptr) == 0, "the connection did not open");
        Printer().HoldWrites(USBPRINTER_FUNCTION_PRINT, true);
        unsigned long lost = 0;
        std::thread writer([&] { lost = WriteText(connection, "lost "); });
        o.Check(Printer().WaitFor([] { return !Printer().WriteSizes(USBPRINTER_FUNCTION_PRINT).empty(); }, 10000),
                "the write did not reach the device");
        o.Check(Usb().Unplug(FUNCTION_TYPE_PRINT), "the print function could not be pulled out");
        writer.join();
        Printer().HoldWrites(USBPRINTER_FUNCTION_PRINT, false);
        o.Check(Usb().Plug(FUNCTION_TYPE_PRINT), "the print function could not be put back");
        connection.Close();
        o.Check(connection.Open(nullptr) == 0, "the connection did not open after the device came back");
        o.Check(WriteText(connection, "back") == 0, "the write after the device came back failed");
        o.Check(Received() == "back", "the device received '" + Received() + "'");
        return lost;
    });
}

// The channel's machine-wide claim is held by another process.
Outcome ChannelBusyInAnotherProcess()
{
    const std::wstring releaseName = L"orvane-fault-release-" + std::to_wstring(GetCurrentProcessId());
    HANDLE release = CreateEventW(nullptr, TRUE, FALSE, releaseName.c_str());
    toolstest::ChildProcess claimant;
    Outcome outcome = OnUsb<CIOUSB>([&](CIOCommon& connection, Outcome& o) {
        o.Check(claimant.Start(L"usb-claimant.exe", {L"plain", L"0", releaseName}), "the claimant did not start");
        o.Check(claimant.WaitForLine("open ") == "open 0x00000000", "the claimant did not take the channel");
        const unsigned long status = connection.Open(nullptr);
        SetEvent(release);
        o.Check(claimant.WaitForLine("closed") == "closed", "the claimant did not give the channel back");
        o.Check(claimant.Wait() == 0, "the claimant failed: " + claimant.Errors());
        o.Check(connection.Open(nullptr) == 0, "the channel did not open once given back");
        return status;
    });
    CloseHandle(release);
    return outcome;
}

// A read that waits in the device, stopped by the progress object.
Outcome ProgressSaysStop()
{
    return OnUsb<QVUSBDeviceConnection>([](CIOCommon& connection, Outcome& o) {
        o.Check(connection.Open(nullptr) == 0, "the connection did not open");
        connection.SetReadWaitInterval(20);
        doubles::ScriptedProgress stop([](double, unsigned long) { return false; });
        char buffer[100];
        unsigned long count = 0;
        return connection.Read(buffer, sizeof(buffer), &count, &stop);
    });
}

Outcome ReadTimeoutWithNothingPending()
{
    return OnUsb<QVUSBDeviceConnection>([](CIOCommon& connection, Outcome& o) {
        o.Check(connection.Open(nullptr) == 0, "the connection did not open");
        connection.SetReadTimeout(200);
        char buffer[100];
        unsigned long count = 0;
        return connection.Read(buffer, sizeof(buffer), &count, nullptr);
    });
}

}  // namespace

std::vector<FaultRow> UsbRows()
{
    return {
        {"usb", "device vanishes mid-transfer and comes back", VanishesMidTransferAndComesBack, IOError_Fail,
         {L"(##) WriteFile failed with 1167", L"(->) CUSBDevice::Refresh, ZQUSB0001",
          L"(I1) Open success, session count 1"}},
        {"usb", "channel busy in another process", ChannelBusyInAnotherProcess, IOError_Busy,
         {L"(##) CreateMutex failed with error (5)", ScopeErrorLine(L"0x83E8F4FC")}},
        {"usb", "progress says stop", ProgressSaysStop, IOError_Aborted, {ScopeErrorLine(L"0x83E8F4FD")}},
        {"usb", "read time-out with nothing pending", ReadTimeoutWithNothingPending, IOError_Timeout,
         {ScopeErrorLine(L"0x83E8F4FE")}},
    };
}

}  // namespace reliability
