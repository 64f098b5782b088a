// orvane devices against orvane-devsim.exe on a loopback address of its own:
// the device manager's directed search, what it prints as text and as JSON,
// and its exit codes. ctest runs this binary with "wsdapi.dll" unloadable,
// which orvane.exe inherits, so that the library's own server searches.
#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "common/Text.h"
#include "tools/ChildProcess.h"
#include "tools/DevsimProcess.h"

using toolstest::DevsimProcess;
using toolstest::RunResult;
using toolstest::RunTool;

namespace {

std::string LoopbackAddress()
{
    static unsigned counter = 0;
    const unsigned seed = GetCurrentProcessId() + GetTickCount() / 16 + counter++ * 7;
    return "127.94." + std::to_string(1 + seed % 250) + "." + std::to_string(1 + (seed / 250 + counter) % 250);
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
    const std::string address = LoopbackAddress();
    const std::wstring wide = tools::Text::Wide(address);
    DevsimProcess devsim({L"--bind", wide, L"--wsd", L"--uuid", L"6f72766e-6465-4673-896d-0000000000e7",
                          L"--host-name", L"devices-test", L"--serial-number", L"ORV-DEVICES-7", L"--device-id",
                          L"MFG:Orvane;MDL:Virtual 7;", L"--services", L"Print9100 DSD Fax"});
    ASSERT_TRUE(devsim.Running()) << devsim.Process().Output();

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
    const RunResult help = Devices({L"--help"});
    EXPECT_EQ(0, help.exitCode);
    ASSERT_FALSE(help.out.empty());
    EXPECT_EQ("usage: orvane devices [--usb] [--network] [--json]", help.out[0]);
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
    const std::string address = LoopbackAddress();
    const std::wstring wide = tools::Text::Wide(address);
    DevsimProcess devsim({L"--bind", wide, L"--wsd", L"--uuid", L"6f72766e-6465-4673-896d-0000000000e8",
                          L"--host-name", L"moved-printer", L"--serial-number", L"ORV-MOVED-8", L"--device-id",
                          L"MFG:Orvane;MDL:Virtual 8;", L"--services", L"Print9100 DSD"});
    ASSERT_TRUE(devsim.Running()) << devsim.Process().Output();
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
