#pragma once

#include <cstddef>

namespace peers {

// While it lives, every allocation of this test program above `bytes` fails
// as if memory were short: a huge length announced by a device ends the
// same way on every machine, and a copy of a large record fails where the
// test wants it to. A program that uses this class has its operators new
// and delete replaced (AllocationLimit.cpp).
class AllocationLimit {
public:
    explicit AllocationLimit(size_t bytes);
    ~AllocationLimit();
    AllocationLimit(const AllocationLimit&) = delete;
    AllocationLimit& operator=(const AllocationLimit&) = delete;

    // How many allocations were refused so far.
    static unsigned long Refused();
};

}  // namespace peers
