// The notifier of a USB address: the configuration function's name picks
// the polling notifier or the component library's, and the library's
// notifier on the stand-in libraries.
#include <gtest/gtest.h>

#include <windows.h>

#include "ComponentLibraries.h"
#include "UsbFixture.h"
#include "api/QVUSBAddress.h"
#include "api/QVUSBNotifier.h"
#include "api/USBDeviceManager.h"
#include "api/VarloNotifier.h"
#include "doubles/ManualEvent.h"

using namespace QVDeviceManager;
using Orvane::Notifier;
using Orvane::QVUSBAddress;
using Orvane::USBDeviceManager;

namespace usb_test {

namespace {

// An address on a device of the tree, opened by serial number, with its
// one reference; and the notifier it made, given back first.
class AddressAndNotifier {
public:
    AddressAndNotifier(const wchar_t* serial, const wchar_t* text)
    {
        auto* manager = new USBDeviceManager();
        m_device = manager->OpenUSBDeviceByPort(serial);
        m_address = new QVUSBAddress(text, manager, m_device);
        m_address->AddRef();
    }
    ~AddressAndNotifier()
    {
        if (notifier != nullptr) {
            notifier->Dispose();
        }
        m_address->Dispose();
    }
    AddressAndNotifier(const AddressAndNotifier&) = delete;
    AddressAndNotifier& operator=(const AddressAndNotifier&) = delete;

    unsigned long Create() { return m_address->CreateNotifier(&notifier); }
    std::wstring ConfigPath()
    {
        IDeviceFunction* function = nullptr;
        return m_device != nullptr && m_device->GetFunction(FUNCTION_TYPE_CONFIG, &function) == 0
                   ? function->GetAddress()
                   : std::wstring();
    }
    void NameConfiguration(const wchar_t* name)
    {
        IDeviceFunction* function = nullptr;
        ASSERT_EQ(m_device->GetFunction(FUNCTION_TYPE_CONFIG, &function), 0UL);
        const std::wstring driver = function->GetDriverName();
        const std::wstring path = function->GetAddress();
        function->Init(name, driver.c_str(), path.c_str());
    }

    Notifier* notifier = nullptr;

private:
    IDevice* m_device = nullptr;
    QVUSBAddress* m_address = nullptr;
};

using Event = doubles::ManualEvent;

using UsbAddressNotifier = UsbFixture;

TEST_F(UsbAddressNotifier, ARestConfigurationGivesThePollingNotifier)
{
    AddressAndNotifier address(kRestSerial, L"USB033");
    ASSERT_TRUE(Printer().Plug(USBPRINTER_FUNCTION_CONFIG, address.ConfigPath()));
    ASSERT_EQ(address.Create(), 0UL);
    ASSERT_NE(dynamic_cast<Orvane::QVUSBNotifier*>(address.notifier), nullptr);
    ASSERT_EQ(address.notifier->EnableNotification(true), 0UL);
    ASSERT_TRUE(Printer().WaitFor([] { return Printer().ControlSizes(USBPRINTER_FUNCTION_CONFIG).size() == 1; },
                                  10000));
    Printer().AnswerControl(USBPRINTER_FUNCTION_CONFIG, {3, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(address.notifier->WaitForNotification(10000), 0UL);
}

TEST_F(UsbAddressNotifier, TheBulkLibrarysConfigurationGivesTheLibrarysNotifier)
{
    AddressAndNotifier address(kHeskSerial, L"USB035");
    ComponentLibraries libraries(L"all", address.ConfigPath());
    ASSERT_EQ(address.Create(), 0UL);
    ASSERT_NE(dynamic_cast<Orvane::VarloNotifier*>(address.notifier), nullptr);
    // The stand-in reports the interrupt at once.
    ASSERT_EQ(address.notifier->EnableNotification(true), 0UL);
    EXPECT_EQ(address.notifier->WaitForNotification(0), 0UL);
    EXPECT_FALSE(address.notifier->IsNotificationEnabled());
    ASSERT_EQ(address.notifier->EnableNotification(true), 0UL);
    EXPECT_EQ(address.notifier->WaitForNotification(0), 0UL);
    address.notifier->Dispose();
    address.notifier = nullptr;
    EXPECT_EQ(ComponentLibraries::Calls(),
              "zqcvarlo.dll:OpenInterrupt(USB035);zqcvarlo.dll:WaitForInterruptEvent();"
              "zqcvarlo.dll:WaitForInterruptEvent();zqcvarlo.dll:CloseInterrupt();")
        << "the interrupt channel opens once and closes with the notifier";
}

TEST_F(UsbAddressNotifier, TheWebConfigurationOrNoneGivesNoNotifier)
{
    {
        AddressAndNotifier address(kSerial, L"USB031");
        address.NameConfiguration(L"ZQEWSFXBULK");
        EXPECT_EQ(address.Create(), static_cast<unsigned long>(E_FAIL));
        EXPECT_EQ(address.notifier, nullptr);
    }
    AddressAndNotifier none(kNoConfigSerial, L"USB037");
    EXPECT_EQ(none.Create(), static_cast<unsigned long>(E_FAIL));
    EXPECT_EQ(none.notifier, nullptr);
}

TEST_F(UsbAddressNotifier, TheLibrarysNotifierGivesEFailWhenAWaitRunsOutOfTime)
{
    AddressAndNotifier address(kHeskSerial, L"USB035");
    ComponentLibraries libraries(L"all", address.ConfigPath());
    libraries.Fail("WaitForInterruptEvent=997");  // the library waits on its own
    ASSERT_EQ(address.Create(), 0UL);
    ASSERT_EQ(address.notifier->EnableNotification(true), 0UL);
    EXPECT_EQ(address.notifier->WaitForNotification(50), static_cast<unsigned long>(E_FAIL));
    EXPECT_TRUE(address.notifier->IsNotificationEnabled());
    EXPECT_TRUE(address.notifier->IsNotificationPending());
}

TEST_F(UsbAddressNotifier, TheLibrarysNotifierSwitchedOffSucceedsOnlyIfTheLibraryCancelled)
{
    AddressAndNotifier address(kHeskSerial, L"USB035");
    ComponentLibraries libraries(L"all", address.ConfigPath());
    ASSERT_EQ(address.Create(), 0UL);
    EXPECT_EQ(address.notifier->EnableNotification(false), static_cast<unsigned long>(E_FAIL)) << "nothing armed";
    libraries.Fail("WaitForInterruptEvent=997");
    ASSERT_EQ(address.notifier->EnableNotification(true), 0UL);
    EXPECT_EQ(address.notifier->EnableNotification(false), 0UL);
    EXPECT_FALSE(address.notifier->IsNotificationEnabled());
    ASSERT_EQ(address.notifier->EnableNotification(true), 0UL);
    libraries.Fail("WaitForInterruptEvent=997,CancelInterrupt=31");
    EXPECT_EQ(address.notifier->EnableNotification(false), static_cast<unsigned long>(E_FAIL));
    const std::string calls = ComponentLibraries::Calls();
    EXPECT_EQ(calls,
              "zqcvarlo.dll:OpenInterrupt(USB035);zqcvarlo.dll:WaitForInterruptEvent();"
              "zqcvarlo.dll:CancelInterrupt();zqcvarlo.dll:WaitForInterruptEvent();zqcvarlo.dll:CancelInterrupt();");
}

TEST_F(UsbAddressNotifier, TheLibrarysNotifierFailsWhenTheLibraryRefusesTheWaitOrTheInterrupt)
{
    AddressAndNotifier address(kHeskSerial, L"USB035");
    ComponentLibraries libraries(L"all", address.ConfigPath());
    ASSERT_EQ(address.Create(), 0UL);
    libraries.Fail("WaitForInterruptEvent=31");
    EXPECT_EQ(address.notifier->EnableNotification(true), static_cast<unsigned long>(E_FAIL));
    EXPECT_FALSE(address.notifier->IsNotificationEnabled());
    AddressAndNotifier other(kHeskSerial, L"USB035");
    ASSERT_EQ(other.Create(), 0UL);
    libraries.Fail("OpenInterrupt=2");
    EXPECT_EQ(other.notifier->EnableNotification(true), static_cast<unsigned long>(E_FAIL));
    EXPECT_FALSE(other.notifier->IsNotificationPending());
}

TEST_F(UsbAddressNotifier, TheLibrarysNotifierLeavesACallersEventOpen)
{
    AddressAndNotifier address(kHeskSerial, L"USB035");
    ComponentLibraries libraries(L"all", address.ConfigPath());
    ASSERT_EQ(address.Create(), 0UL);
    Event event;
    ASSERT_EQ(address.notifier->EnableNotification(event.Handle()), 0UL);
    EXPECT_EQ(address.notifier->WaitForNotification(0), 0UL);
    EXPECT_TRUE(ResetEvent(event.Handle())) << GetLastError();
}

}  // namespace

}  // namespace usb_test
