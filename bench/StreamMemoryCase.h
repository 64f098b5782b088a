#pragma once

#include <string>
#include <vector>

#include "orvane64.h"

namespace bench {

// Memory of open streams: the growth of the process's private bytes while
// it opens `batch` more streams to 127.0.0.1:`port`, per stream. Each run
// adds a batch to those already open, so that memory freed by an earlier
// run cannot hide the cost; a first batch is the warm-up.
class StreamMemoryCase {
public:
    StreamMemoryCase(const std::string& id, int port, int batch) : m_id(id), m_port(port), m_batch(batch) {}
    ~StreamMemoryCase();
    StreamMemoryCase(const StreamMemoryCase&) = delete;
    StreamMemoryCase& operator=(const StreamMemoryCase&) = delete;

    bool Run(int runs);

private:
    // Bytes per stream of one more batch, or a negative value on failure.
    double Batch();
    static unsigned long long PrivateBytes();
    void DisposeAll();

    std::string m_id;
    int m_port;
    int m_batch;
    std::vector<Orvane::Stream*> m_streams;
};

}  // namespace bench
