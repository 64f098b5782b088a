#include "devsim/StopSignal.h"

#include <atomic>

namespace devsim {

namespace {

std::atomic<bool> g_interrupted{false};

}  // namespace

StopSignal::StopSignal(unsigned long seconds)
    : m_deadline(seconds == 0 ? 0 : GetTickCount64() + seconds * 1000ull)
{
    SetConsoleCtrlHandler(&StopSignal::OnControl, TRUE);
}

StopSignal::~StopSignal()
{
    SetConsoleCtrlHandler(&StopSignal::OnControl, FALSE);
}

BOOL WINAPI StopSignal::OnControl(DWORD)
{
    // The main loop notices within one select slice and shuts down.
    g_interrupted = true;
    return TRUE;
}

const char* StopSignal::Reason() const
{
    if (g_interrupted) {
        return "Ctrl-C";
    }
    if (m_deadline != 0 && GetTickCount64() >= m_deadline) {
        return "time limit";
    }
    return nullptr;
}

}  // namespace devsim
