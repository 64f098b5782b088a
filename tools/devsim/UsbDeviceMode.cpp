#include "devsim/UsbDeviceMode.h"

#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <memory>

#include "common/Text.h"
#include "devsim/EventLog.h"
#include "devsim/JobStore.h"
#include "devsim/StopSignal.h"
#include "devsim/UsbInterruptScript.h"
#include "devsim/UsbWebChannel.h"
#include "devsim/WebSite.h"
#include "usbprinter/UsbPrinterDriver.h"
#include "usbprinter/VirtualUsbPrinter.h"

namespace devsim {

const wchar_t kUsbPrintPath[] = L"\\\\?\\usb#vid_1234&pid_5678#zq0001#{28d78fad-5a12-11d1-ae5b-0000f803a8c2}";
const wchar_t kUsbConfigPath[] = L"\\\\?\\usb#vid_1234&pid_5678#zq0001&mi_01#{28d78fad-5a12-11d1-ae5b-0000f803a8c2}";

namespace {

const char kUsage[] =
    "usage: orvane-devsim --usb [--path DEVICE-PATH] [--config-path DEVICE-PATH] [--jobs FOLDER]\n"
    "                           [--reply TEXT] [--seconds N] [--quiet N] [--interrupt CODE]...\n"
    "                           [--interrupt-delay MS] [--unplug-config]\n"
    "\n"
    "Starts the virtual USB printer's driver and plays the device: its print\n"
    "function answers at DEVICE-PATH, what a host writes there is appended to\n"
    "FOLDER\\usb-print.prn, and a host's reads get TEXT (once), then wait.\n"
    "With --config-path the configuration function answers there too, with the\n"
    "simulator's web site: a host's HTTP requests written to it are answered on\n"
    "its reads (user admin, password orvane). A host's interrupt requests there\n"
    "get N answers without an interrupt, then one interrupt for each CODE (1 to\n"
    "255) once a request has waited MS milliseconds; then they wait, or with\n"
    "--unplug-config the function is unplugged while one waits. Any of these\n"
    "options plugs the configuration function, at its default path if none.\n"
    "Stops on Ctrl-C or after N seconds. One program plays the device at a time.\n"
    "\n"
    "  --path DEVICE-PATH         default " "\\\\?\\usb#vid_1234&pid_5678#zq0001#{28d78fad-5a12-11d1-ae5b-0000f803a8c2}\n"
    "  --config-path DEVICE-PATH  default (with the interrupt options) "
    "\\\\?\\usb#vid_1234&pid_5678#zq0001&mi_01#{28d78fad-5a12-11d1-ae5b-0000f803a8c2}\n"
    "  --jobs FOLDER              default devsim-jobs\n"
    "  --interrupt-delay MS       default 500\n";

struct UsbOptions {
    std::wstring path = kUsbPrintPath;
    std::wstring configPath;  // empty: no configuration function
    UsbInterruptPlan interrupts;
    std::wstring jobs = L"devsim-jobs";
    std::string reply;
    unsigned long seconds = 0;
};

bool Parse(const std::vector<std::wstring>& arguments, UsbOptions* options, std::string* error)
{
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::wstring& name = arguments[i];
        if (name == L"--unplug-config") {
            options->interrupts.unplugAtEnd = true;
            continue;
        }
        if (i + 1 == arguments.size()) {
            *error = "missing value or unknown option: " + tools::Text::Narrow(name);
            return false;
        }
        const std::wstring& value = arguments[++i];
        if (name == L"--path") {
            options->path = value;
        } else if (name == L"--config-path") {
            options->configPath = value;
        } else if (name == L"--quiet") {
            options->interrupts.quiet = std::wcstoul(value.c_str(), nullptr, 10);
        } else if (name == L"--interrupt-delay") {
            options->interrupts.delayMs = std::wcstoul(value.c_str(), nullptr, 10);
        } else if (name == L"--interrupt") {
            const unsigned long code = std::wcstoul(value.c_str(), nullptr, 10);
            if (code < 1 || code > 255) {
                *error = "an interrupt code is 1 to 255: " + tools::Text::Narrow(value);
                return false;
            }
            options->interrupts.codes.push_back(static_cast<unsigned char>(code));
        } else if (name == L"--jobs") {
            options->jobs = value;
        } else if (name == L"--reply") {
            options->reply = tools::Text::Narrow(value);
        } else if (name == L"--seconds") {
            options->seconds = std::wcstoul(value.c_str(), nullptr, 10);
        } else {
            *error = "unknown option: " + tools::Text::Narrow(name);
            return false;
        }
    }
    const UsbInterruptPlan& plan = options->interrupts;
    if (options->configPath.empty() && (plan.quiet != 0 || !plan.codes.empty() || plan.unplugAtEnd)) {
        options->configPath = kUsbConfigPath;
    }
    return true;
}

}  // namespace

int RunUsbMode(const std::vector<std::wstring>& arguments)
{
    if (!arguments.empty() && arguments[0] == L"--help") {
        std::fputs(kUsage, stdout);
        return 0;
    }
    UsbOptions options;
    std::string error;
    if (!Parse(arguments, &options, &error)) {
        std::fprintf(stderr, "orvane-devsim: %s\nsee 'orvane-devsim --usb --help'\n", error.c_str());
        return 2;
    }
    CreateDirectoryW(options.jobs.c_str(), nullptr);
    const std::wstring jobPath = options.jobs + L"\\usb-print.prn";
    HANDLE job = CreateFileW(jobPath.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, 0, nullptr);
    if (job == INVALID_HANDLE_VALUE) {
        std::fprintf(stderr, "orvane-devsim: cannot create %s: error %lu\n", tools::Text::Narrow(jobPath).c_str(),
                     GetLastError());
        return 1;
    }
    EventLog log;
    StopSignal stop(options.seconds);
    JobStore jobs(options.jobs, log);
    WebSite site(jobs, "admin", "orvane");
    int result = 0;
    {
        usbprinter::VirtualUsbPrinter printer;
        std::unique_ptr<UsbWebChannel> web;
        printer.SetSink(USBPRINTER_FUNCTION_PRINT, [job](const unsigned char* data, size_t size) {
            DWORD written = 0;
            WriteFile(job, data, static_cast<DWORD>(size), &written, nullptr);
        });
        if (!printer.Attach(usbprinter::UsbPrinterDriverBesideProgram(), &error)) {
            std::fprintf(stderr, "orvane-devsim: %s\n", error.c_str());
            result = 1;
        } else if (!printer.Plug(USBPRINTER_FUNCTION_PRINT, options.path)) {
            std::fprintf(stderr, "orvane-devsim: the driver did not take the path %s\n",
                         tools::Text::Narrow(options.path).c_str());
            result = 1;
        } else if (!options.configPath.empty() && !printer.Plug(USBPRINTER_FUNCTION_CONFIG, options.configPath)) {
            std::fprintf(stderr, "orvane-devsim: the driver did not take the path %s\n",
                         tools::Text::Narrow(options.configPath).c_str());
            result = 1;
        } else {
            if (!options.configPath.empty()) {
                web = std::make_unique<UsbWebChannel>(printer, site, &log);
                log.Line("usb configuration function at " + tools::Text::Narrow(options.configPath) + " (web site)");
            }
            printer.Supply(USBPRINTER_FUNCTION_PRINT, options.reply.data(), options.reply.size());
            UsbInterruptScript interrupts(printer, log, options.interrupts);
            interrupts.Start();
            log.Line("usb print function at " + tools::Text::Narrow(options.path));
            log.Line("jobs go to " + tools::Text::Narrow(jobPath));
            const char* reason = nullptr;
            unsigned long long seen = 0;
            unsigned long long reported = 0;
            while ((reason = stop.Reason()) == nullptr) {
                // Woken by the device's traffic, or after a slice to look at
                // the stop signal; the total is told once the traffic rests.
                const bool moved = printer.WaitFor(
                    [&] { return printer.ReceivedCount(USBPRINTER_FUNCTION_PRINT) != seen; }, 200);
                seen = printer.ReceivedCount(USBPRINTER_FUNCTION_PRINT);
                interrupts.Step();
                if (!moved && seen != reported) {
                    reported = seen;
                    log.Line("usb print function received " + std::to_string(reported) + " bytes in all");
                }
            }
            log.Line(std::string("stopping: ") + reason);
        }
        web.reset();
    }
    CloseHandle(job);
    log.Line("stopped");
    return result;
}

}  // namespace devsim
