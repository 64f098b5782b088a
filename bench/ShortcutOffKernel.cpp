#include "ShortcutOffKernel.h"

#include "logging/CLogFilterShortcut.h"

namespace bench {

DWORD ShortcutOffKernel::GetTickCount()
{
    QVLogging::CLogFilterShortcut::OnPoll();
    return CKernelApi::GetTickCount();
}

}  // namespace bench
