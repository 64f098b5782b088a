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
};

}  // namespace reliability
