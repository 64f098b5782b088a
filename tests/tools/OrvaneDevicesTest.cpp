// orvane devices against orvane-devsim.exe on a loopback address of its own:
// the device manager's directed search, what it prints as text and as JSON,
// and its exit codes. ctest runs this binary with "wsdapi.dll" unloadable,
// which orvane.exe inherits, so that the library's own server searches.
#include <gtest/gtest.h>

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

#include "common/Text.h"
#include "tools/ChildProcess.h"
#include "tools/DevsimProcess.h"

using toolstest::DevsimProcess;
using toolstest::RunResult;
using toolstest::RunTool;

namespace {

// A simulator on a loopback address of its own, drawn anew for each attempt
// to start it; `address` receives the one it runs on.
std::unique_ptr<DevsimProcess> DevsimOnOwnAddress(std::string* address, std::vector<std::wstring> arguments)
{
    return std::make_unique<DevsimProcess>([address, arguments] {
        *address = tools::Text::Narrow(toolstest::RandomLoopbackAddress(94));
        std::vector<std::wstring> all{L"--bind", tools::Text::Wide(*address)};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return all;
    });
}

RunResult Devices(const std::vector<std::wstring>& arguments)
{
    std::vector<std::wstring> all = {L"devices"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return RunTool(L"orvane.exe", all);
}

}  // namespace

TEST(OrvaneDevices, FindByAddressListsTheDeviceWithItsFunctionsAsTextAndJson)
{
    std::string address;
    const auto devsim = DevsimOnOwnAddress(
        &address, {L"--wsd", L"--uuid", L"6f72766e-6465-4673-896d-0000000000e7", L"--host-name", L"devices-test",
                   L"--serial-number", L"ORV-DEVICES-7", L"--device-id", L"MFG:Orvane;MDL:Virtual 7;",
                   L"--services", L"Print9100 DSD Fax"});
    ASSERT_TRUE(devsim->Running()) << devsim->Process().Output() << devsim->Failures();
    const std::wstring wide = tools::Text::Wide(address);

    const RunResult text = Devices({L"--find", L"--address", wide});
    EXPECT_EQ(0, text.exitCode) << ::testing::PrintToString(text.err);
    EXPECT_EQ((std::vector<std::string>{
                  "network ORV-DEVICES-7        Orvane Virtual 7         " + address + " online",
                  "        print                                    " + address,
                  "        fax                                      " + address,
                  "        config                                   " + address}),
              text.out);

    const RunResult json = Devices({L"--find", L"--address", wide, L"--json"});
    EXPECT_EQ(0, json.exitCode);
    EXPECT_EQ((std::vector<std::string>{
                  "{\"connection\": \"network\", \"serialNumber\": \"ORV-DEVICES-7\", \"modelName\": \"Orvane Virtual "
                  "7\", \"ipAddress\": \"" + address + "\", \"hostName\": \"devices-test\", \"guid\": "
                  "\"urn:uuid:6f72766e-6465-4673-896d-0000000000e7\", \"installed\": 0, \"online\": 1, \"printName\": "
                  "\"\", \"printAddress\": \"" + address + "\", \"faxName\": \"\", \"faxAddress\": \"" + address
                  + "\", \"configName\": \"\", \"configAddress\": \"" + address + "\"}"}),
              json.out);
}

TEST(OrvaneDevices, NothingAtTheAddressOrNoSuchDeviceFailsWithTheStatus)
{
    const RunResult nothing = Devices({L"--find", L"--address", L"127.94.0.251"});
    EXPECT_EQ(1, nothing.exitCode);
    EXPECT_TRUE(nothing.out.empty());
    EXPECT_EQ((std::vector<std::string>{"orvane devices: failed: 0x83E8FAF1 (DM_E_NETWORK_UNAVAILABLE)"}),
              nothing.err);
    const RunResult unknown = Devices({L"--open", L"NO-SUCH-DEVICE-OR-QUEUE"});
    EXPECT_EQ(1, unknown.exitCode);
    EXPECT_EQ((std::vector<std::string>{"orvane devices: failed: 0x83E8FAFD (DM_E_NOT_FOUND)"}), unknown.err);
}

TEST(OrvaneDevices, UsageErrorsExitWith2)
{
    EXPECT_EQ(2, Devices({L"--find", L"--open", L"X"}).exitCode);
    EXPECT_EQ(2, Devices({L"--address", L"127.0.0.1"}).exitCode);
    EXPECT_EQ(2, Devices({L"--open", L""}).exitCode);
    EXPECT_EQ(2, Devices({L"stray"}).exitCode);
    EXPECT_EQ(2, Devices({L"--install", L"X", L"--uninstall", L"X"}).exitCode);
    EXPECT_EQ(2, Devices({L"--install", L"X", L"--find"}).exitCode);
    EXPECT_EQ(2, Devices({L"--uninstall", L"X", L"--address", L"127.0.0.1"}).exitCode);
    EXPECT_EQ(2, Devices({L"--uninstall", L"X", L"--json"}).exitCode);
    const RunResult empty = Devices({L"--install", L""});
    EXPECT_EQ(2, empty.exitCode);
    EXPECT_EQ("orvane devices: an empty name, serial number or address", empty.err.empty() ? "" : empty.err[0]);
    const RunResult help = Devices({L"--help"});
    EXPECT_EQ(0, help.exitCode);
    ASSERT_GE(help.out.size(), 5u);
    EXPECT_EQ("usage: orvane devices [--usb] [--network] [--json]", help.out[0]);
    EXPECT_EQ("       orvane devices --install SERIAL [--address IP] [--json]", help.out[3]);
    EXPECT_EQ("       orvane devices --uninstall SERIAL", help.out[4]);
}

namespace {

// The folder of network device records that orvane.exe uses: below the
// common application data, "ZQ" and the name of the folder above bin.
std::wstring RecordFolder()
{
    std::wstring root = toolstest::ChildProcess::BinaryFolder();
    root.pop_back();
    root = root.substr(0, root.rfind(L'\\'));
    wchar_t common[MAX_PATH] = {};
    GetEnvironmentVariableW(L"ALLUSERSPROFILE", common, MAX_PATH);
    return std::wstring(common) + L"\\ZQ\\" + root.substr(root.rfind(L'\\') + 1) + L"\\NetworkDevices";
}

std::string ReadRecord(const std::wstring& path)
{
    std::string bytes;
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
        char buffer[4096];
        DWORD got = 0;
        while (ReadFile(file, buffer, sizeof buffer, &got, nullptr) && got > 0) {
            bytes.append(buffer, got);
        }
        CloseHandle(file);
    }
    return bytes;
}

void WriteRecord(const std::wstring& path, const std::string& bytes)
{
    HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    ::WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    CloseHandle(file);
}

}  // namespace

// The record says the device is at an old address, off the subnet (so the
// search is directed, and stays on loopback); its host name names where the
// device answers now. --open finds it there and the record follows.
TEST(OrvaneDevices, OpenFindsAMovedDeviceAtItsHostNameAndRewritesItsRecord)
{
    std::string address;
    const auto devsim = DevsimOnOwnAddress(
        &address, {L"--wsd", L"--uuid", L"6f72766e-6465-4673-896d-0000000000e8", L"--host-name", L"moved-printer",
                   L"--serial-number", L"ORV-MOVED-8", L"--device-id", L"MFG:Orvane;MDL:Virtual 8;", L"--services",
                   L"Print9100 DSD"});
    ASSERT_TRUE(devsim->Running()) << devsim->Process().Output() << devsim->Failures();
    const std::wstring folder = RecordFolder();
    CreateDirectoryW(folder.c_str(), nullptr);
    const std::wstring record = folder + L"\\ORV-MOVED-8.ini";
    auto text = [](const std::string& host, const std::string& ip) {
        return "[DeviceInfo]\r\nSerialNumber=ORV-MOVED-8\r\nModelName=Orvane Virtual 8\r\n"
               "GUID=urn:uuid:6f72766e-6465-4673-896d-0000000000e8\r\nMAC=00:00:5E:00:53:01\r\nHostName="
               + host + "\r\nIPAddress=" + ip
               + "\r\nNetworkType=Ethernet\r\nOffSubNet=true\r\nMulticastEnabled=true\r\nDefaultToSearchByIP=true\r\n"
                 "[ConfigInfo]\r\nPortNumber=8080\r\n";
    };
    WriteRecord(record, text(address, "127.94.0.252"));

    const RunResult listed = Devices({L"--network"});
    EXPECT_EQ(0, listed.exitCode);
    const RunResult opened = Devices({L"--open", L"ORV-MOVED-8"});
    const std::string after = ReadRecord(record);
    DeleteFileW(record.c_str());
    bool offlineBefore = false;
    for (const std::string& line : listed.out) {
        offlineBefore = offlineBefore
                        || line == "network ORV-MOVED-8          Orvane Virtual 8         127.94.0.252 offline";
    }
    EXPECT_TRUE(offlineBefore) << ::testing::PrintToString(listed.out);
    EXPECT_EQ(0, opened.exitCode) << ::testing::PrintToString(opened.err);
    EXPECT_EQ((std::vector<std::string>{
                  "network ORV-MOVED-8          Orvane Virtual 8         " + address + " online",
                  "        config  Orvane Virtual 8                 " + address + ":8080"}),
              opened.out);
    EXPECT_EQ(text("moved-printer", address), after) << "the record follows the device";
}

namespace {

// The keys below a key of HKEY_LOCAL_MACHINE, every level, each with its
// values' names, types and sizes.
void KeyNames(const std::wstring& path, std::vector<std::wstring>* names)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
        return;
    }
    names->push_back(path);
    wchar_t value[16384];
    DWORD type = 0;
    DWORD bytes = 0;
    for (DWORD i = 0, chars = 16384;
         RegEnumValueW(key, i, value, &chars, nullptr, &type, nullptr, &bytes) == ERROR_SUCCESS; ++i, chars = 16384) {
        names->push_back(path + L"|" + value + L"|" + std::to_wstring(type) + L"|" + std::to_wstring(bytes));
    }
    std::vector<std::wstring> children;
    wchar_t name[256];
    for (DWORD i = 0, chars = 256; RegEnumKeyExW(key, i, name, &chars, nullptr, nullptr, nullptr, nullptr)
                                   == ERROR_SUCCESS;
         ++i, chars = 256) {
        children.push_back(name);
    }
    RegCloseKey(key);
    for (const std::wstring& child : children) {
        KeyNames(path + L"\\" + child, names);
    }
}

// What an install changes on the machine: the nodes of the device tree, the
// driver keys, the print monitors' ports, and the record folder with each
// record's bytes.
std::vector<std::wstring> MachineState()
{
    std::vector<std::wstring> state;
    for (const wchar_t* key : {L"System\\CurrentControlSet\\Enum", L"System\\CurrentControlSet\\Control\\Class",
                               L"System\\CurrentControlSet\\Control\\Print\\Monitors"}) {
        KeyNames(key, &state);
    }
    WIN32_FIND_DATAW found;
    HANDLE search = FindFirstFileW((RecordFolder() + L"\\*.ini").c_str(), &found);
    if (search != INVALID_HANDLE_VALUE) {
        do {
            state.push_back(found.cFileName);
            const std::string bytes = ReadRecord(RecordFolder() + L"\\" + found.cFileName);
            state.emplace_back(bytes.begin(), bytes.end());
        } while (FindNextFileW(search, &found));
        FindClose(search);
    }
    return state;
}

}  // namespace

// A device with a configuration function alone installs as its record: a
// directed search finds it, the install writes the record, a second install
// is refused, and the uninstall takes the record away.
TEST(OrvaneDevices, InstallByAddressWritesTheRecordAndUninstallTakesItAway)
{
    std::string address;
    const auto devsim = DevsimOnOwnAddress(
        &address, {L"--wsd", L"--uuid", L"6f72766e-6465-4673-896d-0000000000e9", L"--host-name", L"install-test",
                   L"--hardware-address", L"02:00:5E:10:00:E9", L"--serial-number", L"ORV-INSTALL-9",
                   L"--device-id", L"MFG:Orvane;MDL:Virtual 9;", L"--services", L"CIFS DSD"});
    ASSERT_TRUE(devsim->Running()) << devsim->Process().Output() << devsim->Failures();
    const std::wstring wide = tools::Text::Wide(address);
    CreateDirectoryW(RecordFolder().c_str(), nullptr);
    const std::wstring record = RecordFolder() + L"\\ORV-INSTALL-9.ini";
    const std::vector<std::wstring> before = MachineState();

    const RunResult installed = Devices({L"--install", L"ORV-INSTALL-9", L"--address", wide});
    const std::string written = ReadRecord(record);
    EXPECT_EQ(0, installed.exitCode) << ::testing::PrintToString(installed.err);
    EXPECT_EQ((std::vector<std::string>{
                  "network ORV-INSTALL-9        Orvane Virtual 9         " + address + " online",
                  "        config  Orvane Virtual 9                 " + address + ":8080"}),
              installed.out);
    EXPECT_TRUE(installed.err.empty()) << ::testing::PrintToString(installed.err);
    EXPECT_EQ("[DeviceInfo]\r\nSerialNumber=ORV-INSTALL-9\r\nModelName=Orvane Virtual 9\r\n"
              "GUID=urn:uuid:6f72766e-6465-4673-896d-0000000000e9\r\nMAC=02:00:5E:10:00:E9\r\n"
              "HostName=install-test\r\nIPAddress=" + address + "\r\nNetworkType=Ethernet\r\nOffSubNet=true\r\n"
              "MulticastEnabled=true\r\nDefaultToSearchByIP=true\r\n[ConfigInfo]\r\nPortNumber=8080\r\n",
              written);

    const RunResult again = Devices({L"--install", L"ORV-INSTALL-9", L"--address", wide});
    EXPECT_EQ(1, again.exitCode);
    EXPECT_TRUE(again.out.empty()) << ::testing::PrintToString(again.out);
    ASSERT_EQ(2u, again.err.size()) << ::testing::PrintToString(again.err);
    EXPECT_EQ("orvane devices: install of ORV-INSTALL-9 failed: 0x83E8FAFC (DM_E_ALREADY_INSTALLED), last system "
              "error 0 (no error)",
              again.err[0]);
    EXPECT_EQ("orvane devices: every step is in the library's log: 'orvane log on', run again, 'orvane log show'",
              again.err[1]);

    const RunResult other = Devices({L"--install", L"ORV-OTHER", L"--address", wide});
    EXPECT_EQ(1, other.exitCode);
    EXPECT_EQ((std::vector<std::string>{"orvane devices: the device at " + address
                                        + " has the serial number ORV-INSTALL-9"}),
              other.err);

    const RunResult removed = Devices({L"--uninstall", L"ORV-INSTALL-9"});
    EXPECT_EQ(0, removed.exitCode) << ::testing::PrintToString(removed.err);
    EXPECT_EQ((std::vector<std::string>{"uninstalled ORV-INSTALL-9"}), removed.out);
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(record.c_str()));
    EXPECT_EQ(before, MachineState());

    const RunResult gone = Devices({L"--uninstall", L"ORV-INSTALL-9"});
    EXPECT_EQ(1, gone.exitCode);
    EXPECT_EQ((std::vector<std::string>{
                  "orvane devices: no installed network device ORV-INSTALL-9: 0x83E8FAFD (DM_E_NOT_FOUND)"}),
              gone.err);
}

// The record folder cannot be made (a file stands where it goes), so the
// install's first step, writing the record, fails for real: nothing is
// installed, and the tool says why. (A print, fax or scan function cannot
// fail here for real: Wine's setupapi has no CM_Set_DevNode_Registry_PropertyW,
// and the call ends the program; the library's tests take those steps.)
TEST(OrvaneDevices, InstallWhoseRecordCannotBeWrittenFailsAndSaysWhy)
{
    std::string address;
    const auto devsim = DevsimOnOwnAddress(
        &address, {L"--wsd", L"--uuid", L"6f72766e-6465-4673-896d-0000000000ea", L"--host-name", L"failing-install",
                   L"--serial-number", L"ORV-INSTALL-10", L"--device-id", L"MFG:Orvane;MDL:Virtual 10;",
                   L"--services", L"CIFS DSD"});
    ASSERT_TRUE(devsim->Running()) << devsim->Process().Output() << devsim->Failures();
    const std::wstring folder = RecordFolder();
    CreateDirectoryW(folder.c_str(), nullptr);
    const std::wstring away = folder + L".away-" + std::to_wstring(GetCurrentProcessId());
    ASSERT_TRUE(MoveFileW(folder.c_str(), away.c_str())) << GetLastError();
    WriteRecord(folder, "not a folder");
    const std::vector<std::wstring> before = MachineState();

    const RunResult failed = Devices({L"--install", L"ORV-INSTALL-10", L"--address", tools::Text::Wide(address)});
    const std::vector<std::wstring> after = MachineState();
    DeleteFileW(folder.c_str());
    ASSERT_TRUE(MoveFileW(away.c_str(), folder.c_str())) << GetLastError();
    EXPECT_EQ(1, failed.exitCode);
    EXPECT_TRUE(failed.out.empty()) << ::testing::PrintToString(failed.out);
    ASSERT_EQ(2u, failed.err.size()) << ::testing::PrintToString(failed.err);
    EXPECT_EQ("orvane devices: install of ORV-INSTALL-10 failed: 0x83E8FAFF (DM_E_FAILED), last system error 3 "
              "(Path not found)",
              failed.err[0]);
    EXPECT_EQ("orvane devices: every step is in the library's log: 'orvane log on', run again, 'orvane log show'",
              failed.err[1]);
    EXPECT_EQ(before, after);
}
