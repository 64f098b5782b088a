// The file of one job while it arrives: written as NAME.part and renamed to
// NAME when complete, so that a finished name always means a whole job.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

namespace devsim {

class JobFile {
public:
    JobFile(int number, std::wstring path);
    ~JobFile();
    JobFile(const JobFile&) = delete;
    JobFile& operator=(const JobFile&) = delete;

    bool Append(const char* data, int size);
    // Closes and renames the file; false if it could not be made or renamed.
    bool Complete();
    int Number() const { return m_number; }
    uint64_t Bytes() const { return m_bytes; }
    const std::wstring& Path() const { return m_path; }

private:
    const int m_number;
    const std::wstring m_path;
    HANDLE m_file;
    uint64_t m_bytes = 0;
    bool m_failed = false;
};

}  // namespace devsim
