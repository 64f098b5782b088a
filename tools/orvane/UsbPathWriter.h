// The test-only target of orvane send: "usb-path:" and a device path of the
// virtual USB printer, written through the library's USB connection linked
// from the core. Hosts will name USB devices by port or queue once the
// address factory takes them; until then this entry reaches the USB path.
#pragma once

#include <string>

namespace QVIOStack {
class IDeviceConnection;
}

namespace tools {

class UsbPathWriter {
public:
    UsbPathWriter() = default;
    ~UsbPathWriter();
    UsbPathWriter(const UsbPathWriter&) = delete;
    UsbPathWriter& operator=(const UsbPathWriter&) = delete;

    // Whether a target names a device path.
    static bool Names(const std::wstring& target);
    // Claims the channel and opens the path; false, with Error() set, on
    // failure. A timeout of 0 keeps the connection's own.
    bool Open(const std::wstring& target, unsigned long timeoutMs);
    unsigned long Write(const void* data, unsigned long size, unsigned long* written);
    const std::string& Error() const { return m_error; }

private:
    QVIOStack::IDeviceConnection* m_connection = nullptr;
    bool m_open = false;
    std::string m_error;
};

}  // namespace tools
