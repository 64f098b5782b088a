#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace QVLogging {

class CLogFileInfo;
class CLogSettings;

// The settings state that all log modules of one process share, in a
// mapped section. Read and changed only under the section's mutex.
// Each module maps the section at an address of its own, so the block holds
// plain data and pointers to the heap only, never a pointer into itself
// (as the containers' inline parts would).
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
    // Enters a record, which the block owns from then on.
    void SetSourceFileSettings(const std::wstring& sourceFile, CLogSettings* settings);
    // The names of the source files with records.
    std::set<std::wstring, std::less<>> SourceFileNames() const;

    unsigned long m_attachCount = 0;
    std::unique_ptr<std::wstring> m_processName;
    std::unique_ptr<std::wstring> m_indent;
    unsigned long m_lastPollTicks = 0;
    std::unique_ptr<std::map<std::wstring, CLogSettings*>> m_sourceFileSettings;
    std::unique_ptr<std::vector<CLogFileInfo*>> m_logFiles;
};

}  // namespace QVLogging
