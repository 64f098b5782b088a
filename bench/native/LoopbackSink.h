#pragma once

#include "TcpListener.h"

namespace bench {

// The device sink of the stream cases: accepts any number of connections
// and reads and drops whatever arrives, all in one thread.
class LoopbackSink {
public:
    bool Open(int low, int high) { return m_listener.Open(low, high); }
    int Port() const { return m_listener.Port(); }
    // Serves until the process ends.
    void Run();

private:
    TcpListener m_listener;
};

}  // namespace bench
