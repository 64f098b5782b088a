#pragma once

#include <windows.h>
#include <cstdint>
#include <cstring>

namespace QVWinApi {

// Kernel services: modules, processes, threads, synchronisation, files, file
// mapping, memory, locale and resources.
// Operations in slot order, the destructor last.
class IKernelApi {
public:
    virtual HMODULE LoadLibraryW(LPCWSTR lpLibFileName) = 0;
    virtual BOOL FreeLibrary(HMODULE hLibModule) = 0;
    virtual FARPROC GetProcAddress(HMODULE hModule, LPCSTR lpProcName) = 0;
    virtual DWORD GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize) = 0;
    virtual DWORD GetModuleFileNameExW(HANDLE hProcess, HMODULE hModule, LPWSTR lpFilename,
            DWORD nSize) = 0;
    virtual BOOL GetVersionExW(LPOSVERSIONINFOW lpVersionInformation) = 0;
    virtual DWORD GetCurrentThreadId() = 0;
    virtual BOOL CreateProcessW(LPCWSTR lpApplicationName, LPWSTR lpCommandLine,
            LPSECURITY_ATTRIBUTES lpProcessAttributes, LPSECURITY_ATTRIBUTES lpThreadAttributes,
            BOOL bInheritHandles, DWORD dwCreationFlags, LPVOID lpEnvironment,
            LPCWSTR lpCurrentDirectory, LPSTARTUPINFOW lpStartupInfo,
            LPPROCESS_INFORMATION lpProcessInformation) = 0;
    virtual BOOL CloseHandle(HANDLE hObject) = 0;
    virtual DWORD GetTickCount() = 0;
    virtual DWORD GetTempPathW(DWORD nBufferLength, LPWSTR lpBuffer) = 0;
    virtual BOOL GetDiskFreeSpaceExW(LPCWSTR lpDirectoryName,
            PULARGE_INTEGER lpFreeBytesAvailableToCaller, PULARGE_INTEGER lpTotalNumberOfBytes,
            PULARGE_INTEGER lpTotalNumberOfFreeBytes) = 0;
    virtual HANDLE CreateThread(LPSECURITY_ATTRIBUTES lpThreadAttributes, SIZE_T dwStackSize,
            LPTHREAD_START_ROUTINE lpStartAddress, LPVOID lpParameter, DWORD dwCreationFlags,
            LPDWORD lpThreadId) = 0;
    virtual uintptr_t _beginthreadex(void* security, unsigned stackSize,
            unsigned(__stdcall* startAddress)(void*), void* argList, unsigned initFlag,
            unsigned* thrdAddr) = 0;
    virtual void _endthreadex(unsigned retval) = 0;
    virtual BOOL GetExitCodeThread(HANDLE hThread, LPDWORD lpExitCode) = 0;
    virtual BOOL GetExitCodeProcess(HANDLE hProcess, LPDWORD lpExitCode) = 0;
    virtual HANDLE GetCurrentProcess() = 0;
    virtual BOOL TerminateThread(HANDLE hThread, DWORD dwExitCode) = 0;
    virtual HANDLE CreateEventW(LPSECURITY_ATTRIBUTES lpEventAttributes, BOOL bManualReset,
            BOOL bInitialState, LPCWSTR lpName) = 0;
    virtual HANDLE OpenEventW(DWORD dwDesiredAccess, BOOL bInheritHandle, LPCWSTR lpName) = 0;
    virtual BOOL ResetEvent(HANDLE hEvent) = 0;
    virtual BOOL SetEvent(HANDLE hEvent) = 0;
    virtual DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds) = 0;
    virtual DWORD MsgWaitForMultipleObjectsEx(DWORD nCount, const HANDLE* pHandles,
            DWORD dwMilliseconds, DWORD dwWakeMask, DWORD dwFlags) = 0;
    virtual DWORD WaitForInputIdle(HANDLE hProcess, DWORD dwMilliseconds) = 0;
    virtual void GetLocalTime(LPSYSTEMTIME lpSystemTime) = 0;
    virtual void GetSystemTime(LPSYSTEMTIME lpSystemTime) = 0;
    virtual DWORD GetProcessId(HANDLE Process) = 0;
    virtual DWORD GetFileAttributesW(LPCWSTR lpFileName) = 0;
    virtual BOOL GetFileAttributesExW(LPCWSTR lpFileName, GET_FILEEX_INFO_LEVELS fInfoLevelId,
            LPVOID lpFileInformation) = 0;
    virtual HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES lpMutexAttributes, BOOL bInitialOwner,
            LPCWSTR lpName) = 0;
    virtual HANDLE OpenMutexW(DWORD dwDesiredAccess, BOOL bInheritHandle, LPCWSTR lpName) = 0;
    virtual BOOL ReleaseMutex(HANDLE hMutex) = 0;
    virtual BOOL CreateDirectoryW(LPCWSTR lpPathName,
            LPSECURITY_ATTRIBUTES lpSecurityAttributes) = 0;
    virtual LPWSTR GetCommandLineW() = 0;
    virtual DWORD GetShortPathNameW(LPCWSTR lpszLongPath, LPWSTR lpszShortPath,
            DWORD cchBuffer) = 0;
    virtual BOOL GetFileSizeEx(HANDLE hFile, PLARGE_INTEGER lpFileSize) = 0;
    virtual HANDLE CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
            LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
            DWORD dwFlagsAndAttributes, HANDLE hTemplateFile) = 0;
    virtual HANDLE OpenProcess(DWORD dwDesiredAccess, BOOL bInheritHandle, DWORD dwProcessId) = 0;
    virtual BOOL PeekNamedPipe(HANDLE hNamedPipe, LPVOID lpBuffer, DWORD nBufferSize,
            LPDWORD lpBytesRead, LPDWORD lpTotalBytesAvail, LPDWORD lpBytesLeftThisMessage) = 0;
    virtual DWORD GetEnvironmentVariableW(LPCWSTR lpName, LPWSTR lpBuffer, DWORD nSize) = 0;
    virtual void InitializeCriticalSection(LPCRITICAL_SECTION lpCriticalSection) = 0;
    virtual void DeleteCriticalSection(LPCRITICAL_SECTION lpCriticalSection) = 0;
    virtual void EnterCriticalSection(LPCRITICAL_SECTION lpCriticalSection) = 0;
    virtual void LeaveCriticalSection(LPCRITICAL_SECTION lpCriticalSection) = 0;
    virtual BOOL TryEnterCriticalSection(LPCRITICAL_SECTION lpCriticalSection) = 0;
    virtual DWORD WaitForMultipleObjects(DWORD nCount, const HANDLE* lpHandles, BOOL bWaitAll,
            DWORD dwMilliseconds) = 0;
    virtual BOOL CheckTokenMembership(HANDLE TokenHandle, PSID SidToCheck, PBOOL IsMember) = 0;
    virtual errno_t memcpy_s(void* dest, size_t destSize, const void* src, size_t count) = 0;
    virtual BOOL CreatePipe(PHANDLE hReadPipe, PHANDLE hWritePipe,
            LPSECURITY_ATTRIBUTES lpPipeAttributes, DWORD nSize) = 0;
    virtual void GetStartupInfoW(LPSTARTUPINFOW lpStartupInfo) = 0;
    virtual BOOL GlobalMemoryStatusEx(LPMEMORYSTATUSEX lpBuffer) = 0;
    virtual HANDLE OpenFileMappingW(DWORD dwDesiredAccess, BOOL bInheritHandle, LPCWSTR lpName) = 0;
    virtual HANDLE CreateFileMappingW(HANDLE hFile, LPSECURITY_ATTRIBUTES lpFileMappingAttributes,
            DWORD flProtect, DWORD dwMaximumSizeHigh, DWORD dwMaximumSizeLow, LPCWSTR lpName) = 0;
    virtual LPVOID MapViewOfFile(HANDLE hFileMappingObject, DWORD dwDesiredAccess,
            DWORD dwFileOffsetHigh, DWORD dwFileOffsetLow, SIZE_T dwNumberOfBytesToMap) = 0;
    virtual BOOL FlushViewOfFile(LPCVOID lpBaseAddress, SIZE_T dwNumberOfBytesToFlush) = 0;
    virtual BOOL UnmapViewOfFile(LPCVOID lpBaseAddress) = 0;
    virtual BOOL GetProductInfo(DWORD dwOSMajorVersion, DWORD dwOSMinorVersion,
            DWORD dwSpMajorVersion, DWORD dwSpMinorVersion, PDWORD pdwReturnedProductType) = 0;
    virtual LCID GetSystemDefaultLCID() = 0;
    virtual LANGID GetSystemDefaultUILanguage() = 0;
    virtual LCID GetUserDefaultLCID() = 0;
    virtual int GetLocaleInfoW(LCID Locale, LCTYPE LCType, LPWSTR lpLCData, int cchData) = 0;
    virtual HANDLE FindFirstFileW(LPCWSTR lpFileName, LPWIN32_FIND_DATAW lpFindFileData) = 0;
    virtual BOOL FindNextFileW(HANDLE hFindFile, LPWIN32_FIND_DATAW lpFindFileData) = 0;
    virtual BOOL FindClose(HANDLE hFindFile) = 0;
    virtual SHORT GetAsyncKeyState(int vKey) = 0;
    virtual BOOL DeleteFileW(LPCWSTR lpFileName) = 0;
    virtual UINT GetTempFileNameW(LPCWSTR lpPathName, LPCWSTR lpPrefixString, UINT uUnique,
            LPWSTR lpTempFileName) = 0;
    virtual int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCCH lpMultiByteStr,
            int cbMultiByte, LPWSTR lpWideCharStr, int cchWideChar) = 0;
    virtual int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWCH lpWideCharStr,
            int cchWideChar, LPSTR lpMultiByteStr, int cbMultiByte, LPCCH lpDefaultChar,
            LPBOOL lpUsedDefaultChar) = 0;
    virtual BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
            LPDWORD lpNumberOfBytesWritten, LPOVERLAPPED lpOverlapped) = 0;
    virtual BOOL GetComputerNameExW(COMPUTER_NAME_FORMAT NameType, LPWSTR lpBuffer,
            LPDWORD nSize) = 0;
    virtual DWORD GetCurrentDirectoryW(DWORD nBufferLength, LPWSTR lpBuffer) = 0;
    virtual BOOL SetCurrentDirectoryW(LPCWSTR lpPathName) = 0;
    virtual LANGID GetUserDefaultLangID() = 0;
    virtual GEOID GetUserGeoID(GEOCLASS GeoClass) = 0;
    virtual void Sleep(DWORD dwMilliseconds) = 0;
    virtual HLOCAL LocalAlloc(UINT uFlags, SIZE_T uBytes) = 0;
    virtual HLOCAL LocalFree(HLOCAL hMem) = 0;
    virtual HGLOBAL GlobalAlloc(UINT uFlags, SIZE_T dwBytes) = 0;
    virtual LPVOID GlobalLock(HGLOBAL hMem) = 0;
    virtual BOOL GlobalUnlock(HGLOBAL hMem) = 0;
    virtual HGLOBAL GlobalFree(HGLOBAL hMem) = 0;
    virtual BOOL ProcessIdToSessionId(DWORD dwProcessId, DWORD* pSessionId) = 0;
    virtual DWORD GetCurrentProcessId() = 0;
    virtual HRSRC FindResourceW(HMODULE hModule, LPCWSTR lpName, LPCWSTR lpType) = 0;
    virtual HGLOBAL LoadResource(HMODULE hModule, HRSRC hResInfo) = 0;
    virtual LPVOID LockResource(HGLOBAL hResData) = 0;
    virtual DWORD SizeofResource(HMODULE hModule, HRSRC hResInfo) = 0;
    virtual ~IKernelApi() = default;
};

}  // namespace QVWinApi

// The object through which the logic reaches these services.
extern QVWinApi::IKernelApi* g_pKernelApi;
