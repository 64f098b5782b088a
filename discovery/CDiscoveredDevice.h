#pragma once

#include <string>

#include "discovery/IDiscoveredDevice.h"

namespace QVDiscovery {

// The plain record: empty texts and zero numbers until filled. Copies are
// deep; the search queues carry this class by value.
class CDiscoveredDevice : public IDiscoveredDevice {
public:
    CDiscoveredDevice() = default;
    CDiscoveredDevice(const CDiscoveredDevice&) = default;
    CDiscoveredDevice& operator=(const CDiscoveredDevice&) = default;

    const wchar_t* GetId() const override { return m_id.c_str(); }
    const wchar_t* GetHardwareAddress() const override { return m_hardwareAddress.c_str(); }
    const wchar_t* GetHostName() const override { return m_hostName.c_str(); }
    const wchar_t* GetIPAddress() const override { return m_ipAddress.c_str(); }
    const wchar_t* GetManufacturer() const override { return m_manufacturer.c_str(); }
    const wchar_t* GetModel() const override { return m_model.c_str(); }
    const wchar_t* GetSerialNumber() const override { return m_serialNumber.c_str(); }
    unsigned long GetServices() const override { return m_services; }
    unsigned long GetAdapterType() const override { return m_adapterType; }

protected:
    std::wstring m_id;
    std::wstring m_hardwareAddress;
    std::wstring m_hostName;
    std::wstring m_ipAddress;
    std::wstring m_manufacturer;
    std::wstring m_model;
    std::wstring m_serialNumber;
    unsigned long m_services = 0;
    unsigned long m_adapterType = kAdapterUnknown;
};

}  // namespace QVDiscovery
