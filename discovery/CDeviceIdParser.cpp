#include "discovery/CDeviceIdParser.h"

namespace QVDiscovery {

std::wstring CDeviceIdParser::GetValue(const wchar_t* key) const
{
    if (key == nullptr || *key == L'\0') {
        return std::wstring();
    }
    std::wstring pattern = std::wstring(key) + L":";
    size_t start = 0;
    if (m_deviceId.compare(0, pattern.size(), pattern) == 0) {
        start = pattern.size();
    } else {
        pattern = L";" + pattern;
        const size_t found = m_deviceId.find(pattern);
        if (found == std::wstring::npos) {
            return std::wstring();
        }
        start = found + pattern.size();
    }
    const size_t end = m_deviceId.find(L';', start);
    return m_deviceId.substr(start, end == std::wstring::npos ? std::wstring::npos : end - start);
}

}  // namespace QVDiscovery
