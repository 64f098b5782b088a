// A device named on the command line as ADDRESS[:PORT]; an IPv6 address is
// written in brackets ("[::1]:9100") or bare without a port ("::1").
#pragma once

#include <string>

namespace tools {

class DeviceTarget {
public:
    // The ports a command accepts: those on which the library makes streams
    // (80 to 9100), or any TCP port, leaving the choice to the library.
    enum class Ports { Stream, Any };

    // False, with Error() set, on text that names no address or a port
    // outside the given ports.
    bool Parse(const std::wstring& text, int defaultPort, Ports ports = Ports::Stream);

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
