#pragma once

#include <string>

namespace bench {

// This machine's loopback limit: plain blocking send and recv of Linux
// against the same sink and source as the Windows cases.
class NativeCeiling {
public:
    NativeCeiling(int runs, unsigned long long bytesPerRun) : m_runs(runs), m_bytesPerRun(bytesPerRun) {}

    // Prints the result line `id` in MB/s for writes of `chunk` bytes.
    void Write(const std::string& id, int port, size_t chunk);
    // The same for reads of up to `chunk` bytes.
    void Read(const std::string& id, int port, size_t chunk);

private:
    int m_runs;
    unsigned long long m_bytesPerRun;
};

}  // namespace bench
