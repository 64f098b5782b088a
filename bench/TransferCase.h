#pragma once

#include <string>
#include <vector>

#include "BenchCase.h"
#include "Direction.h"

namespace bench {

// What our stream case and its raw baseline share: `chunk` bytes at a time
// moved one way on a connection to 127.0.0.1:`port`, counted in MB/s.
class TransferCase : public BenchCase {
public:
    TransferCase(const std::string& id, Direction direction, int port, unsigned long chunk)
        : BenchCase(id, Unit::MegabytesPerSecond), m_direction(direction), m_port(port), m_buffer(chunk, 'w')
    {
    }

protected:
    bool Writes() const { return m_direction == Direction::Write; }
    int Port() const { return m_port; }
    // The chunk: the bytes written, or the room for those read.
    std::vector<char>& Chunk() { return m_buffer; }

private:
    Direction m_direction;
    int m_port;
    std::vector<char> m_buffer;
};

}  // namespace bench
