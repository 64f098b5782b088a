#pragma once

#include <cstddef>

namespace fuzz {

// What the process holds: its private bytes as the platform counts them,
// and the blocks of the C++ heap still allocated (the fuzz program's
// operators new and delete count them).
struct MemoryCounters {
    static MemoryCounters Now();

    unsigned long long privateBytes = 0;
    long long liveAllocations = 0;
};

}  // namespace fuzz
