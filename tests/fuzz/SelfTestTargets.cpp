// Targets that each break one criterion on purpose: the suite runs them to
// show that a read past the input, a hang, a leak, a failed check and a
// crash end the run with the input kept and the cause told.
#include <windows.h>

#include <cstring>
#include <vector>

#include "fuzz/FuzzTarget.h"

namespace {

uint32_t ReadPastTheEnd(const unsigned char* data, size_t size)
{
    // Reads one byte behind the input once the input is long enough.
    volatile unsigned char sum = 0;
    if (size > 8) {
        sum = sum + data[size];
    }
    return sum;
}

uint32_t Hang(const unsigned char*, size_t size)
{
    if (size > 8) {
        Sleep(2000);
    }
    return 0;
}

std::vector<char*> g_kept;

uint32_t Leak(const unsigned char*, size_t)
{
    // A block of every input that is never given back.
    g_kept.push_back(new char[64]);
    return 0;
}

uint32_t FailCheck(const unsigned char* data, size_t size)
{
    fuzz::Check(size <= 8 || data == nullptr, "an input longer than 8 bytes");
    return 0;
}

uint32_t Crash(const unsigned char*, size_t size)
{
    if (size > 8) {
        volatile int* nothing = nullptr;
        *nothing = 1;
    }
    return 0;
}

fuzz::FuzzTarget SelfTest(const char* name, unsigned long limitMs,
                          std::function<uint32_t(const unsigned char*, size_t)> run)
{
    fuzz::FuzzTarget target;
    target.name = name;
    target.maxSize = 64;
    target.timeLimitMs = limitMs;
    target.run = std::move(run);
    target.selfTest = true;
    return target;
}

const fuzz::TargetRegistration kOverread{SelfTest("selftest_overread", 30000, ReadPastTheEnd)};
const fuzz::TargetRegistration kHang{SelfTest("selftest_hang", 500, Hang)};
const fuzz::TargetRegistration kLeak{SelfTest("selftest_leak", 30000, Leak)};
const fuzz::TargetRegistration kCheck{SelfTest("selftest_check", 30000, FailCheck)};
const fuzz::TargetRegistration kCrash{SelfTest("selftest_crash", 30000, Crash)};

}  // namespace
