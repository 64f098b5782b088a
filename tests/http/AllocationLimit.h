#pragma once

#include <cstddef>

namespace http_test {

// While it lives, every allocation of this test program above `bytes` fails
// as if memory were short, so that a huge length announced by a device ends
// the same way on every machine. The program's operators new and delete are
// replaced for this (AllocationLimit.cpp).
class AllocationLimit {
public:
    explicit AllocationLimit(size_t bytes);
    ~AllocationLimit();
    AllocationLimit(const AllocationLimit&) = delete;
    AllocationLimit& operator=(const AllocationLimit&) = delete;

    // How many allocations were refused so far.
    static unsigned long Refused();
};

}  // namespace http_test
