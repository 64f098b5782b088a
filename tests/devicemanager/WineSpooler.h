#pragma once

#include <windows.h>
#include <winspool.h>

#include <string>
#include <vector>

#include "winapi/CSpoolerApi.h"

namespace devicemanager_test {

// Wine's spooler, with the answers Wine cannot give put in (measured on
// Wine 8): its EnumJobsW is a stub that fails with a size of 0 and last
// error 0 whatever the queue holds; SetPrinterW at level 0 refuses every
// command with 124; DeletePrinterDriverExW refuses the flag
// DPD_DELETE_UNUSED_FILES with 87, and never reports a driver in use (3001)
// or a restart (3010); DeleteMonitorW never reports a monitor in use
// (3008); drivers carry no hardware id. Everything not set here is Wine's.
class WineSpooler : public QVWinApi::CSpoolerApi {
public:
    // EnumJobsW: an empty queue, or one job until `jobPolls` listings have
    // seen it.
    bool answerJobs = false;
    int jobPolls = 0;
    // SetPrinterW(PRINTER_CONTROL_PURGE) succeeds; counts the calls.
    bool purgeWorks = false;
    int purges = 0;
    // DeletePrinterDriverExW: without the unsupported flag, or failing with
    // this error each time (0: Wine's answer).
    bool dropDeleteFlag = false;
    DWORD driverDeleteError = 0;
    int driverDeletes = 0;
    // DeleteMonitorW fails with this error (0: Wine's answer).
    DWORD monitorDeleteError = 0;
    // The hardware id every driver entry reports.
    std::wstring hardwareId;

    BOOL EnumJobsW(HANDLE printer, DWORD first, DWORD count, DWORD level, LPBYTE jobs, DWORD size, LPDWORD needed,
                   LPDWORD returned) override
    {
        if (!answerJobs) {
            return QVWinApi::CSpoolerApi::EnumJobsW(printer, first, count, level, jobs, size, needed, returned);
        }
        *returned = 0;
        if (jobPolls-- > 0) {
            *needed = sizeof(JOB_INFO_1W) + 64;
            ::SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return FALSE;
        }
        *needed = 0;
        return TRUE;
    }
    BOOL SetPrinterW(HANDLE printer, DWORD level, LPBYTE info, DWORD command) override
    {
        ++purges;
        return purgeWorks ? TRUE : QVWinApi::CSpoolerApi::SetPrinterW(printer, level, info, command);
    }
    BOOL DeletePrinterDriverExW(LPWSTR server, LPWSTR environment, LPWSTR name, DWORD flags, DWORD version) override
    {
        ++driverDeletes;
        if (driverDeleteError != 0) {
            ::SetLastError(driverDeleteError);
            return FALSE;
        }
        return QVWinApi::CSpoolerApi::DeletePrinterDriverExW(server, environment, name, dropDeleteFlag ? 0 : flags,
                                                             version);
    }
    BOOL DeleteMonitorW(LPWSTR server, LPWSTR environment, LPWSTR name) override
    {
        if (monitorDeleteError != 0) {
            ::SetLastError(monitorDeleteError);
            return FALSE;
        }
        return QVWinApi::CSpoolerApi::DeleteMonitorW(server, environment, name);
    }
    BOOL EnumPrinterDriversW(LPWSTR server, LPWSTR environment, DWORD level, LPBYTE drivers, DWORD size,
                             LPDWORD needed, LPDWORD returned) override
    {
        const BOOL listed = QVWinApi::CSpoolerApi::EnumPrinterDriversW(server, environment, level, drivers, size,
                                                                       needed, returned);
        if (listed && level == 6 && !hardwareId.empty()) {
            for (DWORD i = 0; i < *returned; ++i) {
                reinterpret_cast<DRIVER_INFO_6W*>(drivers)[i].pszHardwareID = hardwareId.data();
            }
        }
        return listed;
    }
};

}  // namespace devicemanager_test
