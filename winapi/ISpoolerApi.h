#pragma once

#include <windows.h>
#include <winspool.h>

namespace QVWinApi {

// Print spooler: printers, drivers, jobs, monitors, ports, change notifications
// and port monitor commands.
// Operations in slot order, the destructor last.
class ISpoolerApi {
public:
    virtual BOOL OpenPrinterW(LPWSTR pPrinterName, LPHANDLE phPrinter,
            LPPRINTER_DEFAULTSW pDefault) = 0;
    virtual BOOL ClosePrinter(HANDLE hPrinter) = 0;
    virtual BOOL EnumPrintersW(DWORD Flags, LPWSTR Name, DWORD Level, LPBYTE pPrinterEnum,
            DWORD cbBuf, LPDWORD pcbNeeded, LPDWORD pcReturned) = 0;
    virtual DWORD GetPrinterDataExW(HANDLE hPrinter, LPCWSTR pKeyName, LPCWSTR pValueName,
            LPDWORD pType, LPBYTE pData, DWORD nSize, LPDWORD pcbNeeded) = 0;
    virtual DWORD SetPrinterDataExW(HANDLE hPrinter, LPCWSTR pKeyName, LPCWSTR pValueName,
            DWORD Type, LPBYTE pData, DWORD cbData) = 0;
    virtual BOOL GetPrinterDriverW(HANDLE hPrinter, LPWSTR pEnvironment, DWORD Level,
            LPBYTE pDriverInfo, DWORD cbBuf, LPDWORD pcbNeeded) = 0;
    virtual BOOL XcvDataW(HANDLE hXcv, PCWSTR pszDataName, PBYTE pInputData, DWORD cbInputData,
            PBYTE pOutputData, DWORD cbOutputData, PDWORD pcbOutputNeeded, PDWORD pdwStatus) = 0;
    virtual BOOL GetPrinterW(HANDLE hPrinter, DWORD Level, LPBYTE pPrinter, DWORD cbBuf,
            LPDWORD pcbNeeded) = 0;
    virtual BOOL DeletePrinterDriverExW(LPWSTR pName, LPWSTR pEnvironment, LPWSTR pDriverName,
            DWORD dwDeleteFlag, DWORD dwVersionFlag) = 0;
    virtual BOOL GetPrinterDriverDirectoryW(LPWSTR pName, LPWSTR pEnvironment, DWORD Level,
            LPBYTE pDriverDirectory, DWORD cbBuf, LPDWORD pcbNeeded) = 0;
    virtual BOOL EnumPrinterDriversW(LPWSTR pName, LPWSTR pEnvironment, DWORD Level,
            LPBYTE pDriverInfo, DWORD cbBuf, LPDWORD pcbNeeded, LPDWORD pcReturned) = 0;
    virtual BOOL SetPrinterW(HANDLE hPrinter, DWORD Level, LPBYTE pPrinter, DWORD Command) = 0;
    virtual BOOL SetJobW(HANDLE hPrinter, DWORD JobId, DWORD Level, LPBYTE pJob, DWORD Command) = 0;
    virtual BOOL GetJobW(HANDLE hPrinter, DWORD JobId, DWORD Level, LPBYTE pJob, DWORD cbBuf,
            LPDWORD pcbNeeded) = 0;
    virtual BOOL EnumJobsW(HANDLE hPrinter, DWORD FirstJob, DWORD NoJobs, DWORD Level, LPBYTE pJob,
            DWORD cbBuf, LPDWORD pcbNeeded, LPDWORD pcReturned) = 0;
    virtual BOOL SetDefaultPrinterW(LPCWSTR pszPrinter) = 0;
    virtual BOOL GetDefaultPrinterW(LPWSTR pszBuffer, LPDWORD pcchBuffer) = 0;
    virtual BOOL AddMonitorW(LPWSTR pName, DWORD Level, LPBYTE pMonitors) = 0;
    virtual BOOL DeleteMonitorW(LPWSTR pName, LPWSTR pEnvironment, LPWSTR pMonitorName) = 0;
    virtual BOOL EnumMonitorsW(LPWSTR pName, DWORD Level, LPBYTE pMonitor, DWORD cbBuf,
            LPDWORD pcbNeeded, LPDWORD pcReturned) = 0;
    virtual BOOL EnumPortsW(LPWSTR pName, DWORD Level, LPBYTE pPort, DWORD cbBuf, LPDWORD pcbNeeded,
            LPDWORD pcReturned) = 0;
    virtual DWORD StartDocPrinterW(HANDLE hPrinter, DWORD Level, LPBYTE pDocInfo) = 0;
    virtual BOOL StartPagePrinter(HANDLE hPrinter) = 0;
    virtual BOOL WritePrinter(HANDLE hPrinter, LPVOID pBuf, DWORD cbBuf, LPDWORD pcWritten) = 0;
    virtual BOOL EndPagePrinter(HANDLE hPrinter) = 0;
    virtual BOOL EndDocPrinter(HANDLE hPrinter) = 0;
    virtual HANDLE FindFirstPrinterChangeNotification(HANDLE hPrinter, DWORD fdwFilter,
            DWORD fdwOptions, LPVOID pPrinterNotifyOptions) = 0;
    virtual BOOL FindNextPrinterChangeNotification(HANDLE hChange, PDWORD pdwChange,
            LPVOID pvReserved, LPVOID* ppPrinterNotifyInfo) = 0;
    virtual BOOL FindClosePrinterChangeNotification(HANDLE hChange) = 0;
    virtual LONG DocumentPropertiesW(HWND hWnd, HANDLE hPrinter, LPWSTR pDeviceName,
            PDEVMODEW pDevModeOutput, PDEVMODEW pDevModeInput, DWORD fMode) = 0;
    virtual ~ISpoolerApi() = default;
};

}  // namespace QVWinApi

// The object through which the logic reaches these services.
extern QVWinApi::ISpoolerApi* g_pSpoolerApi;
