// orvane discover: a WS-Discovery search by type, identifier or address,
// printing each device as the search reports it and a table at the end.
// Discovery is the library's own code, linked into the tool: the DLL does
// not export it.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "common/ArgumentParser.h"
#include "common/JsonObject.h"
#include "common/Terminal.h"
#include "common/Text.h"
#include "discovery/CDiscoveredDevice.h"
#include "discovery/DiscoveryLib.h"
#include "discovery/DiscoveryStatus.h"
#include "discovery/IDiscoveryServer.h"
#include "orvane/CommandRegistry.h"

namespace tools {

namespace {

using namespace QVDiscovery;

const char* StatusName(unsigned long status)
{
    switch (status) {
    case DISCOVERY_OK: return "DISCOVERY_OK";
    case DISCOVERY_E_EVENT_WAIT: return "DISCOVERY_E_EVENT_WAIT";
    case DISCOVERY_E_WINSOCK: return "DISCOVERY_E_WINSOCK";
    case DISCOVERY_E_STOPPED: return "DISCOVERY_E_STOPPED";
    case DISCOVERY_E_OUTOFMEMORY: return "DISCOVERY_E_OUTOFMEMORY";
    case DISCOVERY_E_INVALIDARG: return "DISCOVERY_E_INVALIDARG";
    case DISCOVERY_E_ALREADY_REGISTERED: return "DISCOVERY_E_ALREADY_REGISTERED";
    case DISCOVERY_E_NOT_REGISTERED: return "DISCOVERY_E_NOT_REGISTERED";
    case DISCOVERY_E_NOT_FOUND: return "DISCOVERY_E_NOT_FOUND";
    case DISCOVERY_E_INTERNAL: return "DISCOVERY_E_INTERNAL";
    case DISCOVERY_E_NETWORK: return "DISCOVERY_E_NETWORK";
    default: return "unknown";
    }
}

// "Print9100, RestScan, Fax" or "-".
std::string SpellServices(unsigned long services)
{
    static const char* const kNames[] = {"Print9100", "RestScan", "CIFS", "EWS", "DSD", "Fax"};
    std::string names;
    for (int bit = 0; bit < 6; ++bit) {
        if (services & (1ul << bit)) {
            names += (names.empty() ? "" : ", ") + std::string(kNames[bit]);
        }
    }
    return names.empty() ? "-" : names;
}

const char* SpellAdapter(unsigned long type)
{
    return type == kAdapterWired ? "wired" : type == kAdapterWireless ? "wireless" : "unknown";
}

// A copy of what the search reported, kept for the table.
class Found : public CDiscoveredDevice {
public:
    explicit Found(const IDiscoveredDevice& d)
    {
        m_id = d.GetId();
        m_hardwareAddress = d.GetHardwareAddress();
        m_hostName = d.GetHostName();
        m_ipAddress = d.GetIPAddress();
        m_manufacturer = d.GetManufacturer();
        m_model = d.GetModel();
        m_serialNumber = d.GetSerialNumber();
        m_services = d.GetServices();
        m_adapterType = d.GetAdapterType();
    }
};

// Prints each call as it comes; draws the progress on a terminal.
class PrintingClient : public IDiscoveryClient {
public:
    PrintingClient(bool json, bool progress) : m_json(json), m_progress(progress) {}

    void Add(IDiscoveredDevice* device, uintptr_t) override { Event("add", *device); }
    void Remove(IDiscoveredDevice* device, uintptr_t) override { Event("remove", *device); }
    // The search's own return value tells how it ended.
    void SearchComplete(uintptr_t) override {}
    void SearchFailed(unsigned long, uintptr_t) override {}
    bool SearchProgress(unsigned char percent, uintptr_t) override
    {
        if (m_progress) {
            std::lock_guard<std::mutex> lock(m_mutex);
            // A late wake-up of the search's event thread reports past 100.
            percent = std::min<unsigned char>(percent, 100);
            const int marks = percent * 30 / 100;
            std::fprintf(stderr, "\r[%s%s] %3u%%  %zu found", std::string(marks, '#').c_str(),
                         std::string(30 - marks, '-').c_str(), percent, m_devices.size());
            std::fflush(stderr);
        }
        return true;
    }

    const std::vector<Found>& Devices() const { return m_devices; }

private:
    void Event(const char* event, const IDiscoveredDevice& device)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_progress) {
            std::fprintf(stderr, "\r%50s\r", "");
        }
        if (m_json) {
            JsonObject json;
            json.Text("event", Text::Wide(event)).Text("id", std::wstring(device.GetId()));
            json.Text("hardwareAddress", std::wstring(device.GetHardwareAddress())).Text("hostName", std::wstring(device.GetHostName()));
            json.Text("ipAddress", std::wstring(device.GetIPAddress())).Text("manufacturer", std::wstring(device.GetManufacturer()));
            json.Text("model", std::wstring(device.GetModel())).Text("serialNumber", std::wstring(device.GetSerialNumber()));
            json.Number("services", device.GetServices()).Number("adapterType", device.GetAdapterType());
            std::printf("%s\n", json.Str().c_str());
        } else {
            std::printf("%-6s %s  %s  %s\n", event, Text::Narrow(device.GetId()).c_str(),
                        Text::Narrow(device.GetIPAddress()).c_str(), Text::Narrow(device.GetHostName()).c_str());
        }
        std::fflush(stdout);
        if (std::string(event) == "add") {
            m_devices.emplace_back(device);
        }
    }

    const bool m_json;
    const bool m_progress;
    std::mutex m_mutex;
    std::vector<Found> m_devices;
};

class DiscoverCommand : public Command {
public:
    const wchar_t* Name() const override { return L"discover"; }
    const char* Summary() const override { return "search the network for devices by WS-Discovery"; }
    const char* Usage() const override
    {
        return "usage: orvane discover [--type \"QNAME ...\" | --id ID | --address IP] [--json]\n"
               "\n"
               "Runs one WS-Discovery search from every usable network adapter and prints\n"
               "each device as it is found (add) or says goodbye (remove), then a table.\n"
               "A search by type or identifier lasts 12 seconds, one by address 7 seconds\n"
               "or until the device answers; a progress bar runs on stderr on a terminal.\n"
               "\n"
               "searches (one of them; by type with the family's default type when none):\n"
               "  --type \"QNAME ...\"  by type: a blank-separated list such as zqd:zqDevice\n"
               "  --id ID            by identifier, the device's endpoint address\n"
               "                     (urn:uuid:...); ends with the first answer\n"
               "  --address IP       directed: a Probe over HTTP to port 80 of that IPv4 or\n"
               "                     IPv6 address\n"
               "\n"
               "example:\n"
               "  orvane discover\n"
               "  orvane discover --address 192.0.2.7 --json\n"
               "\n"
               "options:\n"
               "  --json    one JSON object a line, one for each add or remove:\n"
               "            {\"event\":\"add\",\"id\":...,\"hardwareAddress\":...,\"hostName\":...,\n"
               "            \"ipAddress\":...,\"manufacturer\":...,\"model\":...,\"serialNumber\":...,\n"
               "            \"services\":35,\"adapterType\":1}, and last {\"event\":\"complete\"} or\n"
               "            {\"event\":\"failed\",\"status\":11,\"name\":\"DISCOVERY_E_NOT_FOUND\"}\n"
               "  --help    this text\n"
               "\n"
               "services: 1 Print9100, 2 RestScan, 4 CIFS, 8 EWS, 16 DSD, 32 Fax;\n"
               "adapter types: 0 unknown, 1 wired, 2 wireless.\n"
               "\n"
               "exit codes: 0 the search completed (a device was found), 1 it failed\n"
               "(DISCOVERY_E_NOT_FOUND when nothing answered), 2 usage error\n";
    }

    int Run(const std::vector<std::wstring>& arguments) override
    {
        ArgumentParser parser({L"--type", L"--id", L"--address"}, {L"--json", L"--help"});
        if (!parser.Parse(arguments)) {
            return UsageError(parser.Error());
        }
        if (parser.Has(L"--help")) {
            return ShowUsage();
        }
        const int searches = parser.Has(L"--type") + parser.Has(L"--id") + parser.Has(L"--address");
        if (searches > 1) {
            return UsageError("give one of --type, --id and --address");
        }
        if (!parser.Positional().empty()) {
            return UsageError("unexpected argument '" + Text::Narrow(parser.Positional()[0]) + "'");
        }
        if ((parser.Has(L"--id") && parser.Value(L"--id").empty())
            || (parser.Has(L"--address") && parser.Value(L"--address").empty())) {
            return UsageError("an empty identifier or address");
        }
        const bool json = parser.Has(L"--json");
        PrintingClient client(json, Terminal::IsTerminal(::GetStdHandle(STD_ERROR_HANDLE)));
        const unsigned long status = Search(parser, client);
        Finish(json, client, status);
        return status == DISCOVERY_OK ? kExitOk : kExitFailure;
    }

private:
    unsigned long Search(const ArgumentParser& parser, PrintingClient& client) const
    {
        unsigned long status = InitDiscoveryLib();
        if (status != DISCOVERY_OK) {
            return status;
        }
        IDiscoveryServer* server = nullptr;
        status = CreateDiscoveryServer(0, &server);
        if (status == DISCOVERY_OK) {
            server->RegisterClient(&client);
            if (parser.Has(L"--id")) {
                status = server->SearchById(parser.Value(L"--id").c_str(), 0);
            } else if (parser.Has(L"--address")) {
                status = server->SearchByAddress(parser.Value(L"--address").c_str(), 0);
            } else {
                const std::wstring types = parser.Value(L"--type");
                status = server->SearchByType(types.empty() ? nullptr : types.c_str(), 0);
            }
            server->UnregisterClient(&client);
            DestroyDiscoveryServer(server);
        }
        TermDiscoveryLib();
        return status;
    }

    void Finish(bool json, const PrintingClient& client, unsigned long status) const
    {
        if (Terminal::IsTerminal(::GetStdHandle(STD_ERROR_HANDLE))) {
            std::fprintf(stderr, "\n");
        }
        if (json) {
            JsonObject last;
            last.Text("event", std::wstring(status == DISCOVERY_OK ? L"complete" : L"failed"));
            if (status != DISCOVERY_OK) {
                last.Number("status", status).Text("name", Text::Wide(StatusName(status)));
            }
            std::printf("%s\n", last.Str().c_str());
            return;
        }
        PrintTable(client.Devices());
        if (status == DISCOVERY_OK) {
            std::printf("search complete: %zu device(s)\n", client.Devices().size());
        } else {
            Complain(std::string("search failed: ") + StatusName(status) + " (" + std::to_string(status) + ")"
                     + (status == DISCOVERY_E_NOT_FOUND ? ": no device answered" : ""));
        }
    }

    static void PrintTable(const std::vector<Found>& devices)
    {
        if (devices.empty()) {
            return;
        }
        std::printf("\n%-46s %-24s %-16s %-20s %-10s %-24s %s\n", "IDENTIFIER", "IP ADDRESS", "HOST NAME",
                    "MANUFACTURER MODEL", "SERIAL", "SERVICES", "ADAPTER");
        for (const Found& d : devices) {
            const std::string product = Text::Narrow(d.GetManufacturer()) + " " + Text::Narrow(d.GetModel());
            std::printf("%-46s %-24s %-16s %-20s %-10s %-24s %s\n", Text::Narrow(d.GetId()).c_str(),
                        Text::Narrow(d.GetIPAddress()).c_str(), Text::Narrow(d.GetHostName()).c_str(),
                        product.c_str(), Text::Narrow(d.GetSerialNumber()).c_str(),
                        SpellServices(d.GetServices()).c_str(), SpellAdapter(d.GetAdapterType()));
        }
    }
};

const CommandRegistration<DiscoverCommand> registration;

}  // namespace

}  // namespace tools
