// One key of the logging settings under HKEY_CURRENT_USER: the root
// "Software\ZQ\QV\Logging", a process key below it ("app.exe"), or a
// module key below that ("app.exe\IONetwork").
#pragma once

#include <string>

#include "orvane/LogSettings.h"

namespace tools {

class LoggingKey {
public:
    // `subkey` is relative to the root; empty for the root itself.
    explicit LoggingKey(std::wstring subkey);

    // "HKEY_CURRENT_USER\Software\ZQ\QV\Logging[\subkey]".
    std::string DisplayPath() const;
    // What the key holds; nothing when it does not exist. Values of other
    // types than the logging module reads count as unset.
    LogSettings Read() const;
    // Creates the key and writes the values that are set; a system error
    // code, 0 on success.
    LONG Write(const LogSettings& settings) const;
    // Deletes the four values, then this key and the keys above it up to
    // and including the root, as long as they hold nothing else.
    LONG Remove() const;

private:
    std::wstring Path() const;

    std::wstring m_subkey;
};

}  // namespace tools
