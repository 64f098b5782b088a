// An unnamed manual-reset event owned by a test: set by the test or handed
// to the code under test, closed with the object.
#pragma once

#include <windows.h>

namespace doubles {

class ManualEvent {
public:
    ManualEvent() : m_handle(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
    ~ManualEvent() { CloseHandle(m_handle); }
    ManualEvent(const ManualEvent&) = delete;
    ManualEvent& operator=(const ManualEvent&) = delete;

    HANDLE Handle() const { return m_handle; }
    void Set() { SetEvent(m_handle); }
    bool Wait(DWORD ms = 10000) const { return WaitForSingleObject(m_handle, ms) == WAIT_OBJECT_0; }
    bool IsSet() const { return Wait(0); }

private:
    HANDLE m_handle;
};

}  // namespace doubles
