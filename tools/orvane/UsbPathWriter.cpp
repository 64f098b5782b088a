#include "orvane/UsbPathWriter.h"

#include "common/ErrorText.h"
#include "common/Text.h"
#include "iostack/CIOUSB.h"

namespace tools {

namespace {

const wchar_t kPrefix[] = L"usb-path:";

}  // namespace

bool UsbPathWriter::Names(const std::wstring& target)
{
    return target.rfind(kPrefix, 0) == 0;
}

UsbPathWriter::~UsbPathWriter()
{
    if (m_connection != nullptr) {
        if (m_open) {
            m_connection->Close();
        }
        m_connection->Dispose();
    }
}

bool UsbPathWriter::Open(const std::wstring& target, unsigned long timeoutMs)
{
    const std::wstring path = target.substr(std::wstring(kPrefix).size());
    m_connection = QVIOStack::CreateIOUSB();
    if (m_connection == nullptr) {
        m_error = "no USB connection could be made";
        return false;
    }
    m_connection->AddRef();
    if (timeoutMs != 0) {
        m_connection->SetWriteTimeout(timeoutMs);
    }
    unsigned long status = m_connection->Initialize(path.c_str());
    if (status == 0) {
        status = m_connection->Open(nullptr);
    }
    if (status != 0) {
        m_error = "cannot open " + Text::Narrow(path) + ": " + ErrorText::Status(status);
        return false;
    }
    m_open = true;
    return true;
}

unsigned long UsbPathWriter::Write(const void* data, unsigned long size, unsigned long* written)
{
    return m_connection->Write(data, size, written, nullptr);
}

}  // namespace tools
