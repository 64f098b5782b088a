#pragma once

#include <string>

namespace QVDiscovery {

// Values of an IEEE 1284 device identifier ("KEY:value;KEY:value;"), keys
// matched exactly, values untrimmed.
class CDeviceIdParser {
public:
    explicit CDeviceIdParser(const std::wstring& deviceId) : m_deviceId(deviceId) {}
    virtual ~CDeviceIdParser() = default;

    // The value of `key`, or empty when the key is null, empty or absent.
    std::wstring GetValue(const wchar_t* key) const;

private:
    std::wstring m_deviceId;
};

}  // namespace QVDiscovery
