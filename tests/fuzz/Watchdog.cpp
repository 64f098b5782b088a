#include "fuzz/Watchdog.h"

#include <csignal>
#include <cstdio>
#include <exception>

#include "fuzz/GuardedBuffer.h"

namespace fuzz {

namespace {

// The exit codes of a failed run, by cause.
constexpr int kExitCrash = 3;
constexpr int kExitHang = 4;
constexpr unsigned long kPollMs = 100;

// FNV-1a: names a kept input by its bytes.
unsigned long long Fingerprint(const std::string& bytes)
{
    unsigned long long hash = 1469598103934665603ull;
    for (unsigned char c : bytes) {
        hash = (hash ^ c) * 1099511628211ull;
    }
    return hash;
}

}  // namespace

Watchdog& Watchdog::Instance()
{
    static Watchdog watchdog;
    return watchdog;
}

void Watchdog::Start(const std::string& crashFolder, const GuardedBuffer* guard)
{
    m_crashFolder = crashFolder;
    m_guard = guard;
    m_reported = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    AddVectoredExceptionHandler(1, &Watchdog::OnGuardFault);
    SetUnhandledExceptionFilter(&Watchdog::OnUnhandled);
    std::signal(SIGABRT, &Watchdog::OnAbort);
    std::set_terminate([] { Instance().Report("terminate: an exception left the target", kExitCrash); });
    CloseHandle(CreateThread(nullptr, 0, &Watchdog::Thread, this, 0, nullptr));
}

void Watchdog::BeginTarget(const std::string& name, unsigned long timeLimitMs)
{
    m_target = name;
    m_timeLimitMs = timeLimitMs;
    m_serial = 0;
}

void Watchdog::Report(const char* reason, int exitCode)
{
    // Only the first report counts; any other failing thread waits too.
    if (InterlockedCompareExchange(reinterpret_cast<volatile LONG*>(&m_exitCode), exitCode, 0) == 0) {
        lstrcpynA(m_reason, reason, sizeof m_reason);
        SetEvent(m_reported);
    }
    for (;;) {
        Sleep(INFINITE);
    }
}

DWORD WINAPI Watchdog::Thread(void* self)
{
    static_cast<Watchdog*>(self)->Watch();
    return 0;
}

void Watchdog::Watch()
{
    unsigned long seenSerial = 0;
    for (;;) {
        if (WaitForSingleObject(m_reported, kPollMs) == WAIT_OBJECT_0) {
            WriteAndEnd(m_reason, m_exitCode);
        }
        const DWORD started = m_started.load(std::memory_order_acquire);
        const unsigned long serial = m_serial.load(std::memory_order_relaxed);
        if (started != 0 && serial == seenSerial && GetTickCount() - started > m_timeLimitMs) {
            char reason[128];
            std::snprintf(reason, sizeof reason, "hang: one input ran longer than %lu ms", m_timeLimitMs);
            WriteAndEnd(reason, kExitHang);
        }
        seenSerial = serial;
    }
}

std::string Watchdog::Keep(const std::string& input, const char* suffix)
{
    CreateDirectoryA(m_crashFolder.c_str(), nullptr);
    char name[80];
    std::snprintf(name, sizeof name, "/%s-%016llx%s.bin", m_target.c_str(), Fingerprint(input), suffix);
    const std::string path = m_crashFolder + name;
    if (FILE* file = std::fopen(path.c_str(), "wb")) {
        std::fwrite(input.data(), 1, input.size(), file);
        std::fclose(file);
    }
    return path;
}

void Watchdog::WriteAndEnd(const char* reason, int exitCode)
{
    const std::string* input = m_input;
    const std::string saved = input ? Keep(*input, "") : std::string("(no input in hand)");
    std::printf("FUZZ FAILURE in %s: %s\n  input %lu of the run (%zu bytes) kept as %s\n", m_target.c_str(), reason,
                m_serial.load(), input ? input->size() : size_t(0), saved.c_str());
    if (const std::string* previous = m_previous) {
        std::printf("  the input before it kept as %s\n", Keep(*previous, "-previous").c_str());
    }
    std::fflush(stdout);
    TerminateProcess(GetCurrentProcess(), exitCode);
}

LONG CALLBACK Watchdog::OnGuardFault(EXCEPTION_POINTERS* pointers)
{
    const EXCEPTION_RECORD* record = pointers->ExceptionRecord;
    Watchdog& self = Instance();
    if (record->ExceptionCode == EXCEPTION_ACCESS_VIOLATION && record->NumberParameters >= 2 && self.m_guard
        && self.m_guard->IsGuard(reinterpret_cast<const void*>(record->ExceptionInformation[1]))) {
        self.Report(record->ExceptionInformation[0] ? "out of bounds: a write past the end of the input"
                                                    : "out of bounds: a read past the end of the input",
                    kExitCrash);
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

LONG WINAPI Watchdog::OnUnhandled(EXCEPTION_POINTERS* pointers)
{
    const EXCEPTION_RECORD* record = pointers->ExceptionRecord;
    if (record->ExceptionCode == EXCEPTION_STACK_OVERFLOW) {
        Instance().Report("crash: stack overflow", kExitCrash);
    }
    char reason[128];
    wsprintfA(reason, "crash: exception 0x%08lX at %p, address %p", record->ExceptionCode,
              record->ExceptionAddress,
              record->NumberParameters >= 2 ? reinterpret_cast<void*>(record->ExceptionInformation[1]) : nullptr);
    Instance().Report(reason, kExitCrash);
}

void Watchdog::OnAbort(int)
{
    Instance().Report("crash: abort", kExitCrash);
}

}  // namespace fuzz
