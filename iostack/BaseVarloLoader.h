#pragma once

#include "iostack/IVarloLoader.h"
#include "iostack/LibraryLoader.h"

namespace Orvane {

// The bulk calls of a component library, each looked up by name when it is
// made; the library is loaded on the first call.
class BaseVarloLoader : public IVarloLoader, public LibraryLoader {
public:
    // Takes ownership of `kernelApi`; null makes a platform one.
    BaseVarloLoader(QVWinApi::IKernelApi* kernelApi, size_t count, const wchar_t* const* names);

    bool OpenBulk(const wchar_t* port) override;
    bool WriteBulk(const void* buffer, unsigned long* size) override;
    bool ReadBulk(void* buffer, unsigned long* size) override;
    unsigned long BytesAvailable() override;
    bool CloseBulk() override;
    unsigned long GetLastStatus() override;
    unsigned long SetOpenTimeout(unsigned long ms) override;
    unsigned long SetTimeout(unsigned long ms) override;

protected:
    // The entry point `name` as a function of type `T`, or null.
    template <typename T>
    T Entry(const wchar_t* name)
    {
        return reinterpret_cast<T>(reinterpret_cast<void*>(GetProcAddress(name)));
    }
};

}  // namespace Orvane
