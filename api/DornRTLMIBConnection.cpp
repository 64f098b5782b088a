#include "api/DornRTLMIBConnection.h"

#include <cstring>
#include <new>
#include <vector>

#include "api/DornRTLLoader.h"
#include "logging/LogTrace.h"
#include "utils/StringUtils.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

namespace {

// Value type codes of the run-time.
constexpr unsigned long kInteger = 2;
constexpr unsigned long kText = 4;

bool IsInteger(unsigned long type)
{
    return type == 1 || type == 2;
}

bool IsText(unsigned long type)
{
    return type == 4 || type == 5;
}

}  // namespace

DornRTLMIBConnection::DornRTLMIBConnection(QVWinApi::IKernelApi* kernelApi)
    : m_pLoader(new DornRTLLoader(kernelApi))
{
}

DornRTLMIBConnection::~DornRTLMIBConnection()
{
    Close();
    // Unloads the run-time.
    delete m_pLoader;
}

void DornRTLMIBConnection::Initialize(unsigned long connectionType)
{
    Close();
    std::memset(m_descriptor, 0, sizeof m_descriptor);
    m_descriptor[0] = kDornDescriptorSize;
    const uint32_t type = connectionType;
    std::memcpy(m_descriptor + kDornDescriptorTypeOffset, &type, sizeof type);
    const uint64_t text = reinterpret_cast<uintptr_t>(m_address.c_str());
    std::memcpy(m_descriptor + kDornDescriptorAddressOffset, &text, sizeof text);
}

void DornRTLMIBConnection::InitializeIPAddress(const wchar_t* address)
{
    m_address = StringUtils::WideToUtf8(address);
    Initialize(kDornIPAddress);
}

void DornRTLMIBConnection::InitializePortName(const wchar_t* port)
{
    m_address = StringUtils::WideToUtf8(port);
    Initialize(kDornPortName);
}

bool DornRTLMIBConnection::Open()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::DornRTLMIBConnection::Open");
    if (m_hDevice != 0) {
        return true;
    }
    if (m_pLoader->OpenOsDevice(m_descriptor, &m_hDevice) != 0) {
        QV_LOG_ERROR(L"OpenOsDevice failed for %S", m_address.c_str());
        return false;
    }
    return m_pLoader->DornRegisterEx(m_hDevice, &m_hRegistration) == 0;
}

void DornRTLMIBConnection::Close()
{
    // The handles are not cleared: nothing opens a connection again after
    // it was closed, as only Initialize and the destructor close.
    if (m_hRegistration != 0) {
        m_pLoader->DornUnRegisterEx(m_hDevice, m_hRegistration);
    }
    if (m_hDevice != 0) {
        m_pLoader->CloseOsDevice(m_hDevice);
    }
}

bool DornRTLMIBConnection::GetOidFromString(const wchar_t* text, unsigned char* bytes, unsigned long size,
                                            unsigned long* count)
{
    const std::wstring oid = text != nullptr ? text : L"";
    std::vector<unsigned char> parts(size);
    unsigned long stored = 0;
    size_t start = oid.find_first_not_of(L'.');
    while (start != std::wstring::npos && stored < size) {
        const size_t end = oid.find_first_of(L'.', start);
        const std::wstring part = oid.substr(start, end == std::wstring::npos ? std::wstring::npos : end - start);
        parts[stored++] = static_cast<unsigned char>(std::wcstoul(part.c_str(), nullptr, 10));
        start = end == std::wstring::npos ? end : oid.find_first_not_of(L'.', end);
    }
    *count = stored;
    if (stored >= size) {
        return false;
    }
    std::memcpy(bytes, parts.data(), size);
    return true;
}

bool DornRTLMIBConnection::GetStringFromOid(const unsigned char* bytes, unsigned long count, wchar_t* text,
                                            unsigned long size)
{
    std::wstring oid;
    for (unsigned long i = 0; i < count; ++i) {
        if (i != 0) {
            oid += L'.';
        }
        oid += std::to_wstring(bytes[i]);
    }
    if (oid.size() >= size) {
        return false;
    }
    std::memcpy(text, oid.c_str(), (oid.size() + 1) * sizeof(wchar_t));
    return true;
}

unsigned long DornRTLMIBConnection::GetVariantFromValue(const unsigned char* bytes, unsigned long length,
                                                        unsigned long type, VARIANT* out)
{
    VARIANT value;
    ::VariantInit(&value);
    if (IsInteger(type)) {
        int32_t number = 0;
        std::memcpy(&number, bytes, length < sizeof number ? length : sizeof number);
        value.vt = VT_I4;
        value.lVal = number;
    } else if (IsText(type)) {
        const std::wstring text = StringUtils::Utf8ToWide(std::string(reinterpret_cast<const char*>(bytes), length).c_str());
        value.vt = VT_BSTR;
        value.bstrVal = ::SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    } else {
        return static_cast<unsigned long>(E_INVALIDARG);
    }
    if (out != nullptr) {
        *out = value;
    } else {
        ::VariantClear(&value);
    }
    return 0;
}

unsigned long DornRTLMIBConnection::GetValueFromVariant(const VARIANT* value, unsigned char* bytes,
                                                        unsigned long size, unsigned long* type)
{
    if (bytes == nullptr || type == nullptr) {
        return static_cast<unsigned long>(E_INVALIDARG);
    }
    std::memset(bytes, 0, size);
    if (value->vt == VT_I4) {
        const int32_t number = value->lVal;
        std::memcpy(bytes, &number, size < sizeof number ? size : sizeof number);
        *type = kInteger;
        return 0;
    }
    if (value->vt == VT_BSTR) {
        VARIANT copy;
        ::VariantInit(&copy);
        ::VariantCopy(&copy, const_cast<VARIANT*>(value));
        const std::string text = StringUtils::WideToUtf8(copy.bstrVal);
        const size_t characters = copy.bstrVal != nullptr ? ::SysStringLen(copy.bstrVal) : 0;
        size_t taken = characters < text.size() ? characters : text.size();
        if (taken > size) {
            taken = size;
        }
        std::memcpy(bytes, text.data(), taken);
        ::VariantClear(&copy);
        *type = kText;
        return 0;
    }
    return static_cast<unsigned long>(E_UNEXPECTED);
}

unsigned long DornRTLMIBConnection::GetValue(const wchar_t* oid, VARIANT* out)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::DornRTLMIBConnection::GetValue");
    unsigned long result = static_cast<unsigned long>(E_FAIL);
    unsigned char bytes[kBlockSize];
    unsigned long count = 0;
    if (out == nullptr || !Open() || !GetOidFromString(oid, bytes, kBlockSize, &count)) {
        return logScope.m_errorCode = result;
    }
    try {
        std::vector<unsigned char> buffer(kBlockSize);
        unsigned long type = 0;
        unsigned long length = 0;
        const unsigned long status = m_pLoader->DornGetObjectValueEx(m_hDevice, m_hRegistration, bytes, count,
                                                                     buffer.data(), kBlockSize, &type, &length);
        if (status == 0 && length <= kBlockSize) {
            result = GetVariantFromValue(buffer.data(), length, type, out);
        } else {
            QV_LOG_ERROR(L"DornGetObjectValueEx returned %lu with %lu bytes", status, length);
        }
    } catch (const std::bad_alloc&) {
        QV_LOG_ERROR(L"%s out of memory", logScope.GetDisplayName());
    }
    return logScope.m_errorCode = result;
}

unsigned long DornRTLMIBConnection::NextValue(const wchar_t* oid, wchar_t* nextOidOut, unsigned long nextOidSize,
                                              VARIANT* out, const NextQuestion& next)
{
    unsigned long result = static_cast<unsigned long>(E_FAIL);
    unsigned char bytes[kBlockSize];
    unsigned long count = 0;
    if (out == nullptr || !Open() || !GetOidFromString(oid, bytes, kBlockSize, &count)) {
        return result;
    }
    try {
        const unsigned long bufferSize = nextOidSize + kBlockSize;
        std::vector<unsigned char> buffer(bufferSize);
        unsigned long nextOidLength = 0;
        unsigned long valueLength = 0;
        unsigned long type = 0;
        if (next(bytes, count, buffer.data(), bufferSize, &nextOidLength, &valueLength, &type) == 0
            && nextOidLength <= bufferSize
            && GetStringFromOid(buffer.data(), nextOidLength, nextOidOut, nextOidSize)
            && valueLength <= kBlockSize && nextOidLength + valueLength <= bufferSize) {
            result = GetVariantFromValue(buffer.data() + nextOidLength, valueLength, type, out);
        }
    } catch (const std::bad_alloc&) {
    }
    return result;
}

unsigned long DornRTLMIBConnection::GetNextValue(const wchar_t* oid, wchar_t* nextOidOut,
                                                 unsigned long nextOidSize, VARIANT* out)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::DornRTLMIBConnection::GetNextValue");
    return logScope.m_errorCode = NextValue(
               oid, nextOidOut, nextOidSize, out,
               [this](const unsigned char* bytes, unsigned long count, unsigned char* buffer, unsigned long size,
                      unsigned long* nextOidLength, unsigned long* valueLength, unsigned long* type) {
                   return m_pLoader->DornGetNextObjectValueEx(m_hDevice, m_hRegistration, bytes, count, buffer,
                                                              size, nextOidLength, valueLength, type);
               });
}

unsigned long DornRTLMIBConnection::SetValue(const wchar_t* oid, const VARIANT* value)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::DornRTLMIBConnection::SetValue");
    const unsigned long failed = static_cast<unsigned long>(E_FAIL);
    unsigned char bytes[kBlockSize];
    unsigned long count = 0;
    if (value == nullptr || !Open() || !GetOidFromString(oid, bytes, kBlockSize, &count)) {
        return logScope.m_errorCode = failed;
    }
    unsigned char data[kBlockSize];
    unsigned long type = 0;
    const unsigned long converted = GetValueFromVariant(value, data, kBlockSize, &type);
    if (converted != 0) {
        QV_LOG_ERROR(L"No value of VARIANT type %u: 0x%08lX", static_cast<unsigned>(value->vt), converted);
        return logScope.m_errorCode = failed;
    }
    unsigned char reply[kBlockSize] = {};
    unsigned long replyLength = 0;
    const unsigned long status = m_pLoader->DornSetObjectValueEx(m_hDevice, m_hRegistration, bytes, count, data, type,
                                                                 kBlockSize, reply, kBlockSize, &replyLength);
    if (status != 0) {
        QV_LOG_ERROR(L"DornSetObjectValueEx returned %lu", status);
        return logScope.m_errorCode = failed;
    }
    return 0;
}

}  // namespace Orvane
