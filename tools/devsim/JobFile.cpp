#include "devsim/JobFile.h"

namespace devsim {

JobFile::JobFile(int number, std::wstring path)
    : m_number(number),
      m_path(std::move(path)),
      m_file(CreateFileW((m_path + L".part").c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL, nullptr))
{
    m_failed = m_file == INVALID_HANDLE_VALUE;
}

JobFile::~JobFile()
{
    if (m_file != INVALID_HANDLE_VALUE) {
        CloseHandle(m_file);
    }
}

bool JobFile::Append(const char* data, int size)
{
    DWORD written = 0;
    m_failed = m_failed || !WriteFile(m_file, data, static_cast<DWORD>(size), &written, nullptr)
               || written != static_cast<DWORD>(size);
    m_bytes += static_cast<uint64_t>(size);
    return !m_failed;
}

bool JobFile::Complete()
{
    if (m_file != INVALID_HANDLE_VALUE) {
        CloseHandle(m_file);
        m_file = INVALID_HANDLE_VALUE;
    }
    return !m_failed && MoveFileExW((m_path + L".part").c_str(), m_path.c_str(), MOVEFILE_REPLACE_EXISTING);
}

}  // namespace devsim
