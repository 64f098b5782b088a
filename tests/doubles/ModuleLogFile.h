#pragma once

#include <windows.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "doubles/ApiOverride.h"
#include "doubles/LogFileLines.h"
#include "doubles/LoggingRegistry.h"
#include "doubles/TempFolder.h"
#include "logging/CLogModule.h"
#include "logging/LogFlags.h"
#include "winapi/CKernelApi.h"

namespace doubles {

// Log modules writing to a file of the test's while the object lives:
// informational lines of every level, errors, entries, exits, returns and
// error texts, each line with the process field and its tags only. Logging
// is off again after.
//
// Test programs share the registry of the Wine prefix: another one that
// reads these settings meanwhile writes to the file too. The process field
// tells the lines of this process apart.
class ModuleLogFile {
public:
    ModuleLogFile(QVLogging::CLogModule* module, const wchar_t* name) : ModuleLogFile({module}, name) {}
    // Several modules, all to the one file, each made to read the settings.
    // `categories` replaces the default LogCategories (debug lines, for one);
    // `file`, the file in the test's folder.
    ModuleLogFile(std::initializer_list<QVLogging::CLogModule*> modules, const wchar_t* name,
                  unsigned long categories = 0x30000C90, const std::wstring& file = L"")
        : m_modules(modules), m_folder(std::wstring(L"orvane-log-") + name),
          m_file(file.empty() ? m_folder / L"module.log" : file)
    {
        m_registry.SetString(L"", L"LogFileName", m_file);
        m_registry.SetDword(L"", L"LogCategories", categories);
        m_registry.SetDword(L"", L"LogInfoDetailLevel", 7);
        m_registry.SetDword(L"", L"LogOptions", QVLogging::kOptionProcess);
        Poll();
    }
    ~ModuleLogFile()
    {
        ::RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\ZQ\\QV\\Logging");
        Poll();
    }
    ModuleLogFile(const ModuleLogFile&) = delete;
    ModuleLogFile& operator=(const ModuleLogFile&) = delete;

    // The lines of this process, without their process field. A line
    // without the field continues the one before it.
    std::vector<std::wstring> Lines() const { return LinesOf(::GetCurrentProcessId()); }
    // The lines of another process that read the same settings.
    std::vector<std::wstring> LinesOf(DWORD processId) const
    {
        const std::wstring own = L"[" + std::to_wstring(processId) + L"] ";
        std::vector<std::wstring> lines;
        bool mine = false;
        for (const std::wstring& line : ReadLogLines(m_file)) {
            if (HasProcessField(line)) {
                mine = line.rfind(own, 0) == 0;
                if (mine) {
                    lines.push_back(line.substr(own.size()));
                }
            } else if (mine) {
                lines.push_back(line);
            }
        }
        return lines;
    }
    // How many lines read exactly `text`.
    size_t Count(const std::wstring& text) const
    {
        size_t count = 0;
        for (const std::wstring& line : Lines()) {
            count += line == text ? 1 : 0;
        }
        return count;
    }
    // Each text must be a whole line, in this order.
    bool InOrder(const std::vector<std::wstring>& expected, std::wstring* missing = nullptr) const
    {
        const std::vector<std::wstring> lines = Lines();
        size_t at = 0;
        for (const std::wstring& text : expected) {
            while (at < lines.size() && lines[at] != text) {
                ++at;
            }
            if (at == lines.size()) {
                if (missing) {
                    *missing = text;
                }
                return false;
            }
            ++at;
        }
        return true;
    }
    std::wstring Text() const
    {
        std::wstring text;
        for (const std::wstring& line : Lines()) {
            text += line + L"\n";
        }
        return text;
    }

    const std::wstring& File() const { return m_file; }

    // Makes the modules read the settings again, as after a change to them.
    void Reread() { Poll(); }

private:
    // "[digits] " at the start.
    static bool HasProcessField(const std::wstring& line)
    {
        const size_t close = line.find(L"] ");
        return close != std::wstring::npos && close > 1 && line[0] == L'['
            && line.find_first_not_of(L"0123456789", 1) == close;
    }
    // The module reads its settings when its poll interval has passed: a
    // tick count moved far ahead makes it read them at its next line. Kept
    // for the process: threads may still read the clock through the
    // platform pointer after a test.
    class LaterClock : public QVWinApi::CKernelApi {
    public:
        DWORD GetTickCount() override { return QVWinApi::CKernelApi::GetTickCount() + shift; }
        DWORD shift = 0x40000000;
    };
    static LaterClock& Clock()
    {
        static LaterClock s_clock;
        return s_clock;
    }
    // The modules share the time of the last poll: each is made to read
    // by an interval that passes just before it looks.
    void Poll()
    {
        for (QVLogging::CLogModule* module : m_modules) {
            Clock().shift += 0x01000000;
            module->LogSimpleString(static_cast<const wchar_t*>(nullptr), 0, QVLogging::kCategoryDebug, L"");
        }
    }

    std::vector<QVLogging::CLogModule*> m_modules;
    ApiOverride<QVWinApi::IKernelApi> m_later{g_pKernelApi, Clock()};
    LoggingRegistry m_registry;
    TempFolder m_folder;
    std::wstring m_file;
};

}  // namespace doubles
