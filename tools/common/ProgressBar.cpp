#include "common/ProgressBar.h"

#include <cstdio>

namespace tools {

namespace {

const unsigned kWidth = 30;
const unsigned long kRedrawMs = 250;

}  // namespace

ProgressBar::ProgressBar(std::ostream& out, bool terminal, uint64_t total)
    : m_out(out), m_terminal(terminal), m_total(total)
{
}

unsigned ProgressBar::Percent(uint64_t done, uint64_t total)
{
    return total == 0 ? 100u : static_cast<unsigned>(done * 100 / total);
}

std::string ProgressBar::Render(uint64_t done, uint64_t total, unsigned long elapsedMs)
{
    const unsigned percent = Percent(done, total);
    const unsigned marks = percent * kWidth / 100;
    std::string text = "[" + std::string(marks, '#') + std::string(kWidth - marks, '-') + "]";
    char numbers[96];
    std::snprintf(numbers, sizeof(numbers), " %3u%%  %llu / %llu bytes  ", percent,
                  static_cast<unsigned long long>(done), static_cast<unsigned long long>(total));
    text += numbers;
    if (elapsedMs == 0) {
        return text + "- MB/s";
    }
    char rate[32];
    std::snprintf(rate, sizeof(rate), "%.1f MB/s", static_cast<double>(done) / 1000.0 / elapsedMs);
    return text + rate;
}

void ProgressBar::Draw(uint64_t done, unsigned long elapsedMs)
{
    m_out << '\r' << Render(done, m_total, elapsedMs) << std::flush;
    m_drawn = true;
    m_lastPercent = Percent(done, m_total);
    m_lastDrawMs = elapsedMs;
}

void ProgressBar::Update(uint64_t done, unsigned long elapsedMs)
{
    if (!m_terminal) {
        return;
    }
    if (!m_drawn || Percent(done, m_total) != m_lastPercent || elapsedMs - m_lastDrawMs >= kRedrawMs) {
        Draw(done, elapsedMs);
    }
}

void ProgressBar::Finish(uint64_t done, unsigned long elapsedMs)
{
    if (!m_terminal) {
        return;
    }
    Draw(done, elapsedMs);
    m_out << '\n' << std::flush;
}

}  // namespace tools
