#pragma once

#include <memory>

#include "devicemanager/CDevicesT.h"
#include "devicemanager/CNetworkDevice.h"

namespace QVDeviceManager {

// The network devices that have a record: one for each record file of the
// folder that loads.
class CNetworkDevices : public CDevicesT<CNetworkDevice> {
public:
    // A broken record is passed over.
    unsigned long GetInstalledDevices(QVUtils::IProgress* progress) override;
    // The device of the discovered one's serial number, made and added when
    // the collection has none; `out` may be null.
    virtual unsigned long AddDevice(const QVDiscovery::IDiscoveredDevice* discovered, CNetworkDevice** out,
                                    QVUtils::IProgress* progress);
    virtual unsigned long FindDevice(const wchar_t* serialNumber, CNetworkDevice** out);

protected:
    // A new, empty device object for a record.
    virtual std::unique_ptr<CNetworkDevice> NewDevice();
};

}  // namespace QVDeviceManager
