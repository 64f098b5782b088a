#pragma once

#include "winapi/CKernelApi.h"

namespace bench {

// The platform layer with the log modules' silent-module shortcut taken
// away: every tick count a filter reads comes with a settings-poll signal,
// which disarms the shortcut, so each line's filter takes the settings
// block's named mutex as every filter did before the shortcut existed.
// Everything else reaches the platform unchanged.
class ShortcutOffKernel : public QVWinApi::CKernelApi {
public:
    DWORD GetTickCount() override;
};

}  // namespace bench
