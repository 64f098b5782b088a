#pragma once

#include "devicemanager/IDevice.h"

namespace QVDeviceManager {

// What a device search tells its caller. The first two and the progress run
// on the search's event thread, the two endings on the searching thread.
// Operations in slot order.
class IDeviceDiscoveryCallback {
public:
    virtual void OnAddDevice(IDevice* device) = 0;
    virtual void OnRemoveDevice(IDevice* device) = 0;
    virtual void OnSearchComplete(unsigned long status) = 0;
    virtual void OnSearchFailed(unsigned long status) = 0;
    // False stops the search; `code` and its arguments are those of
    // IProgress.
    virtual bool OnSearchProgress(double percent, unsigned long code, ...) = 0;

protected:
    ~IDeviceDiscoveryCallback() = default;
};

}  // namespace QVDeviceManager
