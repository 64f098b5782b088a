// MD5 through the CryptoAPI, as lower-case hex.
#pragma once

#include <string>

namespace devsim {

class Md5 {
public:
    // Empty if the cryptographic provider fails.
    static std::string Hex(const std::string& data);
};

}  // namespace devsim
