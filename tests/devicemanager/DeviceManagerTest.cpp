// The device manager's library functions and the objects a manager hands
// out: network devices from record files in the prefix's data directory,
// nodes of a described tree where a record names them, queues in Wine's
// spooler.
#include <gtest/gtest.h>

#include <windows.h>

#include <iostream>
#include <string>
#include <vector>

#include "DescribedTree.h"
#include "NetworkRecord.h"
#include "SpoolerSetup.h"
#include "devicemanager/CNetworkDevice.h"
#include "devicemanager/CNetworkDevices.h"
#include "devicemanager/DeviceManagerLib.h"
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

constexpr unsigned long kCategories = 0x30000E90;

class DeviceManagerLib : public testing::Test {
protected:
    void TearDown() override
    {
        while (TermDeviceManagerLib() == 0) {
        }
        for (const std::wstring& serial : m_serials) {
            ::DeleteFileW(RecordPath(serial).c_str());
        }
        if (HasFailure()) {
            std::wcerr << m_log.Text();
        }
    }
    // A record of the serial number, with a configuration function unless
    // `config` is false; more lines may follow.
    std::wstring Recorded(const std::string& serial, bool config = true, std::vector<std::string> more = {})
    {
        m_serials.emplace_back(serial.begin(), serial.end());
        std::vector<std::string> lines = DeviceInfoLines(serial, "127.0.0.1", "tamrik-" + serial);
        if (config) {
            lines.insert(lines.end(), {"[ConfigInfo]", "PortNumber=8080"});
        }
        lines.insert(lines.end(), more.begin(), more.end());
        WriteBytes(RecordPath(m_serials.back()), RecordText(lines));
        return m_serials.back();
    }
    IDeviceManager* Opened()
    {
        EXPECT_EQ(0u, InitDeviceManagerLib());
        IDeviceManager* manager = nullptr;
        EXPECT_EQ(0u, OpenDeviceManager(&manager));
        return manager;
    }

    std::vector<std::wstring> m_serials;
    doubles::ModuleLogFile m_log{{g_pDeviceManagerLibLog}, L"devmanager", kCategories};
};

DescribedNode PrinterNode(const wchar_t* id, const std::wstring& port)
{
    DescribedNode node;
    node.instanceId = id;
    node.classGuid = peers::classes::kPrinter;
    node.driverKey = std::wstring(peers::classes::kPrinter) + L"\\0960";
    node.driverDesc = L"ZQ Tamrik PCL";
    node.hardwareIds = {L"ZQNET\\Tamrik_500"};
    node.matchingDeviceId = L"zqnet\\tamrik_500";
    node.portName = port;
    return node;
}

}  // namespace

// Edge: Term without Init.
TEST_F(DeviceManagerLib, TermWithoutInitGivesNotInitialised)
{
    EXPECT_EQ(DM_E_NOT_INITIALISED, TermDeviceManagerLib());
    IDeviceManager* manager = nullptr;
    EXPECT_EQ(DM_E_NOT_INITIALISED, OpenDeviceManager(&manager));
    EXPECT_EQ(DM_E_NOT_INITIALISED, CloseDeviceManager(manager));
    EXPECT_EQ(nullptr, DeviceManagerCache());
}

// Edge: the use count nests.
TEST_F(DeviceManagerLib, TwoInitsAndOneTermLeaveTheCacheAlive)
{
    ASSERT_EQ(0u, InitDeviceManagerLib());
    CDevNodeCache* cache = DeviceManagerCache();
    ASSERT_NE(nullptr, cache);
    ASSERT_EQ(0u, InitDeviceManagerLib());
    EXPECT_EQ(cache, DeviceManagerCache()) << "made once";
    EXPECT_EQ(0u, TermDeviceManagerLib());
    EXPECT_EQ(cache, DeviceManagerCache());
    IDeviceManager* manager = nullptr;
    EXPECT_EQ(0u, OpenDeviceManager(&manager)) << "still initialised";
    EXPECT_EQ(0u, CloseDeviceManager(manager));
    EXPECT_EQ(0u, TermDeviceManagerLib());
    EXPECT_EQ(nullptr, DeviceManagerCache());
    EXPECT_EQ(DM_E_NOT_INITIALISED, TermDeviceManagerLib());
}

// Edge: the last Term takes what was left open.
TEST_F(DeviceManagerLib, LastTermDestroysAManagerThatWasNotClosedWithItsDevices)
{
    const std::wstring serial = Recorded("DMLEFT");
    IDeviceManager* manager = Opened();
    ASSERT_NE(nullptr, manager);
    IDevice* device = nullptr;
    ASSERT_EQ(0u, manager->OpenDevice(serial.c_str(), CONNECTION_TYPE_NETWORK, &device, nullptr));
    IDevices* devices = nullptr;
    ASSERT_EQ(0u, manager->GetInstalledDevices(CONNECTION_TYPE_NETWORK, &devices, nullptr));
    EXPECT_EQ(0u, TermDeviceManagerLib());
    EXPECT_EQ(1u, m_log.Count(L"(I0) Destroying 1 collections and 1 devices"));
    // The manager is gone from the library's set.
    ASSERT_EQ(0u, InitDeviceManagerLib());
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, CloseDeviceManager(manager));
}

TEST_F(DeviceManagerLib, ManagerClosedTwiceOrForeignIsAnInvalidArgument)
{
    IDeviceManager* manager = Opened();
    EXPECT_EQ(1u, manager->GetVersion());
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, OpenDeviceManager(nullptr));
    EXPECT_EQ(0u, CloseDeviceManager(manager));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, CloseDeviceManager(manager));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, CloseDeviceManager(nullptr));
}

// Edge: "mydut" in lower case.
TEST_F(DeviceManagerLib, OpenDeviceWithMydutInLowerCaseTakesTheMydutPath)
{
    const std::wstring serial = Recorded("DMMYDUT");
    IDeviceManager* manager = Opened();
    IDevice* device = nullptr;
    ASSERT_EQ(0u, manager->OpenDevice(L"mydut", CONNECTION_TYPE_NETWORK, &device, nullptr));
    EXPECT_EQ(1u, m_log.Count(L"(->) CDeviceManager::OpenMYDUT"));
    EXPECT_TRUE(device->HasFunction(FUNCTION_TYPE_CONFIG));
    EXPECT_EQ(CONNECTION_TYPE_NETWORK, device->GetConnectionType());
    EXPECT_EQ(0u, manager->CloseDevice(device));
}

// Edge: print alone does not make a device under test.
TEST_F(DeviceManagerLib, DeviceWithOnlyAPrintFunctionIsNotOpenedByMydut)
{
    const wchar_t kPrinterId[] = L"ROOT\\ZQNETPRINTER\\0960";
    DescribedTree tree(DeviceTree().Add(PrinterNode(kPrinterId, L"DMPRINT")));
    ASSERT_EQ(L"", tree.Error());
    // Every other record of the folder is moved aside for this test, and
    // back whatever its outcome.
    struct Aside {
        Aside() : moved(::MoveFileW(folder.c_str(), aside.c_str()) != FALSE) {}
        ~Aside()
        {
            ::DeleteFileW(RecordPath(L"DMPRINT").c_str());
            if (moved && ::RemoveDirectoryW(folder.c_str())) {
                ::MoveFileW(aside.c_str(), folder.c_str());
            }
        }
        const std::wstring folder = CNetworkDevice::RecordFolder();
        const std::wstring aside = folder + L".aside";
        bool moved;
    } aside;
    ASSERT_TRUE(aside.moved || ::GetLastError() == ERROR_FILE_NOT_FOUND);
    Recorded("DMPRINT", false, {"[PrinterInfo]", "DeviceInstanceId=ROOT\\ZQNETPRINTER\\0960"});
    IDeviceManager* manager = Opened();
    IDevices* devices = nullptr;
    ASSERT_EQ(0u, manager->GetInstalledDevices(CONNECTION_TYPE_NETWORK, &devices, nullptr));
    ASSERT_EQ(1u, devices->GetCount());
    EXPECT_TRUE(devices->GetDevice(0)->HasFunction(FUNCTION_TYPE_PRINT));
    EXPECT_FALSE(devices->GetDevice(0)->HasAnyFunction({FUNCTION_TYPE_CONFIG, FUNCTION_TYPE_FAX, FUNCTION_TYPE_SCAN}));
    IDevice* device = nullptr;
    EXPECT_EQ(DM_E_NOT_FOUND, manager->OpenDevice(L"MYDUT", CONNECTION_TYPE_NETWORK, &device, nullptr));
    EXPECT_EQ(nullptr, device);
    EXPECT_EQ(0u, manager->DestroyDevices(devices));
}

// Edge: connection types 3 and 4.
TEST_F(DeviceManagerLib, OpenDeviceWithConnectionType3IsInvalidAnd4IsNotFound)
{
    const std::wstring serial = Recorded("DMTYPES");
    IDeviceManager* manager = Opened();
    IDevice* device = nullptr;
    EXPECT_EQ(DM_E_INVALID_ARGUMENT,
              manager->OpenDevice(serial.c_str(), static_cast<CONNECTION_TYPE>(3), &device, nullptr));
    EXPECT_EQ(DM_E_NOT_FOUND, manager->OpenDevice(serial.c_str(), CONNECTION_TYPE_BLUETOOTH, &device, nullptr));
    EXPECT_EQ(nullptr, device);
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, manager->OpenDevice(L"", CONNECTION_TYPE_NETWORK, &device, nullptr));
    ASSERT_EQ(0u, manager->OpenDevice(serial.c_str(), CONNECTION_TYPE_NETWORK, &device, nullptr));
    EXPECT_EQ(serial, device->GetSerialNumber());
}

// Edge: masks 4 and 8.
TEST_F(DeviceManagerLib, InstalledDevicesOfMask4AreNoneAndMask8IsInvalid)
{
    Recorded("DMMASK");
    IDeviceManager* manager = Opened();
    IDevices* devices = nullptr;
    ASSERT_EQ(0u, manager->GetInstalledDevices(CONNECTION_TYPE_BLUETOOTH, &devices, nullptr));
    EXPECT_EQ(0u, devices->GetCount());
    IDevices* none = nullptr;
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, manager->GetInstalledDevices(8, &none, nullptr));
    EXPECT_EQ(nullptr, none);
    IDevices* network = nullptr;
    ASSERT_EQ(0u, manager->GetInstalledDevices(CONNECTION_TYPE_NETWORK, &network, nullptr));
    bool listed = false;
    for (unsigned long i = 0; i < network->GetCount(); ++i) {
        listed = listed || network->GetDevice(i)->GetSerialNumber() == L"DMMASK";
    }
    EXPECT_TRUE(listed);
    EXPECT_EQ(0u, manager->DestroyDevices(devices));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, manager->DestroyDevices(devices)) << "destroyed already";
}

// Edge: CloseDevice twice.
TEST_F(DeviceManagerLib, CloseDeviceTwiceIsAnInvalidArgumentTheSecondTime)
{
    const std::wstring serial = Recorded("DMCLOSE");
    IDeviceManager* manager = Opened();
    IDevice* device = nullptr;
    ASSERT_EQ(0u, manager->OpenDevice(serial.c_str(), CONNECTION_TYPE_NETWORK, &device, nullptr));
    EXPECT_EQ(0u, manager->CloseDevice(device));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, manager->CloseDevice(device));
    // A device the manager did not hand out, and one that a collection owns.
    CNetworkDevice foreign;
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, manager->CloseDevice(&foreign));
    IDevices* devices = nullptr;
    ASSERT_EQ(0u, manager->GetInstalledDevices(CONNECTION_TYPE_NETWORK, &devices, nullptr));
    ASSERT_LT(0u, devices->GetCount());
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, manager->CloseDevice(devices->GetDevice(0)));
    EXPECT_EQ(0u, CloseDeviceManager(manager));
}

// Ownership of collections, and of objects whose manager is gone: a closed
// manager took its objects with it, so another manager, or the library,
// refuses them by address without touching them.
TEST_F(DeviceManagerLib, CollectionDestroyedTwiceOrForeignAndObjectsOfAClosedManagerAreInvalidArguments)
{
    const std::wstring serial = Recorded("DMOWNER");
    IDeviceManager* first = Opened();
    IDeviceManager* second = nullptr;
    ASSERT_EQ(0u, OpenDeviceManager(&second));
    IDevices* devices = nullptr;
    ASSERT_EQ(0u, first->GetInstalledDevices(CONNECTION_TYPE_NETWORK, &devices, nullptr));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, second->DestroyDevices(devices)) << "a collection of another manager";
    EXPECT_EQ(0u, first->DestroyDevices(devices));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, first->DestroyDevices(devices));
    CNetworkDevices foreign;
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, first->DestroyDevices(&foreign));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, first->DestroyDevices(nullptr));

    IDevice* device = nullptr;
    ASSERT_EQ(0u, first->OpenDevice(serial.c_str(), CONNECTION_TYPE_NETWORK, &device, nullptr));
    ASSERT_EQ(0u, first->GetInstalledDevices(CONNECTION_TYPE_NETWORK, &devices, nullptr));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, second->CloseDevice(device)) << "a device of another manager";
    EXPECT_EQ(0u, CloseDeviceManager(first));
    EXPECT_EQ(1u, m_log.Count(L"(I0) Destroying 1 collections and 1 devices"));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, second->CloseDevice(device));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, second->DestroyDevices(devices));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, CloseDeviceManager(first));
    EXPECT_EQ(0u, CloseDeviceManager(second));
    EXPECT_EQ(0u, TermDeviceManagerLib());
    EXPECT_EQ(DM_E_NOT_INITIALISED, CloseDeviceManager(second)) << "no manager lives once the library is down";
}

TEST_F(DeviceManagerLib, OpenDeviceByFriendlyNameTakesTheQueueOfItsPrintFunctionInAnyCase)
{
    const wchar_t kPrinterId[] = L"ROOT\\ZQNETPRINTER\\0961";
    DescribedTree tree(DeviceTree().Add(PrinterNode(kPrinterId, L"DMNAMED")));
    ASSERT_EQ(L"", tree.Error());
    SpoolerQueues queues;
    const std::wstring queue = SpoolerQueues::Unique(L"ZQ Named");
    ASSERT_TRUE(queues.Add(queue, L"FILE:"));
    ASSERT_TRUE(SetQueueText(queue, L"PnPData", L"DeviceInstanceId", kPrinterId));
    const std::wstring serial =
        Recorded("DMNAMED", true, {"[PrinterInfo]", "DeviceInstanceId=ROOT\\ZQNETPRINTER\\0961"});
    IDeviceManager* manager = Opened();
    std::wstring lower = queue;
    for (wchar_t& ch : lower) {
        ch = ch >= L'A' && ch <= L'Z' ? static_cast<wchar_t>(ch + 32) : ch;
    }
    IDevice* device = nullptr;
    ASSERT_EQ(0u, manager->OpenDevice(lower.c_str(), FUNCTION_TYPE_PRINT, &device, nullptr));
    EXPECT_EQ(serial, device->GetSerialNumber());
    std::wstring model = L"unchanged";
    EXPECT_EQ(0u, manager->GetModelNameFromFriendlyName(queue.c_str(), FUNCTION_TYPE_PRINT, model));
    EXPECT_EQ(L"ZQ Tamrik 500", model);
    std::wstring name = L"unchanged";
    EXPECT_EQ(0u, manager->GetFriendlyNameFromSerialNumber(serial.c_str(), CONNECTION_TYPE_NETWORK,
                                                           FUNCTION_TYPE_PRINT, name));
    EXPECT_EQ(queue, name);
    name = L"unchanged";
    EXPECT_EQ(0u, manager->GetFriendlyNameFromSerialNumber(serial.c_str(), CONNECTION_TYPE_NETWORK,
                                                           FUNCTION_TYPE_FAX, name));
    EXPECT_EQ(L"unchanged", name) << "no fax function: the name stays";
    EXPECT_EQ(DM_E_NOT_FOUND, manager->OpenDevice(L"no such queue", FUNCTION_TYPE_PRINT, &device, nullptr));
}
