// When the simulator has to stop: Ctrl-C (or Ctrl-Break, or the console
// closing), or the end of an optional time limit.
#pragma once

#include <windows.h>

namespace devsim {

class StopSignal {
public:
    // 0 seconds: no limit. Installs the console control handler.
    explicit StopSignal(unsigned long seconds);
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    // Why to stop ("Ctrl-C", "time limit"), or null to go on.
    const char* Reason() const;

private:
    static BOOL WINAPI OnControl(DWORD type);

    const ULONGLONG m_deadline;
};

}  // namespace devsim
