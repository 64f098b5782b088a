#include "logging/CLogFilterShortcut.h"

#include "logging/CLogSettings.h"

namespace QVLogging {

std::atomic<unsigned long> CLogFilterShortcut::s_ulGeneration{0};

void CLogFilterShortcut::Arm(const CLogSettings& settings, bool noSourceFiles,
                             unsigned long lastPollTicks, unsigned long pollMs)
{
    // A pending file or unread settings make every filter poll; a record
    // with a file or source-file records can pass lines the module's own
    // settings don't show.
    m_bArmed = noSourceFiles && settings.m_logFile == nullptr && !settings.m_openPending;
    m_ulPollTicks = lastPollTicks;
    m_ulPollMs = pollMs;
    m_ulGeneration = s_ulGeneration.load(std::memory_order_acquire);
}

bool CLogFilterShortcut::Drops(const CLogSettings& settings, unsigned long word,
                               unsigned long now) const
{
    return m_bArmed && m_ulGeneration == s_ulGeneration.load(std::memory_order_acquire)
        && now - m_ulPollTicks <= m_ulPollMs && !settings.Passes(word);
}

void CLogFilterShortcut::OnPoll()
{
    s_ulGeneration.fetch_add(1, std::memory_order_acq_rel);
}

}  // namespace QVLogging
