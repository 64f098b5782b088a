#pragma once

#include <vector>

#include "BenchCase.h"
#include "Direction.h"
#include "orvane64.h"

namespace bench {

// Our figure of a stream case: Stream::Write or Stream::Read of `chunk`
// bytes at a time on a stream to 127.0.0.1:`port`, made through the public
// creation functions as a host makes it.
class StreamCase : public BenchCase {
public:
    StreamCase(const std::string& id, Direction direction, int port, unsigned long chunk);
    ~StreamCase() override;

    bool Begin() override;
    unsigned long long Step() override;
    void End() override;

private:
    Direction m_direction;
    int m_port;
    std::vector<char> m_buffer;
    Orvane::Stream* m_stream = nullptr;
};

}  // namespace bench
