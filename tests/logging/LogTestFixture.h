#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include <cstdarg>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "doubles/LoggingRegistry.h"
#include "doubles/TempFolder.h"
#include "logging/CLogModule.h"

namespace logtest {

using QVLogging::CLogModule;

inline std::wstring ExecutablePath()
{
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
}

// The name of the test program's file, as the process key is named.
inline std::wstring ProcessName()
{
    const std::wstring path = ExecutablePath();
    return path.substr(path.find_last_of(L'\\') + 1);
}

// A module's key below the logging key.
inline std::wstring ModuleKeyOf(const std::wstring& module)
{
    return ProcessName() + L"\\" + module;
}

inline std::wstring Lower(std::wstring text)
{
    ::CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

inline std::string ReadBytes(const std::wstring& path)
{
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// A UTF-16 little-endian file as text; empty when it doesn't exist.
inline std::wstring ReadLog(const std::wstring& path)
{
    const std::string bytes = ReadBytes(path);
    std::wstring text;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
        text += static_cast<wchar_t>(static_cast<unsigned char>(bytes[i])
                                     | static_cast<unsigned char>(bytes[i + 1]) << 8);
    }
    return text;
}

inline void LogFormatted(CLogModule& module, unsigned long word, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    module.LogFormattedString(nullptr, 0, word, format, args);
    va_end(args);
}

// Each test starts and ends without logging settings, with its own folder
// for log files and a module made after the test set its values.
class LogModuleTest : public ::testing::Test {
protected:
    LogModuleTest() : m_folder(L"orvane-log-" + TestName()) {}

    static std::wstring TestName()
    {
        const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        return std::wstring(name.begin(), name.end());
    }

    static std::unique_ptr<CLogModule> MakeModule(const char* name = "TestModule")
    {
        return std::make_unique<CLogModule>(name, "Jan  2 2024", "10:11:12", nullptr, 30);
    }

    static std::wstring ModuleKey(const std::wstring& module = L"TestModule")
    {
        return ModuleKeyOf(module);
    }

    // Global settings that send every line with `categories` to `file`.
    void LogTo(const std::wstring& file, DWORD categories, DWORD options = 0) const
    {
        m_registry.SetString(L"", L"LogFileName", file);
        m_registry.SetDword(L"", L"LogCategories", categories);
        m_registry.SetDword(L"", L"LogOptions", options);
    }

    doubles::LoggingRegistry m_registry;
    doubles::TempFolder m_folder;
};

}  // namespace logtest
