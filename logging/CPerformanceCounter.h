#pragma once

namespace QVLogging {

// The performance counter, with its frequency read once per process.
class CPerformanceCounter {
public:
    static long long Now();
    // Counts per second; 1000000 when the platform can't tell.
    static long long Frequency();
    // A count turned into microseconds, without overflow for any count.
    static long long ToMicroseconds(long long count);
};

}  // namespace QVLogging
