// Addresses of the virtual USB printer by print queue and print port: real
// queues in Wine's spooler on its ports, resolved and opened through the
// device manager; jobs arrive at the printer's print function. And its
// management objects through the stand-in run-time, across the
// configuration function to the simulator's web site.
#include <gtest/gtest.h>

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

#include "UsbFixture.h"
#include "WebOnConfiguration.h"
#include "api/AddressFactory.h"
#include "api/USBDeviceManager.h"
#include "devicemanager/SpoolerSetup.h"
#include "peers/MibWalk.h"
#include "resolver/SpoolerQueues.h"

using Orvane::Address;
using Orvane::AddressFactory;
using resolver_test::SpoolerQueues;

namespace usb_test {

namespace {

const unsigned long kFail = static_cast<unsigned long>(E_FAIL);

// An address with its one reference, given back at the end.
class HeldAddress {
public:
    explicit HeldAddress(Address* address) : m_address(address) {}
    ~HeldAddress()
    {
        if (m_address != nullptr) {
            m_address->Dispose();
        }
    }
    HeldAddress(const HeldAddress&) = delete;
    HeldAddress& operator=(const HeldAddress&) = delete;
    Address* operator->() { return m_address; }
    Address* Get() { return m_address; }

private:
    Address* m_address;
};

class UsbFactory : public UsbFixture {
protected:
    UsbFactory() : m_apiLog({g_pOrvaneAPILog}, L"usb-factory") {}
    ~UsbFactory() override
    {
        if (HasFailure()) {
            std::printf("%ls", m_apiLog.Text().c_str());
        }
    }
    // A queue of this process on `port` whose device is the node of the
    // tree's first printer.
    std::wstring QueueOn(const std::wstring& port)
    {
        const std::wstring queue = SpoolerQueues::Unique(L"ZQ USB Factory " + port);
        EXPECT_TRUE(m_queues.Add(queue, port));
        const peers::DeviceTree tree = UsbTree();
        EXPECT_TRUE(devicemanager_test::SetQueueText(queue, L"PnPData", L"DeviceInstanceId", tree.Nodes()[2].instanceId));
        return queue;
    }
    // Writes a job through a stream on port 9100 and expects the print
    // function to have received it whole.
    static void ExpectJobArrives(Address* address, const std::string& job)
    {
        ASSERT_NE(address, nullptr);
        Orvane::Stream* stream = nullptr;
        ASSERT_EQ(address->CreateStream(9100, &stream), 0UL);
        ASSERT_NE(stream, nullptr);
        unsigned long written = 0;
        EXPECT_EQ(stream->Write(job.data(), static_cast<unsigned long>(job.size()), &written), 0UL);
        EXPECT_EQ(written, job.size());
        stream->Dispose();
        EXPECT_EQ(ReceivedText(), job);
    }

    doubles::ModuleLogFile m_apiLog;
    SpoolerQueues m_queues;
};

}  // namespace

TEST_F(UsbFactory, QueueOnAUsbPortSendsAJobToThePrinter)
{
    const std::wstring queue = QueueOn(L"USB031");
    HeldAddress address(AddressFactory::CreateFromQueueName(queue.c_str()));
    ASSERT_NE(address.Get(), nullptr);
    EXPECT_STREQ(address->GetAddress(), L"USB031");
    ExpectJobArrives(address.Get(), "%!PS by queue over USB\n");
    EXPECT_EQ(m_apiLog.Count(L"(I0) Port is USB"), 1u);
}

TEST_F(UsbFactory, UsbPortWithAQueueSendsAJobToThePrinter)
{
    QueueOn(L"USB031");
    HeldAddress address(AddressFactory::CreateFromPortName(L"USB031"));
    ASSERT_NE(address.Get(), nullptr);
    EXPECT_STREQ(address->GetAddress(), L"USB031");
    ExpectJobArrives(address.Get(), "%!PS by port over USB\n");
    EXPECT_EQ(m_apiLog.Count(L"(I0) Create address for port USB031"), 1u);
    EXPECT_EQ(m_apiLog.Count(L"(I0) Port is USB"), 1u) << "found on the first way, no last chance";
}

TEST_F(UsbFactory, QueueOnADot4PortSendsAJobToThePrinter)
{
    const std::wstring queue = QueueOn(L"DOT4_031");
    HeldAddress address(AddressFactory::CreateFromQueueName(queue.c_str()));
    ASSERT_NE(address.Get(), nullptr);
    EXPECT_STREQ(address->GetAddress(), L"DOT4_031");
    ExpectJobArrives(address.Get(), "%!PS by queue over Dot4\n");
    EXPECT_EQ(m_apiLog.Count(L"(I0) Port is Dot4"), 1u);
}

TEST_F(UsbFactory, UsbPortWithColonThatTheResolverCannotFindIsFoundByTheDeviceManager)
{
    // No queue stands on USB033, so the search fails; the port's "USB"
    // prefix gives the last chance, by port name alone.
    HeldAddress address(AddressFactory::CreateFromPortName(L"USB033:"));
    ASSERT_NE(address.Get(), nullptr);
    EXPECT_STREQ(address->GetAddress(), L"USB033");
    EXPECT_EQ(m_apiLog.Count(L"(I0) Port is USB"), 1u);
}

TEST_F(UsbFactory, UsbPortThatNoDeviceHasGivesNull)
{
    EXPECT_EQ(AddressFactory::CreateFromPortName(L"USB099"), nullptr);
    EXPECT_EQ(m_apiLog.Count(L"(I0) Port is USB"), 1u);
}

TEST_F(UsbFactory, UsbPortWithAQueueButNoDeviceIsSearchedTwice)
{
    // The first way finds the queue but no device; the last chance makes a
    // second manager and searches again, by port name alone.
    const std::wstring queue = SpoolerQueues::Unique(L"ZQ USB Factory nothing on USB099");
    ASSERT_TRUE(m_queues.Add(queue, L"USB099"));
    EXPECT_EQ(AddressFactory::CreateFromPortName(L"USB099"), nullptr);
    EXPECT_EQ(m_apiLog.Count(L"(I0) Port is USB"), 2u);
    EXPECT_EQ(m_apiLog.Count(L"(->) AddressFactory::CreateUSBAddress"), 2u);
    EXPECT_EQ(m_apiLog.Count(L"(->) USBDeviceManager::OpenUSBDeviceByPort"), 2u);
}

TEST_F(UsbFactory, LowerCaseUsbPortOfADeviceGivesNullWithoutTheLastChance)
{
    // The device on USB031 is there, but "usb" is no "USB".
    EXPECT_EQ(AddressFactory::CreateFromPortName(L"usb031"), nullptr);
    EXPECT_EQ(m_apiLog.Count(L"(I0) Create address for port usb031"), 1u);
    EXPECT_EQ(m_apiLog.Count(L"(I0) Port is USB"), 0u);
    EXPECT_EQ(m_apiLog.Count(L"(->) AddressFactory::CreateUSBAddress"), 0u);
}

TEST_F(UsbFactory, AddressTextIsTheStrippedPortUnlessTheBulkLibraryServesTheConfiguration)
{
    HeldAddress normal(AddressFactory::CreateFromPortName(L"USB031:Orvane"));
    ASSERT_NE(normal.Get(), nullptr);
    EXPECT_STREQ(normal->GetAddress(), L"USB031");
    HeldAddress bulk(AddressFactory::CreateFromPortName(L"USB035:Orvane"));
    ASSERT_NE(bulk.Get(), nullptr);
    EXPECT_STREQ(bulk->GetAddress(), L"USB035:Orvane");
}

// The stand-in run-time's test exports.
class StandIn {
public:
    StandIn() : m_module(::LoadLibraryW(L"zqdrtl12.dll"))
    {
        if (m_module != nullptr) {
            reinterpret_cast<void (*)()>(Proc("StandInReset"))();
        }
    }
    ~StandIn()
    {
        if (m_module != nullptr) {
            reinterpret_cast<void (*)()>(Proc("StandInReset"))();
            ::FreeLibrary(m_module);
        }
    }
    bool Loaded() const { return m_module != nullptr; }
    long Calls(const char* name) { return reinterpret_cast<long (*)(const char*)>(Proc("StandInCalls"))(name); }
    void Fail(const char* name, unsigned long status)
    {
        reinterpret_cast<void (*)(const char*, unsigned long)>(Proc("StandInFail"))(name, status);
    }
    void UsbPath(const char* port, const std::wstring& path)
    {
        reinterpret_cast<void (*)(const char*, const wchar_t*)>(Proc("StandInUsbPath"))(port, path.c_str());
    }

private:
    void* Proc(const char* name) { return reinterpret_cast<void*>(::GetProcAddress(m_module, name)); }

    HMODULE m_module;
};

class UsbMib : public UsbFixture {
protected:
    void SetUp() override
    {
        UsbFixture::SetUp();
        ASSERT_TRUE(m_standIn.Loaded()) << "zqdrtl12.dll is not beside the test program";
        ASSERT_NE(m_address.Get(), nullptr);
        // The device with the plain configuration channel, the simulator's
        // site behind it.
        const std::wstring path = ConfigPath();
        ASSERT_FALSE(path.empty());
        ASSERT_TRUE(Printer().Plug(USBPRINTER_FUNCTION_CONFIG, path));
        m_standIn.UsbPath("USB033", path);
        ASSERT_EQ(m_address->CreateMIBConnection(&m_mib), 0UL);
        ASSERT_NE(m_mib, nullptr);
    }
    void TearDown() override
    {
        if (m_mib != nullptr) {
            m_mib->Dispose();
        }
        UsbFixture::TearDown();
    }
    // The device path of the configuration function of the device on
    // USB033.
    static std::wstring ConfigPath()
    {
        Orvane::USBDeviceManager manager;
        QVDeviceManager::IDevice* device = manager.OpenUSBDeviceByPort(kRestSerial);
        QVDeviceManager::IDeviceFunction* function = nullptr;
        std::wstring path;
        if (device != nullptr && device->GetFunction(QVDeviceManager::FUNCTION_TYPE_CONFIG, &function) == 0) {
            path = function->GetAddress();
        }
        if (device != nullptr) {
            manager.CloseDevice(device);
        }
        return path;
    }
    std::wstring Text(const wchar_t* oid, unsigned long* status)
    {
        VARIANT value;
        ::VariantInit(&value);
        *status = m_mib->GetValue(oid, &value);
        const std::wstring text =
            value.vt == VT_BSTR ? std::wstring(value.bstrVal, ::SysStringLen(value.bstrVal)) : L"(not a text)";
        ::VariantClear(&value);
        return text;
    }

    StandIn m_standIn;
    WebOnConfiguration m_web;
    HeldAddress m_address{AddressFactory::CreateFromPortName(L"USB033")};
    Orvane::MIBConnection* m_mib = nullptr;
};

TEST_F(UsbMib, GetReadsTheDescriptionAcrossTheConfigurationFunction)
{
    unsigned long status = 1;
    EXPECT_EQ(Text(L"1.3.6.1.2.1.1.1.0", &status), L"Orvane virtual printer");
    EXPECT_EQ(status, 0UL);
    EXPECT_EQ(Printer().WriteSizes(USBPRINTER_FUNCTION_CONFIG).size(), 1u) << "one request went to the device";
}

TEST_F(UsbMib, WalkUsesTheSingleFormToTheEndOfTheTree)
{
    const std::vector<std::wstring> walked = peers::WalkFrom(m_mib, L"1.3.6.1.2.1.1");
    EXPECT_EQ(walked, (std::vector<std::wstring>{L"1.3.6.1.2.1.1.1.0", L"1.3.6.1.2.1.1.3.0", L"1.3.6.1.2.1.1.4.0",
                                                 L"1.3.6.1.2.1.1.5.0", L"1.3.6.1.2.1.25.3.5.1.1.1",
                                                 L"1.3.6.1.2.1.43.10.2.1.4.1.1"}));
    EXPECT_EQ(m_standIn.Calls("_DornGetNextObjectValueEx@36"), 7);
    EXPECT_EQ(m_standIn.Calls("_DornGetNextMultiObjectValuesEx@40"), 0);
}

TEST_F(UsbMib, SetContactIsReadBackAndAFailedSetGivesEFail)
{
    VARIANT contact;
    contact.vt = VT_BSTR;
    contact.bstrVal = ::SysAllocString(L"USB desk");
    EXPECT_EQ(m_mib->SetValue(L"1.3.6.1.2.1.1.4.0", &contact), 0UL);
    unsigned long status = 1;
    EXPECT_EQ(Text(L"1.3.6.1.2.1.1.4.0", &status), L"USB desk");
    m_standIn.Fail("_DornSetObjectValueEx@40", 8);
    EXPECT_EQ(m_mib->SetValue(L"1.3.6.1.2.1.1.4.0", &contact), kFail);
    ::VariantClear(&contact);
    m_standIn.Fail("_DornGetNextObjectValueEx@36", 8);
    wchar_t next[64];
    VARIANT value;
    ::VariantInit(&value);
    EXPECT_EQ(m_mib->GetNextValue(L"1.3", next, 64, &value), kFail);
}

}  // namespace usb_test
