// The library's own server searching from namespace A, on Wine's real
// adapters (lo, the veth with IPv4, a global and a link-local IPv6
// address), with "wsdapi.dll" unloadable so that CreateDiscoveryServer
// chooses it. Namespace B holds a family device's responder serving three
// identities (every reply sent twice), besides wsdd and Wine's publisher.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "discovery/DiscoveryLib.h"
#include "discovery/DiscoveryStatus.h"
#include "discovery/IDiscoveryServer.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"

using namespace QVDiscovery;

namespace {

std::string Env(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::wstring Wide(const std::string& text)
{
    return std::wstring(text.begin(), text.end());
}

// The responder's identities.
std::wstring DeviceId(int n)
{
    wchar_t text[64];
    std::swprintf(text, 64, L"urn:uuid:5a0f0000-0000-4000-8000-%012x", n);
    return text;
}

struct Record {
    std::wstring event;
    std::wstring id;
    std::wstring ip;
    std::wstring host;
    std::wstring manufacturer;
    std::wstring model;
    std::wstring serial;
    std::wstring hardware;
    unsigned long services;
    unsigned long adapter;
};

// Writes down what it is told; asks the search to stop once `enough` says so.
class Client : public IDiscoveryClient {
public:
    void Add(IDiscoveredDevice* d, uintptr_t) override { Note(L"add", d); }
    void Remove(IDiscoveredDevice* d, uintptr_t) override { Note(L"remove", d); }
    void SearchComplete(uintptr_t) override { ending = L"complete"; }
    void SearchFailed(unsigned long status, uintptr_t) override { ending = L"failed " + std::to_wstring(status); }
    bool SearchProgress(unsigned char, uintptr_t) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return !(enough && enough(records));
    }
    std::vector<Record> Records()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return records;
    }
    std::map<bool, int> AddsOf(const std::wstring& id);

    std::function<bool(const std::vector<Record>&)> enough;
    std::wstring ending;

private:
    void Note(const wchar_t* event, IDiscoveredDevice* d)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        records.push_back({event, d->GetId(), d->GetIPAddress(), d->GetHostName(), d->GetManufacturer(),
                           d->GetModel(), d->GetSerialNumber(), d->GetHardwareAddress(), d->GetServices(),
                           d->GetAdapterType()});
    }
    std::mutex m_mutex;
    std::vector<Record> records;
};

// How many adds of `id` came with an IP address of each family (true: IPv6).
std::map<bool, int> AddsIn(const std::vector<Record>& records, const std::wstring& id)
{
    std::map<bool, int> count;
    for (const Record& r : records) {
        if (r.event == L"add" && r.id == id) {
            ++count[r.ip.find(L':') != std::wstring::npos];
        }
    }
    return count;
}

std::map<bool, int> Client::AddsOf(const std::wstring& id)
{
    return AddsIn(Records(), id);
}

size_t CountOf(const std::vector<Record>& records, const wchar_t* event)
{
    size_t count = 0;
    for (const Record& r : records) {
        count += r.event == event;
    }
    return count;
}

struct OwnServerNamespace : ::testing::Test {
    void SetUp() override
    {
        ASSERT_FALSE(device4.empty()) << "run by wsd-netns.sh, which sets ORVANE_NETNS_DEVICE4";
        ASSERT_EQ(DISCOVERY_OK, InitDiscoveryLib());
        ASSERT_EQ(DISCOVERY_OK, CreateDiscoveryServer(0, &server));
        ASSERT_EQ(DISCOVERY_OK, server->RegisterClient(&client));
    }
    void TearDown() override
    {
        if (server != nullptr) {
            server->UnregisterClient(&client);
            DestroyDiscoveryServer(server);
        }
        TermDiscoveryLib();
    }
    ~OwnServerNamespace() override
    {
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"own-server-netns", 0x30000EF0};
    const std::string device4 = Env("ORVANE_NETNS_DEVICE4");
    const std::string device6 = Env("ORVANE_NETNS_DEVICE6");
    IDiscoveryServer* server = nullptr;
    Client client;
};

}  // namespace

TEST_F(OwnServerNamespace, SearchByTypeFindsEachDeviceOncePerFamilyDespiteRepeats)
{
    // Stops once every identity came on both families.
    client.enough = [](const std::vector<Record>& records) {
        for (int n = 1; n <= 3; ++n) {
            const auto adds = AddsIn(records, DeviceId(n));
            if (adds.count(false) == 0 || adds.count(true) == 0) {
                return false;
            }
        }
        return true;
    };
    EXPECT_EQ(DISCOVERY_OK, server->SearchByType(nullptr, 1));
    EXPECT_EQ(L"complete", client.ending);
    for (int n = 1; n <= 3; ++n) {
        const auto adds = client.AddsOf(DeviceId(n));
        EXPECT_EQ(1, adds.at(false)) << n;
        // Once from each IPv6 address that reaches the device.
        EXPECT_LE(1, adds.at(true)) << n;
    }
    for (const Record& r : client.Records()) {
        if (r.id == DeviceId(2) && r.ip.find(L':') == std::wstring::npos) {
            EXPECT_EQ(Wide(device4), r.ip);
            EXPECT_EQ(L"orvane-dev-2", r.host);
            EXPECT_EQ(L"ACME", r.manufacturer);
            EXPECT_EQ(L"Laser 2", r.model);
            EXPECT_EQ(L"SN0002", r.serial);
            EXPECT_EQ(L"00:11:22:33:44:02", r.hardware);
            EXPECT_EQ(35u, r.services);
            EXPECT_EQ(1u, r.adapter);
        }
        if (r.ip.find(L':') != std::wstring::npos && r.id == DeviceId(2)) {
            EXPECT_EQ(Wide(device6), r.ip);
        }
    }
    EXPECT_LE(1u, log.Count(L"(DB) Discovery thread for adapter (10.77.0.1) has started"));
    EXPECT_LE(1u, log.Count(L"(DB) Discovery thread for adapter (fd77::1) has started"));
}

TEST_F(OwnServerNamespace, HelloDuringASearchByTypeAddsADevice)
{
    client.enough = [](const std::vector<Record>& records) {
        for (const Record& r : records) {
            if (r.id == DeviceId(0xFFF)) {
                return true;
            }
        }
        return false;
    };
    EXPECT_EQ(DISCOVERY_OK, server->SearchByType(L"zqd:HelloTest", 2));
    EXPECT_EQ(L"complete", client.ending);
    EXPECT_EQ(1, client.AddsOf(DeviceId(0xFFF)).at(false));
}

TEST_F(OwnServerNamespace, SearchThatSawOnlyByesFailsWithNotFound)
{
    client.enough = [](const std::vector<Record>& records) { return CountOf(records, L"remove") >= 1; };
    EXPECT_EQ(DISCOVERY_E_NOT_FOUND, server->SearchByType(L"zqd:ByeTest", 3));
    EXPECT_EQ(L"failed 11", client.ending);
    const std::vector<Record> records = client.Records();
    EXPECT_EQ(0u, CountOf(records, L"add"));
    ASSERT_LE(1u, CountOf(records, L"remove"));
    EXPECT_EQ(DeviceId(1), records[0].id);
}

TEST_F(OwnServerNamespace, SearchByIdEndsWithTheFirstFind)
{
    EXPECT_EQ(DISCOVERY_OK, server->SearchById(DeviceId(3).c_str(), 4));
    EXPECT_EQ(L"complete", client.ending);
    const std::vector<Record> records = client.Records();
    ASSERT_LE(1u, CountOf(records, L"add"));
    EXPECT_EQ(DeviceId(3), records[0].id);
    EXPECT_EQ(L"orvane-dev-3", records[0].host);
}

TEST_F(OwnServerNamespace, SearchByAddressOnIPv4)
{
    EXPECT_EQ(DISCOVERY_OK, server->SearchByAddress(Wide(device4).c_str(), 5));
    EXPECT_EQ(L"complete", client.ending);
    const std::vector<Record> records = client.Records();
    ASSERT_EQ(1u, records.size());
    EXPECT_EQ(DeviceId(1), records[0].id);
    EXPECT_EQ(Wide(device4), records[0].ip);
}

TEST_F(OwnServerNamespace, SearchByAddressOnIPv6TakesTheBracketFormAndTheIPv6Record)
{
    EXPECT_EQ(DISCOVERY_OK, server->SearchByAddress(Wide(device6).c_str(), 6));
    EXPECT_EQ(L"complete", client.ending);
    const std::vector<Record> records = client.Records();
    ASSERT_EQ(1u, records.size());
    EXPECT_EQ(Wide(device6), records[0].ip);
}

// The responder stays silent; Wine's publisher may still announce itself
// before the first progress call, and then the search has its device.
TEST_F(OwnServerNamespace, ClientAskingToStopAtOnceEndsWithNotFound)
{
    client.enough = [](const std::vector<Record>&) { return true; };
    const unsigned long status = server->SearchByType(L"zqd:SilentTest", 7);
    const std::vector<Record> records = client.Records();
    for (const Record& r : records) {
        EXPECT_EQ(L"urn:uuid:" + Wide(Env("ORVANE_NETNS_PUBLISHER_UUID")), r.id);
    }
    if (records.empty()) {
        EXPECT_EQ(DISCOVERY_E_NOT_FOUND, status);
        EXPECT_EQ(L"failed 11", client.ending);
    } else {
        EXPECT_EQ(DISCOVERY_OK, status);
        EXPECT_EQ(L"complete", client.ending);
    }
}

// Namespace A's adapter changed by wsd-netns.sh before these run, which it
// tells in ORVANE_NETNS_STATE: Wine's real GetAdaptersAddresses then shows
// the veth down, or with IPv4 alone. The devices are orvane-devsim.exe
// simulators 1 to 3 in B, of type zqd:DevsimTest.
namespace {

std::wstring SimulatorId(int n)
{
    wchar_t text[64];
    std::swprintf(text, 64, L"urn:uuid:6f72766e-6465-4673-896d-%012x", n);
    return text;
}

// The lines that tell which local addresses got a discovery thread.
std::vector<std::wstring> ThreadLines(const doubles::ModuleLogFile& log)
{
    std::vector<std::wstring> lines;
    for (const std::wstring& line : log.Lines()) {
        if (line.find(L"Discovery thread for adapter (") != std::wstring::npos) {
            lines.push_back(line);
        }
    }
    return lines;
}

struct VethDown : OwnServerNamespace {
    void SetUp() override
    {
        ASSERT_EQ("veth-down", Env("ORVANE_NETNS_STATE")) << "run by wsd-netns.sh once it set the veth down";
        OwnServerNamespace::SetUp();
    }
};

struct Ipv4Only : OwnServerNamespace {
    void SetUp() override
    {
        ASSERT_EQ("ipv4-only", Env("ORVANE_NETNS_STATE")) << "run by wsd-netns.sh once it took IPv6 off the veth";
        OwnServerNamespace::SetUp();
    }
};

}  // namespace

TEST_F(VethDown, NoUsableAdapterFailsTheSearchWithNetworkAndStartsNoThread)
{
    // lo is a loopback and the veth is down: nothing to search from.
    EXPECT_EQ(DISCOVERY_E_NETWORK, server->SearchByType(nullptr, 8));
    EXPECT_EQ(L"failed 13", client.ending);
    EXPECT_TRUE(client.Records().empty());
    EXPECT_TRUE(ThreadLines(log).empty());
    EXPECT_EQ(1u, log.Count(L"(DB) Main Discovery thread has started"));
    EXPECT_EQ(1u, log.Count(L"(DB) Main Discovery thread has stopped"));
}

TEST_F(Ipv4Only, OneThreadOnTheIPv4AddressFindsEachSimulatorOnceOverIPv4)
{
    client.enough = [](const std::vector<Record>& records) {
        for (int n = 1; n <= 3; ++n) {
            if (AddsIn(records, SimulatorId(n)).count(false) == 0) {
                return false;
            }
        }
        return true;
    };
    EXPECT_EQ(DISCOVERY_OK, server->SearchByType(L"zqd:DevsimTest", 9));
    EXPECT_EQ(L"complete", client.ending);
    for (int n = 1; n <= 3; ++n) {
        const auto adds = client.AddsOf(SimulatorId(n));
        EXPECT_EQ(1, adds.count(false) ? adds.at(false) : 0) << n;
        EXPECT_EQ(0u, adds.count(true)) << n;
    }
    for (const Record& r : client.Records()) {
        if (r.id == SimulatorId(2)) {
            EXPECT_EQ(L"10.77.0.12", r.ip);
            EXPECT_EQ(L"devsim-2", r.host);
            EXPECT_EQ(L"Sim 2", r.model);
            EXPECT_EQ(20u, r.services);
            EXPECT_EQ(2u, r.adapter);
        }
    }
    EXPECT_EQ(std::vector<std::wstring>{L"(DB) Discovery thread for adapter (10.77.0.1) has started"},
              ThreadLines(log));
}
