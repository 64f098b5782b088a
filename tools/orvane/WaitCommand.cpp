// orvane wait: prints a device's interrupts as they come.
#include <windows.h>

#include <cstdio>

#include "common/ArgumentParser.h"
#include "common/Text.h"
#include "orvane/CommandRegistry.h"
#include "orvane/NamedDevice.h"

namespace tools {

namespace {

class WaitCommand : public Command {
public:
    const wchar_t* Name() const override { return L"wait"; }
    const char* Summary() const override { return "print a device's interrupts as they come"; }
    const char* Usage() const override
    {
        return "usage: orvane wait [--count N] [--timeout S] TARGET\n"
               "       orvane wait [--count N] [--timeout S] (--queue NAME | --port NAME)\n"
               "\n"
               "Waits for the device's interrupts through an orvane64 notifier and prints\n"
               "a line for each as it comes:\n"
               "  interrupt 1 from port 'USB001' after 0.52 s\n"
               "A USB device reports interrupts; a network device has none. TARGET is the\n"
               "device's address; or name it by print queue or print port.\n"
               "\n"
               "options:\n"
               "  --count N     stop after N interrupts (default 1)\n"
               "  --timeout S   give up when no interrupt came for S seconds (default: wait\n"
               "                as long as it takes)\n"
               "  --queue NAME  the device behind this print queue\n"
               "  --port NAME   the device behind this print port, such as USB001\n"
               "  --help        this text\n"
               "\n"
               "exit codes: 0 all N interrupts came, 1 no such device, a device without\n"
               "interrupts, or the time ran out, 2 usage error\n";
    }

    int Run(const std::vector<std::wstring>& arguments) override
    {
        std::vector<std::wstring> options = NamedDevice::Options();
        options.insert(options.end(), {L"--count", L"--timeout"});
        ArgumentParser parser(options, {L"--help"});
        unsigned long count = 0;
        unsigned long seconds = 0;
        if (!parser.Parse(arguments) || !parser.Number(L"--count", 1, 1, 1000000, &count)
            || !parser.Number(L"--timeout", 0, 1, 86400, &seconds)) {
            return UsageError(parser.Error());
        }
        if (parser.Has(L"--help")) {
            return ShowUsage();
        }
        const bool byName = NamedDevice::ByName(parser);
        if (parser.Positional().size() != (byName ? 0u : 1u)) {
            return UsageError(byName ? "expected no TARGET with --queue or --port" : "expected TARGET");
        }
        NamedDevice target;
        if (!target.Open(parser, byName ? L"" : parser.Positional()[0])) {
            Complain(target.Error());
            return kExitFailure;
        }
        Orvane::Notifier* notifier = nullptr;
        if (target->CreateNotifier(&notifier) != 0 || notifier == nullptr) {
            Complain(target.Text() + " reports no interrupts: the library has no notifier for it");
            return kExitFailure;
        }
        const int result = Wait(*notifier, target.Text(), count, seconds != 0 ? seconds * 1000 : INFINITE);
        notifier->Dispose();
        return result;
    }

private:
    // A notification fires once: it is switched on again for each.
    int Wait(Orvane::Notifier& notifier, const std::string& text, unsigned long count, unsigned long timeoutMs)
    {
        const ULONGLONG start = GetTickCount64();
        for (unsigned long seen = 1; seen <= count; ++seen) {
            if (notifier.EnableNotification(true) != 0) {
                Complain("interrupts of " + text + " cannot be switched on");
                return kExitFailure;
            }
            if (notifier.WaitForNotification(timeoutMs) != 0) {
                notifier.EnableNotification(false);
                Complain("no interrupt from " + text + " within " + std::to_string(timeoutMs / 1000) + " s");
                return kExitFailure;
            }
            std::printf("interrupt %lu from %s after %.2f s\n", seen, text.c_str(),
                        static_cast<double>(GetTickCount64() - start) / 1000.0);
            std::fflush(stdout);
        }
        return kExitOk;
    }
};

const CommandRegistration<WaitCommand> registration;

}  // namespace

}  // namespace tools
