// orvane devices: the device manager's view of this machine and the network
// (installed devices with their functions, a search, one opened device).
// The device manager is the library's own code, linked into the tool: the
// DLL does not export it.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "common/ArgumentParser.h"
#include "common/ErrorText.h"
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
    case DM_E_FAILED: return std::string(text) + " (DM_E_FAILED)";
    case DM_E_ALREADY_INSTALLED: return std::string(text) + " (DM_E_ALREADY_INSTALLED)";
    case DM_E_DEVICE_GONE: return std::string(text) + " (DM_E_DEVICE_GONE)";
    case DM_E_ACCESS_DENIED: return std::string(text) + " (DM_E_ACCESS_DENIED)";
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
            // A search's late wake-up reports past 100.
            percent = std::min(percent, 100.0);
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
               "       orvane devices --install SERIAL [--address IP] [--json]\n"
               "       orvane devices --uninstall SERIAL\n"
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
               "  --install SERIAL  make the network device with that serial number a device\n"
               "                    of this machine: its record, and for print, fax and scan\n"
               "                    a node in the device tree with its driver and the port\n"
               "                    of the family's discovery port monitor; found by a\n"
               "                    search of the network, or of IP with --address\n"
               "  --uninstall SERIAL  take an installed network device away again: queues,\n"
               "                    nodes, driver, ports and at last its record\n"
               "  --json            one JSON object a line for each device: connection,\n"
               "                    serialNumber, modelName, for a network device ipAddress,\n"
               "                    hostName and guid, installed and online (0 or 1), and for\n"
               "                    each function printName and printAddress, scanName, ...\n"
               "  --help            this text\n"
               "\n"
               "exit codes: 0 done (an install or uninstall that needs a restart of the\n"
               "machine says so), 1 the device manager failed (nothing found, nothing\n"
               "answered, a step of an install failed and was taken back), 2 usage error\n";
    }

    int Run(const std::vector<std::wstring>& arguments) override
    {
        ArgumentParser parser({L"--open", L"--address", L"--install", L"--uninstall"},
                              {L"--usb", L"--network", L"--find", L"--json", L"--help"});
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
        const bool install = parser.Has(L"--install");
        const bool uninstall = parser.Has(L"--uninstall");
        if (parser.Has(L"--find") + parser.Has(L"--open") + install + uninstall + listing > 1) {
            return UsageError("give one of --find, --open, --install, --uninstall and a listing");
        }
        if (parser.Has(L"--address") && !parser.Has(L"--find") && !install) {
            return UsageError("--address goes with --find or --install");
        }
        if (uninstall && parser.Has(L"--json")) {
            return UsageError("--json does not go with --uninstall");
        }
        for (const wchar_t* option : {L"--open", L"--address", L"--install", L"--uninstall"}) {
            if (parser.Has(option) && parser.Value(option).empty()) {
                return UsageError("an empty name, serial number or address");
            }
        }
        if (InitDeviceManagerLib() != 0) {
            Complain("the device manager cannot start");
            return kExitFailure;
        }
        IDeviceManager* manager = nullptr;
        unsigned long status = OpenDeviceManager(&manager);
        if (status == 0) {
            if (install || uninstall) {
                const std::wstring serial = parser.Value(install ? L"--install" : L"--uninstall");
                status = install ? Install(*manager, serial, parser) : Uninstall(*manager, serial);
            } else {
                status = parser.Has(L"--find")   ? Find(*manager, parser)
                         : parser.Has(L"--open") ? Open(*manager, parser.Value(L"--open"), parser.Has(L"--json"))
                                                 : List(*manager, parser);
                if (status != 0) {
                    Complain("failed: " + StatusText(status));
                }
            }
            CloseDeviceManager(manager);
        } else {
            Complain("failed: " + StatusText(status));
        }
        TermDeviceManagerLib();
        return status == 0 || status == DM_E_REBOOT_REQUIRED ? kExitOk : kExitFailure;
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

    // The device with the serial number, found by a search of the address or
    // of the network, installed; an installed one is opened from its record.
    unsigned long Install(IDeviceManager& manager, const std::wstring& serial, const ArgumentParser& parser) const
    {
        ProgressBar progress(Terminal::IsTerminal(::GetStdHandle(STD_ERROR_HANDLE)));
        IDevice* device = nullptr;
        IDevices* devices = nullptr;
        unsigned long status = 0;
        if (parser.Has(L"--address")) {
            status = manager.FindNetworkDevice(parser.Value(L"--address").c_str(), &device, &progress);
            if (status == 0 && device->GetSerialNumber() != serial) {
                Complain("the device at " + Text::Narrow(parser.Value(L"--address")) + " has the serial number "
                         + Text::Narrow(device->GetSerialNumber()));
                manager.CloseDevice(device);
                return DM_E_NOT_FOUND;
            }
        } else {
            status = manager.FindNetworkDevices(&devices, &progress);
            for (unsigned long i = 0; status == 0 && device == nullptr && i < devices->GetCount(); ++i) {
                device = devices->GetDevice(i)->GetSerialNumber() == serial ? devices->GetDevice(i) : nullptr;
            }
            status = status == 0 && device == nullptr ? DM_E_NOT_FOUND : status;
        }
        if (status != 0) {
            Complain("cannot find " + Text::Narrow(serial) + ": " + StatusText(status));
        } else {
            status = device->Install(&progress);
            const DWORD error = ::GetLastError();
            if (status == 0 || status == DM_E_REBOOT_REQUIRED) {
                PrintDevice(*device, parser.Has(L"--json"));
            }
            Report("install", serial, status, error);
        }
        if (devices != nullptr) {
            manager.DestroyDevices(devices);
        } else if (device != nullptr) {
            manager.CloseDevice(device);
        }
        return status;
    }

    // The installed device of the serial number, from its record, uninstalled.
    unsigned long Uninstall(IDeviceManager& manager, const std::wstring& serial) const
    {
        IDevice* device = nullptr;
        unsigned long status = manager.OpenDevice(serial.c_str(), CONNECTION_TYPE_NETWORK, &device, nullptr);
        if (status != 0) {
            Complain("no installed network device " + Text::Narrow(serial) + ": " + StatusText(status));
            return status;
        }
        ProgressBar progress(Terminal::IsTerminal(::GetStdHandle(STD_ERROR_HANDLE)));
        status = device->Uninstall(&progress);
        const DWORD error = ::GetLastError();
        manager.CloseDevice(device);
        if (status == 0 || status == DM_E_REBOOT_REQUIRED) {
            std::printf("uninstalled %s\n", Text::Narrow(serial).c_str());
        }
        Report("uninstall", serial, status, error);
        return status;
    }

    // A restart to finish on stdout, a failure with the status, the last
    // system error, and where to read each step on stderr.
    void Report(const char* what, const std::wstring& serial, unsigned long status, DWORD error) const
    {
        if (status == DM_E_REBOOT_REQUIRED) {
            std::printf("a restart of the machine finishes the %s\n", what);
        } else if (status != 0) {
            Complain(std::string(what) + " of " + Text::Narrow(serial) + " failed: " + StatusText(status)
                     + ", last system error " + ErrorText::Describe(error));
            Complain("every step is in the library's log: 'orvane log on', run again, 'orvane log show'");
        }
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
