#include "common/JsonObject.h"

#include <cstdio>

#include "common/Text.h"

namespace tools {

JsonObject& JsonObject::Member(const std::string& name, const std::string& json)
{
    if (!m_members.empty()) {
        m_members += ", ";
    }
    m_members += Quote(Text::Wide(name)) + ": " + json;
    return *this;
}

JsonObject& JsonObject::Text(const std::string& name, const std::wstring& value)
{
    return Member(name, Quote(value));
}

JsonObject& JsonObject::Text(const std::string& name, const std::optional<std::wstring>& value)
{
    return value ? Text(name, *value) : Null(name);
}

JsonObject& JsonObject::Number(const std::string& name, unsigned long long value)
{
    return Member(name, std::to_string(value));
}

JsonObject& JsonObject::Number(const std::string& name, const std::optional<unsigned long long>& value)
{
    return value ? Number(name, *value) : Null(name);
}

JsonObject& JsonObject::Integer(const std::string& name, long long value)
{
    return Member(name, std::to_string(value));
}

JsonObject& JsonObject::Null(const std::string& name)
{
    return Member(name, "null");
}

std::string JsonObject::Quote(const std::wstring& text)
{
    std::wstring escaped;
    for (const wchar_t c : text) {
        switch (c) {
        case L'"': escaped += L"\\\""; break;
        case L'\\': escaped += L"\\\\"; break;
        case L'\b': escaped += L"\\b"; break;
        case L'\f': escaped += L"\\f"; break;
        case L'\n': escaped += L"\\n"; break;
        case L'\r': escaped += L"\\r"; break;
        case L'\t': escaped += L"\\t"; break;
        default:
            if (c < 0x20) {
                wchar_t code[8];
                std::swprintf(code, 8, L"\\u%04x", static_cast<unsigned>(c));
                escaped += code;
            } else {
                escaped += c;
            }
        }
    }
    return "\"" + Text::Narrow(escaped) + "\"";
}

}  // namespace tools
