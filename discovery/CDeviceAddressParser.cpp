#include "discovery/CDeviceAddressParser.h"

#include <stdio.h>

namespace QVDiscovery {

namespace {

bool IsDottedIPv4(const std::wstring& text)
{
    unsigned int part[4] = {};
    wchar_t colon = 0;
    wchar_t rest = 0;
    unsigned int port = 0;
    const int items = swscanf(text.c_str(), L"%3u.%3u.%3u.%3u%lc%u%lc", &part[0], &part[1], &part[2], &part[3],
                              &colon, &port, &rest);
    if (items != 4 && !(items == 6 && colon == L':')) {
        return false;
    }
    for (unsigned int value : part) {
        if (value >= 256) {
            return false;
        }
    }
    return items == 4 || port < 65536;
}

}  // namespace

CDeviceAddressParser::CDeviceAddressParser(const std::wstring& text)
{
    std::wstring copy = text;
    const std::wstring scheme = L"http://";
    if (copy.compare(0, scheme.size(), scheme) == 0) {
        copy.erase(0, scheme.size());
    }
    size_t cut = copy.find(L':');
    if (cut == std::wstring::npos) {
        cut = copy.find(L'/');
    }
    if (cut != std::wstring::npos) {
        copy.erase(cut);
    }
    if (IsDottedIPv4(copy)) {
        m_address = copy;
    }
}

}  // namespace QVDiscovery
