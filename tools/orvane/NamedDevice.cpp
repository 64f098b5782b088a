#include "orvane/NamedDevice.h"

#include "common/ArgumentParser.h"
#include "common/Text.h"

namespace tools {

NamedDevice::~NamedDevice()
{
    if (m_device != nullptr) {
        m_device->Dispose();
    }
}

std::vector<std::wstring> NamedDevice::Options()
{
    return {L"--queue", L"--port", L"--port-number"};
}

bool NamedDevice::ByName(const ArgumentParser& parser)
{
    return parser.Has(L"--queue") || parser.Has(L"--port");
}

bool NamedDevice::Name(const ArgumentParser& parser)
{
    if (parser.Has(L"--queue") && parser.Has(L"--port")) {
        m_error = "give --queue or --port, not both";
        return false;
    }
    m_byName = true;
    m_byQueue = parser.Has(L"--queue");
    m_queue = parser.Value(L"--queue");
    m_portName = parser.Value(L"--port");
    m_text = m_byQueue ? "queue '" + Text::Narrow(m_queue) + "'" : "port '" + Text::Narrow(m_portName) + "'";
    return true;
}

bool NamedDevice::Parse(const ArgumentParser& parser, const std::wstring& target, int defaultPort,
                        DeviceTarget::Ports ports)
{
    if (!ByName(parser)) {
        if (parser.Has(L"--port-number")) {
            m_error = "--port-number goes with --queue or --port; give an address as ADDRESS:PORT";
            return false;
        }
        DeviceTarget address;
        if (!address.Parse(target, defaultPort, ports)) {
            m_error = address.Error();
            return false;
        }
        m_address = address.Address();
        m_port = address.Port();
        m_text = address.Text();
        return true;
    }
    if (!Name(parser)) {
        return false;
    }
    // The port number is checked as an address's port would be.
    DeviceTarget number;
    if (!number.Parse(L"device:" + parser.Value(L"--port-number", std::to_wstring(defaultPort)), defaultPort, ports)) {
        m_error = number.Error();
        return false;
    }
    m_port = number.Port();
    return true;
}

bool NamedDevice::Open()
{
    if (m_byName) {
        m_device = m_byQueue ? Orvane::CreateAddressFromQueueName(m_queue.c_str())
                             : Orvane::CreateAddressFromPortName(m_portName.c_str());
        if (m_device == nullptr) {
            m_error = "no device found for " + m_text + "; 'orvane resolve' tells what stands behind a name";
            return false;
        }
        return true;
    }
    m_device = Orvane::CreateAddressFromIPAddress(m_address.c_str());
    if (m_device == nullptr) {
        m_error = "the library made no address for " + m_text;
        return false;
    }
    return true;
}

bool NamedDevice::Open(const ArgumentParser& parser, const std::wstring& address)
{
    if (ByName(parser)) {
        if (!Name(parser)) {
            return false;
        }
    } else {
        m_address = address;
        m_text = Text::Narrow(address);
    }
    return Open();
}

}  // namespace tools
