#include "LogLineCase.h"

#include <windows.h>

#include "logging/LogFlags.h"

namespace bench {

namespace {

const wchar_t kLoggingKey[] = L"Software\\ZQ\\QV\\Logging";

std::wstring ProcessFileName()
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring text = path;
    const size_t separator = text.find_last_of(L"\\/");
    return separator == std::wstring::npos ? text : text.substr(separator + 1);
}

}  // namespace

LogLineCase::LogLineCase(const std::string& id, QVLogging::CLogModule* module, const std::wstring& logFile)
    : BenchCase(id, Unit::PerSecond), m_module(module), m_logFile(logFile)
{
}

bool LogLineCase::Begin()
{
    // A run that wrote nothing fails the next one.
    if (!m_grew || !WriteSettings()) {
        return false;
    }
    m_sizeAtBegin = FileSize();
    return true;
}

unsigned long long LogLineCase::Step()
{
    m_module->LogSimpleString(nullptr, 0, QVLogging::kCategoryInfo, kText);
    return 1;
}

void LogLineCase::End()
{
    m_grew = FileSize() > m_sizeAtBegin;
}

bool LogLineCase::WriteSettings()
{
    const std::wstring path = std::wstring(kLoggingKey) + L"\\" + ProcessFileName() + L"\\"
        + m_module->GetModuleName();
    HKEY key = nullptr;
    if (RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key,
                        nullptr) != ERROR_SUCCESS) {
        return false;
    }
    const DWORD categories = QVLogging::kCategoryInfo;
    const DWORD options = QVLogging::kOptionDate | QVLogging::kOptionTime
        | QVLogging::kOptionProcess | QVLogging::kOptionThread;
    const DWORD level = 0;
    bool ok = RegSetValueExW(key, L"LogCategories", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&categories),
                             sizeof(categories)) == ERROR_SUCCESS
        && RegSetValueExW(key, L"LogOptions", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&options),
                          sizeof(options)) == ERROR_SUCCESS
        && RegSetValueExW(key, L"LogInfoDetailLevel", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&level),
                          sizeof(level)) == ERROR_SUCCESS
        && RegSetValueExW(key, L"LogFileName", 0, REG_SZ, reinterpret_cast<const BYTE*>(m_logFile.c_str()),
                          static_cast<DWORD>((m_logFile.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
    RegCloseKey(key);
    return ok;
}

unsigned long long LogLineCase::FileSize() const
{
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!GetFileAttributesExW(m_logFile.c_str(), GetFileExInfoStandard, &data)) {
        return 0;
    }
    return (static_cast<unsigned long long>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

}  // namespace bench
