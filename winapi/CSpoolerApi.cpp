#include "winapi/CSpoolerApi.h"

#include "winapi/CLateBoundProcT.h"
#include "winapi/CLazyLibrary.h"

namespace QVWinApi {

namespace {

CLazyLibrary s_winspool(L"winspool.drv");
CLateBoundProcT<decltype(::SetDefaultPrinterW)> s_setDefaultPrinter(204);
CLateBoundProcT<decltype(::GetDefaultPrinterW)> s_getDefaultPrinter(203);

}  // namespace

BOOL CSpoolerApi::OpenPrinterW(LPWSTR pPrinterName, LPHANDLE phPrinter,
        LPPRINTER_DEFAULTSW pDefault)
{
    return ::OpenPrinterW(pPrinterName, phPrinter, pDefault);
}

BOOL CSpoolerApi::ClosePrinter(HANDLE hPrinter)
{
    return ::ClosePrinter(hPrinter);
}

BOOL CSpoolerApi::EnumPrintersW(DWORD Flags, LPWSTR Name, DWORD Level, LPBYTE pPrinterEnum,
        DWORD cbBuf, LPDWORD pcbNeeded, LPDWORD pcReturned)
{
    return ::EnumPrintersW(Flags, Name, Level, pPrinterEnum, cbBuf, pcbNeeded, pcReturned);
}

DWORD CSpoolerApi::GetPrinterDataExW(HANDLE hPrinter, LPCWSTR pKeyName, LPCWSTR pValueName,
        LPDWORD pType, LPBYTE pData, DWORD nSize, LPDWORD pcbNeeded)
{
    return ::GetPrinterDataExW(hPrinter, pKeyName, pValueName, pType, pData, nSize, pcbNeeded);
}

DWORD CSpoolerApi::SetPrinterDataExW(HANDLE hPrinter, LPCWSTR pKeyName, LPCWSTR pValueName,
        DWORD Type, LPBYTE pData, DWORD cbData)
{
    return ::SetPrinterDataExW(hPrinter, pKeyName, pValueName, Type, pData, cbData);
}

BOOL CSpoolerApi::GetPrinterDriverW(HANDLE hPrinter, LPWSTR pEnvironment, DWORD Level,
        LPBYTE pDriverInfo, DWORD cbBuf, LPDWORD pcbNeeded)
{
    return ::GetPrinterDriverW(hPrinter, pEnvironment, Level, pDriverInfo, cbBuf, pcbNeeded);
}

BOOL CSpoolerApi::XcvDataW(HANDLE hXcv, PCWSTR pszDataName, PBYTE pInputData, DWORD cbInputData,
        PBYTE pOutputData, DWORD cbOutputData, PDWORD pcbOutputNeeded, PDWORD pdwStatus)
{
    return ::XcvDataW(hXcv, pszDataName, pInputData, cbInputData, pOutputData, cbOutputData, pcbOutputNeeded, pdwStatus);
}

BOOL CSpoolerApi::GetPrinterW(HANDLE hPrinter, DWORD Level, LPBYTE pPrinter, DWORD cbBuf,
        LPDWORD pcbNeeded)
{
    return ::GetPrinterW(hPrinter, Level, pPrinter, cbBuf, pcbNeeded);
}

BOOL CSpoolerApi::DeletePrinterDriverExW(LPWSTR pName, LPWSTR pEnvironment, LPWSTR pDriverName,
        DWORD dwDeleteFlag, DWORD dwVersionFlag)
{
    return ::DeletePrinterDriverExW(pName, pEnvironment, pDriverName, dwDeleteFlag, dwVersionFlag);
}

BOOL CSpoolerApi::GetPrinterDriverDirectoryW(LPWSTR pName, LPWSTR pEnvironment, DWORD Level,
        LPBYTE pDriverDirectory, DWORD cbBuf, LPDWORD pcbNeeded)
{
    return ::GetPrinterDriverDirectoryW(pName, pEnvironment, Level, pDriverDirectory, cbBuf, pcbNeeded);
}

BOOL CSpoolerApi::EnumPrinterDriversW(LPWSTR pName, LPWSTR pEnvironment, DWORD Level,
        LPBYTE pDriverInfo, DWORD cbBuf, LPDWORD pcbNeeded, LPDWORD pcReturned)
{
    return ::EnumPrinterDriversW(pName, pEnvironment, Level, pDriverInfo, cbBuf, pcbNeeded, pcReturned);
}

BOOL CSpoolerApi::SetPrinterW(HANDLE hPrinter, DWORD Level, LPBYTE pPrinter, DWORD Command)
{
    return ::SetPrinterW(hPrinter, Level, pPrinter, Command);
}

BOOL CSpoolerApi::SetJobW(HANDLE hPrinter, DWORD JobId, DWORD Level, LPBYTE pJob, DWORD Command)
{
    return ::SetJobW(hPrinter, JobId, Level, pJob, Command);
}

BOOL CSpoolerApi::GetJobW(HANDLE hPrinter, DWORD JobId, DWORD Level, LPBYTE pJob, DWORD cbBuf,
        LPDWORD pcbNeeded)
{
    return ::GetJobW(hPrinter, JobId, Level, pJob, cbBuf, pcbNeeded);
}

BOOL CSpoolerApi::EnumJobsW(HANDLE hPrinter, DWORD FirstJob, DWORD NoJobs, DWORD Level, LPBYTE pJob,
        DWORD cbBuf, LPDWORD pcbNeeded, LPDWORD pcReturned)
{
    return ::EnumJobsW(hPrinter, FirstJob, NoJobs, Level, pJob, cbBuf, pcbNeeded, pcReturned);
}

BOOL CSpoolerApi::SetDefaultPrinterW(LPCWSTR pszPrinter)
{
    return s_setDefaultPrinter.Call(s_winspool.Get(), pszPrinter);
}

BOOL CSpoolerApi::GetDefaultPrinterW(LPWSTR pszBuffer, LPDWORD pcchBuffer)
{
    return s_getDefaultPrinter.Call(s_winspool.Get(), pszBuffer, pcchBuffer);
}

BOOL CSpoolerApi::AddMonitorW(LPWSTR pName, DWORD Level, LPBYTE pMonitors)
{
    return ::AddMonitorW(pName, Level, pMonitors);
}

BOOL CSpoolerApi::DeleteMonitorW(LPWSTR pName, LPWSTR pEnvironment, LPWSTR pMonitorName)
{
    return ::DeleteMonitorW(pName, pEnvironment, pMonitorName);
}

BOOL CSpoolerApi::EnumMonitorsW(LPWSTR pName, DWORD Level, LPBYTE pMonitor, DWORD cbBuf,
        LPDWORD pcbNeeded, LPDWORD pcReturned)
{
    return ::EnumMonitorsW(pName, Level, pMonitor, cbBuf, pcbNeeded, pcReturned);
}

BOOL CSpoolerApi::EnumPortsW(LPWSTR pName, DWORD Level, LPBYTE pPort, DWORD cbBuf,
        LPDWORD pcbNeeded, LPDWORD pcReturned)
{
    return ::EnumPortsW(pName, Level, pPort, cbBuf, pcbNeeded, pcReturned);
}

DWORD CSpoolerApi::StartDocPrinterW(HANDLE hPrinter, DWORD Level, LPBYTE pDocInfo)
{
    return ::StartDocPrinterW(hPrinter, Level, pDocInfo);
}

BOOL CSpoolerApi::StartPagePrinter(HANDLE hPrinter)
{
    return ::StartPagePrinter(hPrinter);
}

BOOL CSpoolerApi::WritePrinter(HANDLE hPrinter, LPVOID pBuf, DWORD cbBuf, LPDWORD pcWritten)
{
    return ::WritePrinter(hPrinter, pBuf, cbBuf, pcWritten);
}

BOOL CSpoolerApi::EndPagePrinter(HANDLE hPrinter)
{
    return ::EndPagePrinter(hPrinter);
}

BOOL CSpoolerApi::EndDocPrinter(HANDLE hPrinter)
{
    return ::EndDocPrinter(hPrinter);
}

HANDLE CSpoolerApi::FindFirstPrinterChangeNotification(HANDLE hPrinter, DWORD fdwFilter,
        DWORD fdwOptions, LPVOID pPrinterNotifyOptions)
{
    return ::FindFirstPrinterChangeNotification(hPrinter, fdwFilter, fdwOptions, pPrinterNotifyOptions);
}

BOOL CSpoolerApi::FindNextPrinterChangeNotification(HANDLE hChange, PDWORD pdwChange,
        LPVOID pvReserved, LPVOID* ppPrinterNotifyInfo)
{
    return ::FindNextPrinterChangeNotification(hChange, pdwChange, pvReserved, ppPrinterNotifyInfo);
}

BOOL CSpoolerApi::FindClosePrinterChangeNotification(HANDLE hChange)
{
    return ::FindClosePrinterChangeNotification(hChange);
}

LONG CSpoolerApi::DocumentPropertiesW(HWND hWnd, HANDLE hPrinter, LPWSTR pDeviceName,
        PDEVMODEW pDevModeOutput, PDEVMODEW pDevModeInput, DWORD fMode)
{
    return ::DocumentPropertiesW(hWnd, hPrinter, pDeviceName, pDevModeOutput, pDevModeInput, fMode);
}

}  // namespace QVWinApi

namespace {

QVWinApi::CSpoolerApi s_spoolerApi;

}  // namespace

QVWinApi::ISpoolerApi* g_pSpoolerApi = &s_spoolerApi;
