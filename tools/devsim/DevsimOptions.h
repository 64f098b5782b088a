// The simulator's command line.
#pragma once

#include <string>
#include <vector>

#include "devsim/DiscoveryIdentity.h"

namespace tools {
class ArgumentParser;
}

namespace devsim {

class DevsimOptions {
public:
    // False, with the reason in *error, on a usage error.
    bool Parse(const std::vector<std::wstring>& arguments, std::string* error);
    static const char* Usage();
    static constexpr size_t kMaxIPv6 = 8;

    bool help = false;
    std::string bind = "127.0.0.1";
    unsigned short jobPort = 9100;
    unsigned short httpPort = 8080;
    std::wstring jobsFolder = L"devsim-jobs";
    unsigned long idleMs = 1000;
    std::string user = "admin";
    std::string password = "orvane";
    unsigned long seconds = 0;
    // Discoverable by WS-Discovery, with this identity.
    bool wsd = false;
    DiscoveryIdentity identity;

private:
    bool ParseIdentity(const tools::ArgumentParser& parser, std::string* error);
};

}  // namespace devsim
