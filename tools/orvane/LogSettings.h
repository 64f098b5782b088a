// The four logging values of one registry key, each of them possibly unset.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace tools {

class LogSettings {
public:
    std::optional<DWORD> categories;  // LogCategories
    std::optional<DWORD> options;     // LogOptions
    std::optional<DWORD> detailLevel; // LogInfoDetailLevel
    std::optional<std::wstring> fileName; // LogFileName

    bool Empty() const { return !categories && !options && !detailLevel && !fileName; }
    // These values, with the ones `lower` sets and this object does not.
    LogSettings Over(const LogSettings& lower) const;
    // "NAME = VALUE" lines, "(not set)" for a missing value.
    std::vector<std::string> Lines() const;
};

}  // namespace tools
