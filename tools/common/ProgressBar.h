// A one-line progress bar (bytes, percent, rate) redrawn in place on a
// terminal. When the output is no terminal it writes nothing, so that pipes
// and files get no carriage-return noise.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

namespace tools {

class ProgressBar {
public:
    ProgressBar(std::ostream& out, bool terminal, uint64_t total);

    // Redraws when the whole percent changed or 250 ms passed since the last
    // drawing.
    void Update(uint64_t done, unsigned long elapsedMs);
    // Draws the final state and ends the line (on a terminal only).
    void Finish(uint64_t done, unsigned long elapsedMs);

    // "[#####---...]  17%  1048576 / 6291456 bytes  4.2 MB/s": 30 marks,
    // the rate in decimal megabytes per second, "-" before any time passed.
    static std::string Render(uint64_t done, uint64_t total, unsigned long elapsedMs);

private:
    static unsigned Percent(uint64_t done, uint64_t total);
    void Draw(uint64_t done, unsigned long elapsedMs);

    std::ostream& m_out;
    const bool m_terminal;
    const uint64_t m_total;
    bool m_drawn = false;
    unsigned m_lastPercent = 0;
    unsigned long m_lastDrawMs = 0;
};

}  // namespace tools
