// A small file system that the fault matrix's script mounts for the test,
// filled to the last byte by one file for the life of the object, or to
// `leaveFree` bytes short of it.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace reliability {

class FullDisk {
public:
    // `folder` lies on the small file system.
    explicit FullDisk(const std::wstring& folder, DWORD leaveFree = 0) : m_file(folder + L"\\filler.bin")
    {
        HANDLE file = CreateFileW(m_file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        if (file == INVALID_HANDLE_VALUE) {
            m_lastError = GetLastError();
            return;
        }
        const std::vector<char> block(64 * 1024, 'f');
        LONG filled = 0;
        for (DWORD size = static_cast<DWORD>(block.size()); size > 0; size /= 2) {
            DWORD written = 0;
            while (WriteFile(file, block.data(), size, &written, nullptr) && written == size) {
                filled += static_cast<LONG>(written);
            }
            filled += static_cast<LONG>(written);
            m_lastError = GetLastError();
        }
        if (leaveFree > 0 && m_lastError == ERROR_DISK_FULL) {
            SetFilePointer(file, filled - static_cast<LONG>(leaveFree), nullptr, FILE_BEGIN);
            if (!SetEndOfFile(file)) {
                m_lastError = GetLastError();
            }
        }
        CloseHandle(file);
    }
    ~FullDisk() { DeleteFileW(m_file.c_str()); }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

    // True when the last write was refused for want of space.
    bool IsFull() const { return m_lastError == ERROR_DISK_FULL; }
    DWORD LastError() const { return m_lastError; }

private:
    std::wstring m_file;
    DWORD m_lastError = 0;
};

}  // namespace reliability
