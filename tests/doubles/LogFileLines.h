#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace doubles {

// A UTF-16 log file as its lines, without their CR LF.
inline std::vector<std::wstring> ReadLogLines(const std::wstring& path)
{
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::vector<std::wstring> lines(1);
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const wchar_t c = static_cast<wchar_t>(static_cast<unsigned char>(bytes[i])
                                               | static_cast<unsigned char>(bytes[i + 1]) << 8);
        if (c == L'\n' && !lines.back().empty() && lines.back().back() == L'\r') {
            lines.back().pop_back();
            lines.emplace_back();
        } else {
            lines.back() += c;
        }
    }
    return lines;
}

// Each expected text must start a line, in this order.
inline void ExpectLinesInOrder(const std::vector<std::wstring>& lines, const std::vector<std::wstring>& expected)
{
    size_t at = 0;
    for (const std::wstring& text : expected) {
        while (at < lines.size() && lines[at].rfind(text, 0) != 0) {
            ++at;
        }
        ASSERT_LT(at, lines.size()) << "missing, or out of order: " << std::string(text.begin(), text.end());
        ++at;
    }
}

}  // namespace doubles
