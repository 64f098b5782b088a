// Device searches through the library's own discovery server ("wsdapi.dll"
// is unloadable for this binary: ctest sets wsdapi=d), against
// orvane-devsim.exe on loopback addresses of its own.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdio>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "NetworkRecord.h"
#include "devicemanager/CDeviceDiscovery.h"
#include "devicemanager/CNetworkDevice.h"
#include "devicemanager/CNetworkDevices.h"
#include "devicemanager/DeviceManagerTypes.h"
#include "discovery/AdapterListDouble.h"
#include "doubles/ApiOverride.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"
#include "tools/DevsimProcess.h"
#include "winapi/IIPHelperApi.h"

using namespace QVDeviceManager;
using namespace devicemanager_test;

namespace {

// Informational, error, debug, entry, exit, return and error text lines.
constexpr unsigned long kCategories = 0x30000E90;
const wchar_t kUuidStem[] = L"0d5e7a11-2222-4333-8444-";

std::wstring Hex(unsigned value, int digits)
{
    wchar_t text[16];
    swprintf(text, 16, L"%0*x", digits, value);
    return text;
}

// A simulator on a loopback address of its own, with an identity derived
// from that address; an address that another simulator on this machine
// holds is given up for another one.
class Responder {
public:
    explicit Responder(const std::wstring& serial, std::vector<std::wstring> extra = {})
    {
        devsim = std::make_unique<toolstest::DevsimProcess>([this, serial, extra] {
            address = toolstest::RandomLoopbackAddress(93);
            const size_t third = address.rfind(L'.');
            b = std::stoul(address.substr(7, third - 7));
            c = std::stoul(address.substr(third + 1));
            uuid = kUuidStem + Hex(b, 6) + Hex(c, 6);
            std::vector<std::wstring> arguments{L"--bind", address, L"--wsd", L"--uuid", uuid, L"--host-name",
                                                L"devsim-" + std::to_wstring(c), L"--serial-number", serial,
                                                L"--device-id", L"MFG:ZQ;MDL:Tamrik 500;", L"--services",
                                                L"Print9100 DSD", L"--adapter-type", L"Ethernet"};
            arguments.insert(arguments.end(), extra.begin(), extra.end());
            return arguments;
        });
    }
    std::wstring Endpoint() const { return L"urn:uuid:" + uuid; }
    bool Running() const { return devsim->Running(); }
    // Standard output, and what simulators that did not start said.
    std::string Output() { return devsim->Process().Output() + devsim->Failures(); }
    // Lines of the simulator's log that begin with `prefix` and end with
    // `suffix`.
    size_t Lines(const std::string& prefix, const std::string& suffix)
    {
        size_t count = 0;
        for (const std::string& line : devsim->Process().OutputLines()) {
            count += line.rfind(prefix, 0) == 0 && line.size() >= prefix.size() + suffix.size()
                             && line.compare(line.size() - suffix.size(), suffix.size(), suffix) == 0
                         ? 1
                         : 0;
        }
        return count;
    }

    unsigned b = 0;
    unsigned c = 0;
    std::wstring address;
    std::wstring uuid;
    std::unique_ptr<toolstest::DevsimProcess> devsim;
};

// The callback's calls as text, and a progress answer the test decides.
class RecordingCallback : public IDeviceDiscoveryCallback {
public:
    void OnAddDevice(IDevice* device) override
    {
        calls.push_back(L"add " + (device ? device->GetSerialNumber() : L"(null)"));
        devices.push_back(device);
    }
    void OnRemoveDevice(IDevice* device) override
    {
        calls.push_back(L"remove " + (device ? device->GetSerialNumber() : L"(null)"));
    }
    void OnSearchComplete(unsigned long status) override { calls.push_back(L"complete " + Hex(status, 1)); }
    void OnSearchFailed(unsigned long status) override { calls.push_back(L"failed " + Hex(status, 1)); }
    bool OnSearchProgress(double percent, unsigned long code, ...) override
    {
        percents.push_back(percent);
        codes.push_back(code);
        return goOn ? goOn() : true;
    }

    std::vector<std::wstring> calls;
    std::vector<IDevice*> devices;
    std::vector<double> percents;
    std::vector<unsigned long> codes;
    std::function<bool()> goOn;
};

class DeviceSearch : public testing::Test {
protected:
    void TearDown() override
    {
        for (const std::wstring& serial : m_serials) {
            ::DeleteFileW(RecordPath(serial).c_str());
        }
        if (HasFailure()) {
            std::wcerr << m_log.Text();
        }
    }
    std::wstring Serial(const std::wstring& name)
    {
        m_serials.push_back(name);
        ::DeleteFileW(RecordPath(name).c_str());
        return name;
    }

    std::vector<std::wstring> m_serials;
    doubles::ModuleLogFile m_log{{g_pDeviceManagerLibLog}, L"devsearch", kCategories};
};

// The own server walks the adapters for a search by identifier or by type
// and skips loopback. This double lists loopback as an Ethernet adapter, so
// that the search's datagrams stay on this machine: Wine's own list would
// send them out of the machine's real adapters.
class LoopbackAdapters {
public:
    explicit LoopbackAdapters(size_t count)
    {
        for (size_t i = 0; i < count; ++i) {
            discoverytest::FakeAdapter adapter;
            adapter.type = i % 2 == 0 ? IF_TYPE_ETHERNET_CSMACD : IF_TYPE_IEEE80211;
            adapter.addresses = {{"127.0.0.1", IpDadStatePreferred}};
            m_helper.adapters.push_back(adapter);
        }
    }

private:
    discoverytest::AdapterListDouble m_helper;
    doubles::ApiOverride<QVWinApi::IIPHelperApi> m_swap{g_pIPHelperApi, m_helper};
};

}  // namespace

// Edge: the forms of an identifier.
TEST_F(DeviceSearch, UrnAndUuidIdentifiersStayAndABareOneGetsUuid)
{
    EXPECT_EQ(L"urn:uuid:1234", CDeviceDiscovery::SearchIdentifier(L"urn:uuid:1234"));
    EXPECT_EQ(L"uuid:1234", CDeviceDiscovery::SearchIdentifier(L"uuid:1234"));
    EXPECT_EQ(L"uuid:1234", CDeviceDiscovery::SearchIdentifier(L"1234"));
    // A search by a bare identifier sends the "uuid:" form: with no usable
    // adapter it ends at the adapter walk, with the network's status.
    LoopbackAdapters none(0);
    CNetworkDevice device;
    CDeviceDiscovery discovery(nullptr);
    EXPECT_EQ(DM_E_NETWORK_UNAVAILABLE, discovery.SearchById(L"1234", &device));
    EXPECT_EQ(1u, m_log.Count(L"(->) CDeviceDiscovery::SearchById, 1234"));
    EXPECT_EQ(1u, m_log.Count(L"(##) IDiscoveryServer::SearchById failed, err=13"));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, discovery.SearchById(L"", &device));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, discovery.SearchByAddress(L"127.0.0.1", nullptr));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, discovery.SearchByType(nullptr, nullptr));
}

TEST(DeviceSearchStatus, DiscoveryStatusesMapToTheDeviceManagersFamily)
{
    const std::vector<std::pair<unsigned long, unsigned long>> table = {
        {1, 0x83E8FAFF}, {2, 0x83E8FAF1}, {3, 0x83E8FFFE}, {4, 0x83E8FAFE}, {5, 0x83E8FAF7}, {6, 0x83E8FAF2},
        {7, 0x83E8FAF2}, {8, 0x83E8FAF9}, {9, 0x83E8FAF2}, {11, 0x83E8FAF0}, {12, 0x83E8FAF2}, {13, 0x83E8FAF1}};
    for (const auto& [discovery, manager] : table) {
        EXPECT_EQ(manager, CDiscoveryClient::MapStatus(discovery)) << discovery;
    }
}

// Edge: a target without a GUID takes the first device.
TEST_F(DeviceSearch, TargetWithAnEmptyGuidAcceptsTheFirstDeviceThatAnswers)
{
    Responder responder(Serial(L"DSFIRST"));
    ASSERT_TRUE(responder.Running()) << responder.Output();
    CNetworkDevice device;
    RecordingCallback callback;
    CDeviceDiscovery discovery(&callback);
    EXPECT_EQ(0u, discovery.SearchByAddress(responder.address.c_str(), &device));
    EXPECT_EQ((std::vector<std::wstring>{L"add DSFIRST", L"complete 0"}), callback.calls);
    ASSERT_EQ(1u, callback.devices.size());
    EXPECT_EQ(static_cast<IDevice*>(&device), callback.devices[0]);
    EXPECT_EQ(responder.Endpoint(), device.GetGUID());
    EXPECT_EQ(responder.address, device.GetIPAddress());
    EXPECT_EQ(L"devsim-" + std::to_wstring(responder.c), device.GetHostName());
    EXPECT_EQ(L"ZQ Tamrik 500", device.GetModelName());
    EXPECT_TRUE(device.IsOnline());
    EXPECT_FALSE(device.IsInstalled()) << "a search writes no record";
    EXPECT_TRUE(device.HasFunction(FUNCTION_TYPE_PRINT));
    EXPECT_TRUE(device.HasFunction(FUNCTION_TYPE_CONFIG));
    ASSERT_FALSE(callback.codes.empty());
    EXPECT_EQ(7u, callback.codes.front());
    EXPECT_EQ(100.0, callback.percents.back());
}

// Edge: the GUID is compared exactly.
TEST_F(DeviceSearch, TargetWithAGuidOfDifferentCaseRefusesTheDevice)
{
    Responder responder(Serial(L"DSCASE"));
    ASSERT_TRUE(responder.Running()) << responder.Output();
    std::wstring upper = responder.Endpoint();
    for (wchar_t& ch : upper) {
        ch = static_cast<wchar_t>(towupper(ch));
    }
    std::vector<std::string> lines = DeviceInfoLines("DSCASE", "127.0.0.1", "old-name", "true");
    lines[3] = "GUID=" + std::string(upper.begin(), upper.end());
    WriteBytes(RecordPath(L"DSCASE"), RecordText(lines));
    CNetworkDevice device;
    ASSERT_EQ(0u, device.Init(L"DSCASE", nullptr));
    RecordingCallback callback;
    CDeviceDiscovery discovery(&callback);
    EXPECT_EQ(DM_E_NOT_INITIALISED, discovery.SearchByAddress(responder.address.c_str(), &device))
        << "something answered, and it was not the device";
    EXPECT_EQ((std::vector<std::wstring>{L"failed 83e8faf2"}), callback.calls);
    EXPECT_EQ(L"127.0.0.1", device.GetIPAddress()) << "the device is left as it was";
    EXPECT_FALSE(device.IsOnline());
}

TEST_F(DeviceSearch, NothingAtTheAddressFailsWithTheNetworksStatus)
{
    // Nothing listens on port 80 of this loopback address.
    CNetworkDevice device;
    RecordingCallback callback;
    CDeviceDiscovery discovery(&callback);
    EXPECT_EQ(DM_E_NETWORK_UNAVAILABLE, discovery.SearchByAddress(L"127.93.0.251", &device));
    EXPECT_EQ((std::vector<std::wstring>{L"failed 83e8faf1"}), callback.calls);
    EXPECT_EQ(1u, m_log.Count(L"(##) IDiscoveryServer::SearchByAddress failed, err=13"));
}

// A device off its subnet is refreshed by a directed search: its record's
// address first, then its host name, here another loopback address where
// the device answers now. The record's identity must match.
TEST_F(DeviceSearch, RefreshOfADeviceOffItsSubnetSearchesItsAddressesInTurn)
{
    Responder responder(Serial(L"DSREFRESH"));
    ASSERT_TRUE(responder.Running()) << responder.Output();
    const std::string address(responder.address.begin(), responder.address.end());
    const std::wstring endpoint = responder.Endpoint();
    std::vector<std::string> lines = DeviceInfoLines("DSREFRESH", "127.93.0.252", address, "true");
    lines[3] = "GUID=" + std::string(endpoint.begin(), endpoint.end());
    WriteBytes(RecordPath(L"DSREFRESH"), RecordText(lines));
    CNetworkDevice device;
    ASSERT_EQ(0u, device.Init(L"DSREFRESH", nullptr));
    EXPECT_EQ(0u, device.Refresh(nullptr));
    EXPECT_TRUE(device.IsOnline());
    EXPECT_EQ(responder.address, device.GetIPAddress());
    EXPECT_EQ(L"devsim-" + std::to_wstring(responder.c), device.GetHostName());
    EXPECT_EQ(L"DSREFRESH", device.GetSerialNumber());
    std::wstring missing;
    EXPECT_TRUE(m_log.InOrder({L"(->) CDeviceDiscovery::SearchByAddress, 127.93.0.252",
                               L"(##) IDiscoveryServer::SearchByAddress failed, err=13",
                               L"(->) CDeviceDiscovery::SearchByAddress, " + responder.address},
                              &missing))
        << missing;
    EXPECT_EQ(0u, m_log.Count(L"(->) CDeviceDiscovery::SearchById, " + endpoint))
        << "never by identifier";
}

// Edge: a device heard on two adapters.
TEST_F(DeviceSearch, SecondAddOfTheSameSerialNumberLogsTheDuplicateAndTheSearchStaysASuccess)
{
    const std::wstring type = L"zqd:Dup" + toolstest::RandomToken();
    Responder responder(Serial(L"DSTWICE"), {L"--types", L"zqd:zqDevice " + type});
    ASSERT_TRUE(responder.Running()) << responder.Output();
    LoopbackAdapters two(2);
    CNetworkDevices devices;
    RecordingCallback callback;
    callback.goOn = [this] { return m_log.Count(L"(I0) Ignoring a duplicate network device\n") == 0; };
    CDeviceDiscovery discovery(&callback);
    EXPECT_EQ(0u, discovery.SearchByType(type.c_str(), &devices));
    EXPECT_EQ((std::vector<std::wstring>{L"add DSTWICE", L"complete 0"}), callback.calls);
    EXPECT_EQ(1u, m_log.Count(L"(I0) Ignoring a duplicate network device\n"));
    ASSERT_EQ(1u, devices.GetCount());
    EXPECT_EQ(responder.Endpoint(), dynamic_cast<CNetworkDevice*>(devices.GetDevice(0))->GetGUID());
    // Probes of other runs on this machine reach the simulator too; only
    // this search's match its type.
    EXPECT_EQ(2u, responder.Lines("wsd Probe from 127.0.0.1:", ": ProbeMatches sent")) << responder.Output();
}

// Two devices that claim one serial number make one device: the second to
// answer is a duplicate.
TEST_F(DeviceSearch, TwoRespondersClaimingOneSerialNumberMakeOneDevice)
{
    const std::wstring type = L"zqd:Twin" + toolstest::RandomToken();
    Responder first(Serial(L"DSTWIN"), {L"--types", L"zqd:zqDevice " + type});
    ASSERT_TRUE(first.Running()) << first.Output();
    Responder second(L"DSTWIN", {L"--types", L"zqd:zqDevice " + type});
    ASSERT_TRUE(second.Running()) << second.Output();
    LoopbackAdapters one(1);
    CNetworkDevices devices;
    RecordingCallback callback;
    callback.goOn = [this] { return m_log.Count(L"(I0) Ignoring a duplicate network device\n") == 0; };
    CDeviceDiscovery discovery(&callback);
    EXPECT_EQ(0u, discovery.SearchByType(type.c_str(), &devices));
    EXPECT_EQ((std::vector<std::wstring>{L"add DSTWIN", L"complete 0"}), callback.calls);
    EXPECT_EQ(1u, m_log.Count(L"(I0) Ignoring a duplicate network device\n"));
    ASSERT_EQ(1u, devices.GetCount());
    const std::wstring guid = dynamic_cast<CNetworkDevice*>(devices.GetDevice(0))->GetGUID();
    EXPECT_TRUE(guid == first.Endpoint() || guid == second.Endpoint()) << guid;
}

// Edge: a search by type that hears only known devices.
TEST_F(DeviceSearch, SearchByTypeHearingOnlyKnownDevicesEndsNotInitialisedAndFails)
{
    const std::wstring type = L"zqd:Known" + toolstest::RandomToken();
    Responder responder(Serial(L"DSKNOWN"), {L"--types", L"zqd:zqDevice " + type});
    ASSERT_TRUE(responder.Running()) << responder.Output();
    WriteBytes(RecordPath(L"DSKNOWN"), RecordText(DeviceInfoLines("DSKNOWN", "127.0.0.1", "known")));
    CNetworkDevices devices;
    ASSERT_EQ(0u, devices.GetInstalledDevices(nullptr));
    const unsigned long before = devices.GetCount();
    LoopbackAdapters one(1);
    RecordingCallback callback;
    callback.goOn = [this] { return m_log.Count(L"(I0) Ignoring a duplicate network device\n") == 0; };
    CDeviceDiscovery discovery(&callback);
    EXPECT_EQ(DM_E_NOT_INITIALISED, discovery.SearchByType(type.c_str(), &devices));
    EXPECT_EQ((std::vector<std::wstring>{L"failed 83e8faf2"}), callback.calls);
    EXPECT_EQ(before, devices.GetCount());
}

// Edge: a Bye during a search by type. The search finds the device for
// real; its Bye is then handed to the search's client as the event thread
// hands it on. The simulator's own Bye does not reach the search on
// loopback: a socket bound to 127.0.0.1 and joined to the group there hears
// no group datagram (measured), so the Hello/Bye session stays silent. A
// simulator's real Bye reaching a search is in the namespace tests
// (tests/wsdnetns/devices-e2e.sh).
TEST_F(DeviceSearch, DeviceThatSaysByeGoesOfflineAndStaysInTheCollection)
{
    const std::wstring type = L"zqd:Bye" + toolstest::RandomToken();
    Responder responder(Serial(L"DSBYE"), {L"--types", L"zqd:zqDevice " + type});
    ASSERT_TRUE(responder.Running()) << responder.Output();
    LoopbackAdapters one(1);
    CNetworkDevices devices;
    RecordingCallback callback;
    callback.goOn = [&callback] { return callback.calls.empty(); };
    CDeviceDiscovery discovery(&callback);
    ASSERT_EQ(0u, discovery.SearchByType(type.c_str(), &devices));
    CNetworkDevice* device = nullptr;
    ASSERT_EQ(0u, devices.FindDevice(L"DSBYE", &device));
    EXPECT_TRUE(device->IsOnline());
    Announced bye(L"DSBYE", responder.Endpoint(), responder.address, L"");
    discovery.Remove(&bye, 0);
    Announced stranger(L"DSSTRANGER", L"urn:uuid:stranger", L"127.93.0.9", L"");
    discovery.Remove(&stranger, 0);
    EXPECT_EQ((std::vector<std::wstring>{L"add DSBYE", L"complete 0", L"remove DSBYE"}), callback.calls);
    ASSERT_EQ(1u, devices.GetCount()) << "it stays";
    EXPECT_EQ(device, devices.GetDevice(0));
    EXPECT_FALSE(device->IsOnline());
    EXPECT_EQ(responder.address, device->GetIPAddress());
}

// Edge: a callback that says stop.
TEST_F(DeviceSearch, CallbackThatSaysStopEndsTheSearchWithinOneProgressInterval)
{
    LoopbackAdapters one(1);
    CNetworkDevices devices;
    RecordingCallback callback;
    callback.goOn = [] { return false; };
    CDeviceDiscovery discovery(&callback);
    EXPECT_EQ(DM_E_NO_DEVICE_RESPONDED,
              discovery.SearchByType((L"zqd:Nobody" + toolstest::RandomToken()).c_str(), &devices));
    // The one tick that said stop, and the closing 100.
    ASSERT_EQ(2u, callback.percents.size());
    EXPECT_EQ(100.0, callback.percents[1]);
    EXPECT_EQ((std::vector<std::wstring>{L"failed 83e8faf0"}), callback.calls);
    EXPECT_EQ(0u, devices.GetCount());
}
