#pragma once

#include <string>

namespace reliability {

// What the process holds, counted before and after a fault: its handles,
// its threads and the blocks of the C++ heap still allocated.
struct Resources {
    static Resources Now();
    // Empty when `after` holds no more than this; otherwise what grew.
    std::string GrowthTo(const Resources& after) const;

    unsigned long handles = 0;
    unsigned long threads = 0;
    long long liveBlocks = 0;
    // The first handles' values, to name the kinds of those that came; kept
    // off the heap, whose blocks are counted.
    static constexpr unsigned long kNamed = 4096;
    unsigned short handleValues[kNamed] = {};
};

}  // namespace reliability
