#include "devsim/Base64.h"

#include <cstring>

namespace devsim {

bool Base64::Decode(const std::string& text, std::string* out)
{
    static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    if (text.size() % 4 != 0) {
        return false;
    }
    std::string result;
    unsigned bits = 0;
    int count = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '=') {
            // Padding only at the end, at most two.
            if (i + 2 < text.size() || text.find_first_not_of('=', i) != std::string::npos) {
                return false;
            }
            break;
        }
        const char* found = text[i] != '\0' ? std::strchr(kAlphabet, text[i]) : nullptr;
        if (found == nullptr) {
            return false;
        }
        bits = (bits << 6) | static_cast<unsigned>(found - kAlphabet);
        count += 6;
        if (count >= 8) {
            count -= 8;
            result += static_cast<char>((bits >> count) & 0xFF);
        }
    }
    *out = result;
    return true;
}

}  // namespace devsim
