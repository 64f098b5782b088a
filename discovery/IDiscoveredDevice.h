#pragma once

namespace QVDiscovery {

// Service flags of a discovered device.
constexpr unsigned long kServicePrint9100 = 1;
constexpr unsigned long kServiceRestScan = 2;
constexpr unsigned long kServiceCIFS = 4;
constexpr unsigned long kServiceEWS = 8;
constexpr unsigned long kServiceDSD = 16;
constexpr unsigned long kServiceFax = 32;

// Adapter types of a discovered device.
constexpr unsigned long kAdapterUnknown = 0;
constexpr unsigned long kAdapterWired = 1;
constexpr unsigned long kAdapterWireless = 2;

// A device as it announced itself; read-only. Texts are never null.
// Operations in slot order, the destructor last.
class IDiscoveredDevice {
public:
    virtual const wchar_t* GetId() const = 0;
    virtual const wchar_t* GetHardwareAddress() const = 0;
    virtual const wchar_t* GetHostName() const = 0;
    virtual const wchar_t* GetIPAddress() const = 0;
    virtual const wchar_t* GetManufacturer() const = 0;
    virtual const wchar_t* GetModel() const = 0;
    virtual const wchar_t* GetSerialNumber() const = 0;
    virtual unsigned long GetServices() const = 0;
    virtual unsigned long GetAdapterType() const = 0;
    virtual ~IDiscoveredDevice() = default;
};

}  // namespace QVDiscovery
