// A manual-reset event a fault's run sets, set again at its end so that no
// wait on it (a peer session's, a reader's) outlasts the run.
#pragma once

#include <windows.h>

namespace reliability {

class Signal {
public:
    Signal() : m_event(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
    ~Signal() { CloseHandle(m_event); }
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    void Set() { SetEvent(m_event); }
    bool Wait(DWORD ms = 10000) { return WaitForSingleObject(m_event, ms) == WAIT_OBJECT_0; }

private:
    HANDLE m_event;
};

}  // namespace reliability
