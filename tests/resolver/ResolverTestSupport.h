#pragma once

#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

#include "doubles/ModuleLogFile.h"
#include "doubles/SystemErrorText.h"
#include "logging/LogModules.h"

namespace resolver_test {

// The resolver's text for a code: the system's, or the literal it falls
// back on when the system has none.
inline std::wstring MessageOf(DWORD code)
{
    const std::wstring text = doubles::ErrorLineText(code);
    return text.empty() ? L"Format message failed with 0x%x" : text;
}

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

// The port monitors' keys, in the order the resolver tries them.
inline const std::vector<std::wstring>& MonitorPortKeys()
{
    static const std::vector<std::wstring> keys = {
        L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\ZQ Standard TCP/IP Port\\Ports",
        L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\ZQ Standard TCP/IP Monitor\\Ports",
        L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Standard TCP/IP Port\\Ports",
        L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Equitrac Port\\Ports",
        L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\ZQ Standard IPX/SPX Port\\Ports",
        L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\ZQ Standard IPX/SPX Monitor\\Ports",
    };
    return keys;
}

// The resolver's log module writing into a file of the test's; the lines
// are shown when the test fails.
class ResolverLog {
public:
    explicit ResolverLog(const wchar_t* name) : m_log(g_pOrvaneResolverLog, name) {}
    // The lines written, without the empty rest behind the last line end.
    std::vector<std::wstring> Lines() const
    {
        std::vector<std::wstring> lines = m_log.Lines();
        if (!lines.empty() && lines.back().empty()) {
            lines.pop_back();
        }
        return lines;
    }
    size_t Count(const std::wstring& line) const { return m_log.Count(line); }
    bool InOrder(const std::vector<std::wstring>& lines, std::wstring* missing) const
    {
        return m_log.InOrder(lines, missing);
    }
    void Show() const { std::printf("%ls", m_log.Text().c_str()); }

private:
    doubles::ModuleLogFile m_log;
};

}  // namespace resolver_test
