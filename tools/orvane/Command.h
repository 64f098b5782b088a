// One subcommand of orvane.exe. A subcommand is one class in one file that
// registers itself with a CommandRegistration (see CommandRegistry.h).
#pragma once

#include <string>
#include <vector>

namespace tools {

enum ExitCode { kExitOk = 0, kExitFailure = 1, kExitUsage = 2 };

class Command {
public:
    virtual ~Command() = default;

    virtual const wchar_t* Name() const = 0;
    // One line for the list of commands.
    virtual const char* Summary() const = 0;
    // The text of "orvane NAME --help".
    virtual const char* Usage() const = 0;
    // The arguments after the command's name; returns an ExitCode.
    virtual int Run(const std::vector<std::wstring>& arguments) = 0;

protected:
    // "orvane NAME: message" on stderr.
    void Complain(const std::string& message) const;
    // Complains, points at --help, and returns kExitUsage.
    int UsageError(const std::string& message) const;
    // Prints Usage() on stdout and returns kExitOk.
    int ShowUsage() const;
};

}  // namespace tools
