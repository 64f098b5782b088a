#include "logging/CLogFilterShortcut.h"

#include <string_view>

#include "logging/CLogSettings.h"

namespace QVLogging {

std::atomic<unsigned long> CLogFilterShortcut::s_ulGeneration{0};

void CLogFilterShortcut::Arm(const CLogSettings& settings,
                             std::set<std::wstring, std::less<>> sourceFiles,
                             unsigned long lastPollTicks, unsigned long pollMs)
{
    // A pending file or unread settings make every filter poll, so a record
    // with a file never takes the shortcut.
    m_bArmed = settings.m_logFile == nullptr && !settings.m_openPending;
    m_sourceFiles = std::move(sourceFiles);
    m_ulPollTicks = lastPollTicks;
    m_ulPollMs = pollMs;
    m_ulGeneration = s_ulGeneration.load(std::memory_order_acquire);
}

bool CLogFilterShortcut::Drops(const CLogSettings& settings, const wchar_t* sourceFile,
                               unsigned long word, unsigned long now) const
{
    // A source file with a record of its own is decided by that record.
    return m_bArmed && m_ulGeneration == s_ulGeneration.load(std::memory_order_acquire)
        && now - m_ulPollTicks <= m_ulPollMs && !settings.Passes(word)
        && (sourceFile == nullptr
            || m_sourceFiles.find(std::wstring_view(sourceFile)) == m_sourceFiles.end());
}

void CLogFilterShortcut::OnPoll()
{
    s_ulGeneration.fetch_add(1, std::memory_order_acq_rel);
}

}  // namespace QVLogging
