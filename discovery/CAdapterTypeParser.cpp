#include "discovery/CAdapterTypeParser.h"

#include <wchar.h>

#include "discovery/IDiscoveredDevice.h"

namespace QVDiscovery {

CAdapterTypeParser::CAdapterTypeParser(const std::wstring& text)
{
    if (text.empty()) {
        return;
    }
    if (_wcsicmp(text.c_str(), L"Ethernet") == 0) {
        m_type = kAdapterWired;
    } else if (_wcsicmp(text.c_str(), L"WifiEmbedded") == 0 || _wcsicmp(text.c_str(), L"WifiAccessory") == 0) {
        m_type = kAdapterWireless;
    }
}

}  // namespace QVDiscovery
