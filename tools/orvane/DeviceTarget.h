// A device named on the command line as ADDRESS[:PORT]; an IPv6 address is
// written in brackets ("[::1]:9100") or bare without a port ("::1").
#pragma once

#include <string>

namespace tools {

class DeviceTarget {
public:
    // False, with Error() set, on text that names no address or a port
    // outside 80..9100, the ports on which the library makes streams.
    bool Parse(const std::wstring& text, int defaultPort);

    // The address text for the library, an IPv6 address in brackets.
    const std::wstring& Address() const { return m_address; }
    int Port() const { return m_port; }
    // "address:port", for messages.
    std::string Text() const;
    const std::string& Error() const { return m_error; }

private:
    std::wstring m_address;
    int m_port = 0;
    std::string m_error;
};

}  // namespace tools
