#include "logging/CPerformanceCounter.h"

#include <windows.h>

namespace QVLogging {

long long CPerformanceCounter::Now()
{
    LARGE_INTEGER count = {};
    ::QueryPerformanceCounter(&count);
    return count.QuadPart;
}

long long CPerformanceCounter::Frequency()
{
    static const long long s_llFrequency = [] {
        LARGE_INTEGER frequency = {};
        return ::QueryPerformanceFrequency(&frequency) && frequency.QuadPart > 0
            ? frequency.QuadPart : 1000000LL;
    }();
    return s_llFrequency;
}

long long CPerformanceCounter::ToMicroseconds(long long count)
{
    const long long frequency = Frequency();
    return count / frequency * 1000000 + count % frequency * 1000000 / frequency;
}

}  // namespace QVLogging
