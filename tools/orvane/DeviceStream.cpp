#include "orvane/DeviceStream.h"

#include "common/ErrorText.h"

namespace tools {

DeviceStream::~DeviceStream()
{
    if (m_stream != nullptr) {
        m_stream->Close();
        m_stream->Dispose();
    }
}

bool DeviceStream::Open(NamedDevice& device, unsigned long timeoutMs)
{
    if (!device.Open()) {
        m_error = device.Error();
        return false;
    }
    const unsigned long status = device->CreateStream(device.Port(), &m_stream);
    if (status != 0 || m_stream == nullptr) {
        // CreateStream answers a refused port or address with status 0 and
        // no stream, and has no system error code to give: the log has the
        // cause.
        m_error = "the library made no stream for " + device.Text() + ": " + ErrorText::Status(status)
                  + "; 'orvane log on' records the cause";
        return false;
    }
    if (timeoutMs != 0) {
        m_stream->SetOpenTimeout(timeoutMs);
        m_stream->SetReadTimeout(timeoutMs);
        m_stream->SetWriteTimeout(timeoutMs);
    }
    if (m_stream->Open() != 0) {
        m_error = "cannot connect to " + device.Text() + ": error "
                  + ErrorText::Describe(m_stream->GetSystemErrorCode());
        return false;
    }
    return true;
}

}  // namespace tools
