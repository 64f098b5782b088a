#pragma once

#include <windows.h>

#include <cstdarg>
#include <deque>
#include <string>

#include "logging/CExtMonitorSettings.h"
#include "logging/CLogFilterShortcut.h"
#include "logging/CSharedBlockT.h"
#include "logging/CSharedRegValues.h"

namespace QVLogging {

class CLogFunction;
class CLogSettings;

// Adds the text of an error code at `text`, with `room` characters left;
// gives the number of characters added.
using ErrorTextCallback = int (*)(unsigned long code, wchar_t* text, unsigned long room);

// The log sink of one library in the process. Settings come from
// HKEY_CURRENT_USER\Software\ZQ\QV\Logging and are read again after each
// poll interval; with no values there, a line costs only the filter.
// Logging never changes the thread's last error and never throws.
class CLogModule {
public:
    // `moduleName` empty: the base name of the library's file. The poll
    // interval is the registry's (30 seconds by default), whatever
    // `pollSeconds` says.
    CLogModule(const char* moduleName, const char* buildDate, const char* buildTime,
               ErrorTextCallback errorTextCallback, unsigned long pollSeconds);
    virtual ~CLogModule();
    CLogModule(const CLogModule&) = delete;
    CLogModule& operator=(const CLogModule&) = delete;

    // Zeroes the module's own settings record.
    virtual void ResetSettings();

    // One line with category word `word`. `sourceFile` is the lower-case
    // short name of the source file, which selects per-source-file settings,
    // or null; `line` its line, 0 for none.
    void LogSimpleString(const wchar_t* sourceFile, unsigned long line, unsigned long word,
                         const wchar_t* text);
    // The same, formatted by the run-time's wide printf rules ("%s" is wide).
    void LogFormattedString(const wchar_t* sourceFile, unsigned long line, unsigned long word,
                            const wchar_t* format, va_list args);

    // A line of a trace scope. The text gathers in the scope until a line is
    // complete; entry and exit lines move the indentation, and an exit line
    // adds the duration, exception marks and the scope's error text.
    void LogSimpleString(CLogFunction* scope, unsigned long word, const wchar_t* text,
                         bool complete);
    void LogFormattedString(CLogFunction* scope, unsigned long word, const wchar_t* format,
                            va_list args);
    // A line of a trace scope formatted with one narrow string argument: the
    // `size` bytes at `data`, copied only when the line passes the filter.
    void LogBytes(CLogFunction* scope, unsigned long word, const wchar_t* format,
                  const char* data, size_t size);

    // "[Err: 0x%08X] " and the system's text for the code.
    std::wstring FormatErrorText(unsigned long code);

    const std::wstring& GetModuleName() const { return m_moduleName; }

private:
    // The settings record that decides the line, or null when it is dropped.
    CLogSettings* Filter(const wchar_t* sourceFile, unsigned long word);
    void PollSettings(CSharedRegValues& values);
    void ReadSettings(CSharedRegValues& values);
    // Takes the lock, filters, and hands the chosen settings to `write`.
    template <typename Write>
    void Filtered(const wchar_t* sourceFile, unsigned long word, Write write);
    void InternalLogSimpleString(CLogSettings& settings, CLogFunction* scope, unsigned long line,
                                 unsigned long word, const wchar_t* text, bool complete);
    void InternalLogFormattedString(CLogSettings& settings, CLogFunction* scope,
                                    unsigned long line, unsigned long word,
                                    const wchar_t* format, va_list args);
    void InternalLogFormat(CLogSettings& settings, CLogFunction* scope, unsigned long line,
                           unsigned long word, const wchar_t* format, ...);
    void WriteScopeLine(CLogSettings& settings, CLogFunction& scope, unsigned long word,
                        const wchar_t* text, bool complete);
    // Tells the process's external monitor, if there is one.
    void NotifyExtMonitor(int kind, const wchar_t* text);
    // Two blanks more (`deeper`) or fewer for the lines of the settings' file.
    void ShiftIndentation(const CLogSettings& settings, bool deeper);
    void PrepareLogFile(CLogSettings& settings);
    void WriteHeader(CLogSettings& settings);
    void WalkModules();
    void WriteLine(CLogSettings& settings, unsigned long line, unsigned long tagWord,
                   unsigned long word, const std::wstring& message);
    std::wstring BuildPrefix(unsigned long options, unsigned long tagWord, unsigned long line);
    std::wstring Indentation(const CLogSettings& settings);

    std::wstring m_moduleName;
    std::wstring m_processName;
    std::wstring m_builtOn;
    unsigned long m_pollMs = 30000;
    std::wstring m_processTag;
    CLogSettings* m_settings = nullptr;
    long long m_lastLineCount = 0;
    ErrorTextCallback m_errorTextCallback;
    CSharedBlockT<CSharedRegValues> m_regValues;
    CRITICAL_SECTION m_lock;
    wchar_t m_scratch[MAX_PATH] = {};
    CSharedBlockT<CExtMonitorSettings> m_extMonitor;
    std::deque<std::wstring> m_queuedLines;
    bool m_initialized = false;
    CLogFilterShortcut m_shortcut;
};

}  // namespace QVLogging
