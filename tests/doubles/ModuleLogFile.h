#pragma once

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "doubles/ApiOverride.h"
#include "doubles/LoggingRegistry.h"
#include "doubles/TempFolder.h"
#include "logging/CLogModule.h"
#include "logging/LogFlags.h"
#include "winapi/CKernelApi.h"

namespace doubles {

// One log module writing to a file of the test's while the object lives:
// informational lines of every level, errors, entries, exits, returns and
// error texts, each line with its tags only. Logging is off again after.
class ModuleLogFile {
public:
    ModuleLogFile(QVLogging::CLogModule* module, const wchar_t* name)
        : m_pModule(module), m_folder(std::wstring(L"orvane-log-") + name), m_file(m_folder / L"module.log")
    {
        // The file is kept open by the module until it reads settings again.
        std::error_code ignored;
        std::filesystem::remove(std::filesystem::path(m_file), ignored);
        m_registry.SetString(L"", L"LogFileName", m_file);
        m_registry.SetDword(L"", L"LogCategories", 0x30000C90);
        m_registry.SetDword(L"", L"LogInfoDetailLevel", 7);
        m_registry.SetDword(L"", L"LogOptions", 0);
        Poll();
    }
    ~ModuleLogFile()
    {
        ::RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\ZQ\\QV\\Logging");
        Poll();
    }
    ModuleLogFile(const ModuleLogFile&) = delete;
    ModuleLogFile& operator=(const ModuleLogFile&) = delete;

    std::vector<std::wstring> Lines() const
    {
        std::ifstream file(std::filesystem::path(m_file), std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        std::vector<std::wstring> lines(1);
        for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
            const wchar_t c = static_cast<wchar_t>(static_cast<unsigned char>(bytes[i])
                                                   | static_cast<unsigned char>(bytes[i + 1]) << 8);
            if (c == L'\n' && !lines.back().empty() && lines.back().back() == L'\r') {
                lines.back().pop_back();
                lines.emplace_back();
            } else {
                lines.back() += c;
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

private:
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
    void Poll()
    {
        Clock().shift += 0x01000000;
        m_pModule->LogSimpleString(static_cast<const wchar_t*>(nullptr), 0, QVLogging::kCategoryDebug, L"");
    }

    QVLogging::CLogModule* m_pModule;
    ApiOverride<QVWinApi::IKernelApi> m_later{g_pKernelApi, Clock()};
    LoggingRegistry m_registry;
    TempFolder m_folder;
    std::wstring m_file;
};

}  // namespace doubles
