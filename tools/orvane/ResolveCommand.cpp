// orvane resolve: what the library finds behind a print queue, port, share
// or server name of this machine. The resolver is the library's own code,
// linked into the tool: it is no part of the DLL's public face.
#include <windows.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "common/ArgumentParser.h"
#include "common/ErrorText.h"
#include "common/JsonObject.h"
#include "common/Text.h"
#include "orvane/CommandRegistry.h"
#include "resolver/Resolver.h"

namespace tools {

namespace {

// The getters' buffers, in characters.
const size_t kBufferChars = 2048;

struct Kind {
    const wchar_t* option;
    unsigned long type;
    const char* name;
};
const Kind kKinds[] = {
    {L"--queue", Orvane::RESOLVE_TYPE_PRINTER, "queue"},
    {L"--port", Orvane::RESOLVE_TYPE_PORT, "port"},
    {L"--share", Orvane::RESOLVE_TYPE_SHARE, "share"},
    {L"--server", Orvane::RESOLVE_TYPE_SERVER, "server"},
};

// What Resolve and the getters gave; a getter that failed leaves its
// fields empty.
struct Resolution {
    HRESULT status = E_FAIL;
    std::optional<unsigned long> connectionType;
    std::optional<std::wstring> tcpipAddress;
    std::optional<unsigned long> tcpipPort;
    std::optional<std::wstring> directConnectPort;
    std::optional<std::wstring> queueName;
};

Resolution Resolve(const std::wstring& name, unsigned long type)
{
    Resolution result;
    const std::shared_ptr<Orvane::Resolver> resolver = Orvane::Resolver::Create();
    result.status = resolver->Resolve(name.c_str(), type);
    unsigned long number = 0;
    if (resolver->GetConnectionType(&number) == S_OK) {
        result.connectionType = number;
    }
    std::vector<wchar_t> text(kBufferChars);
    if (resolver->GetTCPIPAddress(text.data(), kBufferChars, &number) == S_OK) {
        result.tcpipAddress = text.data();
        result.tcpipPort = number;
    }
    unsigned long reserved = 0;
    if (resolver->GetDirectConnectPort(text.data(), kBufferChars, &reserved) == S_OK) {
        result.directConnectPort = text.data();
    }
    if (resolver->GetQueueName(text.data(), kBufferChars) == S_OK) {
        result.queueName = text.data();
    }
    return result;
}

std::string Hex(unsigned long value, int digits)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*lx", digits, value);
    return text;
}

// "0x020 (TCP/IP)", "0x228 (LPT, TCP/IP, redirected)", "0x000 (none)".
std::string SpellConnectionType(unsigned long type)
{
    static const struct {
        unsigned long flag;
        const char* name;
    } kFlags[] = {
        {Orvane::CX_TYPE_USB, "USB"},     {Orvane::CX_TYPE_FIREWIRE, "FireWire"}, {Orvane::CX_TYPE_LPT, "LPT"},
        {Orvane::CX_TYPE_DOT4, "DOT4"},   {Orvane::CX_TYPE_TCPIP, "TCP/IP"},      {Orvane::CX_TYPE_IPX, "IPX"},
        {Orvane::CX_TYPE_LPR, "LPR"},     {Orvane::CX_TYPE_DLC, "DLC"},           {Orvane::CX_TYPE_REDIRECTED, "redirected"},
    };
    std::string names;
    for (const auto& flag : kFlags) {
        if (type & flag.flag) {
            names += (names.empty() ? "" : ", ") + std::string(flag.name);
        }
    }
    return Hex(type, 3) + " (" + (names.empty() ? "none" : names) + ")";
}

std::string StatusName(HRESULT status)
{
    switch (status) {
    case S_OK: return "S_OK";
    case E_FAIL: return "E_FAIL";
    case E_INVALIDARG: return "E_INVALIDARG";
    default: return "unexpected";
    }
}

class ResolveCommand : public Command {
public:
    const wchar_t* Name() const override { return L"resolve"; }
    const char* Summary() const override { return "show what stands behind a print queue, port, share or server name"; }
    const char* Usage() const override
    {
        return "usage: orvane resolve [--queue | --port | --share | --server] NAME [--json]\n"
               "\n"
               "Runs the library's resolver on a name of this machine's print spooler and\n"
               "prints what it found: how the device is connected, its TCP/IP address and\n"
               "port, the local port it is attached to, and the queue name that goes with it.\n"
               "\n"
               "kinds of name (one of them; --queue when none is given):\n"
               "  --queue   a print queue (printer) name, such as \"Office MFP\"\n"
               "  --port    a port name, such as USB001, DOT4_001, LPT1: or IP_192.0.2.7\n"
               "  --share   the share name of a queue this machine shares\n"
               "  --server  a server name, as \\\\server\n"
               "\n"
               "connection types: 0x002 USB, 0x004 FireWire, 0x008 LPT, 0x010 DOT4,\n"
               "0x020 TCP/IP, 0x040 IPX, 0x080 LPR, 0x100 DLC, 0x200 redirected; a WSD or\n"
               "internet printing queue resolves with 0x000 and its address.\n"
               "\n"
               "example:\n"
               "  orvane resolve --port USB001\n"
               "  orvane resolve \"Office MFP\" --json\n"
               "\n"
               "options:\n"
               "  --json    print one JSON object: name, resolveType, status, connectionType,\n"
               "            tcpipAddress, tcpipPort, directConnectPort, queueName; a value the\n"
               "            resolver cannot give is null\n"
               "  --help    this text\n"
               "\n"
               "exit codes: 0 resolved, 1 not resolved (the log says why: 'orvane log on',\n"
               "then the OrvaneResolver lines), 2 usage error or a name the resolver refuses\n"
               "(empty, or 260 characters and more)\n";
    }

    int Run(const std::vector<std::wstring>& arguments) override
    {
        ArgumentParser parser({}, {L"--queue", L"--port", L"--share", L"--server", L"--json", L"--help"});
        if (!parser.Parse(arguments)) {
            return UsageError(parser.Error());
        }
        if (parser.Has(L"--help")) {
            return ShowUsage();
        }
        const Kind* kind = &kKinds[0];
        int kinds = 0;
        for (const Kind& candidate : kKinds) {
            if (parser.Has(candidate.option)) {
                kind = &candidate;
                ++kinds;
            }
        }
        if (kinds > 1) {
            return UsageError("give one of --queue, --port, --share and --server");
        }
        if (parser.Positional().size() != 1) {
            return UsageError("expected one NAME");
        }
        const std::wstring& name = parser.Positional()[0];
        const Resolution result = Resolve(name, kind->type);
        if (parser.Has(L"--json")) {
            PrintJson(name, *kind, result);
        } else {
            PrintText(name, *kind, result);
        }
        return Outcome(name, *kind, result);
    }

private:
    static void PrintJson(const std::wstring& name, const Kind& kind, const Resolution& result)
    {
        JsonObject json;
        json.Text("name", name).Number("resolveType", kind.type);
        json.Text("status", Text::Wide(Hex(static_cast<unsigned long>(result.status), 8)));
        json.Number("connectionType", Optional(result.connectionType));
        json.Text("tcpipAddress", result.tcpipAddress).Number("tcpipPort", Optional(result.tcpipPort));
        json.Text("directConnectPort", result.directConnectPort).Text("queueName", result.queueName);
        std::printf("%s\n", json.Str().c_str());
    }

    static void PrintText(const std::wstring& name, const Kind& kind, const Resolution& result)
    {
        const auto line = [](const char* label, const std::string& value) {
            std::printf("%-20s%s\n", label, value.c_str());
        };
        const auto text = [](const std::optional<std::wstring>& value) {
            return !value ? std::string("-") : value->empty() ? std::string("(empty)") : Text::Narrow(*value);
        };
        line("name", Text::Narrow(name));
        line("kind", std::string(kind.name) + " (" + std::to_string(kind.type) + ")");
        line("status", Hex(static_cast<unsigned long>(result.status), 8) + " (" + StatusName(result.status) + ")");
        line("connection type", result.connectionType ? SpellConnectionType(*result.connectionType) : "-");
        line("TCP/IP address",
             result.tcpipAddress ? text(result.tcpipAddress) + " port " + std::to_string(*result.tcpipPort) : "-");
        line("direct port", text(result.directConnectPort));
        line("queue name", text(result.queueName));
    }

    int Outcome(const std::wstring& name, const Kind& kind, const Resolution& result) const
    {
        if (result.status == S_OK) {
            return kExitOk;
        }
        if (result.status == E_INVALIDARG) {
            Complain("the resolver refuses the " + std::string(kind.name) + " name '" + Text::Narrow(name)
                     + "' (" + ErrorText::Status(static_cast<unsigned long>(result.status))
                     + ", E_INVALIDARG): a name must have 1 to 259 characters");
            return kExitUsage;
        }
        Complain("could not resolve the " + std::string(kind.name) + " name '" + Text::Narrow(name) + "' ("
                 + ErrorText::Status(static_cast<unsigned long>(result.status))
                 + "); 'orvane log on' records each step of the search in the OrvaneResolver lines");
        return kExitFailure;
    }

    static std::optional<unsigned long long> Optional(const std::optional<unsigned long>& value)
    {
        return value ? std::optional<unsigned long long>(*value) : std::nullopt;
    }
};

const CommandRegistration<ResolveCommand> registration;

}  // namespace

}  // namespace tools
