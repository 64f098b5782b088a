#pragma once

#include <vector>

#include "winapi/CKernelApi.h"

namespace doubles {

// A kernel whose clock only moves when somebody sleeps: waits and deadlines
// become exact and take no time. Everything else reaches the platform.
class ClockKernel : public QVWinApi::CKernelApi {
public:
    DWORD GetTickCount() override { return now; }
    void Sleep(DWORD ms) override
    {
        sleeps.push_back(ms);
        now += ms;
    }

    DWORD now = 1000;
    std::vector<DWORD> sleeps;
};

}  // namespace doubles
