#pragma once

#include <string>

#include "BenchCase.h"
#include "logging/CLogModule.h"

namespace bench {

// A line with logging on: an informational line of the module `module`
// (named "BenchLines"), whose registry settings send it, with date, time,
// process and thread, to `logFile`; each line opens, appends to and closes
// the file.
class LogLineCase : public BenchCase {
public:
    // The line every step writes.
    static constexpr const wchar_t* kText = L"WriteFile succeeded, pulBytesWritten = 65536";

    LogLineCase(const std::string& id, QVLogging::CLogModule* module, const std::wstring& logFile);

    bool Begin() override;
    unsigned long long Step() override;
    void End() override;

private:
    // Writes the module's values under the process's logging key.
    bool WriteSettings();
    unsigned long long FileSize() const;

    QVLogging::CLogModule* m_module;
    std::wstring m_logFile;
    unsigned long long m_sizeAtBegin = 0;
    bool m_grew = true;
};

}  // namespace bench
