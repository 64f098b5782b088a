// Device objects: slot orders of the interfaces and base classes, the
// function slots of a device and the collection's bounds.
#include <gtest/gtest.h>

#include "devicemanager/CDeviceFunction.h"
#include "devicemanager/CDeviceT.h"
#include "devicemanager/CDevicesT.h"
#include "devicemanager/CDevNode.h"
#include "devicemanager/CDevNodeManager.h"
#include "doubles/VtableSlots.h"

using namespace QVDeviceManager;
using doubles::SlotOf;

namespace {

// A device whose functions a test sets directly.
class TestDevice : public CDeviceT<IUSBDevice> {
public:
    unsigned long Init(const wchar_t*, QVUtils::IProgress*) override { return 0; }
    unsigned long Init(const CDevNode&, QVUtils::IProgress*) override { return 0; }
    bool IsInstalled() override { return true; }
    bool IsOnline() override { return true; }
    CONNECTION_TYPE GetConnectionType() override { return CONNECTION_TYPE_USB; }
    unsigned long Refresh(QVUtils::IProgress*) override { return 0; }
    unsigned long Install(QVUtils::IProgress*) override { return DM_E_ALREADY_INSTALLED; }
    unsigned long Uninstall(QVUtils::IProgress*) override { return 0; }
    const std::wstring& GetDevNodeInstanceID() override { return m_serialNumber; }
    const std::list<std::wstring>& GetBadDevNodeInstanceIDList() override { return m_bad; }

    void Give(FUNCTION_TYPE type, const wchar_t* driver)
    {
        auto* function = new CDeviceFunction(type);
        function->Init(nullptr, driver, nullptr);
        m_pFunctions[type] = function;
    }
    void SetStrings() { m_modelName = m_serialNumber = m_containerID = L"x"; m_bHasBadDevNode = m_bDriverMissing = true; }

private:
    std::list<std::wstring> m_bad;
};

class TestDevices : public CDevicesT<TestDevice> {
public:
    unsigned long GetInstalledDevices(QVUtils::IProgress*) override { return 0; }
    void Add(int count)
    {
        for (int i = 0; i < count; ++i) {
            m_devices.push_back(std::make_unique<TestDevice>());
        }
    }
};

TEST(DeviceObjects, StatusFamilyAndTypesHaveTheirValues)
{
    EXPECT_EQ(1u, CONNECTION_TYPE_USB);
    EXPECT_EQ(2u, CONNECTION_TYPE_NETWORK);
    EXPECT_EQ(4u, CONNECTION_TYPE_BLUETOOTH);
    EXPECT_EQ(7, FUNCTION_TYPE_LASERFAX);
    EXPECT_EQ(0x83E8FAF3u, DM_E_VALUE_NOT_FOUND);
    EXPECT_EQ(0x83E8FAF4u, DM_E_WRONG_VALUE_TYPE);
    EXPECT_EQ(0x83E8FAFFu, DM_E_FAILED);
    EXPECT_EQ(0x83E8FFFEu, DM_E_CANCELLED);
}

TEST(DeviceObjects, DeviceInterfaceHasIts19OperationsInOrder)
{
    using D = IDevice;
    const std::vector<size_t> slots = {
        SlotOf(&D::IsInstalled), SlotOf(&D::IsOnline), SlotOf(&D::HasFunction), SlotOf(&D::HasAnyFunction),
        SlotOf(&D::HasBadDevNode), SlotOf(&D::IsDriverMissing), SlotOf(&D::GetModelName),
        SlotOf(&D::GetSerialNumber), SlotOf(&D::GetContainerID), SlotOf(&D::GetConnectionType),
        SlotOf(&D::GetBluetoothDevice), SlotOf(&D::GetNetworkDevice), SlotOf(&D::GetUSBDevice),
        SlotOf(&D::GetFunction), SlotOf(&D::Refresh), SlotOf(&D::Install), SlotOf(&D::Uninstall),
        SlotOf(&D::IsMarked), SlotOf(&D::SetMarked),
    };
    doubles::ExpectSlotRun<D>(slots, 0);
}

TEST(DeviceObjects, USBDeviceInterfaceAddsItsTwoOperationsBehind)
{
    using U = IUSBDevice;
    doubles::ExpectSlotRun<U>({SlotOf(&U::GetDevNodeInstanceID), SlotOf(&U::GetBadDevNodeInstanceIDList)}, 19);
}

TEST(DeviceObjects, DeviceBaseHasTheDestructorFirstAndFiveOperationsInOrder)
{
    using C = CDevice;
    using InitById = unsigned long (C::*)(const wchar_t*, QVUtils::IProgress*);
    using InitByNode = unsigned long (C::*)(const CDevNode&, QVUtils::IProgress*);
    doubles::ExpectSlotRun<C>({SlotOf(static_cast<InitById>(&C::Init)), SlotOf(&C::Reset), SlotOf(&C::ClearFunctions),
                               SlotOf(&C::HasFunctions), SlotOf(static_cast<InitByNode>(&C::Init))},
                              2);
}

TEST(DeviceObjects, CollectionInterfaceHasItsOperationsInOrderWithTheDestructorThird)
{
    using C = IDevices;
    EXPECT_EQ(0u, SlotOf(&C::GetCount));
    EXPECT_EQ(1u, SlotOf(&C::GetDevice));
    doubles::ExpectSlotRun<C>({SlotOf(&C::GetInstalledDevices), SlotOf(&C::Clear), SlotOf(&C::Detach)}, 4);
}

TEST(DeviceObjects, FunctionInterfaceHasItsOperationsInOrderWithTheDestructorFifth)
{
    using F = IDeviceFunction;
    const std::vector<size_t> getters = {SlotOf(&F::GetFunctionType), SlotOf(&F::GetFriendlyName),
                                         SlotOf(&F::GetDriverName), SlotOf(&F::GetAddress)};
    for (size_t i = 0; i < getters.size(); ++i) {
        EXPECT_EQ(i, getters[i]);
    }
    doubles::ExpectSlotRun<F>({SlotOf(&F::Init), SlotOf(&F::Clear)}, 6);
}

TEST(DeviceObjects, NodeManagerHasTheDestructorFirstAndThenItsThreeOperations)
{
    using M = CDevNodeManager;
    doubles::ExpectSlotRun<M>({SlotOf(&M::GetDevices), SlotOf(&M::GetDeviceChildren), SlotOf(&M::UninstallDevice)}, 2);
}

TEST(DeviceObjects, FunctionTakesANullTextAsEmptyAndClearsItsTexts)
{
    CDeviceFunction function(FUNCTION_TYPE_SCAN);
    function.Init(L"Scan", nullptr, L"\\\\?\\usb#x");
    EXPECT_EQ(FUNCTION_TYPE_SCAN, function.GetFunctionType());
    EXPECT_EQ(L"Scan", function.GetFriendlyName());
    EXPECT_EQ(L"", function.GetDriverName());
    EXPECT_EQ(L"\\\\?\\usb#x", function.GetAddress());
    function.Clear();
    EXPECT_EQ(L"", function.GetFriendlyName());
    EXPECT_EQ(L"", function.GetAddress());
    EXPECT_EQ(FUNCTION_TYPE_SCAN, function.GetFunctionType());
}

TEST(DeviceObjects, GetFunctionOnADeviceWithNoFunctionsGivesDeviceGone)
{
    TestDevice device;
    IDeviceFunction* function = nullptr;
    EXPECT_EQ(DM_E_DEVICE_GONE, device.GetFunction(FUNCTION_TYPE_PRINT, &function));
    EXPECT_EQ(nullptr, function);
}

TEST(DeviceObjects, GetFunctionOnADeviceWithAnotherFunctionGivesNotSupported)
{
    TestDevice device;
    device.Give(FUNCTION_TYPE_SCAN, L"Scanner");
    IDeviceFunction* function = nullptr;
    EXPECT_EQ(DM_E_NOT_SUPPORTED, device.GetFunction(FUNCTION_TYPE_PRINT, &function));
    EXPECT_EQ(0u, device.GetFunction(FUNCTION_TYPE_SCAN, &function));
    ASSERT_NE(nullptr, function);
    EXPECT_EQ(L"Scanner", function->GetDriverName());
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, device.GetFunction(FUNCTION_TYPE_SCAN, nullptr));
}

TEST(DeviceObjects, HasFunctionWithType0Or8GivesFalse)
{
    TestDevice device;
    for (int type = 1; type <= 7; ++type) {
        device.Give(FUNCTION_TYPE(type), L"d");
    }
    EXPECT_FALSE(device.HasFunction(FUNCTION_TYPE(0)));
    EXPECT_FALSE(device.HasFunction(FUNCTION_TYPE(8)));
    EXPECT_TRUE(device.HasFunction(FUNCTION_TYPE_CONFIG));
    EXPECT_TRUE(device.HasFunction(FUNCTION_TYPE_LASERFAX));
    EXPECT_FALSE(device.HasAnyFunction({FUNCTION_TYPE(0), FUNCTION_TYPE(8)}));
    EXPECT_TRUE(device.HasAnyFunction({FUNCTION_TYPE(8), FUNCTION_TYPE_FAX}));
}

TEST(DeviceObjects, ResetClearsStringsBadNodeAndFunctionsButNotTheMissingDriverFlag)
{
    TestDevice device;
    device.SetStrings();
    device.Give(FUNCTION_TYPE_PRINT, L"p");
    device.Reset();
    EXPECT_EQ(L"", device.GetModelName());
    EXPECT_EQ(L"", device.GetSerialNumber());
    EXPECT_EQ(L"", device.GetContainerID());
    EXPECT_FALSE(device.HasBadDevNode());
    EXPECT_TRUE(device.IsDriverMissing());
    EXPECT_FALSE(device.HasFunctions());
}

TEST(DeviceObjects, AUSBDeviceIsNeitherNetworkNorBluetooth)
{
    TestDevice device;
    IUSBDevice* usb = nullptr;
    INetworkDevice* network = nullptr;
    IBluetoothDevice* bluetooth = nullptr;
    EXPECT_EQ(0u, device.GetUSBDevice(&usb));
    EXPECT_EQ(static_cast<IUSBDevice*>(&device), usb);
    EXPECT_EQ(DM_E_NO_INTERFACE, device.GetNetworkDevice(&network));
    EXPECT_EQ(DM_E_NO_INTERFACE, device.GetBluetoothDevice(&bluetooth));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, device.GetBluetoothDevice(nullptr));
    EXPECT_FALSE(device.IsMarked());
    device.SetMarked(true);
    EXPECT_TRUE(device.IsMarked());
}

TEST(DeviceObjects, GetDeviceOutOfRangeGivesNullAndDetachGivesInvalidArgument)
{
    TestDevices devices;
    devices.Add(2);
    EXPECT_EQ(nullptr, devices.GetDevice(2));
    EXPECT_NE(nullptr, devices.GetDevice(1));
    IDevice* detached = nullptr;
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, devices.Detach(2, &detached));
    EXPECT_EQ(nullptr, detached);
    EXPECT_EQ(2u, devices.GetCount());
}

TEST(DeviceObjects, DetachHandsTheDeviceOverOrDestroysItWithANullOut)
{
    TestDevices devices;
    devices.Add(3);
    IDevice* second = devices.GetDevice(1);
    IDevice* detached = nullptr;
    ASSERT_EQ(0u, devices.Detach(1, &detached));
    EXPECT_EQ(second, detached);
    EXPECT_EQ(2u, devices.GetCount());
    delete dynamic_cast<CDevice*>(detached);
    EXPECT_EQ(0u, devices.Detach(0, nullptr));
    EXPECT_EQ(1u, devices.GetCount());
    devices.Clear();
    EXPECT_EQ(0u, devices.GetCount());
}

}  // namespace
