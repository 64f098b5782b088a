#pragma once

#include "api/IUSBDeviceManager.h"
#include "devicemanager/IDeviceManager.h"

namespace Orvane {

// One device manager for the life of the object, between the device
// manager library's start and end.
class USBDeviceManager : public IUSBDeviceManager {
public:
    USBDeviceManager();
    ~USBDeviceManager() override;
    USBDeviceManager(const USBDeviceManager&) = delete;
    USBDeviceManager& operator=(const USBDeviceManager&) = delete;

    QVDeviceManager::IDevice* OpenUSBDeviceByQueue(const wchar_t* name) override;
    QVDeviceManager::IDevice* OpenUSBDeviceByPort(const wchar_t* name) override;
    QVDeviceManager::IDevice* OpenDot4Device(const wchar_t* name) override;
    unsigned long CloseDevice(QVDeviceManager::IDevice* device) override;

private:
    // Null when the manager could not be opened; the calls don't look.
    QVDeviceManager::IDeviceManager* m_pManager = nullptr;
};

}  // namespace Orvane
