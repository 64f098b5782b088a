#pragma once

#include <vector>

#include "devicemanager/CDevices.h"
#include "devicemanager/CNetworkDevices.h"
#include "devicemanager/CUSBDevices.h"

namespace QVDeviceManager {

// The installed devices of a mask of connection types: the USB devices
// first, then the network devices. Bluetooth has no list.
class CAllDevices : public CDevices {
public:
    unsigned long GetCount() override { return static_cast<unsigned long>(m_all.size()); }
    IDevice* GetDevice(unsigned long index) override { return index < m_all.size() ? m_all[index] : nullptr; }
    // All three types.
    unsigned long GetInstalledDevices(QVUtils::IProgress* progress) override;
    void Clear() override;
    unsigned long Detach(unsigned long index, IDevice** device) override;

    // Empties the object also for a mask without a known bit, which gives
    // DM_E_INVALID_ARGUMENT.
    virtual unsigned long GetInstalledDevices(unsigned long mask, QVUtils::IProgress* progress);

private:
    CUSBDevices m_usb;
    CNetworkDevices m_network;
    std::vector<IDevice*> m_all;
};

}  // namespace QVDeviceManager
