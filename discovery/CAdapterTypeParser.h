#pragma once

#include <string>

namespace QVDiscovery {

// The adapter type of a "pwg:AdapterType" text, compared without regard to
// case: wired for "Ethernet", wireless for the two Wi-Fi kinds.
class CAdapterTypeParser {
public:
    explicit CAdapterTypeParser(const std::wstring& text);
    virtual ~CAdapterTypeParser() = default;

    unsigned long m_type = 0;
};

}  // namespace QVDiscovery
