// orvane read: copies what a device sends until it falls silent.
#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <vector>

#include "common/ArgumentParser.h"
#include "common/ErrorText.h"
#include "common/Text.h"
#include "orvane/CommandRegistry.h"
#include "orvane/DeviceStream.h"

namespace tools {

namespace {

const unsigned long kChunk = 64 * 1024;
const unsigned long kDefaultTimeoutMs = 2000;

class ReadCommand : public Command {
public:
    const wchar_t* Name() const override { return L"read"; }
    const char* Summary() const override { return "copy what a device sends, until it falls silent"; }
    const char* Usage() const override
    {
        return "usage: orvane read [--timeout MS] [-o FILE] ADDRESS[:PORT]\n"
               "       orvane read [--timeout MS] [-o FILE] (--queue NAME | --port NAME)\n"
               "                   [--port-number PORT]\n"
               "\n"
               "Connects through an orvane64 stream (PORT 80 to 9100, default 9100) and\n"
               "copies the bytes the device sends, unchanged, to standard output or to\n"
               "FILE. Reading ends when nothing arrives for the timeout or when the device\n"
               "closes the connection. The closing line goes to standard error, or to\n"
               "standard output with -o:\n"
               "  received BYTES bytes from ADDRESS:PORT\n"
               "\n"
               "options:\n"
               "  --timeout MS  silence that ends reading, and connect timeout (default 2000)\n"
               "  -o FILE       write the bytes to FILE instead of standard output\n"
               "  --queue NAME  the device behind this print queue\n"
               "  --port NAME   the device behind this print port, such as USB001\n"
               "  --port-number PORT  the port on a device named by queue or port\n"
               "  --help        this text\n"
               "\n"
               "exit codes: 0 read (also when nothing came), 1 connection or read failed,\n"
               "2 usage error or FILE cannot be made\n";
    }

    int Run(const std::vector<std::wstring>& arguments) override
    {
        std::vector<std::wstring> options = NamedDevice::Options();
        options.insert(options.end(), {L"--timeout", L"-o"});
        ArgumentParser parser(options, {L"--help"});
        unsigned long timeoutMs = 0;
        if (!parser.Parse(arguments)
            || !parser.Number(L"--timeout", kDefaultTimeoutMs, 1, 0x7FFFFFFF, &timeoutMs)) {
            return UsageError(parser.Error());
        }
        if (parser.Has(L"--help")) {
            return ShowUsage();
        }
        const bool byName = NamedDevice::ByName(parser);
        if (parser.Positional().size() != (byName ? 0u : 1u)) {
            return UsageError(byName ? "expected no address with --queue or --port" : "expected ADDRESS[:PORT]");
        }
        NamedDevice target;
        if (!target.Parse(parser, byName ? L"" : parser.Positional()[0], 9100)) {
            return UsageError(target.Error());
        }
        FILE* out = stdout;
        if (parser.Has(L"-o")) {
            out = _wfopen(parser.Value(L"-o").c_str(), L"wb");
            if (out == nullptr) {
                Complain("cannot make " + Text::Narrow(parser.Value(L"-o")) + ": error "
                         + ErrorText::Describe(GetLastError()));
                return kExitUsage;
            }
        } else {
            _setmode(_fileno(stdout), _O_BINARY);
        }
        const int result = Copy(target, timeoutMs, out, out == stdout ? stderr : stdout);
        if (out != stdout) {
            std::fclose(out);
        }
        return result;
    }

private:
    int Copy(NamedDevice& target, unsigned long timeoutMs, FILE* out, FILE* report)
    {
        DeviceStream stream;
        if (!stream.Open(target, timeoutMs)) {
            Complain(stream.Error());
            return kExitFailure;
        }
        std::vector<char> buffer(kChunk);
        unsigned long long received = 0;
        for (;;) {
            unsigned long got = 0;
            if (stream->Read(buffer.data(), kChunk, &got) != 0) {
                // Silence for the timeout, or a device that closed after it
                // sent something, is the normal end of reading.
                const unsigned long error = stream->GetSystemErrorCode();
                if (error == ERROR_TIMEOUT || (received != 0 && error == ERROR_DEV_NOT_EXIST)) {
                    break;
                }
                Complain("read from " + target.Text() + " failed after " + std::to_string(received)
                         + " bytes: error " + ErrorText::Describe(error));
                return kExitFailure;
            }
            if (got == 0) {
                break;
            }
            std::fwrite(buffer.data(), 1, got, out);
            received += got;
        }
        std::fflush(out);
        std::fprintf(report, "received %llu bytes from %s\n", received, target.Text().c_str());
        return kExitOk;
    }
};

const CommandRegistration<ReadCommand> registration;

}  // namespace

}  // namespace tools
