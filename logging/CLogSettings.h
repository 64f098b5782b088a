#pragma once

namespace QVLogging {

class CLogFileInfo;

// What one level of settings says: the module's own, or a source file's.
class CLogSettings {
public:
    // Whether a line with this category word is written: the mask test, then
    // the detail level of an informational line.
    bool Passes(unsigned long word) const;

    unsigned long long m_keyWriteTime = 0;
    unsigned long m_detailLevel = 0;
    unsigned long m_categories = 0;
    unsigned long m_options = 0;
    CLogFileInfo* m_logFile = nullptr;
    bool m_openPending = true;
};

}  // namespace QVLogging
