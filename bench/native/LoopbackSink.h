#pragma once

#include "EpollServer.h"

namespace bench {

// The device sink of the stream cases: accepts any number of connections
// and reads and drops whatever arrives, all in one thread.
class LoopbackSink : public EpollServer {
public:
    // Reads of up to 1 MiB at a time.
    LoopbackSink() : EpollServer(1 << 20) {}
};

}  // namespace bench
