#pragma once

#include <windows.h>

#include <filesystem>
#include <string>

namespace doubles {

// A new folder under the temporary folder, removed with all its content at
// the end of the object's life.
class TempFolder {
public:
    explicit TempFolder(const std::wstring& name)
    {
        wchar_t temp[MAX_PATH] = {};
        ::GetTempPathW(MAX_PATH, temp);
        m_path = std::wstring(temp) + name + L"-" + std::to_wstring(::GetCurrentProcessId());
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
        std::filesystem::create_directories(m_path);
    }
    ~TempFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    // The folder's path, without a final backslash.
    const std::wstring& Path() const { return m_path; }
    std::wstring operator/(const std::wstring& name) const { return m_path + L"\\" + name; }

private:
    std::wstring m_path;
};

}  // namespace doubles
