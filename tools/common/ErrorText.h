// A system error code with what it means, as in "1460 (timeout)".
#pragma once

#include <string>

namespace tools {

class ErrorText {
public:
    // The codes a stream reports have short names; any other code gets the
    // system's message text, or "unknown error".
    static std::string Describe(unsigned long code);
};

}  // namespace tools
