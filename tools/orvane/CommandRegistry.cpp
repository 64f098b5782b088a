#include "orvane/CommandRegistry.h"

#include <algorithm>

namespace tools {

CommandRegistry& CommandRegistry::Instance()
{
    static CommandRegistry registry;
    return registry;
}

void CommandRegistry::Add(std::unique_ptr<Command> command)
{
    const auto position = std::find_if(m_commands.begin(), m_commands.end(), [&](const auto& other) {
        return std::wstring(other->Name()) > command->Name();
    });
    m_commands.insert(position, std::move(command));
}

Command* CommandRegistry::Find(const std::wstring& name) const
{
    for (const auto& command : m_commands) {
        if (name == command->Name()) {
            return command.get();
        }
    }
    return nullptr;
}

}  // namespace tools
