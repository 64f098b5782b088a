// orvane.exe: a command-line host of orvane64.dll.
#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <string>
#include <vector>

#include "common/Text.h"
#include "orvane/CommandRegistry.h"

namespace {

void ListCommands(FILE* out)
{
    std::fputs("usage: orvane COMMAND [OPTIONS] [ARGUMENTS]\n\ncommands:\n", out);
    // The summaries line up behind the longest name.
    int width = 0;
    for (const auto& command : tools::CommandRegistry::Instance().Commands()) {
        width = std::max(width, static_cast<int>(std::wcslen(command->Name())));
    }
    for (const auto& command : tools::CommandRegistry::Instance().Commands()) {
        std::fprintf(out, "  %-*s %s\n", width, tools::Text::Narrow(command->Name()).c_str(), command->Summary());
    }
    std::fputs("\n'orvane COMMAND --help' describes a command.\n"
               "Exit codes: 0 done, 1 device or protocol failure, 2 usage error.\n",
               out);
}

}  // namespace

int wmain(int argc, wchar_t** argv)
{
    if (argc < 2) {
        ListCommands(stderr);
        return tools::kExitUsage;
    }
    const std::wstring name = argv[1];
    if (name == L"--help" || name == L"-h" || name == L"help") {
        ListCommands(stdout);
        return tools::kExitOk;
    }
    tools::Command* command = tools::CommandRegistry::Instance().Find(name);
    if (command == nullptr) {
        std::fprintf(stderr, "orvane: unknown command '%s'; 'orvane --help' lists the commands\n",
                     tools::Text::Narrow(name).c_str());
        return tools::kExitUsage;
    }
    const int result = command->Run(std::vector<std::wstring>(argv + 2, argv + argc));
    std::fflush(stdout);
    return result;
}
