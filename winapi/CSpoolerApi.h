#pragma once

#include "winapi/ISpoolerApi.h"

namespace QVWinApi {

// Forwards each operation unchanged to the platform function of its name.
// SetDefaultPrinterW and GetDefaultPrinterW are reached by their ordinals 204
// and 203 in winspool.drv; unavailable, they give FALSE with last error 120.
class CSpoolerApi : public ISpoolerApi {
public:
    constexpr CSpoolerApi() = default;

    BOOL OpenPrinterW(LPWSTR pPrinterName, LPHANDLE phPrinter,
            LPPRINTER_DEFAULTSW pDefault) override;
    BOOL ClosePrinter(HANDLE hPrinter) override;
    BOOL EnumPrintersW(DWORD Flags, LPWSTR Name, DWORD Level, LPBYTE pPrinterEnum, DWORD cbBuf,
            LPDWORD pcbNeeded, LPDWORD pcReturned) override;
    DWORD GetPrinterDataExW(HANDLE hPrinter, LPCWSTR pKeyName, LPCWSTR pValueName, LPDWORD pType,
            LPBYTE pData, DWORD nSize, LPDWORD pcbNeeded) override;
    DWORD SetPrinterDataExW(HANDLE hPrinter, LPCWSTR pKeyName, LPCWSTR pValueName, DWORD Type,
            LPBYTE pData, DWORD cbData) override;
    BOOL GetPrinterDriverW(HANDLE hPrinter, LPWSTR pEnvironment, DWORD Level, LPBYTE pDriverInfo,
            DWORD cbBuf, LPDWORD pcbNeeded) override;
    BOOL XcvDataW(HANDLE hXcv, PCWSTR pszDataName, PBYTE pInputData, DWORD cbInputData,
            PBYTE pOutputData, DWORD cbOutputData, PDWORD pcbOutputNeeded,
            PDWORD pdwStatus) override;
    BOOL GetPrinterW(HANDLE hPrinter, DWORD Level, LPBYTE pPrinter, DWORD cbBuf,
            LPDWORD pcbNeeded) override;
    BOOL DeletePrinterDriverExW(LPWSTR pName, LPWSTR pEnvironment, LPWSTR pDriverName,
            DWORD dwDeleteFlag, DWORD dwVersionFlag) override;
    BOOL GetPrinterDriverDirectoryW(LPWSTR pName, LPWSTR pEnvironment, DWORD Level,
            LPBYTE pDriverDirectory, DWORD cbBuf, LPDWORD pcbNeeded) override;
    BOOL EnumPrinterDriversW(LPWSTR pName, LPWSTR pEnvironment, DWORD Level, LPBYTE pDriverInfo,
            DWORD cbBuf, LPDWORD pcbNeeded, LPDWORD pcReturned) override;
    BOOL SetPrinterW(HANDLE hPrinter, DWORD Level, LPBYTE pPrinter, DWORD Command) override;
    BOOL SetJobW(HANDLE hPrinter, DWORD JobId, DWORD Level, LPBYTE pJob, DWORD Command) override;
    BOOL GetJobW(HANDLE hPrinter, DWORD JobId, DWORD Level, LPBYTE pJob, DWORD cbBuf,
            LPDWORD pcbNeeded) override;
    BOOL EnumJobsW(HANDLE hPrinter, DWORD FirstJob, DWORD NoJobs, DWORD Level, LPBYTE pJob,
            DWORD cbBuf, LPDWORD pcbNeeded, LPDWORD pcReturned) override;
    BOOL SetDefaultPrinterW(LPCWSTR pszPrinter) override;
    BOOL GetDefaultPrinterW(LPWSTR pszBuffer, LPDWORD pcchBuffer) override;
    BOOL AddMonitorW(LPWSTR pName, DWORD Level, LPBYTE pMonitors) override;
    BOOL DeleteMonitorW(LPWSTR pName, LPWSTR pEnvironment, LPWSTR pMonitorName) override;
    BOOL EnumMonitorsW(LPWSTR pName, DWORD Level, LPBYTE pMonitor, DWORD cbBuf, LPDWORD pcbNeeded,
            LPDWORD pcReturned) override;
    BOOL EnumPortsW(LPWSTR pName, DWORD Level, LPBYTE pPort, DWORD cbBuf, LPDWORD pcbNeeded,
            LPDWORD pcReturned) override;
    DWORD StartDocPrinterW(HANDLE hPrinter, DWORD Level, LPBYTE pDocInfo) override;
    BOOL StartPagePrinter(HANDLE hPrinter) override;
    BOOL WritePrinter(HANDLE hPrinter, LPVOID pBuf, DWORD cbBuf, LPDWORD pcWritten) override;
    BOOL EndPagePrinter(HANDLE hPrinter) override;
    BOOL EndDocPrinter(HANDLE hPrinter) override;
    HANDLE FindFirstPrinterChangeNotification(HANDLE hPrinter, DWORD fdwFilter, DWORD fdwOptions,
            LPVOID pPrinterNotifyOptions) override;
    BOOL FindNextPrinterChangeNotification(HANDLE hChange, PDWORD pdwChange, LPVOID pvReserved,
            LPVOID* ppPrinterNotifyInfo) override;
    BOOL FindClosePrinterChangeNotification(HANDLE hChange) override;
    LONG DocumentPropertiesW(HWND hWnd, HANDLE hPrinter, LPWSTR pDeviceName,
            PDEVMODEW pDevModeOutput, PDEVMODEW pDevModeInput, DWORD fMode) override;
};

}  // namespace QVWinApi
