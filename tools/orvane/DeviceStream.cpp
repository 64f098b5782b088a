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

bool DeviceStream::Open(const DeviceTarget& target, unsigned long timeoutMs)
{
    Orvane::Address* address = Orvane::CreateAddressFromIPAddress(target.Address().c_str());
    if (address == nullptr) {
        m_error = "the library made no address for " + target.Text();
        return false;
    }
    const unsigned long status = address->CreateStream(target.Port(), &m_stream);
    address->Dispose();
    if (status != 0 || m_stream == nullptr) {
        // CreateStream answers a refused port or address with status 0 and
        // no stream, and has no system error code to give: the log has the
        // cause.
        m_error = "the library made no stream for " + target.Text() + ": " + ErrorText::Status(status)
                  + "; 'orvane log on' records the cause";
        return false;
    }
    if (timeoutMs != 0) {
        m_stream->SetOpenTimeout(timeoutMs);
        m_stream->SetReadTimeout(timeoutMs);
        m_stream->SetWriteTimeout(timeoutMs);
    }
    if (m_stream->Open() != 0) {
        m_error = "cannot connect to " + target.Text() + ": error "
                  + ErrorText::Describe(m_stream->GetSystemErrorCode());
        return false;
    }
    return true;
}

}  // namespace tools
