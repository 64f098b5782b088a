// orvane-queue.exe: makes and removes print queues in the spooler, for the
// demo and for trying the resolver by hand. With a host it also writes the
// port's key of the standard TCP/IP monitor, so that the queue stands for a
// network printer. Built beside the tests, never shipped.
//
//   orvane-queue add NAME PORT [HOST PORTNUMBER]
//   orvane-queue remove NAME [PORT]
#include <windows.h>
#include <winspool.h>

#include <cstdio>
#include <cwchar>
#include <string>

#include "peers/PrinterQueue.h"

namespace {

const wchar_t kDriver[] = L"Orvane Test Driver";
const std::wstring kStandardPorts = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Standard TCP/IP Port\\Ports\\";

bool WriteTcpIpPort(const std::wstring& port, const std::wstring& host, DWORD number)
{
    HKEY key = nullptr;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, (kStandardPorts + port).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                        &key, nullptr)
        != ERROR_SUCCESS) {
        return false;
    }
    const DWORD raw = 1;
    RegSetValueExW(key, L"HostName", 0, REG_SZ, reinterpret_cast<const BYTE*>(host.c_str()),
                   static_cast<DWORD>((host.size() + 1) * sizeof(wchar_t)));
    RegSetValueExW(key, L"Protocol", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&raw), sizeof raw);
    RegSetValueExW(key, L"PortNumber", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
    RegCloseKey(key);
    return true;
}

int Add(const std::wstring& name, const std::wstring& port)
{
    if (!peers::InstallPrinterDriver(kDriver)) {
        std::fprintf(stderr, "orvane-queue: the driver could not be installed: error %lu\n", GetLastError());
        return 1;
    }
    PRINTER_INFO_2W info = {};
    info.pPrinterName = const_cast<wchar_t*>(name.c_str());
    info.pPortName = const_cast<wchar_t*>(port.c_str());
    info.pDriverName = const_cast<wchar_t*>(kDriver);
    info.pPrintProcessor = const_cast<wchar_t*>(L"WinPrint");
    info.pDatatype = const_cast<wchar_t*>(L"RAW");
    const HANDLE printer = AddPrinterW(nullptr, 2, reinterpret_cast<BYTE*>(&info));
    if (!printer) {
        std::fprintf(stderr, "orvane-queue: the queue could not be added: error %lu\n", GetLastError());
        return 1;
    }
    ClosePrinter(printer);
    return 0;
}

}  // namespace

int wmain(int argc, wchar_t** argv)
{
    const std::wstring verb = argc > 1 ? argv[1] : L"";
    if (verb == L"add" && (argc == 4 || argc == 6)) {
        if (argc == 6 && !WriteTcpIpPort(argv[3], argv[4], static_cast<DWORD>(std::wcstoul(argv[5], nullptr, 10)))) {
            std::fprintf(stderr, "orvane-queue: the port's key could not be written\n");
            return 1;
        }
        return Add(argv[2], argv[3]);
    }
    if (verb == L"remove" && (argc == 3 || argc == 4)) {
        peers::DeletePrinterQueue(argv[2]);
        if (argc == 4) {
            RegDeleteTreeW(HKEY_LOCAL_MACHINE, (kStandardPorts + argv[3]).c_str());
        }
        return 0;
    }
    std::fprintf(stderr, "usage: orvane-queue add NAME PORT [HOST PORTNUMBER] | remove NAME [PORT]\n");
    return 2;
}
