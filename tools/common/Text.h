// Conversions between the wide text of Windows and UTF-8 output.
#pragma once

#include <string>

namespace tools {

class Text {
public:
    static std::string Narrow(const std::wstring& text);
    static std::wstring Wide(const std::string& text);
};

}  // namespace tools
