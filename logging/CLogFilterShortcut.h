#pragma once

#include <atomic>
#include <functional>
#include <set>
#include <string>

namespace QVLogging {

class CLogSettings;

// Lets a module whose settings write nothing decide between polls from its
// own settings and the tick count, without the settings block's mutex.
// Armed at each filter that ran under the mutex; any settings poll in the
// process disarms every module until its next filter under the mutex.
class CLogFilterShortcut {
public:
    // `settings` are the module's own, `sourceFiles` the names of the shared
    // block's source-file records, `lastPollTicks` and `pollMs` the state of
    // the poll, all as seen under the mutex.
    void Arm(const CLogSettings& settings, std::set<std::wstring, std::less<>> sourceFiles,
             unsigned long lastPollTicks, unsigned long pollMs);
    // True when a line with `word` from `sourceFile` (or null) would
    // certainly be dropped at tick `now`.
    bool Drops(const CLogSettings& settings, const wchar_t* sourceFile, unsigned long word,
               unsigned long now) const;
    // Called at each settings poll.
    static void OnPoll();

private:
    bool m_bArmed = false;
    std::set<std::wstring, std::less<>> m_sourceFiles;
    unsigned long m_ulPollTicks = 0;
    unsigned long m_ulPollMs = 0;
    unsigned long m_ulGeneration = 0;

    static std::atomic<unsigned long> s_ulGeneration;
};

}  // namespace QVLogging
