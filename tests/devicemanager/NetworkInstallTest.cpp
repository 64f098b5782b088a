// Installing a network device for real: the nodes through Wine's SetupDi and
// class installer with a driver package of the test's for the device's
// hardware ids, the ports through the test port monitor loaded into Wine's
// spooler, the parameters in the prefix's registry, the record in the data
// folder. Each test compares the machine before and after.
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "DescribedTree.h"
#include "InstallSnapshot.h"
#include "NetworkRecord.h"
#include "SpoolerSetup.h"
#include "WineSpooler.h"
#include "devicemanager/CNetworkDevice.h"
#include "devicemanager/DeviceManagerTypes.h"
#include "doubles/ApiOverride.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"
#include "peers/TestKey.h"
#include "utils/CIniFile.h"
#include "winapi/CRegistryApi.h"

using namespace QVDeviceManager;
using namespace devicemanager_test;
using peers::DeviceTree;
using peers::TestKey;

namespace {

const wchar_t kModel[] = L"ZQ Color Laser 1000";
const wchar_t kMonitor[] = L"ZQ Discovery Port Monitor (ZQ Color Laser 1000)";
const wchar_t kMonitors[] = L"System\\CurrentControlSet\\Control\\Print\\Monitors\\";
const wchar_t kEnum[] = L"System\\CurrentControlSet\\Enum\\";
const wchar_t kAnswers[] = L"Software\\Orvane\\TestPortMonitor";
const wchar_t kPrintDriver[] = L"ZQ Color Laser 1000 PCL";
// Informational lines, warnings, errors, debug lines, entries and exits.
constexpr unsigned long kLogCategories = 0x30000ED0;

// The driver package of the device family for this model: a printer and a
// fax driver, and a scanner driver. The printer class installer of the
// platform writes "DriverDesc" and "MatchingDeviceId" in the driver key
// itself; Wine's writes only the INF's path and section, so the package
// adds them.
const char kPrinterInf[] =
    "[Version]\r\nSignature=\"$Windows NT$\"\r\nClass=Printer\r\n"
    "ClassGUID={4D36E979-E325-11CE-BFC1-08002BE10318}\r\nProvider=ZQ\r\n\r\n"
    "[Manufacturer]\r\nZQ=Models,NTamd64\r\n\r\n"
    "[Models.NTamd64]\r\n"
    "\"ZQ Color Laser 1000 PCL\"=Print,MF\\Color_Laser_1000&WSD&IP_PRINT\r\n"
    "\"ZQ Color Laser 1000 Fax\"=Fax,MF\\Color_Laser_1000&WSD&IP_FAX\r\n\r\n"
    "[Print]\r\nAddReg=Print.Reg\r\n[Print.Services]\r\nAddService=,2\r\n"
    "[Print.Reg]\r\nHKR,,DriverDesc,,\"ZQ Color Laser 1000 PCL\"\r\n"
    "HKR,,MatchingDeviceId,,\"mf\\color_laser_1000&wsd&ip_print\"\r\n\r\n"
    "[Fax]\r\nAddReg=Fax.Reg\r\n[Fax.Services]\r\nAddService=,2\r\n"
    "[Fax.Reg]\r\nHKR,,DriverDesc,,\"ZQ Color Laser 1000 Fax\"\r\n"
    "HKR,,MatchingDeviceId,,\"mf\\color_laser_1000&wsd&ip_fax\"\r\n";
const char kScannerInf[] =
    "[Version]\r\nSignature=\"$Windows NT$\"\r\nClass=Image\r\n"
    "ClassGUID={6BDD1FC6-810F-11D0-BEC7-08002BE2092F}\r\nProvider=ZQ\r\n\r\n"
    "[Manufacturer]\r\nZQ=Models,NTamd64\r\n\r\n"
    "[Models.NTamd64]\r\n\"ZQ Color Laser 1000 Scan\"=Scan,MF\\Color_Laser_1000&WSD&IP_SCAN\r\n\r\n"
    "[Scan]\r\nAddReg=Scan.Reg\r\n[Scan.Services]\r\nAddService=,2\r\n"
    "[Scan.Reg]\r\nHKR,,DriverDesc,,\"ZQ Color Laser 1000 Scan\"\r\n"
    "HKR,,MatchingDeviceId,,\"mf\\color_laser_1000&wsd&ip_scan\"\r\n";

std::wstring InfPath(const wchar_t* name)
{
    wchar_t windows[MAX_PATH] = {};
    ::GetWindowsDirectoryW(windows, MAX_PATH);
    return std::wstring(windows) + L"\\inf\\" + name;
}

// The driver package in the prefix's INF folder while the object lives.
class DriverPackage {
public:
    DriverPackage()
    {
        std::ofstream(std::filesystem::path(InfPath(L"orvnetprint.inf")), std::ios::binary) << kPrinterInf;
        std::ofstream(std::filesystem::path(InfPath(L"orvnetscan.inf")), std::ios::binary) << kScannerInf;
    }
    ~DriverPackage()
    {
        ::DeleteFileW(InfPath(L"orvnetprint.inf").c_str());
        ::DeleteFileW(InfPath(L"orvnetscan.inf").c_str());
    }
};

std::wstring Value(const std::wstring& key, const wchar_t* name)
{
    HKEY opened = nullptr;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS) {
        return L"(no key)";
    }
    wchar_t text[1024] = {};
    DWORD size = sizeof text - sizeof(wchar_t);
    const LSTATUS read = ::RegQueryValueExW(opened, name, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size);
    ::RegCloseKey(opened);
    return read == ERROR_SUCCESS ? text : L"(none)";
}

bool KeyExists(const std::wstring& key)
{
    HKEY opened = nullptr;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS) {
        return false;
    }
    ::RegCloseKey(opened);
    return true;
}

// The id Wine's SetupDi gives the next node of a class name.
std::wstring NextRootId(const std::wstring& className)
{
    for (int n = 0;; ++n) {
        wchar_t id[64];
        swprintf(id, 64, L"ROOT\\%ls\\%04d", className.c_str(), n);
        if (!KeyExists(kEnum + std::wstring(id))) {
            return id;
        }
    }
}

// The first line of this process that begins with `start`.
std::wstring LineStarting(const doubles::ModuleLogFile& log, const std::wstring& start)
{
    for (const std::wstring& line : log.Lines()) {
        if (line.rfind(start, 0) == 0) {
            return line;
        }
    }
    return L"(no line)";
}

// The monitor answers `status` to `command` on `port`.
class MonitorAnswer {
public:
    MonitorAnswer(const std::wstring& command, const std::wstring& port, DWORD status)
        : m_key(HKEY_LOCAL_MACHINE, kAnswers), m_name(command + L" " + port)
    {
        ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, kAnswers, m_name.c_str(), REG_DWORD, &status, sizeof status);
    }
    ~MonitorAnswer() { ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kAnswers, m_name.c_str()); }

private:
    TestKey m_key;
    std::wstring m_name;
};

// A registry that refuses to write one value.
class RefusingRegistry : public QVWinApi::CRegistryApi {
public:
    explicit RefusingRegistry(const wchar_t* name) : m_name(name) {}
    LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                           DWORD bytes) override
    {
        if (name != nullptr && m_name == name) {
            return ERROR_ACCESS_DENIED;
        }
        return QVWinApi::CRegistryApi::RegSetValueExW(key, name, reserved, type, data, bytes);
    }

private:
    std::wstring m_name;
};

// A record file that refuses to take one section.
class RefusingRecord : public QVUtils::CIniFile {
public:
    explicit RefusingRecord(const wchar_t* section) : m_section(section) {}
    using QVUtils::CIniFile::SetString;
    bool SetString(const wchar_t* section, const wchar_t* key, const wchar_t* value) override
    {
        return m_section != section && QVUtils::CIniFile::SetString(section, key, value);
    }

private:
    std::wstring m_section;
};

class NetworkInstall : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(InstallMonitor(kMonitor)) << "the test port monitor could not be added to Wine's spooler";
        ASSERT_EQ(L"", m_tree.Error());
        // Wine's spooler refuses DPD_DELETE_UNUSED_FILES with 87: a double of
        // the spooler drops the flag, all else is Wine's.
        m_spooler.dropDeleteFlag = true;
        // The printer class's key stands on every Windows machine; a fresh
        // Wine prefix makes it with the first printer node and keeps it.
        HKEY printers = nullptr;
        ::RegCreateKeyExW(HKEY_LOCAL_MACHINE,
                          L"System\\CurrentControlSet\\Control\\Class\\{4D36E979-E325-11CE-BFC1-08002BE10318}", 0,
                          nullptr, 0, KEY_READ, nullptr, &printers, nullptr);
        ::RegCloseKey(printers);
        m_before = InstallSnapshot::Take();
    }

    // A discovered device of the model with these services.
    static Announced Device(const std::wstring& serial, unsigned long services)
    {
        Announced device(serial, L"urn:uuid:5b0e7d2c-1a3f-4e6b-9c8d-7f6e5d4c3b2a", L"127.0.0.1", L"laser-1000",
                         services);
        device.SetModel(L"Color Laser 1000");
        return device;
    }

    void ExpectMachineAsBefore()
    {
        EXPECT_EQ(L"", InstallSnapshot::Difference(m_before, InstallSnapshot::Take()));
    }

    DriverPackage m_package;
    // The configuration manager's calls that Wine lacks answered over the
    // nodes Wine's SetupDi made (doubles::DescribedSetupApi).
    DescribedTree m_tree{DeviceTree()};
    WineSpooler m_spooler;
    doubles::ApiOverride<QVWinApi::ISpoolerApi> m_spoolerOverride{g_pSpoolerApi, m_spooler};
    InstallSnapshot m_before;
};

constexpr unsigned long kPrint = 1;
constexpr unsigned long kScan = 2;
constexpr unsigned long kConfig = 16;
constexpr unsigned long kFax = 32;

}  // namespace

TEST_F(NetworkInstall, InstallThenUninstallLeavesSpoolerRegistryAndDataFolderAsBefore)
{
    doubles::ModuleLogFile log({g_pDeviceManagerLibLog}, L"netinstall", kLogCategories);
    const Announced announced = Device(L"NI0001", kPrint | kScan | kConfig | kFax);
    RecordedDevice device;
    ASSERT_EQ(0u, device.Init(&announced, nullptr));
    const std::wstring printer = NextRootId(L"PRINTER");
    const std::wstring scanner = NextRootId(L"SCANNER");
    ASSERT_EQ(0u, device.Install(nullptr)) << log.Text();
    EXPECT_TRUE(device.IsInstalled());
    EXPECT_EQ(DM_E_ALREADY_INSTALLED, device.Install(nullptr));
    const std::wstring data =
        L"System\\CurrentControlSet\\Control\\Class\\" + Value(kEnum + scanner, L"Driver") + L"\\DeviceData";
    EXPECT_EQ(L"\\hostname:127.0.0.1\\ipaddr:127.0.0.1\\guid:urn:uuid:5b0e7d2c-1a3f-4e6b-9c8d-7f6e5d4c3b2a"
              L"\\macaddr:00:11:22:33:44:55\\port:1",
              Value(data, L"NetworkDeviceID"));
    EXPECT_EQ(L"127.0.0.1", Value(data, L"PortID"));
    EXPECT_EQ(L"00:11:22:33:44:55", Value(data, L"MAC"));
    EXPECT_EQ(L"urn:uuid:5b0e7d2c-1a3f-4e6b-9c8d-7f6e5d4c3b2a", Value(data, L"GUID"));
    EXPECT_EQ(L"1", Value(data, L"PortNumber"));
    EXPECT_EQ(L"MF\\Color_Laser_1000&WSD&IP_SCAN", Value(kEnum + scanner, L"HardwareID"));
    const std::vector<std::string> record = ReadLines(RecordPath(L"NI0001"));
    const std::string printerLine = "DeviceInstanceId=" + Narrow(printer);
    EXPECT_NE(record.end(), std::find(record.begin(), record.end(), printerLine)) << ReadBytes(RecordPath(L"NI0001"));
    EXPECT_NE(record.end(), std::find(record.begin(), record.end(), std::string("PortNumber=8080")));
    EXPECT_EQ(L"MF\\Color_Laser_1000&WSD&IP_PRINT", Value(kEnum + printer, L"HardwareID"));
    EXPECT_EQ(L"NI0001", Value(kEnum + printer + L"\\Device Parameters", L"PortName"));
    const std::wstring port = kMonitors + std::wstring(kMonitor) + L"\\Ports\\";
    EXPECT_EQ(L"NI0001", Value(port + L"NI0001", L"SerialNumber"));
    EXPECT_EQ(kModel, Value(port + L"NI0001", L"ModelName"));
    EXPECT_EQ(L"NI0001", Value(port + L"NI0001_FAX", L"SerialNumber"));
    IDeviceFunction* function = nullptr;
    ASSERT_EQ(0u, device.GetFunction(FUNCTION_TYPE_PRINT, &function));
    EXPECT_EQ(kPrintDriver, function->GetDriverName());
    ASSERT_EQ(0u, device.GetFunction(FUNCTION_TYPE_SCAN, &function));
    EXPECT_EQ(L"ZQ Color Laser 1000 Scan", function->GetDriverName());
    ASSERT_EQ(0u, device.GetFunction(FUNCTION_TYPE_CONFIG, &function));
    EXPECT_EQ(L"127.0.0.1:8080", function->GetAddress());
    // Windows' printer class installer puts the queue's driver into the
    // spooler; Wine's has none, so the test does.
    ASSERT_TRUE(InstallDriver(kPrintDriver, L""));

    EXPECT_EQ(0u, device.Uninstall(nullptr)) << log.Text();
    EXPECT_FALSE(device.IsInstalled());
    EXPECT_FALSE(device.HasFunctions());
    ExpectMachineAsBefore();
    EXPECT_EQ(1u, log.Count(L"(WN) CPrintUtil::UninstallPrinterDriver(ZQ Color Laser 1000 Fax) device not found"))
        << log.Text();
}

TEST_F(NetworkInstall, ModelZQColorLaser1000GivesColor_Laser_1000AndTheHardwareIdMFColor_Laser_1000WSDIP_PRINT)
{
    EXPECT_EQ(L"Color_Laser_1000", CNetworkDevice::ModelIdentifier(L"ZQ Color Laser 1000"));
    EXPECT_EQ(L"Color_Laser_1000", CNetworkDevice::ModelIdentifier(L"zq Color Laser 1000"));
    EXPECT_EQ(L"ZQColor_Laser", CNetworkDevice::ModelIdentifier(L"ZQColor Laser"));
    const Announced announced = Device(L"NI0002", kPrint);
    RecordedDevice device;
    ASSERT_EQ(0u, device.Init(&announced, nullptr));
    const std::wstring printer = NextRootId(L"PRINTER");
    ASSERT_EQ(0u, device.Install(nullptr));
    EXPECT_EQ(L"MF\\Color_Laser_1000&WSD&IP_PRINT", Value(kEnum + printer, L"HardwareID"));
    ASSERT_TRUE(InstallDriver(kPrintDriver, L""));
    EXPECT_EQ(0u, device.Uninstall(nullptr));
    ExpectMachineAsBefore();
}

TEST_F(NetworkInstall, DeviceWithNoFunctionsInstallsAsItsRecordAlone)
{
    // Services that give no function: neither print, scan, fax nor config.
    const Announced announced = Device(L"NI0003", 4 | 8);
    RecordedDevice device;
    ASSERT_EQ(0u, device.Init(&announced, nullptr));
    ASSERT_FALSE(device.HasFunctions());
    EXPECT_EQ(0u, device.Install(nullptr));
    const InstallSnapshot installed = InstallSnapshot::Take();
    EXPECT_EQ(installed.registry, m_before.registry) << "no node, no port, no parameter";
    ASSERT_EQ(1u, installed.records.count(L"NI0003.ini"));
    EXPECT_EQ(m_before.records.size() + 1, installed.records.size());
    const std::vector<std::string> lines = ReadLines(RecordPath(L"NI0003"));
    EXPECT_EQ(std::vector<std::string>({"[DeviceInfo]", "SerialNumber=NI0003", "ModelName=ZQ Color Laser 1000",
                                        "GUID=urn:uuid:5b0e7d2c-1a3f-4e6b-9c8d-7f6e5d4c3b2a",
                                        "MAC=00:11:22:33:44:55", "HostName=laser-1000", "IPAddress=127.0.0.1",
                                        "NetworkType=Ethernet", "OffSubNet=true", "MulticastEnabled=true",
                                        "DefaultToSearchByIP=true"}),
              lines);
    EXPECT_EQ(0u, device.Uninstall(nullptr));
    ExpectMachineAsBefore();
}

TEST_F(NetworkInstall, AddPortThatAnswers183IsRepairedByConfigPort)
{
    // A port of the serial number left from an earlier install of another model.
    TestKey stale(HKEY_LOCAL_MACHINE, kMonitors + std::wstring(kMonitor) + L"\\Ports\\NI0004");
    stale.SetString(L"ModelName", L"ZQ Old Laser");
    m_before = InstallSnapshot::Take();
    doubles::ModuleLogFile log({g_pDeviceManagerLibLog}, L"netinstall183", kLogCategories);
    const Announced announced = Device(L"NI0004", kPrint);
    RecordedDevice device;
    ASSERT_EQ(0u, device.Init(&announced, nullptr));
    ASSERT_EQ(0u, device.Install(nullptr)) << log.Text();
    EXPECT_EQ(1u, log.Count(L"(DB) XcvData \"AddPort\" returned ERROR_ALREADY_EXISTS")) << log.Text();
    EXPECT_EQ(kModel, Value(kMonitors + std::wstring(kMonitor) + L"\\Ports\\NI0004", L"ModelName"));
    EXPECT_EQ(L"NI0004", Value(kMonitors + std::wstring(kMonitor) + L"\\Ports\\NI0004", L"SerialNumber"));
    ASSERT_TRUE(InstallDriver(kPrintDriver, L""));
    EXPECT_EQ(0u, device.Uninstall(nullptr));
    EXPECT_FALSE(KeyExists(kMonitors + std::wstring(kMonitor) + L"\\Ports\\NI0004"));
}

TEST_F(NetworkInstall, Status170FromDeletePortIsSuccessThePortStaysAndTheDeviceGoes)
{
    doubles::ModuleLogFile log({g_pDeviceManagerLibLog}, L"netinstall170", kLogCategories);
    const Announced announced = Device(L"NI0005", kPrint);
    RecordedDevice device;
    ASSERT_EQ(0u, device.Init(&announced, nullptr));
    const std::wstring printer = NextRootId(L"PRINTER");
    ASSERT_EQ(0u, device.Install(nullptr)) << log.Text();
    ASSERT_TRUE(InstallDriver(kPrintDriver, L""));
    const std::wstring port = kMonitors + std::wstring(kMonitor) + L"\\Ports\\NI0005";
    {
        MonitorAnswer busy(L"DeletePort", L"NI0005", ERROR_BUSY);
        EXPECT_EQ(0u, device.Uninstall(nullptr)) << log.Text();
    }
    EXPECT_TRUE(KeyExists(port)) << "the port stays";
    EXPECT_FALSE(device.IsInstalled());
    EXPECT_FALSE(KeyExists(kEnum + printer));
    const std::wstring busy = L"(##) XcvData failed with dwERr = 170, GetLastError = ";
    EXPECT_EQ(busy, LineStarting(log, busy).substr(0, busy.size())) << log.Text();
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, port.c_str());
    ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, (kMonitors + std::wstring(kMonitor) + L"\\Ports").c_str());
    ExpectMachineAsBefore();
}

TEST_F(NetworkInstall, ARebootNotedByOneHandlerDoesNotKeepTheNextFromRunning)
{
    const Announced announced = Device(L"NI0006", kPrint | kScan);
    RecordedDevice device;
    ASSERT_EQ(0u, device.Init(&announced, nullptr));
    const std::wstring printer = NextRootId(L"PRINTER");
    const std::wstring scanner = NextRootId(L"SCANNER");
    // The class installer asks for a restart with the printer node: the
    // install parameters of that node, answered by doubles::DescribedSetupApi,
    // carry DI_NEEDREBOOT (Wine's never do).
    m_tree.Api().NeedsRebootAfterRemoving(printer);
    EXPECT_EQ(DM_E_REBOOT_REQUIRED, device.Install(nullptr));
    EXPECT_TRUE(KeyExists(kEnum + scanner)) << "the scanner was installed after the printer's restart";
    EXPECT_EQ(L"MF\\Color_Laser_1000&WSD&IP_SCAN", Value(kEnum + scanner, L"HardwareID"));
    ASSERT_TRUE(device.HasFunction(FUNCTION_TYPE_SCAN));
    ASSERT_TRUE(InstallDriver(kPrintDriver, L""));
    EXPECT_EQ(DM_E_REBOOT_REQUIRED, device.Uninstall(nullptr)) << "removing the printer node asks for it too";
    ExpectMachineAsBefore();
}

TEST_F(NetworkInstall, DIF_ALLOW_INSTALLWithERROR_DI_DO_DEFAULTGoesOn)
{
    // Wine's class installer answers DIF_ALLOW_INSTALL with ERROR_DI_DO_DEFAULT,
    // as the platform's does when no installer objects.
    HDEVINFO set = ::SetupDiCreateDeviceInfoList(nullptr, nullptr);
    SP_DEVINFO_DATA node = {};
    node.cbSize = sizeof node;
    const GUID none = {};
    ASSERT_TRUE(::SetupDiCreateDeviceInfoW(set, L"Printer", &none, L"probe", nullptr, DICD_GENERATE_ID, &node));
    EXPECT_FALSE(::SetupDiCallClassInstaller(DIF_ALLOW_INSTALL, set, &node));
    EXPECT_EQ(0xE000020Eu, ::GetLastError());
    ::SetupDiDestroyDeviceInfoList(set);
    m_before = InstallSnapshot::Take();

    doubles::ModuleLogFile log({g_pDeviceManagerLibLog}, L"netinstallallow", kLogCategories);
    const Announced announced = Device(L"NI0007", kPrint);
    RecordedDevice device;
    ASSERT_EQ(0u, device.Init(&announced, nullptr));
    EXPECT_EQ(0u, device.Install(nullptr)) << log.Text();
    EXPECT_EQ(L"(no line)", LineStarting(log, L"(##) CallClassInstaller(")) << log.Text();
    ASSERT_TRUE(InstallDriver(kPrintDriver, L""));
    EXPECT_EQ(0u, device.Uninstall(nullptr));
    ExpectMachineAsBefore();
}

TEST_F(NetworkInstall, PortStepFailingWithNoMonitorForTheModelRollsBackWithFailed)
{
    doubles::ModuleLogFile log({g_pDeviceManagerLibLog}, L"netinstallport", kLogCategories);
    Announced announced = Device(L"NI0008", kPrint | kScan);
    announced.SetModel(L"Mono Laser 7");
    RecordedDevice device;
    ASSERT_EQ(0u, device.Init(&announced, nullptr));
    EXPECT_EQ(DM_E_FAILED, device.Install(nullptr));
    // Wine's spooler: ERROR_UNKNOWN_PORT for a monitor it does not know.
    EXPECT_EQ(1u, log.Count(L"(##) OpenPrinter for ',XcvMonitor ZQ Discovery Port Monitor (ZQ Mono Laser 7)' failed "
                            L"with err = 1796"))
        << log.Text();
    EXPECT_FALSE(device.IsInstalled());
    ExpectMachineAsBefore();
}

TEST_F(NetworkInstall, FaxQueuePortRefusedRollsBackThePrinterWithFailed)
{
    doubles::ModuleLogFile log({g_pDeviceManagerLibLog}, L"netinstallqueue", kLogCategories);
    MonitorAnswer refused(L"AddPort", L"NI0009_FAX", ERROR_ACCESS_DENIED);
    const Announced announced = Device(L"NI0009", kPrint | kFax);
    RecordedDevice device;
    ASSERT_EQ(0u, device.Init(&announced, nullptr));
    EXPECT_EQ(DM_E_FAILED, device.Install(nullptr));
    EXPECT_EQ(1u, log.Count(L"(##) XcvData \"AddPort\" returned = 5")) << log.Text();
    EXPECT_FALSE(device.IsInstalled());
    ExpectMachineAsBefore();
}

TEST_F(NetworkInstall, NodeStepFailingWithoutADriverForTheHardwareIdRollsBackWithFailed)
{
    doubles::ModuleLogFile log({g_pDeviceManagerLibLog}, L"netinstallnode", kLogCategories);
    Announced announced = Device(L"NI0010", kPrint);
    announced.SetModel(L"Color Laser 1000X");
    // The monitor serves this model too; only the driver package lacks it.
    ASSERT_TRUE(InstallMonitor(L"ZQ Discovery Port Monitor (ZQ Color Laser 1000X)"));
    m_before = InstallSnapshot::Take();
    RecordedDevice device;
    ASSERT_EQ(0u, device.Init(&announced, nullptr));
    EXPECT_EQ(DM_E_FAILED, device.Install(nullptr));
    // Wine's class installer: ERROR_NO_COMPAT_DRIVERS, 0xE0000228.
    EXPECT_EQ(1u, log.Count(L"(##) CallClassInstaller(DIF_SELECTBESTCOMPATDRV) failed, err=-536870360")) << log.Text();
    EXPECT_FALSE(device.IsInstalled());
    ExpectMachineAsBefore();
}

TEST_F(NetworkInstall, RegistryStepFailingOnTheScannerParametersRollsBackWithFailed)
{
    doubles::ModuleLogFile log({g_pDeviceManagerLibLog}, L"netinstallreg", kLogCategories);
    // A double: Wine's registry cannot be made to refuse one value.
    RefusingRegistry registry(L"NetworkDeviceID");
    doubles::ApiOverride<QVWinApi::IRegistryApi> override(g_pRegistryApi, registry);
    const Announced announced = Device(L"NI0011", kPrint | kScan);
    RecordedDevice device;
    ASSERT_EQ(0u, device.Init(&announced, nullptr));
    EXPECT_EQ(DM_E_FAILED, device.Install(nullptr));
    EXPECT_EQ(1u, log.Count(L"(##) g_pRegistryApi->SetValue(NetworkDeviceID, \\hostname:127.0.0.1\\ipaddr:127.0.0.1"
                            L"\\guid:urn:uuid:5b0e7d2c-1a3f-4e6b-9c8d-7f6e5d4c3b2a\\macaddr:00:11:22:33:44:55"
                            L"\\port:1) failed with err = 5"))
        << log.Text();
    EXPECT_FALSE(device.IsInstalled());
    ExpectMachineAsBefore();
}

TEST_F(NetworkInstall, RecordStepFailingOnThePrinterSectionRollsBackWithFailed)
{
    doubles::ModuleLogFile log({g_pDeviceManagerLibLog}, L"netinstallrecord", kLogCategories);
    // A double of the record file: Wine's profile functions cannot be made
    // to refuse one section.
    RefusingRecord record(L"PrinterInfo");
    RecordedDevice device(&record);
    const Announced announced = Device(L"NI0012", kPrint);
    ASSERT_EQ(0u, device.Init(&announced, nullptr));
    EXPECT_EQ(DM_E_FAILED, device.Install(nullptr));
    EXPECT_EQ(1u, log.Count(L"(##) SavePrinterInfo failed")) << log.Text();
    EXPECT_FALSE(device.IsInstalled());
    ExpectMachineAsBefore();
}

TEST_F(NetworkInstall, UninstallThatFailsPutsBackWhatWentAndGivesTheStatus)
{
    doubles::ModuleLogFile log({g_pDeviceManagerLibLog}, L"netinstallback", kLogCategories);
    const Announced announced = Device(L"NI0013", kPrint | kConfig);
    RecordedDevice device;
    ASSERT_EQ(0u, device.Init(&announced, nullptr));
    const std::wstring first = NextRootId(L"PRINTER");
    ASSERT_EQ(0u, device.Install(nullptr)) << log.Text();
    // No print driver in the spooler: removing it fails after the node went.
    EXPECT_EQ(DM_E_NOT_FOUND, device.Uninstall(nullptr));
    EXPECT_EQ(1u, log.Count(L"(##) CPrintUtil::UninstallPrinterDriver(ZQ Color Laser 1000 PCL) failed with error "
                            L"-2081883395"))
        << log.Text();
    EXPECT_EQ(1u, log.Count(L"(DB) XcvData \"AddPort\" returned ERROR_ALREADY_EXISTS")) << "the port had stayed";
    EXPECT_TRUE(device.IsInstalled());
    EXPECT_FALSE(device.HasBadDevNode()) << "the install that put it back succeeded";
    EXPECT_EQ(std::vector<std::wstring>{first}, m_tree.Api().m_removed) << "the first node went";
    const std::vector<std::string> record = ReadLines(RecordPath(L"NI0013"));
    const auto again = std::find_if(record.begin(), record.end(), [](const std::string& line) {
        return line.rfind("DeviceInstanceId=ROOT\\PRINTER\\", 0) == 0;
    });
    ASSERT_NE(record.end(), again) << "the record names the printer node made again";
    EXPECT_TRUE(KeyExists(kEnum + std::wstring(again->begin() + 17, again->end())));
    ASSERT_TRUE(device.HasFunction(FUNCTION_TYPE_PRINT));
    ASSERT_TRUE(InstallDriver(kPrintDriver, L""));
    EXPECT_EQ(0u, device.Uninstall(nullptr)) << log.Text();
    ExpectMachineAsBefore();
}
