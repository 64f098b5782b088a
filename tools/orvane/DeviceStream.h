// A stream of orvane64.dll to one device, disposed of with this object.
#pragma once

#include <string>

#include "orvane64.h"
#include "orvane/NamedDevice.h"

namespace tools {

class DeviceStream {
public:
    DeviceStream() = default;
    ~DeviceStream();
    DeviceStream(const DeviceStream&) = delete;
    DeviceStream& operator=(const DeviceStream&) = delete;

    // Makes the stream, sets its open, read and write timeouts (when not
    // zero) and connects; false, with Error() set, on failure.
    bool Open(NamedDevice& device, unsigned long timeoutMs);
    Orvane::Stream* operator->() const { return m_stream; }
    const std::string& Error() const { return m_error; }

private:
    Orvane::Stream* m_stream = nullptr;
    std::string m_error;
};

}  // namespace tools
