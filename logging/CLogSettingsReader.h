#pragma once

#include <windows.h>

#include <string>

namespace QVLogging {

class CLogFileInfo;
class CLogSettings;
class CSharedRegValues;

// Reads logging values from the registry into settings records. Runs under
// the mutex of the shared settings block.
class CLogSettingsReader {
public:
    explicit CLogSettingsReader(CSharedRegValues& values) : m_values(values) {}

    // LogParmsPollTime in milliseconds; 30 seconds when missing or 0.
    static unsigned long ReadPollMs(HKEY key);

    // One level's values over what `settings` holds; a record without a
    // file name of its own takes `fallback`.
    void ReadLevel(HKEY key, CLogSettings& settings, CLogFileInfo* fallback);

    // The source-file subkeys listed under `moduleKey`. Each is opened below
    // `processKeyPath` and read over a copy of `moduleSettings`, again only
    // when its key changed.
    void ScanSourceFiles(HKEY moduleKey, const std::wstring& processKeyPath,
                         const CLogSettings& moduleSettings);

    // A REG_DWORD or REG_SZ value; false, with `value` untouched, when it
    // is missing or of another type.
    static bool ReadDword(HKEY key, const wchar_t* name, unsigned long& value);
    static bool ReadString(HKEY key, const wchar_t* name, std::wstring& value);

private:

    CSharedRegValues& m_values;
};

}  // namespace QVLogging
