#pragma once

#include <type_traits>

#include "devicemanager/CDevice.h"
#include "devicemanager/IBluetoothDevice.h"
#include "devicemanager/INetworkDevice.h"
#include "devicemanager/IUSBDevice.h"

namespace QVDeviceManager {

// Joins the shared state of CDevice and a device interface (IUSBDevice or
// INetworkDevice), and answers the interface's accessors from that state.
template <typename Interface>
class CDeviceT : public CDevice, public Interface {
public:
    bool HasFunction(FUNCTION_TYPE type) override
    {
        return type >= FUNCTION_TYPE_CONFIG && type <= FUNCTION_TYPE_LASERFAX && m_pFunctions[type] != nullptr;
    }
    bool HasAnyFunction(const std::list<FUNCTION_TYPE>& types) override
    {
        for (FUNCTION_TYPE type : types) {
            if (HasFunction(type)) {
                return true;
            }
        }
        return false;
    }
    bool HasBadDevNode() override { return m_bHasBadDevNode; }
    bool IsDriverMissing() override { return m_bDriverMissing; }
    const std::wstring& GetModelName() override { return m_modelName; }
    const std::wstring& GetSerialNumber() override { return m_serialNumber; }
    const std::wstring& GetContainerID() override { return m_containerID; }
    unsigned long GetBluetoothDevice(IBluetoothDevice** out) override
    {
        return out == nullptr ? DM_E_INVALID_ARGUMENT : DM_E_NO_INTERFACE;
    }
    unsigned long GetNetworkDevice(INetworkDevice** out) override { return Cast(out); }
    unsigned long GetUSBDevice(IUSBDevice** out) override { return Cast(out); }
    unsigned long GetFunction(FUNCTION_TYPE type, IDeviceFunction** out) override
    {
        if (out == nullptr) {
            return DM_E_INVALID_ARGUMENT;
        }
        if (HasFunction(type)) {
            *out = m_pFunctions[type];
            return 0;
        }
        return HasFunctions() ? DM_E_NOT_SUPPORTED : DM_E_DEVICE_GONE;
    }
    bool IsMarked() override { return m_bMarked; }
    void SetMarked(bool marked) override { m_bMarked = marked; }

private:
    // The object itself when it has that interface.
    template <typename Other>
    unsigned long Cast(Other** out)
    {
        if (out == nullptr) {
            return DM_E_INVALID_ARGUMENT;
        }
        if constexpr (std::is_base_of_v<Other, Interface>) {
            *out = this;
            return 0;
        } else {
            return DM_E_NO_INTERFACE;
        }
    }
};

}  // namespace QVDeviceManager
