// The subcommands of orvane.exe, each entered by a static registration in
// its own file.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "orvane/Command.h"

namespace tools {

class CommandRegistry {
public:
    static CommandRegistry& Instance();

    void Add(std::unique_ptr<Command> command);
    // Null for an unknown name.
    Command* Find(const std::wstring& name) const;
    // By name, in alphabetical order.
    const std::vector<std::unique_ptr<Command>>& Commands() const { return m_commands; }

private:
    std::vector<std::unique_ptr<Command>> m_commands;
};

// A static object of this type in a command's file makes it available.
template <class T>
struct CommandRegistration {
    CommandRegistration() { CommandRegistry::Instance().Add(std::unique_ptr<Command>(new T)); }
};

}  // namespace tools
