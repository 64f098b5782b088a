// One JSON object on one line, its members in the order they are added, as
// the --json output of the tool's commands prints it.
#pragma once

#include <optional>
#include <string>

namespace tools {

class JsonObject {
public:
    JsonObject& Text(const std::string& name, const std::wstring& value);
    JsonObject& Text(const std::string& name, const std::optional<std::wstring>& value);
    JsonObject& Number(const std::string& name, unsigned long long value);
    JsonObject& Number(const std::string& name, const std::optional<unsigned long long>& value);
    JsonObject& Integer(const std::string& name, long long value);
    JsonObject& Null(const std::string& name);
    // {"name": value, ...}
    std::string Str() const { return "{" + m_members + "}"; }

    // A JSON string of the text, in UTF-8 with the escapes JSON needs.
    static std::string Quote(const std::wstring& text);

private:
    JsonObject& Member(const std::string& name, const std::string& json);

    std::string m_members;
};

}  // namespace tools
