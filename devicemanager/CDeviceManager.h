#pragma once

#include <set>

#include "devicemanager/IDeviceManager.h"

namespace QVDeviceManager {

class CAllDevices;
class CDevice;
class CDevices;

// Owns the devices and collections it hands out; what is left when it goes
// is destroyed, collections first. Used from one thread at a time.
class CDeviceManager : public IDeviceManager {
public:
    CDeviceManager() = default;
    CDeviceManager(const CDeviceManager&) = delete;
    CDeviceManager& operator=(const CDeviceManager&) = delete;

    unsigned long GetVersion() override { return 1; }
    unsigned long GetInstalledDevices(unsigned long mask, IDevices** devices, QVUtils::IProgress* progress) override;
    unsigned long DestroyDevices(IDevices* devices) override;
    unsigned long OpenDevice(const wchar_t* friendlyName, FUNCTION_TYPE functionType, IDevice** device,
                             QVUtils::IProgress* progress) override;
    unsigned long OpenDevice(const wchar_t* id, CONNECTION_TYPE connectionType, IDevice** device,
                             QVUtils::IProgress* progress) override;
    unsigned long CloseDevice(IDevice* device) override;
    unsigned long FindNetworkDevice(const wchar_t* address, IDevice** device, QVUtils::IProgress* progress) override;
    unsigned long FindNetworkDevices(IDevices** devices, QVUtils::IProgress* progress) override;
    unsigned long GetModelNameFromFriendlyName(const wchar_t* friendlyName, FUNCTION_TYPE functionType,
                                               std::wstring& name) override;
    unsigned long RefreshDevNodes(QVUtils::IProgress* progress) override;
    unsigned long GetFriendlyNameFromSerialNumber(const wchar_t* serialNumber, CONNECTION_TYPE connectionType,
                                                  FUNCTION_TYPE functionType, std::wstring& name) override;
    ~CDeviceManager() override;

private:
    unsigned long OpenMYDUT(unsigned long mask, IDevice** device, QVUtils::IProgress* progress);
    // Takes the device at `index` out of `all` into the open devices.
    unsigned long Keep(CAllDevices& all, unsigned long index, IDevice** device);

    // By the interface pointers handed out: an object is looked up before
    // it is touched, so that a stale or foreign pointer is only refused.
    std::set<IDevice*> m_openDevices;
    std::set<IDevices*> m_openCollections;
};

}  // namespace QVDeviceManager
