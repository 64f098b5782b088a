#pragma once

#include <windows.h>

#include "iostack/BaseVarloLoader.h"

namespace Orvane {

// The component library of the family's bulk channel, "zqcvarlo.dll" or else
// "zqpvarlo.dll", with its interrupt and exclusive-lock calls.
class VarloLoader : public BaseVarloLoader {
public:
    // Takes ownership of `kernelApi`; null makes a platform one.
    explicit VarloLoader(QVWinApi::IKernelApi* kernelApi = nullptr);

    virtual bool OpenInterrupt(const wchar_t* port);
    virtual bool WaitForInterruptEvent(HANDLE event);
    virtual bool CancelInterrupt();
    virtual bool CloseInterrupt();
    // The arguments are the library's own, passed through.
    virtual bool ExclusiveBulkLock(void* a, void* b, unsigned long c);
    virtual bool ExclusiveBulkUnlock(void* a, void* b);

private:
    // The entry point by its name, else by the name's second form.
    FARPROC EitherEntry(const wchar_t* name, const wchar_t* secondForm);
};

}  // namespace Orvane
