#pragma once

#include <windows.h>

#include <deque>
#include <string>

namespace QVLogging {

// One log file of the process, shared by every record that names it.
class CLogFileInfo {
public:
    explicit CLogFileInfo(std::wstring fileName) : m_fileName(std::move(fileName)) {}

    // Before the first line: picks a unique name with option 17, truncates
    // with option 16, and replaces the name by the file's full path.
    void Prepare(unsigned long options);

    // Appends one line (prefix, indentation, message, line end), behind any
    // queued lines, and closes the file again. A line that finds the file
    // closed to it waits in `queue`; then false, with the open's error in
    // `openError`.
    bool Append(const std::wstring& prefix, const std::wstring& message, unsigned long options,
                const std::wstring& moduleName, std::deque<std::wstring>& queue,
                DWORD& openError);

    bool m_openPending = true;
    std::wstring m_fileName;
    unsigned long m_bytesWritten = 0;
    std::wstring m_indent;

private:
    HANDLE OpenForAppend() const;
    static unsigned long WriteText(HANDLE file, const std::wstring& text);
};

}  // namespace QVLogging
