#include "orvane/DeviceTarget.h"

#include "common/ArgumentParser.h"
#include "common/Text.h"

namespace tools {

namespace {

const unsigned long kFirstStreamPort = 80;
const unsigned long kLastStreamPort = 9100;
const unsigned long kLastPort = 65535;

}  // namespace

bool DeviceTarget::Parse(const std::wstring& text, int defaultPort, Ports ports)
{
    std::wstring portText;
    if (!text.empty() && text[0] == L'[') {
        const size_t close = text.find(L']');
        if (close == std::wstring::npos || close == 1
            || (close + 1 < text.size() && text[close + 1] != L':')) {
            m_error = "invalid address '" + tools::Text::Narrow(text) + "'";
            return false;
        }
        m_address = text.substr(0, close + 1);
        portText = close + 1 < text.size() ? text.substr(close + 2) : L"";
    } else if (text.find(L':') != text.rfind(L':')) {
        m_address = L"[" + text + L"]";
    } else {
        const size_t colon = text.find(L':');
        m_address = text.substr(0, colon);
        portText = colon == std::wstring::npos ? L"" : text.substr(colon + 1);
        if (colon != std::wstring::npos && portText.empty()) {
            portText = L"?";
        }
    }
    if (m_address.empty()) {
        m_error = "invalid address '" + tools::Text::Narrow(text) + "'";
        return false;
    }
    unsigned long port = static_cast<unsigned long>(defaultPort);
    const bool stream = ports == Ports::Stream;
    if (!portText.empty()
        && !ArgumentParser::ParseNumber(portText, stream ? kFirstStreamPort : 1, stream ? kLastStreamPort : kLastPort,
                                        &port)) {
        m_error = "invalid port '" + tools::Text::Narrow(portText) + "'"
                  + (stream ? ": streams use ports 80 to 9100" : ": ports are 1 to 65535");
        return false;
    }
    m_port = static_cast<int>(port);
    return true;
}

std::string DeviceTarget::Text() const
{
    return tools::Text::Narrow(m_address) + ":" + std::to_string(m_port);
}

}  // namespace tools
