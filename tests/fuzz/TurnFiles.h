#pragma once

// Files of the targets that read through the platform's profile functions.
#include <windows.h>

#include <cwctype>
#include <string>

#include "doubles/TempFolder.h"
#include "fuzz/FuzzTarget.h"

namespace fuzz {

// Writes each input to a file of a temporary folder. The names take turns:
// a name comes back only after more inputs than the platform keeps files
// cached, and later than the file system's clock ticks, so that no cached
// copy of an earlier file can answer.
class TurnFiles {
public:
    TurnFiles(const std::wstring& folder, const std::wstring& prefix) : m_folder(folder), m_prefix(prefix) {}

    std::wstring Write(const std::string& bytes)
    {
        const std::wstring name = m_folder / (m_prefix + std::to_wstring(++m_serial % kNames) + L".ini");
        HANDLE file = CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        DWORD written = 0;
        const bool ok = file != INVALID_HANDLE_VALUE
            && ::WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)
            && written == bytes.size();
        CloseHandle(file);
        Check(ok, "the file could not be written");
        return name;
    }

private:
    static constexpr unsigned kNames = 16;
    doubles::TempFolder m_folder;
    std::wstring m_prefix;
    unsigned long long m_serial = 0;
};

// A truth value as the library reads one: "true" in any case and nothing
// else.
inline bool ReadsAsTrue(const std::wstring& text)
{
    if (text.size() != 4) {
        return false;
    }
    for (size_t i = 0; i < 4; ++i) {
        if (towlower(text[i]) != L"true"[i]) {
            return false;
        }
    }
    return true;
}

}  // namespace fuzz
