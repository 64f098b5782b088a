#pragma once

#include <cwctype>
#include <string>

namespace QVUtils {

// Character traits that compare wide characters without regard to case.
struct ci_char_traits : std::char_traits<wchar_t> {
    static bool eq(wchar_t a, wchar_t b) { return std::towupper(a) == std::towupper(b); }
    static bool lt(wchar_t a, wchar_t b) { return std::towupper(a) < std::towupper(b); }
    static int compare(const wchar_t* a, const wchar_t* b, std::size_t count)
    {
        for (std::size_t i = 0; i < count; ++i) {
            if (!eq(a[i], b[i])) {
                return lt(a[i], b[i]) ? -1 : 1;
            }
        }
        return 0;
    }
    static const wchar_t* find(const wchar_t* text, std::size_t count, wchar_t ch)
    {
        for (std::size_t i = 0; i < count; ++i) {
            if (eq(text[i], ch)) {
                return text + i;
            }
        }
        return nullptr;
    }
};

// A wide string whose comparisons and searches ignore case.
using ci_wstring = std::basic_string<wchar_t, ci_char_traits>;

}  // namespace QVUtils
