#pragma once

#include <map>
#include <string>

namespace QVIOStack {

// Orders response header names without regard to ASCII case, then by length.
struct HeaderNameLess {
    bool operator()(const std::wstring& a, const std::wstring& b) const
    {
        const size_t common = a.size() < b.size() ? a.size() : b.size();
        for (size_t i = 0; i < common; ++i) {
            const wchar_t x = Fold(a[i]);
            const wchar_t y = Fold(b[i]);
            if (x != y) {
                return x < y;
            }
        }
        return a.size() < b.size();
    }

    static wchar_t Fold(wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c; }

    // Whole words equal without regard to ASCII case.
    static bool Equal(const std::wstring& a, const wchar_t* b)
    {
        size_t i = 0;
        for (; i < a.size() && b[i] != L'\0'; ++i) {
            if (Fold(a[i]) != Fold(b[i])) {
                return false;
            }
        }
        return i == a.size() && b[i] == L'\0';
    }
};

// Response headers by name.
using HeaderMap = std::map<std::wstring, std::wstring, HeaderNameLess>;

}  // namespace QVIOStack
