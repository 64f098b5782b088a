#include "AppendWriteCase.h"

#include <windows.h>

#include <vector>

namespace bench {

namespace {

// The bytes of the file's last line, its UTF-16 line end included.
std::string LastLine(const std::wstring& path)
{
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                              OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return {};
    }
    std::vector<char> content(1 << 16);
    LARGE_INTEGER size{};
    GetFileSizeEx(file, &size);
    LARGE_INTEGER from{};
    from.QuadPart = size.QuadPart > static_cast<LONGLONG>(content.size())
        ? size.QuadPart - static_cast<LONGLONG>(content.size()) : 0;
    SetFilePointerEx(file, from, nullptr, FILE_BEGIN);
    DWORD read = 0;
    ReadFile(file, content.data(), static_cast<DWORD>(content.size()), &read, nullptr);
    CloseHandle(file);
    const std::string text(content.data(), read);
    const std::string lineEnd("\r\0\n\0", 4);
    if (text.size() < 4 || text.compare(text.size() - 4, 4, lineEnd) != 0) {
        return {};
    }
    size_t start = text.rfind(lineEnd, text.size() - 5);
    // The previous line end sits on an even offset (one UTF-16 unit is 2 bytes).
    start = start == std::string::npos ? 0 : start + 4;
    return text.substr(start);
}

}  // namespace

AppendWriteCase::AppendWriteCase(const std::string& id, const std::wstring& sourceFile,
                                 const std::wstring& file)
    : BenchCase(id, Unit::PerSecond), m_sourceFile(sourceFile), m_file(file)
{
}

bool AppendWriteCase::Begin()
{
    m_line = LastLine(m_sourceFile);
    return !m_line.empty();
}

unsigned long long AppendWriteCase::Step()
{
    HANDLE file = CreateFileW(m_file.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return 0;
    }
    DWORD written = 0;
    SetFilePointerEx(file, LARGE_INTEGER{}, nullptr, FILE_END);
    const BOOL ok = WriteFile(file, m_line.data(), static_cast<DWORD>(m_line.size()), &written, nullptr);
    CloseHandle(file);
    return ok && written == m_line.size() ? 1 : 0;
}

}  // namespace bench
