// Network devices and their record files in the data directory of the
// prefix, written and read through the real profile functions; ports of the
// family's discovery monitor answered by the test monitor in Wine's spooler.
#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "NetworkRecord.h"
#include "SpoolerSetup.h"
#include "devicemanager/CNetworkDevice.h"
#include "devicemanager/CNetworkDevices.h"
#include "devicemanager/DeviceManagerTypes.h"
#include "doubles/ModuleLogFile.h"
#include "doubles/ScriptedProgress.h"
#include "logging/LogModules.h"
#include "peers/TestKey.h"

using namespace QVDeviceManager;
using namespace devicemanager_test;

namespace {

const wchar_t kGuid[] = L"urn:uuid:0f8e6a52-3c1d-4b7a-9e21-5d6c7b8a9f01";
const wchar_t kMonitor[] = L"Orvane Device Manager Test Monitor";
const wchar_t kMonitors[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\";
// Informational, error, debug, entry, exit, return and error text lines.
constexpr unsigned long kCategories = 0x30000E90;

// A discovered device that lives to the end of the full expression.
const QVDiscovery::IDiscoveredDevice* Ptr(const Announced& announced)
{
    return &announced;
}

std::wstring Address(IDevice& device, FUNCTION_TYPE type)
{
    IDeviceFunction* function = nullptr;
    return device.GetFunction(type, &function) == 0 ? function->GetAddress() : L"(none)";
}

class NetworkRecords : public testing::Test {
protected:
    void TearDown() override
    {
        for (const std::wstring& serial : m_serials) {
            ::SetFileAttributesW(RecordPath(serial).c_str(), FILE_ATTRIBUTE_NORMAL);
            ::DeleteFileW(RecordPath(serial).c_str());
        }
        if (HasFailure()) {
            std::wcerr << m_log.Text();
        }
    }
    // A serial number of this test, its record removed before and after.
    std::wstring Serial(const std::wstring& name)
    {
        m_serials.push_back(name);
        ::DeleteFileW(RecordPath(name).c_str());
        return name;
    }
    // The record of a discovered device, written as installing it does.
    void Record(const Announced& announced)
    {
        RecordedDevice device;
        ASSERT_EQ(0u, device.Init(&announced, nullptr));
        ASSERT_TRUE(device.SaveDeviceInfo());
    }
    std::wstring Written(const std::string& serial, const std::vector<std::string>& lines)
    {
        const std::wstring path = RecordPath(Serial(std::wstring(serial.begin(), serial.end())));
        WriteBytes(path, RecordText(lines));
        return path;
    }

    std::vector<std::wstring> m_serials;
    doubles::ModuleLogFile m_log{{g_pDeviceManagerLibLog, g_pUtilsLog}, L"netdev", kCategories};
};

}  // namespace

TEST_F(NetworkRecords, SavedRecordHoldsTheTenKeysInTheirOrderInTheNetworkDevicesFolder)
{
    const std::wstring serial = Serial(L"NDSAVE01");
    Record(Announced(serial, kGuid, L"127.0.0.1", L"tamrik-01"));
    const std::wstring folder = CNetworkDevice::RecordFolder();
    EXPECT_EQ(L"NetworkDevices", std::filesystem::path(folder).filename().wstring());
    EXPECT_EQ(L"C:\\ProgramData\\ZQ\\build\\NetworkDevices", folder);
    // Wine's adapters give no prefix that holds the loopback address.
    EXPECT_EQ(DeviceInfoLines("NDSAVE01", "127.0.0.1", "tamrik-01", "true"), ReadLines(RecordPath(serial)));
}

TEST_F(NetworkRecords, RecordReadsBackAsAnInstalledDeviceThatIsNotOnline)
{
    const std::wstring serial = Serial(L"NDLOAD01");
    Written("NDLOAD01", DeviceInfoLines("NDLOAD01", "127.0.0.1", "tamrik-01", "false", "false", "false"));
    CNetworkDevice device;
    ASSERT_EQ(0u, device.Init(serial.c_str(), nullptr));
    EXPECT_TRUE(device.IsInstalled());
    EXPECT_FALSE(device.IsOnline());
    EXPECT_EQ(CONNECTION_TYPE_NETWORK, device.GetConnectionType());
    EXPECT_EQ(serial, device.GetSerialNumber());
    EXPECT_EQ(L"ZQ Tamrik 500", device.GetModelName());
    EXPECT_EQ(kGuid, device.GetGUID());
    EXPECT_EQ(L"00:11:22:33:44:55", device.GetMAC());
    EXPECT_EQ(L"tamrik-01", device.GetHostName());
    EXPECT_EQ(L"127.0.0.1", device.GetIPAddress());
    EXPECT_EQ(1u, device.GetNetworkType());
    EXPECT_FALSE(device.GetMulticastEnabled());
    EXPECT_FALSE(device.GetDefaultToSearchByIP());
    EXPECT_FALSE(device.HasFunctions()) << "a record without function sections";
}

// Edge: a record with an empty "HostName".
TEST_F(NetworkRecords, RecordWithAnEmptyHostNameIsNotLoadedNorListedThoughItsDeviceIsInstalled)
{
    const std::wstring serial = Serial(L"NDNOHOST");
    Record(Announced(serial, kGuid, L"127.0.0.1", L""));
    EXPECT_EQ("HostName=", ReadLines(RecordPath(serial))[5]) << "the save writes it";
    CNetworkDevice device;
    EXPECT_EQ(DM_E_NOT_FOUND, device.Init(serial.c_str(), nullptr));
    CNetworkDevices devices;
    ASSERT_EQ(0u, devices.GetInstalledDevices(nullptr));
    CNetworkDevice* found = nullptr;
    EXPECT_EQ(DM_E_NOT_FOUND, devices.FindDevice(serial.c_str(), &found));
    RecordedDevice named;
    named.Init(Ptr(Announced(serial, kGuid, L"127.0.0.1", L"")), nullptr);
    EXPECT_TRUE(named.IsInstalled());
}

// Edge: a record with no "NetworkType".
TEST_F(NetworkRecords, RecordWithoutNetworkTypeLoadsWithTypeZero)
{
    std::vector<std::string> lines = DeviceInfoLines("NDNOTYPE", "127.0.0.1", "tamrik-01");
    lines.erase(lines.begin() + 7);
    Written("NDNOTYPE", lines);
    CNetworkDevice device;
    ASSERT_EQ(0u, device.Init(L"NDNOTYPE", nullptr));
    EXPECT_EQ(0u, device.GetNetworkType());
}

// Edge: truth values.
TEST_F(NetworkRecords, MulticastEnabledTRUEReadsTrueAndOneReadsFalse)
{
    Written("NDTRUE", DeviceInfoLines("NDTRUE", "127.0.0.1", "tamrik-01", "false", "TRUE"));
    Written("NDONE", DeviceInfoLines("NDONE", "127.0.0.1", "tamrik-01", "false", "1"));
    CNetworkDevice upper;
    ASSERT_EQ(0u, upper.Init(L"NDTRUE", nullptr));
    EXPECT_TRUE(upper.GetMulticastEnabled());
    CNetworkDevice one;
    ASSERT_EQ(0u, one.Init(L"NDONE", nullptr));
    EXPECT_FALSE(one.GetMulticastEnabled());
}

// Edge: a discovered device with service flags zero.
TEST_F(NetworkRecords, DiscoveredDeviceWithFlagsZeroGetsPrintAndConfigFunctions)
{
    const std::wstring serial = Serial(L"NDFLAGS0");
    CNetworkDevice device;
    ASSERT_EQ(0u, device.Init(Ptr(Announced(serial, kGuid, L"127.0.0.1", L"tamrik-01", 0)), nullptr));
    EXPECT_TRUE(device.IsOnline());
    EXPECT_TRUE(device.HasFunction(FUNCTION_TYPE_PRINT));
    EXPECT_TRUE(device.HasFunction(FUNCTION_TYPE_CONFIG));
    EXPECT_FALSE(device.HasFunction(FUNCTION_TYPE_SCAN));
    EXPECT_FALSE(device.HasFunction(FUNCTION_TYPE_FAX));
    EXPECT_EQ(L"127.0.0.1", Address(device, FUNCTION_TYPE_PRINT));
    CNetworkDevice all;
    ASSERT_EQ(0u, all.Init(Ptr(Announced(serial, kGuid, L"127.0.0.1", L"tamrik-01", 2 | 32)), nullptr));
    EXPECT_TRUE(all.HasFunction(FUNCTION_TYPE_SCAN));
    EXPECT_TRUE(all.HasFunction(FUNCTION_TYPE_FAX));
    EXPECT_FALSE(all.HasFunction(FUNCTION_TYPE_PRINT));
    EXPECT_FALSE(all.HasFunction(FUNCTION_TYPE_CONFIG));
    EXPECT_FALSE(device.IsInstalled()) << "a discovery writes no record";
}

// Edge: the identifier and the container id.
TEST_F(NetworkRecords, GetGUIDKeepsTheUrnUuidFormAndTheContainerIdDropsIt)
{
    const std::wstring serial = Serial(L"NDGUID");
    Record(Announced(serial, kGuid, L"127.0.0.1", L"tamrik-01"));
    CNetworkDevice device;
    ASSERT_EQ(0u, device.Init(serial.c_str(), nullptr));
    EXPECT_EQ(kGuid, device.GetGUID());
    EXPECT_EQ(L"{0f8e6a52-3c1d-4b7a-9e21-5d6c7b8a9f01}", device.GetContainerID());
    Written("NDGUIDBARE", DeviceInfoLines("NDGUIDBARE", "127.0.0.1", "tamrik-01"));
    std::vector<std::string> bare = DeviceInfoLines("NDGUIDBARE", "127.0.0.1", "tamrik-01");
    bare[3] = "GUID=0f8e6a52-3c1d-4b7a-9e21-5d6c7b8a9f02";
    Written("NDGUIDBARE", bare);
    CNetworkDevice plain;
    ASSERT_EQ(0u, plain.Init(L"NDGUIDBARE", nullptr));
    EXPECT_EQ(L"{0f8e6a52-3c1d-4b7a-9e21-5d6c7b8a9f02}", plain.GetContainerID());
}

// Identity: the serial number names the record; a discovery replaces the
// address, host name and network type, never the identifier or the MAC.
TEST_F(NetworkRecords, DiscoveryOfARecordedDeviceTakesItsAddressesAndKeepsTheRecordsIdentity)
{
    const std::wstring serial = Serial(L"NDIDENT");
    Record(Announced(serial, kGuid, L"127.0.0.1", L"tamrik-01"));
    Announced moved(serial, L"urn:uuid:11111111-2222-3333-4444-555555555555", L"127.0.0.9", L"tamrik-moved");
    moved.SetHardwareAddress(L"66:77:88:99:AA:BB");
    moved.SetAdapter(QVDiscovery::kAdapterWireless);
    CNetworkDevice device;
    ASSERT_EQ(0u, device.Init(&moved, nullptr));
    EXPECT_TRUE(device.IsOnline());
    EXPECT_EQ(L"127.0.0.9", device.GetIPAddress());
    EXPECT_EQ(L"tamrik-moved", device.GetHostName());
    EXPECT_EQ(2u, device.GetNetworkType());
    EXPECT_EQ(kGuid, device.GetGUID());
    EXPECT_EQ(L"00:11:22:33:44:55", device.GetMAC());
    EXPECT_EQ(2u, m_log.Count(L"(I0) Serial number: NDIDENT")) << "the record's save, then this device";
    EXPECT_EQ(DeviceInfoLines("NDIDENT", "127.0.0.1", "tamrik-01", "true"), ReadLines(RecordPath(serial)))
        << "a discovery alone saves nothing";
}

TEST_F(NetworkRecords, CollectionHoldsOneDevicePerSerialNumberAndRefusesAnEmptyOne)
{
    const std::wstring serial = Serial(L"NDCOLL");
    CNetworkDevices devices;
    CNetworkDevice* first = nullptr;
    ASSERT_EQ(0u, devices.AddDevice(Ptr(Announced(serial, kGuid, L"127.0.0.1", L"a")), &first, nullptr));
    CNetworkDevice* second = nullptr;
    ASSERT_EQ(0u, devices.AddDevice(Ptr(Announced(serial, kGuid, L"127.0.0.2", L"b")), &second, nullptr));
    EXPECT_EQ(first, second);
    EXPECT_EQ(1u, devices.GetCount());
    EXPECT_EQ(L"127.0.0.2", first->GetIPAddress());
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, devices.AddDevice(Ptr(Announced(serial, L"", L"127.0.0.1", L"a")), nullptr, nullptr));
    EXPECT_EQ(1u, m_log.Count(L"(##) CNetworkDevice::Init failed, err=-2081883401")) << "DM_E_INVALID_ARGUMENT";
    EXPECT_EQ(1u, devices.GetCount());
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, devices.AddDevice(Ptr(Announced(L"", kGuid, L"127.0.0.1", L"a")), nullptr, nullptr));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, devices.AddDevice(nullptr, nullptr, nullptr));
    CNetworkDevice* found = nullptr;
    EXPECT_EQ(0u, devices.FindDevice(serial.c_str(), &found));
    EXPECT_EQ(first, found);
    EXPECT_EQ(DM_E_NOT_FOUND, devices.FindDevice(L"ndcoll", &found)) << "compared exactly";
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, devices.FindDevice(L"", &found));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, devices.FindDevice(serial.c_str(), nullptr));
    CNetworkDevice empty;
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, empty.Init(Ptr(Announced(serial, L"", L"127.0.0.1", L"a")), nullptr));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, empty.Init(static_cast<const wchar_t*>(nullptr), nullptr));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, empty.Init(L"", nullptr));
}

TEST_F(NetworkRecords, ListingTakesEveryRecordThatLoadsAndPassesOverBrokenOnes)
{
    Written("NDLIST1", DeviceInfoLines("NDLIST1", "127.0.0.1", "a"));
    Written("NDLIST2", DeviceInfoLines("NDLIST2", "127.0.0.2", "b"));
    Written("NDLIST3", {"[DeviceInfo]", "SerialNumber=NDLIST3"});
    Written("NDLIST4", {});
    // A record put aside under another extension is kept and not read.
    const std::wstring aside = RecordPath(Serial(L"NDLIST5")) + L".off";
    WriteBytes(aside, RecordText(DeviceInfoLines("NDLIST5", "127.0.0.5", "e")));
    CNetworkDevices devices;
    ASSERT_EQ(0u, devices.GetInstalledDevices(nullptr));
    CNetworkDevice* device = nullptr;
    ASSERT_EQ(0u, devices.FindDevice(L"NDLIST1", &device));
    EXPECT_EQ(L"127.0.0.1", device->GetIPAddress());
    EXPECT_FALSE(device->IsOnline());
    ASSERT_EQ(0u, devices.FindDevice(L"NDLIST2", &device));
    EXPECT_EQ(L"127.0.0.2", device->GetIPAddress());
    EXPECT_EQ(DM_E_NOT_FOUND, devices.FindDevice(L"NDLIST3", &device));
    EXPECT_EQ(DM_E_NOT_FOUND, devices.FindDevice(L"NDLIST4", &device));
    EXPECT_EQ(DM_E_NOT_FOUND, devices.FindDevice(L"NDLIST5", &device));
    ::DeleteFileW(aside.c_str());
}

TEST_F(NetworkRecords, ConfigSectionGivesTheConfigurationFunctionItsAddressAndPort)
{
    const struct {
        const char* ip;
        const wchar_t* address;
    } cases[] = {
        {"127.0.0.1", L"127.0.0.1:8080"},
        {"127.0.0.1:631", L"127.0.0.1:631"},
        {"[fd77::7]:631", L"[fd77::7]:631"},
        {"[fd77::7]", L"[fd77::7]:8080"},
        {"fd77::7", L"[fd77::7]:8080"},
        {"printer", L""},
    };
    for (const auto& one : cases) {
        std::vector<std::string> lines = DeviceInfoLines("NDCONFIG", one.ip, "tamrik-01");
        lines.push_back("[ConfigInfo]");
        lines.push_back("PortNumber=8080");
        Written("NDCONFIG", lines);
        CNetworkDevice device;
        ASSERT_EQ(0u, device.Init(L"NDCONFIG", nullptr)) << one.ip;
        EXPECT_EQ(one.address, Address(device, FUNCTION_TYPE_CONFIG)) << one.ip;
    }
    EXPECT_EQ(6u, m_log.Count(L"(DB) LoadConfigInfo succeeded")) << "one line per load";
}

TEST_F(NetworkRecords, PrinterSectionWhoseNodeIsGoneMarksTheDeviceBadAndLeavesThePrintFunctionOut)
{
    std::vector<std::string> lines = DeviceInfoLines("NDBADNODE", "127.0.0.1", "tamrik-01");
    lines.push_back("[PrinterInfo]");
    lines.push_back("DeviceInstanceId=ROOT\\PRINTER\\0042");
    Written("NDBADNODE", lines);
    CNetworkDevice device;
    ASSERT_EQ(0u, device.Init(L"NDBADNODE", nullptr));
    EXPECT_TRUE(device.HasBadDevNode());
    EXPECT_FALSE(device.HasFunction(FUNCTION_TYPE_PRINT));
    EXPECT_EQ(1u, m_log.Count(L"(DB) LoadPrinterInfo succeeded"));
    EXPECT_EQ(0u, m_log.Count(L"(DB) LoadFaxInfo succeeded"));
}

TEST_F(NetworkRecords, InitFromAnotherDeviceCopiesItsIdentityAndMakesEmptyFunctions)
{
    const std::wstring serial = Serial(L"NDCOPY");
    CNetworkDevice other;
    ASSERT_EQ(0u, other.Init(Ptr(Announced(serial, kGuid, L"127.0.0.1", L"tamrik-01", 1 | 2 | 16 | 32)), nullptr));
    CNetworkDevice copy;
    ASSERT_EQ(0u, copy.Init(other));
    EXPECT_EQ(serial, copy.GetSerialNumber());
    EXPECT_EQ(kGuid, copy.GetGUID());
    EXPECT_EQ(L"tamrik-01", copy.GetHostName());
    EXPECT_TRUE(copy.IsOnline());
    for (FUNCTION_TYPE type : {FUNCTION_TYPE_PRINT, FUNCTION_TYPE_SCAN, FUNCTION_TYPE_CONFIG, FUNCTION_TYPE_FAX}) {
        EXPECT_EQ(L"127.0.0.1", Address(copy, type)) << type;
    }
}

// Edge: the refresh of a device off its subnet.
TEST_F(NetworkRecords, RefreshOfADeviceOffItsSubnetNeverMulticasts)
{
    const std::wstring serial = Serial(L"NDOFFNET");
    // Loopback addresses where nothing listens on port 80.
    Written("NDOFFNET", DeviceInfoLines("NDOFFNET", "127.93.0.77", "127.93.0.78", "true", "true", "true"));
    CNetworkDevice device;
    ASSERT_EQ(0u, device.Init(serial.c_str(), nullptr));
    std::vector<SearchStep> steps = device.RefreshSearch();
    ASSERT_EQ(2u, steps.size());
    EXPECT_EQ(SearchStep::ByAddress, steps[0].kind);
    EXPECT_EQ(L"127.93.0.77", steps[0].target);
    EXPECT_EQ(SearchStep::ByHostName, steps[1].kind);
    EXPECT_EQ(L"127.93.0.78", steps[1].target);
    device.SetDefaultToSearchByIP(false);
    steps = device.RefreshSearch();
    ASSERT_EQ(2u, steps.size());
    EXPECT_EQ(SearchStep::ByHostName, steps[0].kind);
    EXPECT_EQ(SearchStep::ByAddress, steps[1].kind);
    // On the subnet with multicast on, the one search is by identifier.
    Written("NDONNET", DeviceInfoLines("NDONNET", "127.0.0.1", "tamrik-01"));
    CNetworkDevice nearby;
    ASSERT_EQ(0u, nearby.Init(L"NDONNET", nullptr));
    steps = nearby.RefreshSearch();
    ASSERT_EQ(1u, steps.size());
    EXPECT_EQ(SearchStep::ById, steps[0].kind);
    EXPECT_EQ(kGuid, steps[0].target);
    // Both directed searches find nothing: the refresh reads the installed
    // device's record again, offline, and no search went by identifier.
    EXPECT_EQ(DM_E_NETWORK_UNAVAILABLE, device.Refresh(nullptr));
    std::wstring missing;
    // The host name first: the device was told not to search by IP first.
    EXPECT_TRUE(m_log.InOrder({L"(->) CDeviceDiscovery::SearchByAddress, 127.93.0.78",
                               L"(->) CDeviceDiscovery::SearchByAddress, 127.93.0.77"},
                              &missing))
        << missing;
    EXPECT_EQ(0u, m_log.Count(std::wstring(L"(->) CDeviceDiscovery::SearchById, ") + kGuid));
    EXPECT_FALSE(device.IsOnline());
    EXPECT_EQ(L"127.93.0.77", device.GetIPAddress());
    EXPECT_TRUE(device.GetDefaultToSearchByIP()) << "read again from the record";
}

// Edge: SetDefaultToSearchByIP does not save.
TEST_F(NetworkRecords, SetDefaultToSearchByIPIsLostIfNothingSavesTheRecord)
{
    const std::wstring serial = Serial(L"NDBYIP");
    Record(Announced(serial, kGuid, L"127.0.0.1", L"tamrik-01"));
    const std::string before = ReadBytes(RecordPath(serial));
    CNetworkDevice device;
    ASSERT_EQ(0u, device.Init(serial.c_str(), nullptr));
    device.SetDefaultToSearchByIP(false);
    EXPECT_EQ(before, ReadBytes(RecordPath(serial)));
    CNetworkDevice again;
    ASSERT_EQ(0u, again.Init(serial.c_str(), nullptr));
    EXPECT_TRUE(again.GetDefaultToSearchByIP());
    // The next save from another cause takes it along.
    device.SetDefaultToSearchByIP(false);
    device.SetMulticastEnabled(false);
    EXPECT_EQ(DeviceInfoLines("NDBYIP", "127.0.0.1", "tamrik-01", "true", "false", "false"),
              ReadLines(RecordPath(serial)));
    EXPECT_EQ(1u, m_log.Count(L"(I0) SetMulticastEnabled -- SavedDeviceInfo"));
}

TEST_F(NetworkRecords, SetIPAddressAndSetHostNameSaveAnInstalledDeviceAndReadItBack)
{
    const std::wstring serial = Serial(L"NDSETIP");
    Record(Announced(serial, kGuid, L"127.0.0.1", L"tamrik-01"));
    CNetworkDevice device;
    ASSERT_EQ(0u, device.Init(serial.c_str(), nullptr));
    EXPECT_EQ(0u, device.SetIPAddress(L"203.0.113.5"));
    EXPECT_EQ(0u, device.SetHostName(L"tamrik-05"));
    EXPECT_EQ(DeviceInfoLines("NDSETIP", "203.0.113.5", "tamrik-05", "true"), ReadLines(RecordPath(serial)))
        << "203.0.113.5 is on no subnet of the machine";
    EXPECT_EQ(L"203.0.113.5", device.GetIPAddress()) << "read back from the record";
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, device.SetIPAddress(L""));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, device.SetHostName(nullptr));
    CNetworkDevice loose;
    ASSERT_EQ(0u, loose.Init(Ptr(Announced(Serial(L"NDLOOSE"), kGuid, L"127.0.0.1", L"x")), nullptr));
    EXPECT_EQ(0u, loose.SetIPAddress(L"127.0.0.3")) << "a device without a record only changes";
    EXPECT_FALSE(loose.IsInstalled());
}

// The family's discovery monitor, installed in Wine's spooler, owns the
// ports whose keys the tests make below it.
class MonitorPorts : public NetworkRecords {
protected:
    void SetUp() override { ASSERT_TRUE(InstallMonitor(kMonitor)); }
    std::unique_ptr<peers::TestKey> Port(const std::wstring& name)
    {
        return std::make_unique<peers::TestKey>(HKEY_LOCAL_MACHINE,
                                                kMonitors + std::wstring(kMonitor) + L"\\Ports\\" + name);
    }
};

// The addresses the ports give are loopback ones where nothing listens on
// port 80: the directed search that follows finds no device.
TEST_F(MonitorPorts, DiscoveryPortGivesItsAddressAndTheSearchThatFollowsFindsNothingThere)
{
    const auto port = Port(L"ORV_DISCO_IP");
    CNetworkDevice device;
    EXPECT_EQ(DM_E_NETWORK_UNAVAILABLE, device.Init(L"ORV_DISCO_IP", nullptr));
    std::wstring missing;
    EXPECT_TRUE(m_log.InOrder({L"(I0) Try XcvPort on ORV_DISCO_IP", L"(I0) OpenPrinter to XcvPort succeeded",
                               L"(I0) ORV_DISCO_IP is an ZQ discovery port", L"(I0) XcvData GetConfigInfo succeeded",
                               L"(I0) Resolved IP address: 127.0.0.1"},
                              &missing))
        << missing;
    EXPECT_EQ(0u, m_log.Count(L"(I0) Rediscovered device by address."));
}

TEST_F(MonitorPorts, DiscoveryPortWithAHostNameOnlyIsLookedUp)
{
    const auto port = Port(L"ORV_DISCO_HOST");
    CNetworkDevice device;
    EXPECT_EQ(DM_E_NETWORK_UNAVAILABLE, device.Init(L"ORV_DISCO_HOST", nullptr));
    std::wstring missing;
    EXPECT_TRUE(m_log.InOrder({L"(I0) XcvData GetConfigInfo succeeded", L"(I0) DNS lookup: localhost to 127.0.0.1",
                               L"(I0) Resolved IP address: 127.0.0.1"},
                              &missing))
        << missing;
}

TEST_F(MonitorPorts, PortOfAnotherMonitorLeavesTheRecordsStatus)
{
    const auto port = Port(L"ORV_DISCO_NOT");
    CNetworkDevice device;
    EXPECT_EQ(DM_E_NOT_FOUND, device.Init(L"ORV_DISCO_NOT", nullptr));
    EXPECT_EQ(1u, m_log.Count(L"(I0) OpenPrinter to XcvPort succeeded"));
    EXPECT_EQ(0u, m_log.Count(L"(I0) ORV_DISCO_NOT is an ZQ discovery port"));
    EXPECT_EQ(1u, m_log.Count(L"(I0) Resolved IP address: "));
    CNetworkDevice unknown;
    EXPECT_EQ(DM_E_NOT_FOUND, unknown.Init(L"ORV_NO_SUCH_PORT", nullptr));
    EXPECT_EQ(1u, m_log.Count(L"(I0) OpenPrinter to XcvPort succeeded")) << "no monitor owns that port";
}

TEST_F(MonitorPorts, StandardTcpIpPortKeyGivesTheAddressWithoutAskingTheMonitor)
{
    peers::TestKey key(HKEY_LOCAL_MACHINE, kMonitors + std::wstring(L"ZQ Standard TCP/IP Port\\Ports\\ORV_STD_1"));
    key.SetString(L"IPAddress", L"127.0.0.4");
    CNetworkDevice device;
    EXPECT_EQ(DM_E_NETWORK_UNAVAILABLE, device.Init(L"ORV_STD_1", nullptr));
    EXPECT_EQ(0u, m_log.Count(L"(I0) Try XcvPort on ORV_STD_1"));
    EXPECT_EQ(1u, m_log.Count(L"(I0) Resolved IP address: 127.0.0.4"));
}

TEST_F(NetworkRecords, ProgressThatSaysStopCancelsTheListingAndTheRefresh)
{
    Written("NDSTOP1", DeviceInfoLines("NDSTOP1", "127.0.0.1", "a"));
    doubles::ScriptedProgress watching;
    CNetworkDevices devices;
    ASSERT_EQ(0u, devices.GetInstalledDevices(&watching));
    ASSERT_FALSE(watching.codes.empty());
    EXPECT_EQ(9u, watching.codes.front()) << "the listing's phase";
    EXPECT_LE(watching.percents.back(), 100.0);
    doubles::ScriptedProgress stopAtOnce([](double, unsigned long) { return false; });
    EXPECT_EQ(DM_E_CANCELLED, devices.GetInstalledDevices(&stopAtOnce));
    EXPECT_EQ(0u, devices.GetCount());
    // Stopped after the folder's listing, before the first record.
    doubles::ScriptedProgress stopAfterListing([](double, unsigned long code) { return code == 9; });
    EXPECT_EQ(DM_E_CANCELLED, devices.GetInstalledDevices(&stopAfterListing));
    CNetworkDevice device;
    ASSERT_EQ(0u, device.Init(L"NDSTOP1", nullptr));
    doubles::ScriptedProgress stop([](double, unsigned long) { return false; });
    EXPECT_EQ(DM_E_CANCELLED, device.Refresh(&stop));
    EXPECT_EQ(std::vector<unsigned long>{4u}, stop.codes);
}
