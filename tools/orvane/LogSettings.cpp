#include "orvane/LogSettings.h"

#include <cstdio>

#include "common/Text.h"

namespace tools {

namespace {

std::string Hex(const std::optional<DWORD>& value)
{
    if (!value) {
        return "(not set)";
    }
    char text[16];
    std::snprintf(text, sizeof(text), "0x%08lX", *value);
    return text;
}

}  // namespace

LogSettings LogSettings::Over(const LogSettings& lower) const
{
    LogSettings result = *this;
    result.categories = categories ? categories : lower.categories;
    result.options = options ? options : lower.options;
    result.detailLevel = detailLevel ? detailLevel : lower.detailLevel;
    result.fileName = fileName ? fileName : lower.fileName;
    return result;
}

std::vector<std::string> LogSettings::Lines() const
{
    return {
        "LogCategories = " + Hex(categories),
        "LogOptions = " + Hex(options),
        "LogInfoDetailLevel = " + (detailLevel ? std::to_string(*detailLevel) : std::string("(not set)")),
        "LogFileName = " + (fileName ? Text::Narrow(*fileName) : std::string("(not set)")),
    };
}

}  // namespace tools
