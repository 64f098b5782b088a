#pragma once

#include <string>

namespace QVDiscovery {

// The service flags of a blank-separated "pwg:Services" list; tokens are
// matched exactly, unknown ones add nothing.
class CDeviceServicesParser {
public:
    explicit CDeviceServicesParser(const std::wstring& services);
    virtual ~CDeviceServicesParser() = default;

    unsigned long m_services = 0;
};

}  // namespace QVDiscovery
