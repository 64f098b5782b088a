// The address of a USB device on the virtual printer, opened through the
// device manager: the function a stream's port picks, the ladder of the
// configuration channel, and the device's presence.
#include <gtest/gtest.h>

#include <windows.h>

#include "ComponentLibraries.h"
#include "UsbFixture.h"
#include "api/QVUSBAddress.h"
#include "api/USBDornRTLMIBConnection.h"
#include "api/USBDeviceManager.h"
#include "devicemanager/SpoolerSetup.h"
#include "resolver/SpoolerQueues.h"

using namespace QVDeviceManager;
using Orvane::QVUSBAddress;
using Orvane::USBDeviceManager;
using resolver_test::SpoolerQueues;

namespace usb_test {

namespace {

// An address on a device of the tree, opened by serial number through a
// manager of its own, with its one reference.
class HeldAddress {
public:
    explicit HeldAddress(const wchar_t* serial, const wchar_t* text = L"USB031")
    {
        auto* manager = new USBDeviceManager();
        m_device = manager->OpenUSBDeviceByPort(serial);
        m_address = new QVUSBAddress(text, manager, m_device);
        m_address->AddRef();
    }
    ~HeldAddress() { m_address->Dispose(); }
    HeldAddress(const HeldAddress&) = delete;
    HeldAddress& operator=(const HeldAddress&) = delete;
    QVUSBAddress* operator->() { return m_address; }
    IDevice* Device() { return m_device; }
    std::wstring PathOf(FUNCTION_TYPE type)
    {
        IDeviceFunction* function = nullptr;
        return m_device != nullptr && m_device->GetFunction(type, &function) == 0 ? function->GetAddress()
                                                                                   : std::wstring();
    }
    // Gives the configuration function another name, as a device of a
    // kind the tree cannot describe would have.
    void NameConfiguration(const wchar_t* name)
    {
        IDeviceFunction* function = nullptr;
        ASSERT_EQ(m_device->GetFunction(FUNCTION_TYPE_CONFIG, &function), 0UL);
        const std::wstring driver = function->GetDriverName();
        const std::wstring path = function->GetAddress();
        function->Init(name, driver.c_str(), path.c_str());
    }

private:
    IDevice* m_device = nullptr;
    QVUSBAddress* m_address = nullptr;
};

// A stream with its one reference, given back first.
class HeldStream {
public:
    HeldStream() = default;
    ~HeldStream()
    {
        if (m_stream != nullptr) {
            m_stream->Dispose();
        }
    }
    HeldStream(const HeldStream&) = delete;
    HeldStream& operator=(const HeldStream&) = delete;
    Orvane::Stream** operator&() { return &m_stream; }
    Orvane::Stream* operator->() { return m_stream; }
    Orvane::Stream* Get() { return m_stream; }

private:
    Orvane::Stream* m_stream = nullptr;
};

class UsbAddress : public UsbFixture {
protected:
    doubles::ModuleLogFile& ApiLog(const wchar_t* name)
    {
        m_apiLog = std::make_unique<doubles::ModuleLogFile>(
            std::initializer_list<QVLogging::CLogModule*>{g_pOrvaneAPILog, g_pIOUSBLog}, name);
        return *m_apiLog;
    }
    static std::string Received(int function)
    {
        const std::vector<unsigned char> bytes = Printer().Received(function);
        return std::string(bytes.begin(), bytes.end());
    }
    // Writes `text` through the stream and waits for the device to have it.
    static unsigned long WriteThrough(HeldStream& stream, const std::string& text)
    {
        unsigned long written = 0;
        return stream->Write(text.data(), static_cast<unsigned long>(text.size()), &written);
    }

private:
    std::unique_ptr<doubles::ModuleLogFile> m_apiLog;
};

TEST_F(UsbAddress, AStreamOnPort9100IsLockedToThePrintChannelOnOpen)
{
    HeldAddress address(kSerial);
    ASSERT_NE(address.Device(), nullptr);
    {
        HeldStream stream;
        ASSERT_EQ(address->CreateStream(9100, &stream), 0UL);
        ASSERT_NE(stream.Get(), nullptr);
        ASSERT_EQ(stream->Open(), 0UL);
        HANDLE claim = OpenEventW(SYNCHRONIZE, FALSE, LockName(PrintPath()).c_str());
        EXPECT_NE(claim, nullptr) << "the print channel is claimed";
        if (claim != nullptr) {
            CloseHandle(claim);
        }
        EXPECT_EQ(WriteThrough(stream, "job"), 0UL);
        EXPECT_EQ(ReceivedText(), "job");
    }
    EXPECT_EQ(OpenEventW(SYNCHRONIZE, FALSE, LockName(PrintPath()).c_str()), nullptr);
    EXPECT_EQ(Received(USBPRINTER_FUNCTION_CONFIG), "");
}

TEST_F(UsbAddress, PortsOneAndTwoPickTheFaxAndTheScanFunction)
{
    HeldAddress address(kSerial);
    HeldStream scan;
    ASSERT_EQ(address->CreateStream(2, &scan), 0UL);
    EXPECT_EQ(WriteThrough(scan, "scan"), 0UL);
    EXPECT_EQ(Received(USBPRINTER_FUNCTION_SCAN), "scan");
    HeldStream fax;
    ASSERT_EQ(address->CreateStream(1, &fax), 0UL);
    ASSERT_TRUE(Printer().Plug(USBPRINTER_FUNCTION_PRINT, address.PathOf(FUNCTION_TYPE_FAX)));
    EXPECT_EQ(WriteThrough(fax, "fax"), 0UL);
    EXPECT_EQ(ReceivedText(), "fax");
}

TEST_F(UsbAddress, AStreamOnPort3GivesEFailAndNoStream)
{
    doubles::ModuleLogFile& log = ApiLog(L"usb-address-port-3");
    HeldAddress address(kSerial);
    HeldStream stream;
    EXPECT_EQ(address->CreateStream(3, &stream), static_cast<unsigned long>(E_FAIL));
    EXPECT_EQ(stream.Get(), nullptr);
    EXPECT_EQ(log.Count(L"(##) No function on port 3"), 1U);
}

TEST_F(UsbAddress, AFunctionTheDeviceLacksGivesEFail)
{
    HeldAddress address(kSerial);
    HeldStream stream;
    EXPECT_EQ(address->CreateStream(0, &stream), static_cast<unsigned long>(E_FAIL));
    EXPECT_EQ(stream.Get(), nullptr);
}

TEST_F(UsbAddress, AStreamOnPort80WithoutAConfigurationFunctionTakesTheFirstOfFaxScanAndPrint)
{
    HeldAddress address(kNoConfigSerial);
    ASSERT_NE(address.Device(), nullptr);
    ASSERT_EQ(address.PathOf(FUNCTION_TYPE_CONFIG), L"");
    ASSERT_NE(address.PathOf(FUNCTION_TYPE_FAX), L"");
    ASSERT_TRUE(Printer().Plug(USBPRINTER_FUNCTION_PRINT, address.PathOf(FUNCTION_TYPE_FAX)));
    HeldStream stream;
    ASSERT_EQ(address->CreateStream(80, &stream), 0UL);
    ASSERT_NE(stream.Get(), nullptr);
    EXPECT_EQ(WriteThrough(stream, "to the fax"), 0UL);
    EXPECT_EQ(ReceivedText(), "to the fax");
}

TEST_F(UsbAddress, ARestConfigurationIsAPlainUsbChannel)
{
    doubles::ModuleLogFile& log = ApiLog(L"usb-address-rest");
    ComponentLibraries libraries(L"all");
    HeldAddress address(kRestSerial, L"USB033");
    ASSERT_TRUE(Printer().Plug(USBPRINTER_FUNCTION_CONFIG, address.PathOf(FUNCTION_TYPE_CONFIG)));
    HeldStream stream;
    ASSERT_EQ(address->CreateStream(80, &stream), 0UL);
    EXPECT_EQ(WriteThrough(stream, "GET / HTTP/1.1\r\n\r\n"), 0UL);
    EXPECT_EQ(Received(USBPRINTER_FUNCTION_CONFIG), "GET / HTTP/1.1\r\n\r\n");
    EXPECT_FALSE(ComponentLibraries::AnyLoaded());
    EXPECT_EQ(ComponentLibraries::Calls(), "");
    // A probe connection first, then the stream's own.
    EXPECT_EQ(log.Count(L"(I0) Configuration function REST"), 2U);
}

TEST_F(UsbAddress, RestFollowedByMoreLettersInAnyCaseCountsAsRest)
{
    HeldAddress address(kRestSerial, L"USB033");
    ASSERT_TRUE(Printer().Plug(USBPRINTER_FUNCTION_CONFIG, address.PathOf(FUNCTION_TYPE_CONFIG)));
    for (const wchar_t* name : {L"REST(EWS)", L"rest", L"Restful"}) {
        address.NameConfiguration(name);
        HeldStream stream;
        ASSERT_EQ(address->CreateStream(8080, &stream), 0UL) << name;
        EXPECT_EQ(WriteThrough(stream, "x"), 0UL);
    }
    EXPECT_EQ(Received(USBPRINTER_FUNCTION_CONFIG), "xxx");
}

TEST_F(UsbAddress, TheBulkLibrarysNameFollowedByOneMoreLetterMatchesNothing)
{
    doubles::ModuleLogFile& log = ApiLog(L"usb-address-hesk-x");
    ComponentLibraries libraries(L"all");
    HeldAddress address(kHeskSerial, L"USB035");
    address.NameConfiguration(L"ZQFXBULKHESKX");
    HeldStream stream;
    EXPECT_EQ(address->CreateStream(80, &stream), static_cast<unsigned long>(E_FAIL));
    EXPECT_EQ(stream.Get(), nullptr);
    Orvane::HTTPRequest* request = reinterpret_cast<Orvane::HTTPRequest*>(1);
    EXPECT_EQ(address->CreateHTTPRequest(&request, 80), static_cast<unsigned long>(E_FAIL));
    EXPECT_EQ(request, nullptr);
    EXPECT_EQ(log.Count(L"(##) Unknown configuration channel ZQFXBULKHESKX"), 2U);
    EXPECT_EQ(ComponentLibraries::Calls(), "");
}

TEST_F(UsbAddress, TheBulkLibrarysConfigurationGoesThroughTheBulkLibrary)
{
    HeldAddress address(kHeskSerial, L"USB035");
    const std::wstring path = address.PathOf(FUNCTION_TYPE_CONFIG);
    ASSERT_NE(path.find(L"{211cd2c1-a63e-4164-9e17-fda3fe1f79ff}"), std::wstring::npos) << devicemanager_test::Narrow(path);
    ASSERT_TRUE(Printer().Plug(USBPRINTER_FUNCTION_CONFIG, path));
    ComponentLibraries libraries(L"all", path);
    {
        HeldStream stream;
        ASSERT_EQ(address->CreateStream(80, &stream), 0UL);
        EXPECT_EQ(WriteThrough(stream, "hesk"), 0UL);
        EXPECT_EQ(Received(USBPRINTER_FUNCTION_CONFIG), "hesk");
    }
    const std::string calls = ComponentLibraries::Calls();
    EXPECT_EQ(calls.rfind("zqcvarlo.dll:OpenBulk(USB035);", 0), 0U) << calls;
    EXPECT_NE(calls.find("zqcvarlo.dll:WriteBulk(4);"), std::string::npos) << calls;
    EXPECT_FALSE(ComponentLibraries::AnyLoaded()) << "the probe connection loaded nothing";
}

TEST_F(UsbAddress, TheWebConfigurationGoesThroughTheChannelLibraryWhateverTheCase)
{
    ComponentLibraries libraries(L"second", Device().PathOf(FUNCTION_TYPE_CONFIG));
    HeldAddress address(kSerial, L"USB031");
    for (const wchar_t* name : {L"ZQEWSFXBULK", L"zqEwsFxBulk"}) {
        address.NameConfiguration(name);
        HeldStream stream;
        ASSERT_EQ(address->CreateStream(80, &stream), 0UL);
        EXPECT_EQ(WriteThrough(stream, "ews"), 0UL);
    }
    EXPECT_EQ(Received(USBPRINTER_FUNCTION_CONFIG), "ewsews");
    const std::string calls = ComponentLibraries::Calls();
    EXPECT_EQ(calls.rfind("FXVarloChannel_x64.dll:OpenBulk(USB031);", 0), 0U) << calls;
}

TEST_F(UsbAddress, WithoutTheComponentLibraryTheStreamIsMadeButCannotOpen)
{
    ComponentLibraries libraries(L"none", Device().PathOf(FUNCTION_TYPE_CONFIG));
    HeldAddress address(kSerial);
    HeldStream stream;
    ASSERT_EQ(address->CreateStream(80, &stream), 0UL);
    ASSERT_NE(stream.Get(), nullptr);
    EXPECT_EQ(stream->Open(), static_cast<unsigned long>(E_FAIL));
    EXPECT_EQ(stream->GetSystemErrorCode(), static_cast<unsigned long>(ERROR_GEN_FAILURE));
    EXPECT_EQ(WriteThrough(stream, "x"), static_cast<unsigned long>(E_FAIL));
    EXPECT_EQ(Received(USBPRINTER_FUNCTION_CONFIG), "");
}

TEST_F(UsbAddress, AnHTTPRequestOnPort8081GivesEFailAndNoRequest)
{
    HeldAddress address(kSerial);
    Orvane::HTTPRequest* request = reinterpret_cast<Orvane::HTTPRequest*>(1);
    EXPECT_EQ(address->CreateHTTPRequest(&request, 8081), static_cast<unsigned long>(E_FAIL));
    EXPECT_EQ(request, nullptr);
    request = reinterpret_cast<Orvane::HTTPRequest*>(1);
    EXPECT_EQ(address->CreateHTTPRequest(&request, 79), static_cast<unsigned long>(E_FAIL));
    EXPECT_EQ(request, nullptr);
}

TEST_F(UsbAddress, IsConnectedTakesASecondWithADeviceAndNoneWithout)
{
    doubles::ModuleLogFile& log = ApiLog(L"usb-address-connected");
    {
        HeldAddress address(kSerial);
        const DWORD start = GetTickCount();
        EXPECT_TRUE(address->IsConnected());
        EXPECT_GE(GetTickCount() - start, 1000UL);
    }
    auto* empty = new QVUSBAddress(L"USB031", nullptr, nullptr);
    empty->AddRef();
    const DWORD start = GetTickCount();
    EXPECT_FALSE(empty->IsConnected());
    EXPECT_LT(GetTickCount() - start, 1000UL);
    empty->Dispose();
    EXPECT_EQ(log.Count(L"(I0) IsOnline returned TRUE"), 1U);
    EXPECT_EQ(log.Count(L"(##) Device is NULL"), 1U);
}

TEST_F(UsbAddress, TheAddressTextIsKeptAndNullGivesAnEmptyOne)
{
    HeldAddress address(kSerial, L"USB031");
    EXPECT_STREQ(address->GetAddress(), L"USB031");
    HeldAddress unnamed(kSerial, nullptr);
    EXPECT_STREQ(unnamed->GetAddress(), L"");
}

TEST_F(UsbAddress, AManagementConnectionIsMadeOnThePortName)
{
    HeldAddress address(kSerial, L"USB031");
    Orvane::MIBConnection* mib = nullptr;
    EXPECT_EQ(address->CreateMIBConnection(&mib), 0UL);
    ASSERT_NE(mib, nullptr);
    EXPECT_NE(dynamic_cast<Orvane::USBDornRTLMIBConnection*>(mib), nullptr);
    mib->Dispose();
}

using UsbDeviceManager = UsbFixture;

TEST_F(UsbDeviceManager, OpensADeviceBySerialNumberOrPortNameAndGivesItBack)
{
    USBDeviceManager manager;
    IDevice* bySerial = manager.OpenUSBDeviceByPort(kSerial);
    ASSERT_NE(bySerial, nullptr);
    EXPECT_EQ(bySerial->GetSerialNumber(), kSerial);
    IDevice* byPort = manager.OpenUSBDeviceByPort(L"USB033");
    ASSERT_NE(byPort, nullptr);
    EXPECT_EQ(byPort->GetSerialNumber(), kRestSerial);
    EXPECT_EQ(manager.CloseDevice(bySerial), 0UL);
    EXPECT_EQ(manager.CloseDevice(byPort), 0UL);
}

TEST_F(UsbDeviceManager, OpensADeviceByTheNameOfItsPrintQueue)
{
    // The device's print queue in Wine's spooler, named by its node.
    SpoolerQueues queues;
    const std::wstring queue = SpoolerQueues::Unique(L"ZQ USB MFP");
    ASSERT_TRUE(queues.Add(queue, L"USB031"));
    const peers::DeviceTree tree = UsbTree();
    ASSERT_TRUE(devicemanager_test::SetQueueText(queue, L"PnPData", L"DeviceInstanceId", tree.Nodes()[2].instanceId));
    USBDeviceManager manager;
    for (IDevice* device : {manager.OpenUSBDeviceByQueue(queue.c_str()), manager.OpenDot4Device(queue.c_str())}) {
        ASSERT_NE(device, nullptr);
        EXPECT_EQ(device->GetSerialNumber(), kSerial);
        EXPECT_EQ(manager.CloseDevice(device), 0UL);
    }
}

TEST_F(UsbDeviceManager, AnUnknownNameGivesNoDevice)
{
    USBDeviceManager manager;
    EXPECT_EQ(manager.OpenUSBDeviceByPort(L"ZQNOSUCH"), nullptr);
    EXPECT_EQ(manager.OpenUSBDeviceByQueue(L"No such queue"), nullptr);
    EXPECT_EQ(manager.OpenDot4Device(L"No such queue"), nullptr);
}

}  // namespace

}  // namespace usb_test
