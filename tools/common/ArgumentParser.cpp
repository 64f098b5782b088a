#include "common/ArgumentParser.h"

#include <algorithm>

#include "common/Text.h"

namespace tools {

ArgumentParser::ArgumentParser(std::vector<std::wstring> valueOptions, std::vector<std::wstring> flags)
    : m_valueOptions(std::move(valueOptions)), m_flags(std::move(flags))
{
}

bool ArgumentParser::Known(const std::vector<std::wstring>& list, const std::wstring& name) const
{
    return std::find(list.begin(), list.end(), name) != list.end();
}

bool ArgumentParser::Parse(const std::vector<std::wstring>& arguments)
{
    bool optionsEnded = false;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::wstring& argument = arguments[i];
        if (optionsEnded || argument.size() < 2 || argument[0] != L'-') {
            m_positional.push_back(argument);
            continue;
        }
        if (argument == L"--") {
            optionsEnded = true;
            continue;
        }
        const size_t equals = argument.find(L'=');
        const std::wstring name = argument.substr(0, equals);
        if (Known(m_flags, name) && equals == std::wstring::npos) {
            m_values[name] = L"";
        } else if (Known(m_valueOptions, name)) {
            if (equals != std::wstring::npos) {
                m_values[name] = argument.substr(equals + 1);
            } else if (i + 1 < arguments.size()) {
                m_values[name] = arguments[++i];
            } else {
                m_error = "option " + Text::Narrow(name) + " needs a value";
                return false;
            }
            m_allValues[name].push_back(m_values[name]);
        } else {
            m_error = "unknown option " + Text::Narrow(argument);
            return false;
        }
    }
    return true;
}

bool ArgumentParser::Has(const std::wstring& name) const
{
    return m_values.count(name) != 0;
}

std::wstring ArgumentParser::Value(const std::wstring& name, const std::wstring& fallback) const
{
    const auto found = m_values.find(name);
    return found == m_values.end() ? fallback : found->second;
}

std::vector<std::wstring> ArgumentParser::Values(const std::wstring& name) const
{
    const auto found = m_allValues.find(name);
    return found == m_allValues.end() ? std::vector<std::wstring>() : found->second;
}

bool ArgumentParser::Number(const std::wstring& name, unsigned long fallback, unsigned long min,
                            unsigned long max, unsigned long* out)
{
    if (!Has(name)) {
        *out = fallback;
        return true;
    }
    if (!ParseNumber(Value(name), min, max, out)) {
        m_error = "option " + Text::Narrow(name) + " needs a number from " + std::to_string(min) + " to "
                  + std::to_string(max) + ", not '" + Text::Narrow(Value(name)) + "'";
        return false;
    }
    return true;
}

bool ArgumentParser::ParseNumber(const std::wstring& text, unsigned long min, unsigned long max,
                                 unsigned long* out)
{
    if (text.empty() || text.size() > 10) {
        return false;
    }
    unsigned long long value = 0;
    for (const wchar_t c : text) {
        if (c < L'0' || c > L'9') {
            return false;
        }
        value = value * 10 + static_cast<unsigned>(c - L'0');
    }
    if (value < min || value > max) {
        return false;
    }
    *out = static_cast<unsigned long>(value);
    return true;
}

}  // namespace tools
