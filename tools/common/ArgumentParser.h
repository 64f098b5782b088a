// Splits a command's arguments into options and positional arguments.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace tools {

class ArgumentParser {
public:
    // Options that take a value (as "--timeout 500" or "--timeout=500") and
    // flags that stand alone ("--help"). "--" ends the options.
    ArgumentParser(std::vector<std::wstring> valueOptions, std::vector<std::wstring> flags);

    // False, with Error() set, on an unknown option or a missing value.
    bool Parse(const std::vector<std::wstring>& arguments);

    bool Has(const std::wstring& name) const;
    // The option's last value, or the fallback when it was not given.
    std::wstring Value(const std::wstring& name, const std::wstring& fallback = L"") const;
    // Every value of an option that may be given more than once, in order.
    std::vector<std::wstring> Values(const std::wstring& name) const;
    // The option's value as a decimal number from min to max, or the
    // fallback when it was not given; false, with Error() set, otherwise.
    bool Number(const std::wstring& name, unsigned long fallback, unsigned long min, unsigned long max,
                unsigned long* out);
    const std::vector<std::wstring>& Positional() const { return m_positional; }
    const std::string& Error() const { return m_error; }

    // A whole decimal number from min to max, nothing else.
    static bool ParseNumber(const std::wstring& text, unsigned long min, unsigned long max, unsigned long* out);

private:
    bool Known(const std::vector<std::wstring>& list, const std::wstring& name) const;

    std::vector<std::wstring> m_valueOptions;
    std::vector<std::wstring> m_flags;
    std::map<std::wstring, std::wstring> m_values;
    std::map<std::wstring, std::vector<std::wstring>> m_allValues;
    std::vector<std::wstring> m_positional;
    std::string m_error;
};

}  // namespace tools
