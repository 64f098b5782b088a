// The simulator's log: one line per event on standard output, flushed at
// once so that a pipe reader sees each event as it happens.
#pragma once

#include <string>

namespace devsim {

class EventLog {
public:
    void Line(const std::string& text);
};

}  // namespace devsim
