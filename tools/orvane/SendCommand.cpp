// orvane send: writes a file to a device through a stream.
#include <windows.h>

#include <cstdio>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include "common/ArgumentParser.h"
#include "common/ErrorText.h"
#include "common/ProgressBar.h"
#include "common/Terminal.h"
#include "common/Text.h"
#include "orvane/CommandRegistry.h"
#include "orvane/DeviceStream.h"
#include "orvane/UsbPathWriter.h"

namespace tools {

namespace {

const DWORD kChunk = 64 * 1024;

class SendCommand : public Command {
public:
    const wchar_t* Name() const override { return L"send"; }
    const char* Summary() const override { return "write a file to a device (raw port, default 9100)"; }
    const char* Usage() const override
    {
        return "usage: orvane send [--timeout MS] ADDRESS[:PORT] FILE\n"
               "       orvane send [--timeout MS] (--queue NAME | --port NAME)\n"
               "                   [--port-number PORT] FILE\n"
               "       orvane send [--timeout MS] usb-path:DEVICE-PATH FILE\n"
               "\n"
               "Writes FILE to the device through an orvane64 stream. PORT is 80 to 9100,\n"
               "9100 when left out; an IPv6 address goes in brackets: [::1]:9100.\n"
               "usb-path: is for tests: the library's USB connection on a device path,\n"
               "such as the virtual USB printer's (orvane-devsim --usb).\n"
               "On a terminal a progress bar shows bytes, percent and rate; when the\n"
               "output is a pipe or a file only the closing line is written:\n"
               "  sent BYTES bytes to ADDRESS:PORT in SECONDS s\n"
               "\n"
               "options:\n"
               "  --timeout MS  connect and write timeout in milliseconds\n"
               "                (default: the library's, 30000)\n"
               "  --queue NAME  the device behind this print queue\n"
               "  --port NAME   the device behind this print port, such as USB001\n"
               "  --port-number PORT  the port on a device named by queue or port\n"
               "                (default 9100, the print function of a USB device)\n"
               "  --help        this text\n"
               "\n"
               "exit codes: 0 sent, 1 connection or write failed, 2 usage error or\n"
               "unreadable file\n";
    }

    int Run(const std::vector<std::wstring>& arguments) override
    {
        std::vector<std::wstring> options = NamedDevice::Options();
        options.push_back(L"--timeout");
        ArgumentParser parser(options, {L"--help"});
        unsigned long timeoutMs = 0;
        if (!parser.Parse(arguments) || !parser.Number(L"--timeout", 0, 1, 0x7FFFFFFF, &timeoutMs)) {
            return UsageError(parser.Error());
        }
        if (parser.Has(L"--help")) {
            return ShowUsage();
        }
        const bool byName = NamedDevice::ByName(parser);
        if (parser.Positional().size() != (byName ? 1u : 2u)) {
            return UsageError(byName ? "expected FILE" : "expected ADDRESS[:PORT] and FILE");
        }
        const std::wstring name = byName ? L"" : parser.Positional()[0];
        NamedDevice target;
        if (!UsbPathWriter::Names(name) && !target.Parse(parser, name, 9100)) {
            return UsageError(target.Error());
        }
        const std::wstring& path = parser.Positional().back();
        HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
        if (file == INVALID_HANDLE_VALUE) {
            Complain("cannot open " + Text::Narrow(path) + ": error " + ErrorText::Describe(GetLastError()));
            return kExitUsage;
        }
        int result = kExitFailure;
        if (UsbPathWriter::Names(name)) {
            UsbPathWriter usb;
            if (usb.Open(name, timeoutMs)) {
                result = Send(file, Text::Narrow(name), [&usb](const char* data, unsigned long size, unsigned long* written) {
                    return usb.Write(data, size, written);
                });
            } else {
                Complain(usb.Error());
            }
        } else {
            DeviceStream stream;
            if (stream.Open(target, timeoutMs)) {
                result = Send(file, target.Text(), [&stream](const char* data, unsigned long size, unsigned long* written) {
                    return stream->Write(data, size, written);
                });
            } else {
                Complain(stream.Error());
            }
        }
        CloseHandle(file);
        return result;
    }

private:
    using Writer = std::function<unsigned long(const char* data, unsigned long size, unsigned long* written)>;

    int Send(HANDLE file, const std::string& targetText, const Writer& write)
    {
        LARGE_INTEGER size{};
        GetFileSizeEx(file, &size);
        const uint64_t total = static_cast<uint64_t>(size.QuadPart);

        const bool terminal = Terminal::IsTerminal(GetStdHandle(STD_OUTPUT_HANDLE));
        if (terminal) {
            // Unbuffered, the C runtime hands a console one character per
            // write, and under Wine each write is a round trip to the
            // console: buffered, each drawing of the bar is one write.
            std::setvbuf(stdout, nullptr, _IOFBF, 4096);
        }
        ProgressBar progress(std::cout, terminal, total);
        const ULONGLONG start = GetTickCount64();
        std::vector<char> buffer(kChunk);
        uint64_t sent = 0;
        DWORD got = 0;
        while (ReadFile(file, buffer.data(), kChunk, &got, nullptr) && got != 0) {
            // The stream may take part of a buffer; the rest is written again.
            for (DWORD offset = 0; offset < got;) {
                unsigned long written = 0;
                const unsigned long status = write(buffer.data() + offset, got - offset, &written);
                if (status != 0 || written == 0) {
                    progress.Finish(sent + written, Elapsed(start));
                    Complain(WriteFailure(targetText, sent + written, total, status));
                    return kExitFailure;
                }
                offset += written;
                sent += written;
            }
            progress.Update(sent, Elapsed(start));
        }
        if (sent != total) {
            Complain("reading the file stopped after " + std::to_string(sent) + " of " + std::to_string(total)
                     + " bytes: error " + ErrorText::Describe(GetLastError()));
            return kExitFailure;
        }
        const unsigned long elapsed = Elapsed(start);
        progress.Finish(sent, elapsed);
        std::printf("sent %llu bytes to %s in %.2f s\n", static_cast<unsigned long long>(sent),
                    targetText.c_str(), elapsed / 1000.0);
        return kExitOk;
    }

    // A failed write leaves no system error code in the stream (it keeps
    // the outcome of the last open, read or close), so the message gives
    // the status and points at the log.
    static std::string WriteFailure(const std::string& target, uint64_t sent, uint64_t total, unsigned long status)
    {
        return "write to " + target + " failed after " + std::to_string(sent) + " of " + std::to_string(total)
               + " bytes: " + ErrorText::Status(status) + "; the stream keeps no system error code for a write, "
               + "'orvane log on' records the cause";
    }

    static unsigned long Elapsed(ULONGLONG start) { return static_cast<unsigned long>(GetTickCount64() - start); }
};

const CommandRegistration<SendCommand> registration;

}  // namespace

}  // namespace tools
