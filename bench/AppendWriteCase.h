#pragma once

#include <string>

#include "BenchCase.h"

namespace bench {

// The reference of a log line: the last line of `sourceFile` (what the
// log module wrote), appended to `file` by CreateFile, a seek to the end,
// WriteFile and CloseHandle, as the module does with each line.
class AppendWriteCase : public BenchCase {
public:
    AppendWriteCase(const std::string& id, const std::wstring& sourceFile, const std::wstring& file);

    bool Begin() override;
    unsigned long long Step() override;
    void End() override {}

private:
    std::wstring m_sourceFile;
    std::wstring m_file;
    std::string m_line;
};

}  // namespace bench
