#pragma once

#include "TcpListener.h"

namespace bench {

// The device source of the read cases: sends to each connection without
// pause until the peer goes, one thread per connection.
class LoopbackSource {
public:
    bool Open(int low, int high) { return m_listener.Open(low, high); }
    int Port() const { return m_listener.Port(); }
    // Serves until the process ends.
    void Run();

private:
    static void Feed(int connection);

    TcpListener m_listener;
};

}  // namespace bench
