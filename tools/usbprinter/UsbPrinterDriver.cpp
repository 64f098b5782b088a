#include "usbprinter/UsbPrinterDriver.h"

#include <windows.h>

#include "usbprinter/UsbPrinterControl.h"

namespace usbprinter {

namespace {

std::string Failed(const char* what, DWORD error)
{
    return std::string(what) + " failed with " + std::to_string(error);
}

// A service database just made is locked for a moment (1055).
SC_HANDLE OpenManager(std::string* error)
{
    for (int attempt = 0;; ++attempt) {
        SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
        if (manager != nullptr || GetLastError() != ERROR_SERVICE_DATABASE_LOCKED || attempt == 50) {
            if (manager == nullptr) {
                *error = Failed("OpenSCManagerW", GetLastError());
            }
            return manager;
        }
        Sleep(100);
    }
}

// Whether another program plays the device now.
bool Attached()
{
    HANDLE control = CreateFileW(USBPRINTER_CONTROL_PATH, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0,
                                 nullptr);
    if (control == INVALID_HANDLE_VALUE) {
        return GetLastError() == ERROR_SHARING_VIOLATION;
    }
    CloseHandle(control);
    return false;
}

// A driver left running from an earlier build is stopped, so that the one
// started is the file given. False when it does not stop.
bool StopRunning(SC_HANDLE service)
{
    SERVICE_STATUS status{};
    if (!QueryServiceStatus(service, &status) || status.dwCurrentState == SERVICE_STOPPED) {
        return true;
    }
    ControlService(service, SERVICE_CONTROL_STOP, &status);
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (QueryServiceStatus(service, &status) && status.dwCurrentState == SERVICE_STOPPED) {
            return true;
        }
        Sleep(50);
    }
    return false;
}

}  // namespace

std::wstring UsbPrinterDriverBesideProgram()
{
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder(path, length);
    return folder.substr(0, folder.find_last_of(L"\\/") + 1) + L"usbprinter.sys";
}

bool StartUsbPrinterDriver(const std::wstring& sysPath, std::string* error)
{
    if (GetFileAttributesW(sysPath.c_str()) == INVALID_FILE_ATTRIBUTES) {
        *error = "the driver file is missing: " + std::string(sysPath.begin(), sysPath.end());
        return false;
    }
    SC_HANDLE manager = OpenManager(error);
    if (manager == nullptr) {
        return false;
    }
    SC_HANDLE service = OpenServiceW(manager, USBPRINTER_SERVICE_NAME, SERVICE_ALL_ACCESS);
    if (service != nullptr) {
        ChangeServiceConfigW(service, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, sysPath.c_str(),
                             nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    } else {
        service = CreateServiceW(manager, USBPRINTER_SERVICE_NAME, L"Orvane virtual USB printer", SERVICE_ALL_ACCESS,
                                 SERVICE_KERNEL_DRIVER, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                                 sysPath.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr);
    }
    bool running = false;
    if (service == nullptr) {
        *error = Failed("CreateServiceW", GetLastError());
    } else if (Attached()) {
        *error = "another program plays the virtual USB printer";
    } else if (!StopRunning(service)) {
        *error = "the driver of an earlier start does not stop";
    } else {
        for (int attempt = 0; !running; ++attempt) {
            running = StartServiceW(service, 0, nullptr) || GetLastError() == ERROR_SERVICE_ALREADY_RUNNING;
            if (!running && (GetLastError() != ERROR_SERVICE_DATABASE_LOCKED || attempt == 50)) {
                *error = Failed("StartServiceW", GetLastError());
                break;
            }
            if (!running) {
                Sleep(100);
            }
        }
        CloseServiceHandle(service);
    }
    CloseServiceHandle(manager);
    return running;
}

}  // namespace usbprinter
