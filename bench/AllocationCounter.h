#pragma once

namespace bench {

// The operator new calls of the whole process so far: orvane-bench.exe
// replaces the global allocation operators, and the library's core, linked
// into it, allocates through them.
unsigned long long AllocationCount();

}  // namespace bench
