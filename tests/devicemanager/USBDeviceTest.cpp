// USB devices on described trees registered in the prefix: which nodes are
// devices, their functions, online state, and uninstall with drivers.
#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <map>
#include <set>
#include <fstream>

#include "DescribedTree.h"
#include "SpoolerSetup.h"
#include "WineSpooler.h"
#include "devicemanager/CUSBDevice.h"
#include "devicemanager/CUSBDevices.h"
#include "devicemanager/DeviceManagerTypes.h"
#include "doubles/ModuleLogFile.h"
#include "doubles/ScriptedProgress.h"
#include "logging/LogModules.h"
#include "resolver/SpoolerQueues.h"

using namespace QVDeviceManager;
using devicemanager_test::DescribedTree;
using devicemanager_test::Narrow;
using devicemanager_test::WineSpooler;
using peers::DescribedNode;
using peers::DeviceTree;
using resolver_test::SpoolerQueues;

namespace {

const wchar_t kVidPid[] = L"VID_1234&PID_5678";

std::wstring Address(IDevice& device, FUNCTION_TYPE type)
{
    IDeviceFunction* function = nullptr;
    return device.GetFunction(type, &function) == 0 ? function->GetAddress() : L"(none)";
}

std::wstring Friendly(IDevice& device, FUNCTION_TYPE type)
{
    IDeviceFunction* function = nullptr;
    return device.GetFunction(type, &function) == 0 ? function->GetFriendlyName() : L"(none)";
}

std::wstring Driver(IDevice& device, FUNCTION_TYPE type)
{
    IDeviceFunction* function = nullptr;
    return device.GetFunction(type, &function) == 0 ? function->GetDriverName() : L"(none)";
}

std::wstring Lower(std::wstring text)
{
    for (wchar_t& c : text) {
        c = static_cast<wchar_t>(towlower(c));
    }
    return text;
}

// The device path of an interface registered on an instance id.
std::wstring PathOf(const std::wstring& instanceId, const wchar_t* interfaceClass)
{
    std::wstring path = L"\\\\?\\" + Lower(instanceId) + L"#" + interfaceClass;
    for (wchar_t& c : path) {
        c = c == L'\\' && &c > &path[3] ? L'#' : c;
    }
    return path;
}

CUSBDevice* Find(CUSBDevices& devices, const std::wstring& serial)
{
    for (unsigned long i = 0; i < devices.GetCount(); ++i) {
        if (devices.GetDevice(i)->GetSerialNumber() == serial) {
            return dynamic_cast<CUSBDevice*>(devices.GetDevice(i));
        }
    }
    return nullptr;
}

class USBDevices : public testing::Test {
protected:
    USBDevices()
        : m_tree(DeviceTree()
                     .CompositeMFP(kVidPid, L"MFP0001", L"USB001", L"USB002")
                     .SingleFunctionPrinter(L"VID_1234&PID_0001", L"SFP0001", L"USB003"))
    {
    }
    void SetUp() override
    {
        ASSERT_EQ(L"", m_tree.Error());
        // The MFP's print queue in Wine's spooler, named by its node.
        ASSERT_TRUE(m_queues.Add(m_queue, L"USB001"));
        ASSERT_TRUE(devicemanager_test::SetQueueText(m_queue, L"PnPData", L"DeviceInstanceId", Id(2)));
    }
    const std::wstring& Id(size_t index) { return m_tree.Tree().Nodes()[index].instanceId; }

    DescribedTree m_tree;
    SpoolerQueues m_queues;
    std::wstring m_queue = SpoolerQueues::Unique(L"ZQ MFP");
};

TEST_F(USBDevices, CompositeMFPHasPrintScanFaxAndConfigurationFunctions)
{
    CUSBDevice device;
    ASSERT_EQ(0u, device.Init(L"MFP0001", nullptr));
    EXPECT_EQ(L"MFP0001", device.GetSerialNumber());
    EXPECT_EQ(L"USB\\VID_1234&PID_5678\\MFP0001", device.GetDevNodeInstanceID());
    EXPECT_EQ(L"{8A0E5D34-0000-4000-8000-00000000F00D}", device.GetContainerID());
    EXPECT_EQ(CONNECTION_TYPE_USB, device.GetConnectionType());
    EXPECT_TRUE(device.IsInstalled());
    EXPECT_TRUE(device.IsOnline());
    EXPECT_FALSE(device.HasBadDevNode()) << Narrow(device.GetBadDevNodeInstanceIDList().empty() ? L"" : device.GetBadDevNodeInstanceIDList().front());

    EXPECT_EQ(m_queue, Friendly(device, FUNCTION_TYPE_PRINT));
    EXPECT_EQ(L"ZQ MFP Printer", Driver(device, FUNCTION_TYPE_PRINT));
    EXPECT_EQ(PathOf(Id(1), L"{28d78fad-5a12-11d1-ae5b-0000f803a8c2}"), Address(device, FUNCTION_TYPE_PRINT));
    EXPECT_EQ(L"ZQ MFP Scan", Friendly(device, FUNCTION_TYPE_SCAN));
    EXPECT_EQ(L"ZQ MFP Scanner", Driver(device, FUNCTION_TYPE_SCAN));
    EXPECT_EQ(PathOf(Id(3), L"{6bdd1fc6-810f-11d0-bec7-08002be2092f}"), Address(device, FUNCTION_TYPE_SCAN));
    EXPECT_EQ(L"", Friendly(device, FUNCTION_TYPE_FAX)) << "no queue of the fax node";
    EXPECT_EQ(L"ZQ MFP Fax", Driver(device, FUNCTION_TYPE_FAX));
    EXPECT_EQ(PathOf(Id(4), L"{28d78fad-5a12-11d1-ae5b-0000f803a8c2}"), Address(device, FUNCTION_TYPE_FAX));
    EXPECT_EQ(L"ZQEWSFXBULK", Friendly(device, FUNCTION_TYPE_CONFIG));
    EXPECT_EQ(L"ZQ EWS Channel", Driver(device, FUNCTION_TYPE_CONFIG));
    EXPECT_EQ(PathOf(Id(6), L"{a6af917d-48e9-459a-95a1-3b9cd24d91e3}"), Address(device, FUNCTION_TYPE_CONFIG));
    EXPECT_FALSE(device.HasFunction(FUNCTION_TYPE_STORAGE));
    EXPECT_EQ(L"ZQ EWS Channel", device.GetModelName()) << "the configuration function comes first";
    EXPECT_EQ(DM_E_ALREADY_INSTALLED, device.Install(nullptr));
}

TEST_F(USBDevices, CompositeDevicesInterfaceNodeWithMI00IsNotADeviceTheDeviceNodeAboveIs)
{
    CUSBDevice interfaceNode;
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, interfaceNode.Init(m_tree.Node(Id(1)), nullptr));
    CUSBDevice device;
    EXPECT_EQ(0u, device.Init(m_tree.Node(Id(0)), nullptr));
    CUSBDevices devices;
    ASSERT_EQ(0u, devices.GetInstalledDevices(nullptr));
    EXPECT_NE(nullptr, Find(devices, L"MFP0001"));
    EXPECT_NE(nullptr, Find(devices, L"SFP0001"));
    for (unsigned long i = 0; i < devices.GetCount(); ++i) {
        EXPECT_EQ(std::wstring::npos, devices.GetDevice(i)->GetSerialNumber().find(L"&0000"));
    }
}

TEST_F(USBDevices, InitWithUSB001FindsTheDeviceThroughItsUSBPRINTChild)
{
    CUSBDevice device;
    ASSERT_EQ(0u, device.Init(L"USB001", nullptr));
    EXPECT_EQ(L"MFP0001", device.GetSerialNumber());
    CUSBDevice none;
    EXPECT_EQ(DM_E_NOT_FOUND, none.Init(L"USB009", nullptr));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, none.Init(L"", nullptr));
}

// The registry keys and spooler entries an uninstall may touch.
struct Footprint {
    std::map<std::wstring, bool> keys;
    devicemanager_test::SpoolerContents spooler;

    static Footprint Read(const std::vector<DescribedNode>& nodes)
    {
        Footprint footprint;
        for (const DescribedNode& node : nodes) {
            footprint.keys[L"Enum\\" + node.instanceId] =
                peers::RegisteredDeviceTree::KeyExists(L"System\\CurrentControlSet\\Enum\\" + node.instanceId);
            footprint.keys[L"Class\\" + node.driverKey] = peers::RegisteredDeviceTree::KeyExists(
                L"System\\CurrentControlSet\\Control\\Class\\" + node.driverKey);
        }
        footprint.spooler = devicemanager_test::SpoolerContents::Read();
        return footprint;
    }
};

TEST_F(USBDevices, UninstallRemovesTheNodesAndTheDriversOfPrintAndFaxAndNothingElse)
{
    ASSERT_TRUE(devicemanager_test::InstallDriver(L"ZQ MFP Printer", L""));
    ASSERT_TRUE(devicemanager_test::InstallDriver(L"ZQ MFP Fax", L""));
    CUSBDevice device;
    ASSERT_EQ(0u, device.Init(L"MFP0001", nullptr));
    const Footprint before = Footprint::Read(m_tree.Tree().Nodes());
    WineSpooler spooler;
    spooler.answerJobs = true;
    spooler.dropDeleteFlag = true;
    doubles::ApiOverride<QVWinApi::ISpoolerApi> override(g_pSpoolerApi, spooler);
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"uninstall");

    EXPECT_EQ(0u, device.Uninstall(nullptr)) << Narrow(log.Text());

    const Footprint after = Footprint::Read(m_tree.Tree().Nodes());
    std::map<std::wstring, bool> keys = before.keys;
    // The MFP's nodes go with their driver keys; the other device's stay.
    for (size_t index = 0; index < 7; ++index) {
        keys[L"Enum\\" + Id(index)] = false;
        keys[L"Class\\" + m_tree.Tree().Nodes()[index].driverKey] = false;
    }
    EXPECT_EQ(keys, after.keys);
    std::set<std::wstring> drivers = before.spooler.drivers;
    drivers.erase(L"ZQ MFP Printer");
    drivers.erase(L"ZQ MFP Fax");
    EXPECT_EQ(drivers, after.spooler.drivers);
    EXPECT_EQ(before.spooler.queues, after.spooler.queues) << "the queues stay";
    EXPECT_EQ(before.spooler.monitors, after.spooler.monitors);
    EXPECT_FALSE(device.IsInstalled());
    EXPECT_EQ(0u, log.Count(L"(I0) Deleting devnode for MFP0001 requires reboot"));
}

TEST_F(USBDevices, UninstallWithADriverInUseGivesRebootRequired)
{
    CUSBDevice device;
    ASSERT_EQ(0u, device.Init(L"MFP0001", nullptr));
    // The class installer can't unload the print queue node's driver.
    m_tree.Api().NeedsRebootAfterRemoving(Id(2));
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"uninstallbusy");
    EXPECT_EQ(DM_E_REBOOT_REQUIRED, device.Uninstall(nullptr));
    EXPECT_EQ(1u, log.Count(L"(I0) Deleting devnode for MFP0001 requires reboot")) << Narrow(log.Text());
    EXPECT_FALSE(peers::RegisteredDeviceTree::IsRegistered(Id(0)));
    EXPECT_TRUE(peers::RegisteredDeviceTree::IsRegistered(Id(7))) << "the other device stays";
}

TEST_F(USBDevices, UninstallOnWinesSpoolerLogsWhatItCannotDoAndStillSucceeds)
{
    CUSBDevice device;
    ASSERT_EQ(0u, device.Init(L"MFP0001", nullptr));
    ASSERT_TRUE(devicemanager_test::InstallDriver(L"ZQ MFP Printer", L""));
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"uninstallwine");
    // Wine's spooler: no job listing, no deletion of unused files, and no
    // fax driver installed.
    EXPECT_EQ(0u, device.Uninstall(nullptr));
    const std::wstring failed = std::to_wstring(static_cast<int>(DM_E_FAILED));
    std::wstring missing;
    EXPECT_TRUE(log.InOrder({L"(##) CPrintUtil::DeleteAllPrintJobs(" + m_queue + L") failed with error " + failed,
                             L"(##) DeletePrinterDriverEx(ZQ MFP Printer) failed with err = 87",
                             L"(##) CPrintUtil::UninstallPrinterDriver(ZQ MFP Printer) failed with error " + failed,
                             L"(##) CPrintUtil::DeleteAllPrintJobs() failed with error "
                                 + std::to_wstring(static_cast<int>(DM_E_INVALID_ARGUMENT)),
                             L"(I0) CPrintUtil::UninstallPrinterDriver(ZQ MFP Fax) device not found"},
                            &missing))
        << Narrow(missing) << "\n" << Narrow(log.Text());
    DeletePrinterDriverExW(nullptr, nullptr, const_cast<wchar_t*>(L"ZQ MFP Printer"), 0, 0);
}

TEST_F(USBDevices, FaxDriverThatAsksForARestartEndsUninstallWithRebootRequired)
{
    ASSERT_TRUE(devicemanager_test::InstallDriver(L"ZQ MFP Fax", L""));
    CUSBDevice device;
    ASSERT_EQ(0u, device.Init(L"MFP0001", nullptr));
    WineSpooler spooler;
    spooler.answerJobs = true;
    spooler.driverDeleteError = 3010;
    doubles::ApiOverride<QVWinApi::ISpoolerApi> override(g_pSpoolerApi, spooler);
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"uninstallfax");
    EXPECT_EQ(DM_E_REBOOT_REQUIRED, device.Uninstall(nullptr));
    EXPECT_EQ(1u, log.Count(L"(I0) CPrintUtil::UninstallPrinterDriver(ZQ MFP Fax) requires reboot")) << Narrow(log.Text());
    EXPECT_EQ(1u, log.Count(L"(##) CPrintUtil::UninstallPrinterDriver(ZQ MFP Printer) failed with error "
                        + std::to_wstring(static_cast<int>(DM_E_NOT_FOUND))));
    DeletePrinterDriverExW(nullptr, nullptr, const_cast<wchar_t*>(L"ZQ MFP Fax"), 0, 0);
}

TEST_F(USBDevices, ProgressThatSaysStopCancelsAndAReportedPhaseIsSeen)
{
    doubles::ScriptedProgress watching;
    CUSBDevices devices;
    ASSERT_EQ(0u, devices.GetInstalledDevices(&watching));
    ASSERT_FALSE(watching.percents.empty());
    EXPECT_EQ(8u, watching.codes.front()) << "the enumeration's phase";
    EXPECT_LE(watching.percents.back(), 100.0);

    doubles::ScriptedProgress stopAtOnce([](double, unsigned long) { return false; });
    EXPECT_EQ(DM_E_CANCELLED, devices.GetInstalledDevices(&stopAtOnce));
    EXPECT_EQ(0u, devices.GetCount());

    // Stopped in its first phase, a refresh still reads the container id.
    CUSBDevice device;
    ASSERT_EQ(0u, device.Init(L"MFP0001", nullptr));
    doubles::ScriptedProgress stop([](double, unsigned long) { return false; });
    EXPECT_EQ(DM_E_CANCELLED, device.Refresh(&stop));
    EXPECT_EQ(std::vector<unsigned long>{4u}, stop.codes);
    EXPECT_EQ(L"{8A0E5D34-0000-4000-8000-00000000F00D}", device.GetContainerID());
    EXPECT_TRUE(device.HasFunction(FUNCTION_TYPE_PRINT)) << "the functions stay as they were";

    doubles::ScriptedProgress stopLater([](double, unsigned long code) { return code != 6; });
    EXPECT_EQ(DM_E_CANCELLED, device.Uninstall(&stopLater));
    EXPECT_TRUE(device.IsInstalled());
}

TEST(USBDeviceIds, InitWithUSB0001OfSevenCharactersIsTakenForASerialNumber)
{
    DescribedTree tree(DeviceTree().SingleFunctionPrinter(L"VID_1234&PID_0002", L"USB0001", L"USB004"));
    ASSERT_EQ(L"", tree.Error());
    CUSBDevice device;
    ASSERT_EQ(0u, device.Init(L"usb0001", nullptr));
    EXPECT_EQ(L"USB0001", device.GetSerialNumber());
    EXPECT_EQ(L"ZQ Printer USB0001", device.GetModelName());
}

TEST(USBDeviceIds, HubWithCompatibleIdUSBClass09IsRefusedSoIsOneWithHubClass)
{
    DeviceTree described;
    described.SingleFunctionPrinter(L"VID_1234&PID_0003", L"HUB0001", L"USB005");
    described.SingleFunctionPrinter(L"VID_1234&PID_0004", L"HUB0002", L"USB006");
    described.Nodes()[0].compatibleIds = {L"USB\\Class_00", L"usb\\class_09"};
    described.Nodes()[2].compatibleIds = {L"USB\\HUBCLASS"};
    DescribedTree tree(described);
    ASSERT_EQ(L"", tree.Error());
    CUSBDevice first;
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, first.Init(tree.Node(described.Nodes()[0].instanceId), nullptr));
    CUSBDevice second;
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, second.Init(L"HUB0002", nullptr));
}

TEST(USBDeviceIds, NodeWhoseInstanceIdHasNoBackslashIsRefused)
{
    DescribedTree tree(DeviceTree().SingleFunctionPrinter(L"VID_1234&PID_0005", L"NBS0001", L"USB007"));
    ASSERT_EQ(L"", tree.Error());
    const std::wstring id = tree.Tree().Nodes()[0].instanceId;
    // Wine's device ids always hold a backslash: the double reports one without.
    tree.Api().ReportIdAs(id, L"USB_VID_1234&PID_0005_NBS0001");
    CUSBDevice device;
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, device.Init(tree.Node(id), nullptr));
    EXPECT_EQ(L"", device.GetSerialNumber());
}

TEST(USBDeviceIds, NodeOfAnotherBusOrWithoutProductIsRefused)
{
    DeviceTree described;
    DescribedNode node;
    node.instanceId = L"USB\\ROOT_HUB30\\4&1A2B&0&0";
    node.classGuid = peers::classes::kUSB;
    node.hardwareIds = {L"USB\\ROOT_HUB30"};
    described.Add(node);
    node.instanceId = L"USB\\VID_1234\\NOPID01";
    described.Add(node);
    DescribedTree tree(described);
    ASSERT_EQ(L"", tree.Error());
    CUSBDevice hub;
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, hub.Init(tree.Node(described.Nodes()[0].instanceId), nullptr));
    CUSBDevice noProduct;
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, noProduct.Init(tree.Node(described.Nodes()[1].instanceId), nullptr));
}

// "config.ini" beside the test program's folder, read once by a process:
// the case runs in a process of its own.
int UsbIdCase()
{
    const std::filesystem::path config = [] {
        wchar_t module[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, module, MAX_PATH);
        return std::filesystem::path(module).parent_path().parent_path() / L"config.ini";
    }();
    std::ofstream(config) << "[DeviceInfo]\r\nUSBID=VID_1234\r\n";
    DeviceTree described;
    described.SingleFunctionPrinter(L"VID_1234&PID_0006", L"VEN0001", L"USB008");
    described.SingleFunctionPrinter(L"VID_ABCD&PID_0006", L"VEN0002", L"USB009");
    int failures = 0;
    {
        DescribedTree tree(described);
        CUSBDevice other;
        failures += other.Init(tree.Node(described.Nodes()[2].instanceId), nullptr) == DM_E_WRONG_USB_ID ? 0 : 1;
        CUSBDevices devices;
        failures += devices.GetInstalledDevices(nullptr) == 0 ? 0 : 2;
        failures += Find(devices, L"VEN0001") != nullptr ? 0 : 4;
        failures += Find(devices, L"VEN0002") == nullptr ? 0 : 8;
    }
    std::filesystem::remove(config);
    return failures;
}

TEST(USBDeviceIdsDeathTest, WithUSBIDOfVID1234ADeviceOfAnotherVendorGivesWrongUSBIdAndIsSkipped)
{
    EXPECT_EXIT(exit(UsbIdCase()), testing::ExitedWithCode(0), "");
}

TEST(USBDeviceFunctions, PrintAndFaxDeviceHasThePrintQueuesModelNameOnlyIfNoEarlierFunctionHasADriverName)
{
    DeviceTree described;
    described.CompositeMFP(L"VID_1234&PID_0007", L"PFX0001", L"USB010", L"USB011");
    described.CompositeMFP(L"VID_1234&PID_0008", L"PFX0002", L"USB012", L"USB013");
    // Print and fax only: no scan or configuration node.
    std::vector<DescribedNode>& nodes = described.Nodes();
    for (size_t index : {13u, 10u, 6u, 3u}) {
        nodes.erase(nodes.begin() + index);
    }
    nodes[4].driverDesc = L"";  // the first device's fax queue has no driver name
    DescribedTree tree(described);
    ASSERT_EQ(L"", tree.Error());
    CUSBDevice withoutFaxDriver;
    ASSERT_EQ(0u, withoutFaxDriver.Init(L"PFX0001", nullptr));
    EXPECT_TRUE(withoutFaxDriver.HasFunction(FUNCTION_TYPE_FAX));
    EXPECT_EQ(L"ZQ MFP Printer", withoutFaxDriver.GetModelName());
    EXPECT_TRUE(withoutFaxDriver.IsDriverMissing());
    CUSBDevice withFaxDriver;
    ASSERT_EQ(0u, withFaxDriver.Init(L"PFX0002", nullptr));
    EXPECT_EQ(L"ZQ MFP Fax", withFaxDriver.GetModelName()) << "fax goes before print";
    EXPECT_FALSE(withFaxDriver.IsDriverMissing());
}

TEST(USBDeviceFunctions, NodeWithConfigurationFlagsOtherThan0IsBadAndStillScanned)
{
    DeviceTree described;
    described.CompositeMFP(L"VID_1234&PID_0009", L"CFG0001", L"USB014", L"USB015");
    described.Nodes()[3].configFlags = 0x40;        // the scan node
    described.Nodes()[6].configFlagsAsText = true;  // the configuration node, a value of the wrong type
    DescribedTree tree(described);
    ASSERT_EQ(L"", tree.Error());
    CUSBDevice device;
    ASSERT_EQ(0u, device.Init(L"CFG0001", nullptr));
    EXPECT_TRUE(device.HasBadDevNode());
    EXPECT_FALSE(device.IsDriverMissing());
    EXPECT_EQ((std::list<std::wstring>{described.Nodes()[3].instanceId, described.Nodes()[6].instanceId}),
              device.GetBadDevNodeInstanceIDList());
    EXPECT_TRUE(device.HasFunction(FUNCTION_TYPE_SCAN));
    EXPECT_TRUE(device.HasFunction(FUNCTION_TYPE_CONFIG));
}

TEST(USBDeviceFunctions, DeviceWithTwoIdenticalInterfacesTakesTheFirst)
{
    DescribedTree tree(DeviceTree().TwoIdenticalInterfaces(L"VID_1234&PID_000A", L"TWO0001"));
    ASSERT_EQ(L"", tree.Error());
    CUSBDevice device;
    ASSERT_EQ(0u, device.Init(L"TWO0001", nullptr));
    EXPECT_EQ(L"ZQ Scan 0", Friendly(device, FUNCTION_TYPE_SCAN));
    EXPECT_EQ(L"ZQ Scanner 0", device.GetModelName());
    EXPECT_FALSE(device.HasFunction(FUNCTION_TYPE_PRINT));
}

TEST(USBDeviceFunctions, NodeWhoseDriverKeyPointsNowhereIsMissingItsDriver)
{
    DeviceTree described;
    described.SingleFunctionPrinter(L"VID_1234&PID_000B", L"NDK0001", L"USB016");
    described.Nodes()[1].driverKeyWritten = false;
    DescribedTree tree(described);
    ASSERT_EQ(L"", tree.Error());
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"nodriver");
    CUSBDevice device;
    ASSERT_EQ(0u, device.Init(L"NDK0001", nullptr));
    EXPECT_TRUE(device.IsDriverMissing());
    EXPECT_EQ((std::list<std::wstring>{described.Nodes()[1].instanceId}), device.GetBadDevNodeInstanceIDList());
    EXPECT_EQ(L"", Driver(device, FUNCTION_TYPE_PRINT));
    EXPECT_EQ(1u, log.Count(L"(I0) " + described.Nodes()[1].instanceId + L" has no driver")) << Narrow(log.Text());
}

TEST(USBDeviceState, UnpluggedDeviceIsInstalledAndNotOnlineWithProblem24Or45)
{
    DescribedTree tree(DeviceTree()
                           .Unplugged(L"VID_1234&PID_000C", L"OFF0024", L"USB017", 24)
                           .Unplugged(L"VID_1234&PID_000D", L"OFF0045", L"USB018", 45)
                           .Unplugged(L"VID_1234&PID_000E", L"OFF0010", L"USB019", 10));
    ASSERT_EQ(L"", tree.Error());
    for (const wchar_t* serial : {L"OFF0024", L"OFF0045"}) {
        CUSBDevice device;
        ASSERT_EQ(0u, device.Init(serial, nullptr));
        EXPECT_TRUE(device.IsInstalled()) << Narrow(serial);
        EXPECT_FALSE(device.IsOnline()) << Narrow(serial);
    }
    CUSBDevice otherProblem;
    ASSERT_EQ(0u, otherProblem.Init(L"OFF0010", nullptr));
    EXPECT_TRUE(otherProblem.IsOnline()) << "problem 10 doesn't make a device offline";
}

TEST(USBDeviceState, RemovedDeviceKeepsItsStringsAndIsNeitherInstalledNorOnline)
{
    DescribedTree tree(DeviceTree().SingleFunctionPrinter(L"VID_1234&PID_000F", L"GON0001", L"USB020"));
    ASSERT_EQ(L"", tree.Error());
    CUSBDevice device;
    ASSERT_EQ(0u, device.Init(L"GON0001", nullptr));
    peers::RegisteredDeviceTree::Remove(tree.Tree().Nodes()[1].instanceId);
    peers::RegisteredDeviceTree::Remove(tree.Tree().Nodes()[0].instanceId);
    EXPECT_FALSE(device.IsInstalled());
    EXPECT_FALSE(device.IsOnline());
    EXPECT_EQ(L"GON0001", device.GetSerialNumber());
    EXPECT_EQ(DM_E_NOT_SUPPORTED, device.Install(nullptr));
    EXPECT_EQ(DM_E_DEVICE_GONE, device.Uninstall(nullptr));
}

TEST(USBDeviceState, ConfigurationManagerCallFailingHalfwayThroughRefreshMarksThatNodeBad)
{
    DescribedTree tree(DeviceTree().CompositeMFP(L"VID_1234&PID_0010", L"CMF0001", L"USB021", L"USB022"));
    ASSERT_EQ(L"", tree.Error());
    const std::wstring scan = tree.Tree().Nodes()[3].instanceId;
    CUSBDevice device;
    ASSERT_EQ(0u, device.Init(L"CMF0001", nullptr));
    ASSERT_FALSE(device.HasBadDevNode());
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"cmrefresh");
    // The walk's fourth node: its configuration flags can't be read.
    tree.Api().FailProperty(scan, CM_DRP_CONFIGFLAGS);
    EXPECT_EQ(0u, device.Refresh(nullptr));
    EXPECT_TRUE(device.HasBadDevNode());
    EXPECT_EQ((std::list<std::wstring>{scan}), device.GetBadDevNodeInstanceIDList());
    EXPECT_TRUE(device.HasFunction(FUNCTION_TYPE_SCAN)) << "still scanned";
    EXPECT_TRUE(device.HasFunction(FUNCTION_TYPE_PRINT));
    EXPECT_EQ(1u, log.Count(L"(I0) " + scan + L" has configuration flags 0x0")) << Narrow(log.Text());
    EXPECT_EQ(tree.Api().m_setsMade.load(), tree.Api().m_setsDestroyed.load()) << "no set left open";
}

}  // namespace
