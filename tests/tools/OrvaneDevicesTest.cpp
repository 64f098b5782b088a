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
