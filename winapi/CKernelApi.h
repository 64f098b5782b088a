#pragma once

#include "winapi/IKernelApi.h"
#include "winapi/CLazyLibrary.h"

namespace QVWinApi {

// Forwards each operation unchanged to the platform function of its name.
// GetProcessId, GetProductInfo and GetUserGeoID are bound late from kernel32;
// a function the platform lacks gives 0 with last error 120.
class CKernelApi : public IKernelApi {
public:
    constexpr CKernelApi() = default;

    HMODULE LoadLibraryW(LPCWSTR lpLibFileName) override;
    BOOL FreeLibrary(HMODULE hLibModule) override;
    FARPROC GetProcAddress(HMODULE hModule, LPCSTR lpProcName) override;
    DWORD GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize) override;
    DWORD GetModuleFileNameExW(HANDLE hProcess, HMODULE hModule, LPWSTR lpFilename,
            DWORD nSize) override;
    BOOL GetVersionExW(LPOSVERSIONINFOW lpVersionInformation) override;
    DWORD GetCurrentThreadId() override;
    BOOL CreateProcessW(LPCWSTR lpApplicationName, LPWSTR lpCommandLine,
            LPSECURITY_ATTRIBUTES lpProcessAttributes, LPSECURITY_ATTRIBUTES lpThreadAttributes,
            BOOL bInheritHandles, DWORD dwCreationFlags, LPVOID lpEnvironment,
            LPCWSTR lpCurrentDirectory, LPSTARTUPINFOW lpStartupInfo,
            LPPROCESS_INFORMATION lpProcessInformation) override;
    BOOL CloseHandle(HANDLE hObject) override;
    DWORD GetTickCount() override;
    DWORD GetTempPathW(DWORD nBufferLength, LPWSTR lpBuffer) override;
    BOOL GetDiskFreeSpaceExW(LPCWSTR lpDirectoryName, PULARGE_INTEGER lpFreeBytesAvailableToCaller,
            PULARGE_INTEGER lpTotalNumberOfBytes,
            PULARGE_INTEGER lpTotalNumberOfFreeBytes) override;
    HANDLE CreateThread(LPSECURITY_ATTRIBUTES lpThreadAttributes, SIZE_T dwStackSize,
            LPTHREAD_START_ROUTINE lpStartAddress, LPVOID lpParameter, DWORD dwCreationFlags,
            LPDWORD lpThreadId) override;
    uintptr_t _beginthreadex(void* security, unsigned stackSize,
            unsigned(__stdcall* startAddress)(void*), void* argList, unsigned initFlag,
            unsigned* thrdAddr) override;
    void _endthreadex(unsigned retval) override;
    BOOL GetExitCodeThread(HANDLE hThread, LPDWORD lpExitCode) override;
    BOOL GetExitCodeProcess(HANDLE hProcess, LPDWORD lpExitCode) override;
    HANDLE GetCurrentProcess() override;
    BOOL TerminateThread(HANDLE hThread, DWORD dwExitCode) override;
    HANDLE CreateEventW(LPSECURITY_ATTRIBUTES lpEventAttributes, BOOL bManualReset,
            BOOL bInitialState, LPCWSTR lpName) override;
    HANDLE OpenEventW(DWORD dwDesiredAccess, BOOL bInheritHandle, LPCWSTR lpName) override;
    BOOL ResetEvent(HANDLE hEvent) override;
    BOOL SetEvent(HANDLE hEvent) override;
    DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds) override;
    DWORD MsgWaitForMultipleObjectsEx(DWORD nCount, const HANDLE* pHandles, DWORD dwMilliseconds,
            DWORD dwWakeMask, DWORD dwFlags) override;
    DWORD WaitForInputIdle(HANDLE hProcess, DWORD dwMilliseconds) override;
    void GetLocalTime(LPSYSTEMTIME lpSystemTime) override;
    void GetSystemTime(LPSYSTEMTIME lpSystemTime) override;
    DWORD GetProcessId(HANDLE Process) override;
    DWORD GetFileAttributesW(LPCWSTR lpFileName) override;
    BOOL GetFileAttributesExW(LPCWSTR lpFileName, GET_FILEEX_INFO_LEVELS fInfoLevelId,
            LPVOID lpFileInformation) override;
    HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES lpMutexAttributes, BOOL bInitialOwner,
            LPCWSTR lpName) override;
    HANDLE OpenMutexW(DWORD dwDesiredAccess, BOOL bInheritHandle, LPCWSTR lpName) override;
    BOOL ReleaseMutex(HANDLE hMutex) override;
    BOOL CreateDirectoryW(LPCWSTR lpPathName, LPSECURITY_ATTRIBUTES lpSecurityAttributes) override;
    LPWSTR GetCommandLineW() override;
    DWORD GetShortPathNameW(LPCWSTR lpszLongPath, LPWSTR lpszShortPath, DWORD cchBuffer) override;
    BOOL GetFileSizeEx(HANDLE hFile, PLARGE_INTEGER lpFileSize) override;
    HANDLE CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
            LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
            DWORD dwFlagsAndAttributes, HANDLE hTemplateFile) override;
    HANDLE OpenProcess(DWORD dwDesiredAccess, BOOL bInheritHandle, DWORD dwProcessId) override;
    BOOL PeekNamedPipe(HANDLE hNamedPipe, LPVOID lpBuffer, DWORD nBufferSize, LPDWORD lpBytesRead,
            LPDWORD lpTotalBytesAvail, LPDWORD lpBytesLeftThisMessage) override;
    DWORD GetEnvironmentVariableW(LPCWSTR lpName, LPWSTR lpBuffer, DWORD nSize) override;
    void InitializeCriticalSection(LPCRITICAL_SECTION lpCriticalSection) override;
    void DeleteCriticalSection(LPCRITICAL_SECTION lpCriticalSection) override;
    void EnterCriticalSection(LPCRITICAL_SECTION lpCriticalSection) override;
    void LeaveCriticalSection(LPCRITICAL_SECTION lpCriticalSection) override;
    BOOL TryEnterCriticalSection(LPCRITICAL_SECTION lpCriticalSection) override;
    DWORD WaitForMultipleObjects(DWORD nCount, const HANDLE* lpHandles, BOOL bWaitAll,
            DWORD dwMilliseconds) override;
    BOOL CheckTokenMembership(HANDLE TokenHandle, PSID SidToCheck, PBOOL IsMember) override;
    errno_t memcpy_s(void* dest, size_t destSize, const void* src, size_t count) override;
    BOOL CreatePipe(PHANDLE hReadPipe, PHANDLE hWritePipe, LPSECURITY_ATTRIBUTES lpPipeAttributes,
            DWORD nSize) override;
    void GetStartupInfoW(LPSTARTUPINFOW lpStartupInfo) override;
    BOOL GlobalMemoryStatusEx(LPMEMORYSTATUSEX lpBuffer) override;
    HANDLE OpenFileMappingW(DWORD dwDesiredAccess, BOOL bInheritHandle, LPCWSTR lpName) override;
    HANDLE CreateFileMappingW(HANDLE hFile, LPSECURITY_ATTRIBUTES lpFileMappingAttributes,
            DWORD flProtect, DWORD dwMaximumSizeHigh, DWORD dwMaximumSizeLow,
            LPCWSTR lpName) override;
    LPVOID MapViewOfFile(HANDLE hFileMappingObject, DWORD dwDesiredAccess, DWORD dwFileOffsetHigh,
            DWORD dwFileOffsetLow, SIZE_T dwNumberOfBytesToMap) override;
    BOOL FlushViewOfFile(LPCVOID lpBaseAddress, SIZE_T dwNumberOfBytesToFlush) override;
    BOOL UnmapViewOfFile(LPCVOID lpBaseAddress) override;
    BOOL GetProductInfo(DWORD dwOSMajorVersion, DWORD dwOSMinorVersion, DWORD dwSpMajorVersion,
            DWORD dwSpMinorVersion, PDWORD pdwReturnedProductType) override;
    LCID GetSystemDefaultLCID() override;
    LANGID GetSystemDefaultUILanguage() override;
    LCID GetUserDefaultLCID() override;
    int GetLocaleInfoW(LCID Locale, LCTYPE LCType, LPWSTR lpLCData, int cchData) override;
    HANDLE FindFirstFileW(LPCWSTR lpFileName, LPWIN32_FIND_DATAW lpFindFileData) override;
    BOOL FindNextFileW(HANDLE hFindFile, LPWIN32_FIND_DATAW lpFindFileData) override;
    BOOL FindClose(HANDLE hFindFile) override;
    SHORT GetAsyncKeyState(int vKey) override;
    BOOL DeleteFileW(LPCWSTR lpFileName) override;
    UINT GetTempFileNameW(LPCWSTR lpPathName, LPCWSTR lpPrefixString, UINT uUnique,
            LPWSTR lpTempFileName) override;
    int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCCH lpMultiByteStr, int cbMultiByte,
            LPWSTR lpWideCharStr, int cchWideChar) override;
    int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWCH lpWideCharStr, int cchWideChar,
            LPSTR lpMultiByteStr, int cbMultiByte, LPCCH lpDefaultChar,
            LPBOOL lpUsedDefaultChar) override;
    BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
            LPDWORD lpNumberOfBytesWritten, LPOVERLAPPED lpOverlapped) override;
    BOOL GetComputerNameExW(COMPUTER_NAME_FORMAT NameType, LPWSTR lpBuffer, LPDWORD nSize) override;
    DWORD GetCurrentDirectoryW(DWORD nBufferLength, LPWSTR lpBuffer) override;
    BOOL SetCurrentDirectoryW(LPCWSTR lpPathName) override;
    LANGID GetUserDefaultLangID() override;
    GEOID GetUserGeoID(GEOCLASS GeoClass) override;
    void Sleep(DWORD dwMilliseconds) override;
    HLOCAL LocalAlloc(UINT uFlags, SIZE_T uBytes) override;
    HLOCAL LocalFree(HLOCAL hMem) override;
    HGLOBAL GlobalAlloc(UINT uFlags, SIZE_T dwBytes) override;
    LPVOID GlobalLock(HGLOBAL hMem) override;
    BOOL GlobalUnlock(HGLOBAL hMem) override;
    HGLOBAL GlobalFree(HGLOBAL hMem) override;
    BOOL ProcessIdToSessionId(DWORD dwProcessId, DWORD* pSessionId) override;
    DWORD GetCurrentProcessId() override;
    HRSRC FindResourceW(HMODULE hModule, LPCWSTR lpName, LPCWSTR lpType) override;
    HGLOBAL LoadResource(HMODULE hModule, HRSRC hResInfo) override;
    LPVOID LockResource(HGLOBAL hResData) override;
    DWORD SizeofResource(HMODULE hModule, HRSRC hResInfo) override;

private:
    // The library of the late-bound functions, released with the object.
    CLazyLibrary m_kernel32{L"kernel32.dll"};
};

}  // namespace QVWinApi
