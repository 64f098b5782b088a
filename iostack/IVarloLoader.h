#pragma once

namespace Orvane {

// The flat bulk interface of a component library of the family. A call whose
// library or entry point is missing gives false or 0.
class IVarloLoader {
public:
    virtual ~IVarloLoader() = default;
    virtual bool OpenBulk(const wchar_t* port) = 0;
    // `size`: in, the bytes to write; out, the bytes written.
    virtual bool WriteBulk(const void* buffer, unsigned long* size) = 0;
    // `size`: in, the buffer's capacity; out, the bytes read.
    virtual bool ReadBulk(void* buffer, unsigned long* size) = 0;
    virtual unsigned long BytesAvailable() = 0;
    virtual bool CloseBulk() = 0;
    // The library's last system error number.
    virtual unsigned long GetLastStatus() = 0;
    // `ms`, or 0 when the library has no such entry point.
    virtual unsigned long SetOpenTimeout(unsigned long ms) = 0;
    virtual unsigned long SetTimeout(unsigned long ms) = 0;
};

}  // namespace Orvane
