#include "devicemanager/CPrintUtil.h"

#include <windows.h>
#include <winspool.h>

#include <cwchar>
#include <filesystem>
#include <new>
#include <vector>

#include "devicemanager/DeviceManagerTypes.h"
#include "logging/LogTrace.h"
#include "winapi/IKernelApi.h"
#include "winapi/ISpoolerApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

namespace {

constexpr DWORD kEnumLocal = 2;                         // PRINTER_ENUM_LOCAL
constexpr DWORD kAdminister = PRINTER_ACCESS_ADMINISTER;  // 4
constexpr DWORD kPurge = 3;                             // PRINTER_CONTROL_PURGE
constexpr int kPurgePasses = 10;
constexpr int kPurgePolls = 10;
constexpr DWORD kPurgePollMs = 1000;
constexpr int kDeleteTries = 5;
constexpr DWORD kDeleteRetryMs = 2000;
constexpr DWORD kDeleteUnusedFiles = 1;  // DPD_DELETE_UNUSED_FILES
constexpr DWORD kDriverInUse = 3001;     // ERROR_PRINTER_DRIVER_IN_USE
constexpr DWORD kMonitorInUse = 3008;    // ERROR_PRINT_MONITOR_IN_USE
constexpr DWORD kSuccessRebootRequired = 3010;
constexpr DWORD kSuccessRestartRequired = 3011;

wchar_t* Text(const wchar_t* text)
{
    return const_cast<wchar_t*>(text);
}

// The bytes the spooler needs for the queue's first job: 0 for an empty
// queue, and for a listing that failed without telling a size.
DWORD JobsSize(HANDLE printer)
{
    DWORD needed = 0;
    DWORD returned = 0;
    g_pSpoolerApi->EnumJobsW(printer, 0, 1, 1, nullptr, 0, &needed, &returned);
    return needed;
}

}  // namespace

void CPrintUtil::Close(void* printer)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CPrintUtil::Close");
    if (!g_pSpoolerApi->ClosePrinter(printer)) {
        QV_LOG_ERROR(L"ClosePrinter failed with err = %d", static_cast<int>(::GetLastError()));
    }
}

unsigned long CPrintUtil::FindPrinterName(const wchar_t* deviceInstanceId, const void*, const void*,
                                          std::wstring& printerName)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CPrintUtil::FindPrinterName", L"%s",
                           deviceInstanceId ? deviceInstanceId : L"");
    unsigned long status = DM_E_NOT_FOUND;
    if (IsEmpty(deviceInstanceId)) {
        status = DM_E_INVALID_ARGUMENT;
    } else {
        try {
            DWORD needed = 0;
            DWORD returned = 0;
            g_pSpoolerApi->EnumPrintersW(kEnumLocal, nullptr, 5, nullptr, 0, &needed, &returned);
            std::vector<BYTE> buffer(needed);
            if (needed == 0) {
                status = DM_E_FAILED;
            } else if (g_pSpoolerApi->EnumPrintersW(kEnumLocal, nullptr, 5, buffer.data(), needed, &needed, &returned)) {
                const auto* queues = reinterpret_cast<const PRINTER_INFO_5W*>(buffer.data());
                for (DWORD i = 0; i < returned; ++i) {
                    std::wstring id;
                    if (GetPrinterDataValue(queues[i].pPrinterName, L"PnPData", L"DeviceInstanceId", id) == 0
                        && _wcsicmp(id.c_str(), deviceInstanceId) == 0) {
                        printerName = queues[i].pPrinterName;
                        status = 0;
                        break;
                    }
                }
            }
        } catch (const std::bad_alloc&) {
            status = DM_E_OUT_OF_MEMORY;
        }
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CPrintUtil::GetPrinterDataValue(const wchar_t* printerName, const wchar_t* key, const wchar_t* valueName,
                                              std::wstring& text)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CPrintUtil::GetPrinterDataValue", L"%s, %s, %s",
                           printerName ? printerName : L"", key ? key : L"", valueName ? valueName : L"");
    if (IsEmpty(printerName) || IsEmpty(key) || IsEmpty(valueName)) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    HANDLE printer = nullptr;
    if (!g_pSpoolerApi->OpenPrinterW(Text(printerName), &printer, nullptr)) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    unsigned long status = 0;
    DWORD type = 0;
    DWORD needed = 0;
    const DWORD sized = g_pSpoolerApi->GetPrinterDataExW(printer, key, valueName, &type, nullptr, 0, &needed);
    if (sized == ERROR_ACCESS_DENIED) {
        status = DM_E_ACCESS_DENIED;
    } else if (sized == ERROR_FILE_NOT_FOUND) {
        status = DM_E_VALUE_NOT_FOUND;
    } else if (sized != ERROR_MORE_DATA && sized != ERROR_SUCCESS) {
        status = DM_E_FAILED;
    } else if (type != REG_SZ) {
        status = DM_E_WRONG_VALUE_TYPE;
    } else if (needed == 0) {
        text.clear();
    } else {
        std::vector<wchar_t> buffer(needed / sizeof(wchar_t) + 1, L'\0');
        if (g_pSpoolerApi->GetPrinterDataExW(printer, key, valueName, &type, reinterpret_cast<BYTE*>(buffer.data()),
                                             needed, &needed)
            != ERROR_SUCCESS) {
            status = DM_E_FAILED;
        } else {
            size_t chars = needed / sizeof(wchar_t);
            if (chars > 0 && buffer[chars - 1] == L'\0') {
                --chars;
            }
            text.assign(buffer.data(), chars);
        }
    }
    Close(printer);
    logScope.m_errorCode = status;
    return status;
}

unsigned long CPrintUtil::SetPrinterDataValue(const wchar_t* printerName, const wchar_t* containerID)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CPrintUtil::SetPrinterDataValue");
    if (IsEmpty(printerName) || IsEmpty(containerID)) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    PRINTER_DEFAULTSW defaults = {nullptr, nullptr, kAdminister};
    HANDLE printer = nullptr;
    if (!g_pSpoolerApi->OpenPrinterW(Text(printerName), &printer, &defaults)) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    const DWORD bytes = static_cast<DWORD>((wcslen(containerID) + 1) * sizeof(wchar_t));
    const DWORD result = g_pSpoolerApi->SetPrinterDataExW(printer, L"PnPData", L"DeviceContainerID", REG_SZ,
                                                          reinterpret_cast<BYTE*>(Text(containerID)), bytes);
    Close(printer);
    logScope.m_errorCode = result == ERROR_SUCCESS         ? 0
                           : result == ERROR_ACCESS_DENIED ? DM_E_ACCESS_DENIED
                           : result == ERROR_INVALID_PARAMETER ? DM_E_INVALID_ARGUMENT
                                                               : DM_E_FAILED;
    return logScope.m_errorCode;
}

unsigned long CPrintUtil::GetPrinterDriverName(const wchar_t* printerName, std::wstring& driverName)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CPrintUtil::GetPrinterDriverName");
    if (IsEmpty(printerName)) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    HANDLE printer = nullptr;
    if (!g_pSpoolerApi->OpenPrinterW(Text(printerName), &printer, nullptr)) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    unsigned long status = DM_E_FAILED;
    DWORD needed = 0;
    g_pSpoolerApi->GetPrinterDriverW(printer, nullptr, 1, nullptr, 0, &needed);
    if (needed != 0) {
        std::vector<BYTE> buffer(needed);
        if (g_pSpoolerApi->GetPrinterDriverW(printer, nullptr, 1, buffer.data(), needed, &needed)) {
            driverName = reinterpret_cast<const DRIVER_INFO_1W*>(buffer.data())->pName;
            status = 0;
        }
    }
    Close(printer);
    logScope.m_errorCode = status;
    return status;
}

unsigned long CPrintUtil::DeleteAllPrintJobs(const wchar_t* printerName)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CPrintUtil::DeleteAllPrintJobs", L"%s",
                           printerName ? printerName : L"");
    if (IsEmpty(printerName)) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    PRINTER_DEFAULTSW defaults = {nullptr, nullptr, kAdminister};
    HANDLE printer = nullptr;
    if (!g_pSpoolerApi->OpenPrinterW(Text(printerName), &printer, &defaults)) {
        logScope.m_errorCode = DM_E_FAILED;
        return DM_E_FAILED;
    }
    DWORD needed = 0;
    DWORD returned = 0;
    const BOOL listed = g_pSpoolerApi->EnumJobsW(printer, 0, 1, 1, nullptr, 0, &needed, &returned);
    unsigned long status = listed && needed == 0 ? 0 : DM_E_FAILED;
    for (int pass = 0; pass < kPurgePasses && needed != 0; ++pass) {
        QV_LOG_INFO(0, L"Attempting to delete print jobs for printer %s", printerName);
        if (!g_pSpoolerApi->SetPrinterW(printer, 0, nullptr, kPurge)) {
            QV_LOG_ERROR(L"SetPrinter failed with err = %d", static_cast<int>(::GetLastError()));
        } else {
            status = 0;
        }
        for (int poll = 0; poll < kPurgePolls && needed != 0; ++poll) {
            g_pKernelApi->Sleep(kPurgePollMs);
            needed = JobsSize(printer);
        }
    }
    Close(printer);
    logScope.m_errorCode = status;
    return status;
}

unsigned long CPrintUtil::UninstallPrinterDriver(const wchar_t* driverName)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CPrintUtil::UninstallPrinterDriver", L"%s",
                           driverName ? driverName : L"");
    if (IsEmpty(driverName)) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    unsigned long status = DM_E_NOT_FOUND;
    try {
        DWORD needed = 0;
        DWORD returned = 0;
        if (g_pSpoolerApi->EnumPrinterDriversW(nullptr, nullptr, 6, nullptr, 0, &needed, &returned) || needed == 0) {
            status = DM_E_FAILED;
        } else {
            std::vector<BYTE> buffer(needed);
            if (g_pSpoolerApi->EnumPrinterDriversW(nullptr, nullptr, 6, buffer.data(), needed, &needed, &returned)
                == TRUE) {
                const auto* drivers = reinterpret_cast<const DRIVER_INFO_6W*>(buffer.data());
                for (DWORD i = 0; i < returned; ++i) {
                    if (drivers[i].pName != nullptr && _wcsicmp(drivers[i].pName, driverName) == 0) {
                        const DRIVER_INFO_6W& entry = drivers[i];
                        status = DeleteDriver(entry.pName, entry.pMonitorName ? entry.pMonitorName : L"");
                        DeleteHardwareIdFolder(entry.pszHardwareID ? entry.pszHardwareID : L"");
                        break;
                    }
                }
            }
        }
    } catch (const std::bad_alloc&) {
        status = DM_E_OUT_OF_MEMORY;
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CPrintUtil::DeleteDriver(const std::wstring& driverName, const std::wstring& monitorName)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CPrintUtil::DeleteDriver");
    unsigned long status = DM_E_ACCESS_DENIED;
    bool gone = false;
    for (int attempt = 0; attempt < kDeleteTries && status == DM_E_ACCESS_DENIED; ++attempt) {
        if (attempt > 0) {
            g_pKernelApi->Sleep(kDeleteRetryMs);
        }
        if (!gone) {
            if (!g_pSpoolerApi->DeletePrinterDriverExW(nullptr, nullptr, Text(driverName.c_str()), kDeleteUnusedFiles,
                                                       0)) {
                const DWORD error = ::GetLastError();
                if (error == kDriverInUse) {
                    QV_LOG_ERROR(L"DeletePrinterDriverEx(%s) returned ERROR_PRINTER_DRIVER_IN_USE", driverName.c_str());
                    status = DM_E_ACCESS_DENIED;
                } else if (error == kSuccessRebootRequired || error == kSuccessRestartRequired) {
                    status = DM_E_REBOOT_REQUIRED;
                } else {
                    QV_LOG_ERROR(L"DeletePrinterDriverEx(%s) failed with err = %d", driverName.c_str(),
                                 static_cast<int>(error));
                    status = DM_E_FAILED;
                }
                continue;
            }
            gone = true;
        }
        status = monitorName.empty() ? 0 : UninstallMonitor(monitorName.c_str());
    }
    logScope.m_errorCode = status;
    return status;
}

// A driver that leaves files in a folder named after the last part of its
// hardware id, "&" read as "_", below the driver directory.
void CPrintUtil::DeleteHardwareIdFolder(const std::wstring& hardwareId)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CPrintUtil::DeleteHardwareIdFolder");
    if (hardwareId.empty()) {
        return;
    }
    std::wstring name = hardwareId.substr(hardwareId.rfind(L'\\') + 1);
    for (wchar_t& c : name) {
        c = c == L'&' ? L'_' : c;
    }
    if (name.empty()) {
        return;
    }
    wchar_t directory[MAX_PATH] = {};
    DWORD needed = 0;
    if (!g_pSpoolerApi->GetPrinterDriverDirectoryW(nullptr, nullptr, 1, reinterpret_cast<BYTE*>(directory),
                                                   sizeof directory, &needed)) {
        return;
    }
    const std::filesystem::path folder = std::filesystem::path(directory) / name;
    std::error_code error;
    if (std::filesystem::is_directory(folder, error)) {
        QV_LOG_INFO(0, L"Deleting %s", folder.c_str());
        std::filesystem::remove_all(folder, error);
    }
}

unsigned long CPrintUtil::UninstallMonitor(const wchar_t* monitorName)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CPrintUtil::UninstallMonitor", L"%s",
                           monitorName ? monitorName : L"");
    if (IsEmpty(monitorName)) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    unsigned long status = 0;
    if (!g_pSpoolerApi->DeleteMonitorW(nullptr, nullptr, Text(monitorName))) {
        const DWORD error = ::GetLastError();
        if (error == kSuccessRebootRequired || error == kSuccessRestartRequired) {
            status = DM_E_REBOOT_REQUIRED;
        } else if (error != kMonitorInUse) {
            QV_LOG_ERROR(L"Failed to delete monitor %s with err = %d", monitorName, static_cast<int>(error));
            status = DM_E_FAILED;
        }
    }
    logScope.m_errorCode = status;
    return status;
}

}  // namespace QVDeviceManager
