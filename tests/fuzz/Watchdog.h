#pragma once

#include <windows.h>

#include <atomic>
#include <string>

namespace fuzz {

class GuardedBuffer;

// Watches the input in hand from a thread of its own. An input that runs
// past the target's time limit, a fault, a failed check or an abort ends
// the process: the watchdog thread (never the failing one, whose stack may
// be gone) writes the input to the crash folder and tells why.
class Watchdog {
public:
    static Watchdog& Instance();

    void Start(const std::string& crashFolder, const GuardedBuffer* guard);
    // Counts the target's inputs from 1.
    void BeginTarget(const std::string& name, unsigned long timeLimitMs);
    // Cheap enough for every input: no kernel object is touched.
    void BeginInput(const std::string* input)
    {
        m_previous = m_input;
        m_input = input;
        m_serial.fetch_add(1, std::memory_order_relaxed);
        m_started.store(GetTickCount(), std::memory_order_release);
    }
    void EndInput() { m_started.store(0, std::memory_order_release); }

    // Ends the run with `reason` (from any thread but the watchdog's).
    [[noreturn]] void Report(const char* reason, int exitCode);

private:
    Watchdog() = default;
    static DWORD WINAPI Thread(void* self);
    static LONG CALLBACK OnGuardFault(EXCEPTION_POINTERS* pointers);
    static LONG WINAPI OnUnhandled(EXCEPTION_POINTERS* pointers);
    static void OnAbort(int);
    void Watch();
    void WriteAndEnd(const char* reason, int exitCode);
    std::string Keep(const std::string& input, const char* suffix);

    std::string m_crashFolder;
    std::string m_target;
    const GuardedBuffer* m_guard = nullptr;
    unsigned long m_timeLimitMs = 0;
    const std::string* volatile m_input = nullptr;
    // The input before, still alive: a failure may come of what it left.
    const std::string* volatile m_previous = nullptr;
    std::atomic<unsigned long> m_serial{0};
    std::atomic<DWORD> m_started{0};
    HANDLE m_reported = nullptr;
    char m_reason[512] = {};
    int m_exitCode = 0;
};

}  // namespace fuzz
