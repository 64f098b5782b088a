#pragma once

#include <string>

namespace QVIOStack {

// Conversions between wide text and the 8-bit text of the HTTP wire, code
// page 1252, through the platform. A character the code page lacks becomes
// the platform's default character.
class CCodePage1252 {
public:
    // Throws std::bad_alloc when the text can't be held.
    static std::string ToNarrow(const std::wstring& text);
    // False when the text doesn't fit whole into `limit` wide characters.
    static bool ToWide(const char* text, unsigned long length, unsigned long limit, std::wstring& wide);
};

}  // namespace QVIOStack
