#include "winapi/CKernelApi.h"

// GetModuleFileNameExW of psapi.dll, not the K32 alias.
#define PSAPI_VERSION 1
#include <psapi.h>
#include <process.h>
#include <cstring>

#include "winapi/CLateBoundProcT.h"

namespace QVWinApi {

namespace {

CLateBoundProcT<decltype(::GetProcessId)> s_getProcessId("GetProcessId");
CLateBoundProcT<decltype(::GetProductInfo)> s_getProductInfo("GetProductInfo");
CLateBoundProcT<decltype(::GetUserGeoID)> s_getUserGeoID("GetUserGeoID");

}  // namespace

HMODULE CKernelApi::LoadLibraryW(LPCWSTR lpLibFileName)
{
    return ::LoadLibraryW(lpLibFileName);
}

BOOL CKernelApi::FreeLibrary(HMODULE hLibModule)
{
    return ::FreeLibrary(hLibModule);
}

FARPROC CKernelApi::GetProcAddress(HMODULE hModule, LPCSTR lpProcName)
{
    return ::GetProcAddress(hModule, lpProcName);
}

DWORD CKernelApi::GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize)
{
    return ::GetModuleFileNameW(hModule, lpFilename, nSize);
}

DWORD CKernelApi::GetModuleFileNameExW(HANDLE hProcess, HMODULE hModule, LPWSTR lpFilename,
        DWORD nSize)
{
    return ::GetModuleFileNameExW(hProcess, hModule, lpFilename, nSize);
}

BOOL CKernelApi::GetVersionExW(LPOSVERSIONINFOW lpVersionInformation)
{
    return ::GetVersionExW(lpVersionInformation);
}

DWORD CKernelApi::GetCurrentThreadId()
{
    return ::GetCurrentThreadId();
}

BOOL CKernelApi::CreateProcessW(LPCWSTR lpApplicationName, LPWSTR lpCommandLine,
        LPSECURITY_ATTRIBUTES lpProcessAttributes, LPSECURITY_ATTRIBUTES lpThreadAttributes,
        BOOL bInheritHandles, DWORD dwCreationFlags, LPVOID lpEnvironment,
        LPCWSTR lpCurrentDirectory, LPSTARTUPINFOW lpStartupInfo,
        LPPROCESS_INFORMATION lpProcessInformation)
{
    return ::CreateProcessW(lpApplicationName, lpCommandLine, lpProcessAttributes, lpThreadAttributes, bInheritHandles, dwCreationFlags, lpEnvironment, lpCurrentDirectory, lpStartupInfo, lpProcessInformation);
}

BOOL CKernelApi::CloseHandle(HANDLE hObject)
{
    return ::CloseHandle(hObject);
}

DWORD CKernelApi::GetTickCount()
{
    return ::GetTickCount();
}

DWORD CKernelApi::GetTempPathW(DWORD nBufferLength, LPWSTR lpBuffer)
{
    return ::GetTempPathW(nBufferLength, lpBuffer);
}

BOOL CKernelApi::GetDiskFreeSpaceExW(LPCWSTR lpDirectoryName,
        PULARGE_INTEGER lpFreeBytesAvailableToCaller, PULARGE_INTEGER lpTotalNumberOfBytes,
        PULARGE_INTEGER lpTotalNumberOfFreeBytes)
{
    return ::GetDiskFreeSpaceExW(lpDirectoryName, lpFreeBytesAvailableToCaller, lpTotalNumberOfBytes, lpTotalNumberOfFreeBytes);
}

HANDLE CKernelApi::CreateThread(LPSECURITY_ATTRIBUTES lpThreadAttributes, SIZE_T dwStackSize,
        LPTHREAD_START_ROUTINE lpStartAddress, LPVOID lpParameter, DWORD dwCreationFlags,
        LPDWORD lpThreadId)
{
    return ::CreateThread(lpThreadAttributes, dwStackSize, lpStartAddress, lpParameter, dwCreationFlags, lpThreadId);
}

uintptr_t CKernelApi::_beginthreadex(void* security, unsigned stackSize,
        unsigned(__stdcall* startAddress)(void*), void* argList, unsigned initFlag,
        unsigned* thrdAddr)
{
    return ::_beginthreadex(security, stackSize, startAddress, argList, initFlag, thrdAddr);
}

void CKernelApi::_endthreadex(unsigned retval)
{
    ::_endthreadex(retval);
}

BOOL CKernelApi::GetExitCodeThread(HANDLE hThread, LPDWORD lpExitCode)
{
    return ::GetExitCodeThread(hThread, lpExitCode);
}

BOOL CKernelApi::GetExitCodeProcess(HANDLE hProcess, LPDWORD lpExitCode)
{
    return ::GetExitCodeProcess(hProcess, lpExitCode);
}

HANDLE CKernelApi::GetCurrentProcess()
{
    return ::GetCurrentProcess();
}

BOOL CKernelApi::TerminateThread(HANDLE hThread, DWORD dwExitCode)
{
    return ::TerminateThread(hThread, dwExitCode);
}

HANDLE CKernelApi::CreateEventW(LPSECURITY_ATTRIBUTES lpEventAttributes, BOOL bManualReset,
        BOOL bInitialState, LPCWSTR lpName)
{
    return ::CreateEventW(lpEventAttributes, bManualReset, bInitialState, lpName);
}

HANDLE CKernelApi::OpenEventW(DWORD dwDesiredAccess, BOOL bInheritHandle, LPCWSTR lpName)
{
    return ::OpenEventW(dwDesiredAccess, bInheritHandle, lpName);
}

BOOL CKernelApi::ResetEvent(HANDLE hEvent)
{
    return ::ResetEvent(hEvent);
}

BOOL CKernelApi::SetEvent(HANDLE hEvent)
{
    return ::SetEvent(hEvent);
}

DWORD CKernelApi::WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds)
{
    return ::WaitForSingleObject(hHandle, dwMilliseconds);
}

DWORD CKernelApi::MsgWaitForMultipleObjectsEx(DWORD nCount, const HANDLE* pHandles,
        DWORD dwMilliseconds, DWORD dwWakeMask, DWORD dwFlags)
{
    return ::MsgWaitForMultipleObjectsEx(nCount, pHandles, dwMilliseconds, dwWakeMask, dwFlags);
}

DWORD CKernelApi::WaitForInputIdle(HANDLE hProcess, DWORD dwMilliseconds)
{
    return ::WaitForInputIdle(hProcess, dwMilliseconds);
}

void CKernelApi::GetLocalTime(LPSYSTEMTIME lpSystemTime)
{
    ::GetLocalTime(lpSystemTime);
}

void CKernelApi::GetSystemTime(LPSYSTEMTIME lpSystemTime)
{
    ::GetSystemTime(lpSystemTime);
}

DWORD CKernelApi::GetProcessId(HANDLE Process)
{
    return s_getProcessId.Call(m_kernel32.Get(), Process);
}

DWORD CKernelApi::GetFileAttributesW(LPCWSTR lpFileName)
{
    return ::GetFileAttributesW(lpFileName);
}

BOOL CKernelApi::GetFileAttributesExW(LPCWSTR lpFileName, GET_FILEEX_INFO_LEVELS fInfoLevelId,
        LPVOID lpFileInformation)
{
    return ::GetFileAttributesExW(lpFileName, fInfoLevelId, lpFileInformation);
}

HANDLE CKernelApi::CreateMutexW(LPSECURITY_ATTRIBUTES lpMutexAttributes, BOOL bInitialOwner,
        LPCWSTR lpName)
{
    return ::CreateMutexW(lpMutexAttributes, bInitialOwner, lpName);
}

HANDLE CKernelApi::OpenMutexW(DWORD dwDesiredAccess, BOOL bInheritHandle, LPCWSTR lpName)
{
    return ::OpenMutexW(dwDesiredAccess, bInheritHandle, lpName);
}

BOOL CKernelApi::ReleaseMutex(HANDLE hMutex)
{
    return ::ReleaseMutex(hMutex);
}

BOOL CKernelApi::CreateDirectoryW(LPCWSTR lpPathName, LPSECURITY_ATTRIBUTES lpSecurityAttributes)
{
    return ::CreateDirectoryW(lpPathName, lpSecurityAttributes);
}

LPWSTR CKernelApi::GetCommandLineW()
{
    return ::GetCommandLineW();
}

DWORD CKernelApi::GetShortPathNameW(LPCWSTR lpszLongPath, LPWSTR lpszShortPath, DWORD cchBuffer)
{
    return ::GetShortPathNameW(lpszLongPath, lpszShortPath, cchBuffer);
}

BOOL CKernelApi::GetFileSizeEx(HANDLE hFile, PLARGE_INTEGER lpFileSize)
{
    return ::GetFileSizeEx(hFile, lpFileSize);
}

HANDLE CKernelApi::CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
        LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
        DWORD dwFlagsAndAttributes, HANDLE hTemplateFile)
{
    return ::CreateFileW(lpFileName, dwDesiredAccess, dwShareMode, lpSecurityAttributes, dwCreationDisposition, dwFlagsAndAttributes, hTemplateFile);
}

HANDLE CKernelApi::OpenProcess(DWORD dwDesiredAccess, BOOL bInheritHandle, DWORD dwProcessId)
{
    return ::OpenProcess(dwDesiredAccess, bInheritHandle, dwProcessId);
}

BOOL CKernelApi::PeekNamedPipe(HANDLE hNamedPipe, LPVOID lpBuffer, DWORD nBufferSize,
        LPDWORD lpBytesRead, LPDWORD lpTotalBytesAvail, LPDWORD lpBytesLeftThisMessage)
{
    return ::PeekNamedPipe(hNamedPipe, lpBuffer, nBufferSize, lpBytesRead, lpTotalBytesAvail, lpBytesLeftThisMessage);
}

DWORD CKernelApi::GetEnvironmentVariableW(LPCWSTR lpName, LPWSTR lpBuffer, DWORD nSize)
{
    return ::GetEnvironmentVariableW(lpName, lpBuffer, nSize);
}

void CKernelApi::InitializeCriticalSection(LPCRITICAL_SECTION lpCriticalSection)
{
    ::InitializeCriticalSection(lpCriticalSection);
}

void CKernelApi::DeleteCriticalSection(LPCRITICAL_SECTION lpCriticalSection)
{
    ::DeleteCriticalSection(lpCriticalSection);
}

void CKernelApi::EnterCriticalSection(LPCRITICAL_SECTION lpCriticalSection)
{
    ::EnterCriticalSection(lpCriticalSection);
}

void CKernelApi::LeaveCriticalSection(LPCRITICAL_SECTION lpCriticalSection)
{
    ::LeaveCriticalSection(lpCriticalSection);
}

BOOL CKernelApi::TryEnterCriticalSection(LPCRITICAL_SECTION lpCriticalSection)
{
    return ::TryEnterCriticalSection(lpCriticalSection);
}

DWORD CKernelApi::WaitForMultipleObjects(DWORD nCount, const HANDLE* lpHandles, BOOL bWaitAll,
        DWORD dwMilliseconds)
{
    return ::WaitForMultipleObjects(nCount, lpHandles, bWaitAll, dwMilliseconds);
}

BOOL CKernelApi::CheckTokenMembership(HANDLE TokenHandle, PSID SidToCheck, PBOOL IsMember)
{
    return ::CheckTokenMembership(TokenHandle, SidToCheck, IsMember);
}

errno_t CKernelApi::memcpy_s(void* dest, size_t destSize, const void* src, size_t count)
{
    return ::memcpy_s(dest, destSize, src, count);
}

BOOL CKernelApi::CreatePipe(PHANDLE hReadPipe, PHANDLE hWritePipe,
        LPSECURITY_ATTRIBUTES lpPipeAttributes, DWORD nSize)
{
    return ::CreatePipe(hReadPipe, hWritePipe, lpPipeAttributes, nSize);
}

void CKernelApi::GetStartupInfoW(LPSTARTUPINFOW lpStartupInfo)
{
    ::GetStartupInfoW(lpStartupInfo);
}

BOOL CKernelApi::GlobalMemoryStatusEx(LPMEMORYSTATUSEX lpBuffer)
{
    return ::GlobalMemoryStatusEx(lpBuffer);
}

HANDLE CKernelApi::OpenFileMappingW(DWORD dwDesiredAccess, BOOL bInheritHandle, LPCWSTR lpName)
{
    return ::OpenFileMappingW(dwDesiredAccess, bInheritHandle, lpName);
}

HANDLE CKernelApi::CreateFileMappingW(HANDLE hFile, LPSECURITY_ATTRIBUTES lpFileMappingAttributes,
        DWORD flProtect, DWORD dwMaximumSizeHigh, DWORD dwMaximumSizeLow, LPCWSTR lpName)
{
    return ::CreateFileMappingW(hFile, lpFileMappingAttributes, flProtect, dwMaximumSizeHigh, dwMaximumSizeLow, lpName);
}

LPVOID CKernelApi::MapViewOfFile(HANDLE hFileMappingObject, DWORD dwDesiredAccess,
        DWORD dwFileOffsetHigh, DWORD dwFileOffsetLow, SIZE_T dwNumberOfBytesToMap)
{
    return ::MapViewOfFile(hFileMappingObject, dwDesiredAccess, dwFileOffsetHigh, dwFileOffsetLow, dwNumberOfBytesToMap);
}

BOOL CKernelApi::FlushViewOfFile(LPCVOID lpBaseAddress, SIZE_T dwNumberOfBytesToFlush)
{
    return ::FlushViewOfFile(lpBaseAddress, dwNumberOfBytesToFlush);
}

BOOL CKernelApi::UnmapViewOfFile(LPCVOID lpBaseAddress)
{
    return ::UnmapViewOfFile(lpBaseAddress);
}

BOOL CKernelApi::GetProductInfo(DWORD dwOSMajorVersion, DWORD dwOSMinorVersion,
        DWORD dwSpMajorVersion, DWORD dwSpMinorVersion, PDWORD pdwReturnedProductType)
{
    return s_getProductInfo.Call(m_kernel32.Get(), dwOSMajorVersion, dwOSMinorVersion, dwSpMajorVersion, dwSpMinorVersion, pdwReturnedProductType);
}

LCID CKernelApi::GetSystemDefaultLCID()
{
    return ::GetSystemDefaultLCID();
}

LANGID CKernelApi::GetSystemDefaultUILanguage()
{
    return ::GetSystemDefaultUILanguage();
}

LCID CKernelApi::GetUserDefaultLCID()
{
    return ::GetUserDefaultLCID();
}

int CKernelApi::GetLocaleInfoW(LCID Locale, LCTYPE LCType, LPWSTR lpLCData, int cchData)
{
    return ::GetLocaleInfoW(Locale, LCType, lpLCData, cchData);
}

HANDLE CKernelApi::FindFirstFileW(LPCWSTR lpFileName, LPWIN32_FIND_DATAW lpFindFileData)
{
    return ::FindFirstFileW(lpFileName, lpFindFileData);
}

BOOL CKernelApi::FindNextFileW(HANDLE hFindFile, LPWIN32_FIND_DATAW lpFindFileData)
{
    return ::FindNextFileW(hFindFile, lpFindFileData);
}

BOOL CKernelApi::FindClose(HANDLE hFindFile)
{
    return ::FindClose(hFindFile);
}

SHORT CKernelApi::GetAsyncKeyState(int vKey)
{
    return ::GetAsyncKeyState(vKey);
}

BOOL CKernelApi::DeleteFileW(LPCWSTR lpFileName)
{
    return ::DeleteFileW(lpFileName);
}

UINT CKernelApi::GetTempFileNameW(LPCWSTR lpPathName, LPCWSTR lpPrefixString, UINT uUnique,
        LPWSTR lpTempFileName)
{
    return ::GetTempFileNameW(lpPathName, lpPrefixString, uUnique, lpTempFileName);
}

int CKernelApi::MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCCH lpMultiByteStr,
        int cbMultiByte, LPWSTR lpWideCharStr, int cchWideChar)
{
    return ::MultiByteToWideChar(CodePage, dwFlags, lpMultiByteStr, cbMultiByte, lpWideCharStr, cchWideChar);
}

int CKernelApi::WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWCH lpWideCharStr,
        int cchWideChar, LPSTR lpMultiByteStr, int cbMultiByte, LPCCH lpDefaultChar,
        LPBOOL lpUsedDefaultChar)
{
    return ::WideCharToMultiByte(CodePage, dwFlags, lpWideCharStr, cchWideChar, lpMultiByteStr, cbMultiByte, lpDefaultChar, lpUsedDefaultChar);
}

BOOL CKernelApi::WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
        LPDWORD lpNumberOfBytesWritten, LPOVERLAPPED lpOverlapped)
{
    return ::WriteFile(hFile, lpBuffer, nNumberOfBytesToWrite, lpNumberOfBytesWritten, lpOverlapped);
}

BOOL CKernelApi::GetComputerNameExW(COMPUTER_NAME_FORMAT NameType, LPWSTR lpBuffer, LPDWORD nSize)
{
    return ::GetComputerNameExW(NameType, lpBuffer, nSize);
}

DWORD CKernelApi::GetCurrentDirectoryW(DWORD nBufferLength, LPWSTR lpBuffer)
{
    return ::GetCurrentDirectoryW(nBufferLength, lpBuffer);
}

BOOL CKernelApi::SetCurrentDirectoryW(LPCWSTR lpPathName)
{
    return ::SetCurrentDirectoryW(lpPathName);
}

LANGID CKernelApi::GetUserDefaultLangID()
{
    return ::GetUserDefaultLangID();
}

GEOID CKernelApi::GetUserGeoID(GEOCLASS GeoClass)
{
    return s_getUserGeoID.Call(m_kernel32.Get(), GeoClass);
}

void CKernelApi::Sleep(DWORD dwMilliseconds)
{
    ::Sleep(dwMilliseconds);
}

HLOCAL CKernelApi::LocalAlloc(UINT uFlags, SIZE_T uBytes)
{
    return ::LocalAlloc(uFlags, uBytes);
}

HLOCAL CKernelApi::LocalFree(HLOCAL hMem)
{
    return ::LocalFree(hMem);
}

HGLOBAL CKernelApi::GlobalAlloc(UINT uFlags, SIZE_T dwBytes)
{
    return ::GlobalAlloc(uFlags, dwBytes);
}

LPVOID CKernelApi::GlobalLock(HGLOBAL hMem)
{
    return ::GlobalLock(hMem);
}

BOOL CKernelApi::GlobalUnlock(HGLOBAL hMem)
{
    return ::GlobalUnlock(hMem);
}

HGLOBAL CKernelApi::GlobalFree(HGLOBAL hMem)
{
    return ::GlobalFree(hMem);
}

BOOL CKernelApi::ProcessIdToSessionId(DWORD dwProcessId, DWORD* pSessionId)
{
    return ::ProcessIdToSessionId(dwProcessId, pSessionId);
}

DWORD CKernelApi::GetCurrentProcessId()
{
    return ::GetCurrentProcessId();
}

HRSRC CKernelApi::FindResourceW(HMODULE hModule, LPCWSTR lpName, LPCWSTR lpType)
{
    return ::FindResourceW(hModule, lpName, lpType);
}

HGLOBAL CKernelApi::LoadResource(HMODULE hModule, HRSRC hResInfo)
{
    return ::LoadResource(hModule, hResInfo);
}

LPVOID CKernelApi::LockResource(HGLOBAL hResData)
{
    return ::LockResource(hResData);
}

DWORD CKernelApi::SizeofResource(HMODULE hModule, HRSRC hResInfo)
{
    return ::SizeofResource(hModule, hResInfo);
}

}  // namespace QVWinApi

namespace {

QVWinApi::CKernelApi s_kernelApi;

}  // namespace

QVWinApi::IKernelApi* g_pKernelApi = &s_kernelApi;
