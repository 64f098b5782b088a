#pragma once

#include <cstdint>
#include <string>

#include "fuzz/FuzzTarget.h"

namespace fuzz {

class GuardedBuffer;

struct RunOptions {
    uint64_t seed = 1;
    size_t runs = 10000;
};

// Runs one target: its seeds and kept crash inputs first, then `runs`
// mutated inputs, each in the guarded buffer under the watchdog; checks at
// the end that memory stayed flat. Prints one line of figures; false when
// memory grew.
class FuzzRunner {
public:
    FuzzRunner(GuardedBuffer& buffer, const RunOptions& options) : m_buffer(buffer), m_options(options) {}

    bool Run(const FuzzTarget& target);
    // One input, for reproducing a kept case.
    uint32_t RunOne(const FuzzTarget& target, const std::string& input);

private:
    GuardedBuffer& m_buffer;
    RunOptions m_options;
};

// Every file of a folder (but its README), whole, in name order.
std::vector<std::string> ReadFolder(const std::string& folder);

}  // namespace fuzz
