#pragma once

#include <string>

#include "devicemanager/IDeviceFunction.h"
#include "utils/IProgress.h"

namespace QVDeviceManager {

class CDevNode;

// The state every device shares, and the operations the manager calls on a
// device whatever its interface. The manager gets here from an IDevice by a
// run-time cast. Virtual operations in slot order.
class CDevice {
public:
    CDevice() = default;
    virtual ~CDevice();
    CDevice(const CDevice&) = delete;
    CDevice& operator=(const CDevice&) = delete;

    // `id` names the device: a serial number, or a port name.
    virtual unsigned long Init(const wchar_t* id, QVUtils::IProgress* progress) = 0;
    // Clears the three strings and the has-bad-node flag, then the functions.
    virtual void Reset();
    // Destroys the functions and empties their slots.
    virtual void ClearFunctions();
    virtual bool HasFunctions();
    virtual unsigned long Init(const CDevNode& devNode, QVUtils::IProgress* progress) = 0;

protected:
    std::wstring m_modelName;
    std::wstring m_serialNumber;
    std::wstring m_containerID;
    IDeviceFunction* m_pFunctions[kFunctionSlots] = {};
    bool m_bHasBadDevNode = false;
    bool m_bMarked = false;
    bool m_bDriverMissing = false;
};

}  // namespace QVDeviceManager
