// usb-claimant.exe: a second process that claims the virtual printer's
// print channel, for the tests of the machine-wide claim.
//   usb-claimant plain|queued OPEN-TIMEOUT-MS RELEASE-EVENT
// Prints "opening", then "open 0x<status>"; with the channel held it waits
// for the named event, closes and prints "closed".
#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <string>

#include "UsbTestSupport.h"
#include "api/QVUSBDeviceConnection.h"
#include "doubles/ApiOverride.h"
#include "doubles/DescribedSetupApi.h"

using namespace QVDeviceManager;

int wmain(int argc, wchar_t** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: usb-claimant plain|queued OPEN-TIMEOUT-MS RELEASE-EVENT\n");
        return 2;
    }
    // The tree is registered by the test that started this program; the
    // configuration manager's answers come from the same description.
    const peers::DeviceTree tree = usb_test::UsbTree();
    doubles::DescribedSetupApi api(tree);
    doubles::ApiOverride<QVWinApi::ISetupApi> swap(g_pSetupApi, api);
    CUSBDevice device;
    if (device.Init(usb_test::kSerial, nullptr) != 0) {
        std::fprintf(stderr, "usb-claimant: the device is not in the tree\n");
        return 1;
    }
    QVIOStack::CIOUSB* connection = std::wcscmp(argv[1], L"queued") == 0 ? new Orvane::QVUSBDeviceConnection()
                                                                        : new QVIOStack::CIOUSB();
    connection->AddRef();
    connection->SetOpenTimeout(std::wcstoul(argv[2], nullptr, 10));
    int result = 1;
    if (connection->Initialize(&device, {FUNCTION_TYPE_PRINT}) == 0) {
        std::printf("opening\n");
        std::fflush(stdout);
        const unsigned long status = connection->Open(nullptr);
        std::printf("open 0x%08lX\n", status);
        std::fflush(stdout);
        if (status == 0) {
            HANDLE release = OpenEventW(SYNCHRONIZE, FALSE, argv[3]);
            if (release != nullptr) {
                WaitForSingleObject(release, 30000);
                CloseHandle(release);
            }
            connection->Close();
            std::printf("closed\n");
        }
        result = 0;
    }
    connection->Dispose();
    return result;
}
