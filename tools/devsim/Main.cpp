// orvane-devsim.exe: a virtual printer on this machine, on plain Winsock.
#include <winsock2.h>

#include <cstdio>
#include <string>
#include <vector>

#include "devsim/DeviceSimulator.h"
#include "devsim/UsbDeviceMode.h"

int wmain(int argc, wchar_t** argv)
{
    // Unbuffered, the C runtime hands a console one character per write, and
    // under Wine each write is a round trip to the console. The log flushes
    // every line itself.
    std::setvbuf(stdout, nullptr, _IOFBF, 4096);
    if (argc > 1 && std::wstring(argv[1]) == L"--usb") {
        return devsim::RunUsbMode(std::vector<std::wstring>(argv + 2, argv + argc));
    }
    devsim::DevsimOptions options;
    std::string error;
    if (!options.Parse(std::vector<std::wstring>(argv + 1, argv + argc), &error)) {
        std::fprintf(stderr, "orvane-devsim: %s\nsee 'orvane-devsim --help'\n", error.c_str());
        return 2;
    }
    if (options.help) {
        std::fputs(devsim::DevsimOptions::Usage(), stdout);
        return 0;
    }
    WSADATA data;
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) {
        std::fprintf(stderr, "orvane-devsim: Winsock did not start\n");
        return 1;
    }
    devsim::StopSignal stop(options.seconds);
    devsim::EventLog log;
    int result = 0;
    {
        devsim::DeviceSimulator simulator(options, log);
        if (simulator.Start(&error)) {
            simulator.Run(stop);
        } else {
            std::fprintf(stderr, "orvane-devsim: %s\n", error.c_str());
            result = 1;
        }
    }
    WSACleanup();
    return result;
}
