#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace peers {

// A registry key of the test's, made (with its parents) if missing and
// removed again with everything below it when it was made here.
class TestKey {
public:
    TestKey(HKEY root, std::wstring path) : m_root(root), m_path(std::move(path))
    {
        HKEY existing = nullptr;
        m_made = ::RegOpenKeyExW(m_root, m_path.c_str(), 0, KEY_READ, &existing) != ERROR_SUCCESS;
        if (!m_made) {
            ::RegCloseKey(existing);
        }
        ::RegCreateKeyExW(m_root, m_path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &m_key, nullptr);
    }
    ~TestKey()
    {
        ::RegCloseKey(m_key);
        if (m_made) {
            ::RegDeleteTreeW(m_root, m_path.c_str());
        }
    }
    TestKey(const TestKey&) = delete;
    TestKey& operator=(const TestKey&) = delete;

    void SetString(const wchar_t* name, const std::wstring& value)
    {
        ::RegSetValueExW(m_key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                         static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    }
    // A list value: each text ended by a zero, the list by one more.
    void SetMulti(const wchar_t* name, const std::vector<std::wstring>& texts)
    {
        std::wstring all;
        for (const std::wstring& text : texts) {
            all += text + L'\0';
        }
        all += L'\0';
        ::RegSetValueExW(m_key, name, 0, REG_MULTI_SZ, reinterpret_cast<const BYTE*>(all.data()),
                         static_cast<DWORD>(all.size() * sizeof(wchar_t)));
    }
    void SetDword(const wchar_t* name, DWORD value)
    {
        ::RegSetValueExW(m_key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof value);
    }

private:
    HKEY m_root;
    std::wstring m_path;
    HKEY m_key = nullptr;
    bool m_made = false;
};

}  // namespace peers
