// Base64 decoding, for the credentials of Basic authentication.
#pragma once

#include <string>

namespace devsim {

class Base64 {
public:
    // False on a character outside the alphabet or a length that is not a
    // multiple of four.
    static bool Decode(const std::string& text, std::string* out);
};

}  // namespace devsim
