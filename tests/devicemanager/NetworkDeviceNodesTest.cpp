// A network device's record naming the nodes that its installation made:
// the printer, fax and scanner nodes registered in the prefix as a described
// tree (the configuration manager's calls answered over it), and the print
// queue in Wine's spooler that names the printer node.
#include <gtest/gtest.h>

#include <windows.h>

#include "DescribedTree.h"
#include "NetworkRecord.h"
#include "SpoolerSetup.h"
#include "devicemanager/CNetworkDevice.h"
#include "devicemanager/DeviceManagerTypes.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"
#include "resolver/SpoolerQueues.h"

using namespace QVDeviceManager;
using namespace devicemanager_test;
using peers::DescribedNode;
using peers::DeviceTree;
using resolver_test::SpoolerQueues;

namespace {

const wchar_t kPrinterId[] = L"ROOT\\ZQNETPRINTER\\0950";
const wchar_t kFaxId[] = L"ROOT\\ZQNETPRINTER\\0951";
const wchar_t kScannerId[] = L"ROOT\\IMAGE\\0952";

DescribedNode RootNode(const wchar_t* id, const wchar_t* classGuid, const wchar_t* key, const std::wstring& port,
                       const wchar_t* driverDesc)
{
    DescribedNode node;
    node.instanceId = id;
    node.classGuid = classGuid;
    node.driverKey = std::wstring(classGuid) + key;
    node.driverDesc = driverDesc;
    node.hardwareIds = {L"ZQNET\\Tamrik_500"};
    node.matchingDeviceId = L"zqnet\\tamrik_500";
    node.portName = port;
    return node;
}

struct Function {
    std::wstring friendlyName;
    std::wstring driverName;
    std::wstring address;
};

Function Of(IDevice& device, FUNCTION_TYPE type)
{
    IDeviceFunction* function = nullptr;
    if (device.GetFunction(type, &function) != 0) {
        return {L"(none)", L"(none)", L"(none)"};
    }
    return {function->GetFriendlyName(), function->GetDriverName(), function->GetAddress()};
}

}  // namespace

TEST(NetworkDeviceNodes, RecordOfAnInstalledDeviceGivesItsQueuesAndScannerWithTheirNames)
{
    const std::wstring serial = L"NDNODES1";
    DescribedNode scanner = RootNode(kScannerId, peers::classes::kImage, L"\\0952", L"", L"ZQ Tamrik Scan");
    scanner.friendlyName = L"Tamrik scanner";
    DescribedTree tree(DeviceTree()
                           .Add(RootNode(kPrinterId, peers::classes::kPrinter, L"\\0950", serial, L"ZQ Tamrik PCL"))
                           .Add(RootNode(kFaxId, peers::classes::kPrinter, L"\\0951", serial + L"_FAX",
                                         L"ZQ Tamrik Fax"))
                           .Add(scanner));
    ASSERT_EQ(L"", tree.Error());
    SpoolerQueues queues;
    const std::wstring queue = SpoolerQueues::Unique(L"ZQ Tamrik");
    ASSERT_TRUE(queues.Add(queue, L"FILE:"));
    ASSERT_TRUE(SetQueueText(queue, L"PnPData", L"DeviceInstanceId", kPrinterId));
    std::vector<std::string> lines = DeviceInfoLines("NDNODES1", "127.0.0.1:9100", "tamrik-01");
    for (const char* line : {"[PrinterInfo]", "DeviceInstanceId=ROOT\\ZQNETPRINTER\\0950", "[FaxInfo]",
                             "DeviceInstanceId=ROOT\\ZQNETPRINTER\\0951", "[ScannerInfo]",
                             "DeviceInstanceId=ROOT\\IMAGE\\0952", "[ConfigInfo]", "PortNumber=8080"}) {
        lines.push_back(line);
    }
    WriteBytes(RecordPath(serial), RecordText(lines));
    doubles::ModuleLogFile log({g_pDeviceManagerLibLog}, L"netnodes", 0x30000E90);
    CNetworkDevice device;
    const unsigned long status = device.Init(serial.c_str(), nullptr);
    ::DeleteFileW(RecordPath(serial).c_str());
    ASSERT_EQ(0u, status) << log.Text();
    EXPECT_FALSE(device.HasBadDevNode());
    const Function print = Of(device, FUNCTION_TYPE_PRINT);
    EXPECT_EQ(queue, print.friendlyName);
    EXPECT_EQ(L"ZQ Tamrik PCL", print.driverName);
    EXPECT_EQ(L"127.0.0.1:9100", print.address);
    const Function fax = Of(device, FUNCTION_TYPE_FAX);
    EXPECT_EQ(L"", fax.friendlyName) << "no queue names the fax node";
    EXPECT_EQ(L"ZQ Tamrik Fax", fax.driverName);
    const Function scan = Of(device, FUNCTION_TYPE_SCAN);
    EXPECT_EQ(L"Tamrik scanner", scan.friendlyName);
    EXPECT_EQ(L"ZQ Tamrik Scan", scan.driverName);
    const Function config = Of(device, FUNCTION_TYPE_CONFIG);
    EXPECT_EQ(L"ZQ Tamrik 500", config.friendlyName);
    EXPECT_EQ(L"ZQ Tamrik 500", config.driverName);
    EXPECT_EQ(L"127.0.0.1:9100", config.address) << "the record's port before the config port";
    std::wstring missing;
    EXPECT_TRUE(log.InOrder({L"(DB) LoadPrinterInfo succeeded", L"(DB) LoadFaxInfo succeeded",
                             L"(DB) LoadScannerInfo succeeded", L"(DB) LoadConfigInfo succeeded"},
                            &missing))
        << missing;
}

// The fax node's port must hold the serial number, the printer's must be it.
TEST(NetworkDeviceNodes, NodesOfAnotherDeviceAreLeftOutAndMarkTheDeviceBad)
{
    const std::wstring serial = L"NDNODES2";
    DescribedTree tree(DeviceTree()
                           .Add(RootNode(kPrinterId, peers::classes::kPrinter, L"\\0950", serial + L"_X", L"P"))
                           .Add(RootNode(kFaxId, peers::classes::kPrinter, L"\\0951", L"OTHER_FAX", L"F")));
    ASSERT_EQ(L"", tree.Error());
    std::vector<std::string> lines = DeviceInfoLines("NDNODES2", "127.0.0.1", "tamrik-01");
    for (const char* line : {"[PrinterInfo]", "DeviceInstanceId=ROOT\\ZQNETPRINTER\\0950", "[FaxInfo]",
                             "DeviceInstanceId=ROOT\\ZQNETPRINTER\\0951"}) {
        lines.push_back(line);
    }
    WriteBytes(RecordPath(serial), RecordText(lines));
    CNetworkDevice device;
    const unsigned long status = device.Init(serial.c_str(), nullptr);
    ::DeleteFileW(RecordPath(serial).c_str());
    ASSERT_EQ(0u, status);
    EXPECT_TRUE(device.HasBadDevNode());
    EXPECT_FALSE(device.HasFunction(FUNCTION_TYPE_PRINT));
    EXPECT_FALSE(device.HasFunction(FUNCTION_TYPE_FAX));
    EXPECT_FALSE(device.HasFunctions());
}
