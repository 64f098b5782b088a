#pragma once

#include <string>

#include "devicemanager/IDevice.h"
#include "devicemanager/IDevices.h"
#include "utils/IProgress.h"

namespace QVDeviceManager {

// Enumerates, opens and finds devices, and owns what it hands out until
// CloseDevice or DestroyDevices, or until the manager goes. Operations in
// slot order; `progress` may be null everywhere.
class IDeviceManager {
public:
    // 1.
    virtual unsigned long GetVersion() = 0;
    // `mask` of CONNECTION_TYPE bits.
    virtual unsigned long GetInstalledDevices(unsigned long mask, IDevices** devices, QVUtils::IProgress* progress) = 0;
    virtual unsigned long DestroyDevices(IDevices* devices) = 0;
    // The first device whose function of the type has that friendly name,
    // compared without regard to the case of A to Z.
    virtual unsigned long OpenDevice(const wchar_t* friendlyName, FUNCTION_TYPE functionType, IDevice** device,
                                     QVUtils::IProgress* progress) = 0;
    // `id` is a serial number or port name; "MYDUT" opens the first device
    // with a configuration, fax or scan function.
    virtual unsigned long OpenDevice(const wchar_t* id, CONNECTION_TYPE connectionType, IDevice** device,
                                     QVUtils::IProgress* progress) = 0;
    virtual unsigned long CloseDevice(IDevice* device) = 0;
    virtual unsigned long FindNetworkDevice(const wchar_t* address, IDevice** device, QVUtils::IProgress* progress) = 0;
    virtual unsigned long FindNetworkDevices(IDevices** devices, QVUtils::IProgress* progress) = 0;
    virtual unsigned long GetModelNameFromFriendlyName(const wchar_t* friendlyName, FUNCTION_TYPE functionType,
                                                       std::wstring& name) = 0;
    virtual unsigned long RefreshDevNodes(QVUtils::IProgress* progress) = 0;
    virtual unsigned long GetFriendlyNameFromSerialNumber(const wchar_t* serialNumber, CONNECTION_TYPE connectionType,
                                                          FUNCTION_TYPE functionType, std::wstring& name) = 0;
    virtual ~IDeviceManager() = default;
};

}  // namespace QVDeviceManager
