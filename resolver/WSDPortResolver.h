#pragma once

#include <windows.h>
#include <propsys.h>

#include <string>

namespace Orvane {

// One look-up of a WSD device's address through the platform's Function
// Discovery: by the port name that a plug-and-play function instance
// carries, or by the device's identity through the WSD provider.
class WSDPortResolver {
public:
    // Chooses the look-up by identity.
    enum ByDeviceID { DeviceID };

    // A name that doesn't begin with "WSD-" is cleared, last error 1796.
    explicit WSDPortResolver(const wchar_t* portName);
    // An empty identity gives last error 87; one that doesn't begin with
    // "UUID:" or "uuid:" is cleared, last error 1705.
    WSDPortResolver(const wchar_t* deviceID, ByDeviceID);
    virtual ~WSDPortResolver() = default;
    WSDPortResolver(const WSDPortResolver&) = delete;
    WSDPortResolver& operator=(const WSDPortResolver&) = delete;

    // Goes through the plug-and-play function instances for the one that
    // carries the port's name; true with its address in `text`.
    virtual bool ResolveToIPAddress(wchar_t* text, size_t chars);
    // Asks the WSD provider for the device of the identity, waiting for it
    // at most 30 seconds; `text` holds kWsdAddressChars.
    virtual bool ResolveToIPAddressFromDeviceID(wchar_t* text);
    // The service address of a store whose port key names this port.
    virtual bool GetIPAddressProperty(IPropertyStore* store, wchar_t* text, size_t chars);
    // Whether an instance of this identity can stand behind a WSD port.
    virtual bool SearchThisNode(const wchar_t* id);

private:
    std::wstring m_portName;
    std::wstring m_deviceID;
    std::wstring m_address;
};

// The characters of every address text a look-up gives.
constexpr size_t kWsdAddressChars = 260;

}  // namespace Orvane
