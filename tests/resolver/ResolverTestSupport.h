#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "doubles/ModuleLogFile.h"
#include "doubles/SystemErrorText.h"
#include "logging/LogModules.h"
#include "peers/TestKey.h"

namespace resolver_test {

// The resolver's text for a code: the system's, or the literal it falls
// back on when the system has none.
inline std::wstring MessageOf(DWORD code)
{
    const std::wstring text = doubles::ErrorLineText(code);
    return text.empty() ? L"Format message failed with 0x%x" : text;
}

using peers::TestKey;

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

// A test whose resolver lines go to a log file of its own: shown when the
// test fails, and checked line by line with Logged.
class LoggedTest : public ::testing::Test {
protected:
    explicit LoggedTest(const wchar_t* logName) : m_log(logName) {}
    ~LoggedTest() override
    {
        if (HasFailure()) {
            m_log.Show();
        }
    }
    // Each text must be a whole line of the log, in this order.
    bool Logged(const std::vector<std::wstring>& lines)
    {
        std::wstring missing;
        const bool all = m_log.InOrder(lines, &missing);
        EXPECT_TRUE(all) << "missing line: " << ::testing::PrintToString(missing);
        return all;
    }

    ResolverLog m_log;
};

}  // namespace resolver_test
