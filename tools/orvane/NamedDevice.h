// A device named on the command line by its address (ADDRESS[:PORT]), by
// print queue (--queue NAME) or by print port (--port NAME), with the port
// number on which to reach it; its Address is disposed of with this object.
#pragma once

#include <string>
#include <vector>

#include "orvane/DeviceTarget.h"
#include "orvane64.h"

namespace tools {

class ArgumentParser;

class NamedDevice {
public:
    NamedDevice() = default;
    ~NamedDevice();
    NamedDevice(const NamedDevice&) = delete;
    NamedDevice& operator=(const NamedDevice&) = delete;

    // The options that name a device: --queue NAME, --port NAME, and
    // --port-number N for the port number on a device so named.
    static std::vector<std::wstring> Options();
    // Whether --queue or --port was given, so that no address is expected.
    static bool ByName(const ArgumentParser& parser);

    // Takes the name from --queue or --port, else from `target`, an
    // ADDRESS[:PORT]; false, with Error() set, on a usage error.
    bool Parse(const ArgumentParser& parser, const std::wstring& target, int defaultPort,
               DeviceTarget::Ports ports = DeviceTarget::Ports::Stream);
    // Makes the address; false, with Error() set, when the library makes
    // none.
    bool Open();
    // Names the device by queue or port as Parse does, or else by the
    // address text as it is, and makes the address.
    bool Open(const ArgumentParser& parser, const std::wstring& address);

    Orvane::Address* operator->() const { return m_device; }
    int Port() const { return m_port; }
    // "ADDRESS:PORT", "queue 'NAME'" or "port 'NAME'", for messages.
    const std::string& Text() const { return m_text; }
    const std::string& Error() const { return m_error; }

private:
    bool Name(const ArgumentParser& parser);

    bool m_byName = false;
    bool m_byQueue = false;
    std::wstring m_address;
    std::wstring m_queue;
    std::wstring m_portName;
    int m_port = 0;
    Orvane::Address* m_device = nullptr;
    std::string m_text;
    std::string m_error;
};

}  // namespace tools
