// A system error code with what it means, as in "1460 (timeout)", and a
// status result of the library.
#pragma once

#include <string>

namespace tools {

class ErrorText {
public:
    // The codes a stream reports have short names; any other code gets the
    // system's message text, or "unknown error".
    static std::string Describe(unsigned long code);
    // A status result of the library, which is no system error code, as in
    // "status 0x80004005".
    static std::string Status(unsigned long status);
};

}  // namespace tools
