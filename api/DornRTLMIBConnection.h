#pragma once

#include <functional>
#include <string>

#include "api/DornRTLEntryPoints.h"
#include "orvane64.h"

namespace QVWinApi {
class IKernelApi;
}

namespace Orvane {

class DornRTLLoader;

// Management objects through the run-time "zqdrtl12.dll": identifiers and
// values converted between their text and VARIANT forms and the run-time's
// bytes. A derived class names the device.
class DornRTLMIBConnection : public MIBConnection {
public:
    // The run-time is reached through `kernelApi`, owned; null makes a
    // platform one.
    explicit DornRTLMIBConnection(QVWinApi::IKernelApi* kernelApi = nullptr);
    ~DornRTLMIBConnection() override;

    unsigned long GetValue(const wchar_t* oid, VARIANT* out) override;
    unsigned long GetNextValue(const wchar_t* oid, wchar_t* nextOidOut, unsigned long nextOidSize,
                               VARIANT* out) override;
    unsigned long SetValue(const wchar_t* oid, const VARIANT* value) override;

    // Closes, and describes the device anew with this connection type.
    virtual void Initialize(unsigned long connectionType);
    virtual void Initialize(const wchar_t* address) = 0;
    virtual void InitializeIPAddress(const wchar_t* address);
    virtual void InitializePortName(const wchar_t* port);
    virtual bool Open();
    virtual void Close();
    // The identifier's numbers, each kept to its low 8 bits; false when it
    // has `size` parts or more. `*count` is the number of parts stored.
    virtual bool GetOidFromString(const wchar_t* text, unsigned char* bytes, unsigned long size,
                                  unsigned long* count);
    // "1.3.6..."; false when the text does not fit in `size` characters.
    virtual bool GetStringFromOid(const unsigned char* bytes, unsigned long count, wchar_t* text,
                                  unsigned long size);
    virtual unsigned long GetVariantFromValue(const unsigned char* bytes, unsigned long length, unsigned long type,
                                              VARIANT* out);
    virtual unsigned long GetValueFromVariant(const VARIANT* value, unsigned char* bytes, unsigned long size,
                                              unsigned long* type);

    DornRTLMIBConnection(const DornRTLMIBConnection&) = delete;
    DornRTLMIBConnection& operator=(const DornRTLMIBConnection&) = delete;

protected:
    // The size of identifiers and values exchanged with the run-time.
    static constexpr unsigned long kBlockSize = 256;

    // One question of the run-time for the object after an identifier: it
    // fills the buffer with the next identifier followed by the value.
    using NextQuestion = std::function<unsigned long(const unsigned char* oid, unsigned long oidLength,
                                                     unsigned char* buffer, unsigned long bufferSize,
                                                     unsigned long* nextOidLength, unsigned long* valueLength,
                                                     unsigned long* type)>;
    // GetNextValue with the question `next`.
    unsigned long NextValue(const wchar_t* oid, wchar_t* nextOidOut, unsigned long nextOidSize, VARIANT* out,
                            const NextQuestion& next);

    DornRTLLoader* m_pLoader;
    DornHandle m_hDevice = 0;
    DornHandle m_hRegistration = 0;
    std::string m_address;
    unsigned char m_descriptor[kDornDescriptorSize] = {};
};

}  // namespace Orvane
