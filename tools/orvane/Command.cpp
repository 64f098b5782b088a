#include "orvane/Command.h"

#include <cstdio>

#include "common/Text.h"

namespace tools {

void Command::Complain(const std::string& message) const
{
    std::fprintf(stderr, "orvane %s: %s\n", Text::Narrow(Name()).c_str(), message.c_str());
}

int Command::UsageError(const std::string& message) const
{
    Complain(message);
    std::fprintf(stderr, "see 'orvane %s --help'\n", Text::Narrow(Name()).c_str());
    return kExitUsage;
}

int Command::ShowUsage() const
{
    std::fputs(Usage(), stdout);
    return kExitOk;
}

}  // namespace tools
