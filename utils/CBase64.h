#pragma once

#include <string>

namespace QVCrypt {

// Base64 of a text, standard alphabet with "=" as the fill. Only the low byte
// of each input character is encoded, and a carriage return and line feed
// follow every 76 output characters, also at the very end of the text.
template <typename T>
class CBase64 {
public:
    explicit CBase64(const T* text);
    virtual ~CBase64();

    const T* GetEncoded() const { return m_strEncoded.c_str(); }
    unsigned long GetLength() const { return m_ulLength; }

private:
    std::basic_string<T> m_strEncoded;
    unsigned long m_ulLength = 0;
};

extern template class CBase64<wchar_t>;

}  // namespace QVCrypt
