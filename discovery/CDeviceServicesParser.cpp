#include "discovery/CDeviceServicesParser.h"

#include "discovery/IDiscoveredDevice.h"

namespace QVDiscovery {

namespace {

struct ServiceToken {
    const wchar_t* token;
    unsigned long flag;
};

constexpr ServiceToken kTokens[] = {
    {L"Print9100", kServicePrint9100}, {L"RestScan", kServiceRestScan}, {L"CIFS", kServiceCIFS},
    {L"EWS", kServiceEWS},             {L"DSD", kServiceDSD},           {L"HESK", kServiceDSD},
    {L"Fax", kServiceFax},             {L"HeskFax", kServiceFax},
};

unsigned long FlagOf(const std::wstring& token)
{
    for (const ServiceToken& row : kTokens) {
        if (token == row.token) {
            return row.flag;
        }
    }
    return 0;
}

}  // namespace

CDeviceServicesParser::CDeviceServicesParser(const std::wstring& services)
{
    if (services.empty()) {
        return;
    }
    size_t start = 0;
    for (;;) {
        const size_t blank = services.find(L' ', start);
        m_services |= FlagOf(services.substr(start, blank == std::wstring::npos ? std::wstring::npos : blank - start));
        if (blank == std::wstring::npos) {
            return;
        }
        start = blank + 1;
    }
}

}  // namespace QVDiscovery
