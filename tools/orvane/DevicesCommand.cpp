// orvane devices: the device manager's view of this machine and the network
// (installed devices with their functions, a search, one opened device).
// The device manager is the library's own code, linked into the tool: the
// DLL does not export it.
#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

#include "common/ArgumentParser.h"
#include "common/JsonObject.h"
#include "common/Terminal.h"
#include "common/Text.h"
#include "devicemanager/DeviceManagerLib.h"
#include "devicemanager/IDeviceDiscoveryCallback.h"
#include "devicemanager/INetworkDevice.h"
#include "orvane/CommandRegistry.h"
#include "utils/CProgress.h"

namespace tools {

namespace {

using namespace QVDeviceManager;

const struct {
    FUNCTION_TYPE type;
    const char* name;
} kFunctions[] = {{FUNCTION_TYPE_PRINT, "print"}, {FUNCTION_TYPE_SCAN, "scan"}, {FUNCTION_TYPE_FAX, "fax"},
                  {FUNCTION_TYPE_CONFIG, "config"}};

std::string StatusText(unsigned long status)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08lX", status);
    switch (status) {
    case DM_E_NOT_FOUND: return std::string(text) + " (DM_E_NOT_FOUND)";
    case DM_E_NO_DEVICE_RESPONDED: return std::string(text) + " (DM_E_NO_DEVICE_RESPONDED)";
    case DM_E_NETWORK_UNAVAILABLE: return std::string(text) + " (DM_E_NETWORK_UNAVAILABLE)";
    case DM_E_NOT_INITIALISED: return std::string(text) + " (DM_E_NOT_INITIALISED)";
    case DM_E_INVALID_ARGUMENT: return std::string(text) + " (DM_E_INVALID_ARGUMENT)";
    case DM_E_CANCELLED: return std::string(text) + " (DM_E_CANCELLED)";
    default: return text;
    }
}

// A search's progress as a bar on a terminal's stderr.
class ProgressBar : public QVUtils::CProgress {
public:
    explicit ProgressBar(bool draw) : m_draw(draw) {}
    ~ProgressBar() override
    {
        if (m_drawn) {
            std::fprintf(stderr, "\n");
        }
    }
    bool OnStep(double percent, unsigned long, va_list) override
    {
        if (m_draw) {
            const int marks = static_cast<int>(percent * 30 / 100);
            std::fprintf(stderr, "\r[%s%s] %3d%%", std::string(marks, '#').c_str(),
                         std::string(30 - marks, '-').c_str(), static_cast<int>(percent));
            std::fflush(stderr);
            m_drawn = true;
        }
        return true;
    }

private:
    const bool m_draw;
    bool m_drawn = false;
};

void PrintDevice(IDevice& device, bool json)
{
    INetworkDevice* network = nullptr;
    const bool isNetwork = device.GetNetworkDevice(&network) == 0;
    if (json) {
        JsonObject line;
        line.Text("connection", std::wstring(isNetwork ? L"network" : L"usb"));
        line.Text("serialNumber", device.GetSerialNumber()).Text("modelName", device.GetModelName());
        if (isNetwork) {
            line.Text("ipAddress", network->GetIPAddress()).Text("hostName", network->GetHostName());
            line.Text("guid", network->GetGUID());
        }
        line.Number("installed", device.IsInstalled() ? 1 : 0).Number("online", device.IsOnline() ? 1 : 0);
        for (const auto& kind : kFunctions) {
            IDeviceFunction* function = nullptr;
            if (device.GetFunction(kind.type, &function) == 0) {
                line.Text(std::string(kind.name) + "Name", function->GetFriendlyName());
                line.Text(std::string(kind.name) + "Address", function->GetAddress());
            }
        }
        std::printf("%s\n", line.Str().c_str());
        return;
    }
    std::printf("%-7s %-20s %-24s %s%s\n", isNetwork ? "network" : "usb",
                Text::Narrow(device.GetSerialNumber()).c_str(), Text::Narrow(device.GetModelName()).c_str(),
                isNetwork ? (Text::Narrow(network->GetIPAddress()) + " ").c_str() : "",
                device.IsOnline() ? "online" : "offline");
    for (const auto& kind : kFunctions) {
        IDeviceFunction* function = nullptr;
        if (device.GetFunction(kind.type, &function) == 0) {
            std::printf("        %-7s %-32s %s\n", kind.name, Text::Narrow(function->GetFriendlyName()).c_str(),
                        Text::Narrow(function->GetAddress()).c_str());
        }
    }
}

class DevicesCommand : public Command {
public:
    const wchar_t* Name() const override { return L"devices"; }
    const char* Summary() const override { return "list, find or open devices through the device manager"; }
    const char* Usage() const override
    {
        return "usage: orvane devices [--usb] [--network] [--json]\n"
               "       orvane devices --find [--address IP] [--json]\n"
               "       orvane devices --open \"IDENTITY or FRIENDLY NAME\" [--json]\n"
               "\n"
               "Lists the installed devices (USB devices of the device tree, network\n"
               "devices with a record), each with its functions: print, scan, fax and\n"
               "config, with friendly name and address.\n"
               "\n"
               "options:\n"
               "  --usb, --network  only these (both when neither is given)\n"
               "  --find            search the network: by type from every usable adapter\n"
               "                    (12 seconds), or with --address a directed search of\n"
               "                    that address (up to 7 seconds); a progress bar runs on\n"
               "                    stderr on a terminal\n"
               "  --open TEXT       open one device: a network device's serial number or\n"
               "                    port name, a USB device's serial number, or the friendly\n"
               "                    name of one of its functions; a network device is then\n"
               "                    searched for, and found again where it has moved\n"
               "  --json            one JSON object a line for each device: connection,\n"
               "                    serialNumber, modelName, for a network device ipAddress,\n"
               "                    hostName and guid, installed and online (0 or 1), and for\n"
               "                    each function printName and printAddress, scanName, ...\n"
               "  --help            this text\n"
               "\n"
               "exit codes: 0 done, 1 the device manager failed (nothing found, nothing\n"
               "answered), 2 usage error\n";
    }

    int Run(const std::vector<std::wstring>& arguments) override
    {
        ArgumentParser parser({L"--open", L"--address"}, {L"--usb", L"--network", L"--find", L"--json", L"--help"});
        if (!parser.Parse(arguments)) {
            return UsageError(parser.Error());
        }
        if (parser.Has(L"--help")) {
            return ShowUsage();
        }
        if (!parser.Positional().empty()) {
            return UsageError("unexpected argument '" + Text::Narrow(parser.Positional()[0]) + "'");
        }
        const bool listing = parser.Has(L"--usb") || parser.Has(L"--network");
        if (parser.Has(L"--find") + parser.Has(L"--open") + listing > 1) {
            return UsageError("give one of --find, --open and a listing");
        }
        if (parser.Has(L"--address") && !parser.Has(L"--find")) {
            return UsageError("--address goes with --find");
        }
        if ((parser.Has(L"--open") && parser.Value(L"--open").empty())
            || (parser.Has(L"--address") && parser.Value(L"--address").empty())) {
            return UsageError("an empty name or address");
        }
        if (InitDeviceManagerLib() != 0) {
            Complain("the device manager cannot start");
            return kExitFailure;
        }
        IDeviceManager* manager = nullptr;
        unsigned long status = OpenDeviceManager(&manager);
        if (status == 0) {
            status = parser.Has(L"--find")   ? Find(*manager, parser)
                     : parser.Has(L"--open") ? Open(*manager, parser.Value(L"--open"), parser.Has(L"--json"))
                                             : List(*manager, parser);
            CloseDeviceManager(manager);
        }
        TermDeviceManagerLib();
        if (status != 0) {
            Complain("failed: " + StatusText(status));
        }
        return status == 0 ? kExitOk : kExitFailure;
    }

private:
    static unsigned long List(IDeviceManager& manager, const ArgumentParser& parser)
    {
        unsigned long mask = 0;
        mask |= parser.Has(L"--usb") ? CONNECTION_TYPE_USB : 0;
        mask |= parser.Has(L"--network") ? CONNECTION_TYPE_NETWORK : 0;
        IDevices* devices = nullptr;
        const unsigned long status = manager.GetInstalledDevices(
            mask == 0 ? CONNECTION_TYPE_USB | CONNECTION_TYPE_NETWORK : mask, &devices, nullptr);
        if (status == 0) {
            PrintAll(*devices, parser.Has(L"--json"));
            manager.DestroyDevices(devices);
        }
        return status;
    }

    static void PrintAll(IDevices& devices, bool json)
    {
        for (unsigned long i = 0; i < devices.GetCount(); ++i) {
            PrintDevice(*devices.GetDevice(i), json);
        }
        if (!json) {
            std::printf("%lu device(s)\n", devices.GetCount());
        }
    }

    static unsigned long Find(IDeviceManager& manager, const ArgumentParser& parser)
    {
        ProgressBar progress(Terminal::IsTerminal(::GetStdHandle(STD_ERROR_HANDLE)));
        if (parser.Has(L"--address")) {
            IDevice* device = nullptr;
            const unsigned long status =
                manager.FindNetworkDevice(parser.Value(L"--address").c_str(), &device, &progress);
            if (status == 0) {
                PrintDevice(*device, parser.Has(L"--json"));
                manager.CloseDevice(device);
            }
            return status;
        }
        IDevices* devices = nullptr;
        const unsigned long status = manager.FindNetworkDevices(&devices, &progress);
        if (status == 0) {
            PrintAll(*devices, parser.Has(L"--json"));
            manager.DestroyDevices(devices);
        }
        return status;
    }

    // By identity (network, then USB), then by a function's friendly name.
    static unsigned long Open(IDeviceManager& manager, const std::wstring& text, bool json)
    {
        IDevice* device = nullptr;
        unsigned long status = manager.OpenDevice(text.c_str(), CONNECTION_TYPE_NETWORK, &device, nullptr);
        if (status != 0) {
            status = manager.OpenDevice(text.c_str(), CONNECTION_TYPE_USB, &device, nullptr);
        }
        for (size_t i = 0; status != 0 && i < sizeof kFunctions / sizeof kFunctions[0]; ++i) {
            status = manager.OpenDevice(text.c_str(), kFunctions[i].type, &device, nullptr);
        }
        if (status != 0) {
            return status;
        }
        INetworkDevice* network = nullptr;
        const bool isNetwork = device->GetNetworkDevice(&network) == 0;
        std::wstring recorded;
        if (isNetwork) {
            ProgressBar progress(Terminal::IsTerminal(::GetStdHandle(STD_ERROR_HANDLE)));
            recorded = network->GetIPAddress();
            // Offline when it does not answer; otherwise as it is now.
            device->Refresh(&progress);
        }
        PrintDevice(*device, json);
        // A device found at another address: its record follows.
        if (isNetwork && device->IsOnline() && device->IsInstalled() && network->GetIPAddress() != recorded) {
            const std::wstring now = network->GetIPAddress();
            network->SetIPAddress(now.c_str());
        }
        manager.CloseDevice(device);
        return 0;
    }
};

const CommandRegistration<DevicesCommand> registration;

}  // namespace

}  // namespace tools
