#pragma once

#include <map>
#include <string>
#include <vector>

namespace QVLogging {

class CLogFileInfo;
class CLogSettings;

// The settings state that all log modules of one process share, in a
// mapped section. Read and changed only under the section's mutex.
class CSharedRegValues {
public:
    explicit CSharedRegValues(std::wstring processName);
    ~CSharedRegValues();
    CSharedRegValues(const CSharedRegValues&) = delete;
    CSharedRegValues& operator=(const CSharedRegValues&) = delete;

    // The record of a file name, made on first use; matched exactly.
    CLogFileInfo* FindOrAddLogFile(const std::wstring& fileName);
    // The settings of a source file (its lower-case short name), or null.
    CLogSettings* FindSourceFileSettings(const wchar_t* sourceFile) const;

    unsigned long m_attachCount = 0;
    std::wstring m_processName;
    std::wstring m_indent;
    unsigned long m_lastPollTicks = 0;
    std::map<std::wstring, CLogSettings*> m_sourceFileSettings;
    std::vector<CLogFileInfo*> m_logFiles;
};

}  // namespace QVLogging
