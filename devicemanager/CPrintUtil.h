#pragma once

#include <string>

namespace QVDeviceManager {

// The device manager's spooler chores: the queue of a device node, a
// queue's plug-and-play data, purging a queue, and removing a print driver
// with its monitor and files. Every operation gives DM_E_INVALID_ARGUMENT
// for a null or empty name.
class CPrintUtil {
public:
    // The local queue whose "PnPData" "DeviceInstanceId" is the id, in any case.
    static unsigned long FindPrinterName(const wchar_t* deviceInstanceId, const void* reserved1,
                                         const void* reserved2, std::wstring& printerName);
    // A REG_SZ value of the queue's printer data.
    static unsigned long GetPrinterDataValue(const wchar_t* printerName, const wchar_t* key,
                                             const wchar_t* valueName, std::wstring& text);
    // Writes "DeviceContainerID" below "PnPData".
    static unsigned long SetPrinterDataValue(const wchar_t* printerName, const wchar_t* containerID);
    static unsigned long GetPrinterDriverName(const wchar_t* printerName, std::wstring& driverName);
    // Purges the queue and waits for its jobs to go, at most 10 times 10 s.
    static unsigned long DeleteAllPrintJobs(const wchar_t* printerName);
    // Deletes the driver with its unused files, then its monitor and its
    // folder named after the hardware id. Retries a driver in use 4 times,
    // 2 s apart.
    static unsigned long UninstallPrinterDriver(const wchar_t* driverName);
    static unsigned long UninstallMonitor(const wchar_t* monitorName);

private:
    static bool IsEmpty(const wchar_t* text) { return text == nullptr || *text == L'\0'; }
    static void Close(void* printer);
    static unsigned long DeleteDriver(const std::wstring& driverName, const std::wstring& monitorName);
    static void DeleteHardwareIdFolder(const std::wstring& hardwareId);
};

}  // namespace QVDeviceManager
