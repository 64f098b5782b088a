#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "winapi/IKernelApi.h"
#include "winapi/IRegistryApi.h"
#include "winapi/ISpoolerApi.h"
#include "winapi/ISetupApi.h"
#include "winapi/IWinSockApi.h"
#include "winapi/ICryptApi.h"
#include "winapi/IShellApi.h"
#include "winapi/IUserApi.h"
#include "winapi/IIPHelperApi.h"
#include "winapi/IWinInetApi.h"
#include "winapi/IComApi.h"
#include "winapi/IFileApi.h"
#include "doubles/VtableSlots.h"

using namespace QVWinApi;

namespace {

using doubles::SlotOf;

// The operations hold the slots 0, 1, 2, ... in the listed order, and the
// destructor the two slots after them.
template <typename Interface>
void ExpectSlots(const std::vector<size_t>& slots, size_t countWithDestructor)
{
    ASSERT_EQ(slots.size() + 1, countWithDestructor);
    doubles::ExpectSlotRun<Interface>(slots, 0, 2);
}

}  // namespace

TEST(WinApiSlotTest, IKernelApiHasItsOperationsInOrderAndTheDestructorLast)
{
    ExpectSlots<IKernelApi>({
        SlotOf(&IKernelApi::LoadLibraryW),
        SlotOf(&IKernelApi::FreeLibrary),
        SlotOf(&IKernelApi::GetProcAddress),
        SlotOf(&IKernelApi::GetModuleFileNameW),
        SlotOf(&IKernelApi::GetModuleFileNameExW),
        SlotOf(&IKernelApi::GetVersionExW),
        SlotOf(&IKernelApi::GetCurrentThreadId),
        SlotOf(&IKernelApi::CreateProcessW),
        SlotOf(&IKernelApi::CloseHandle),
        SlotOf(&IKernelApi::GetTickCount),
        SlotOf(&IKernelApi::GetTempPathW),
        SlotOf(&IKernelApi::GetDiskFreeSpaceExW),
        SlotOf(&IKernelApi::CreateThread),
        SlotOf(&IKernelApi::_beginthreadex),
        SlotOf(&IKernelApi::_endthreadex),
        SlotOf(&IKernelApi::GetExitCodeThread),
        SlotOf(&IKernelApi::GetExitCodeProcess),
        SlotOf(&IKernelApi::GetCurrentProcess),
        SlotOf(&IKernelApi::TerminateThread),
        SlotOf(&IKernelApi::CreateEventW),
        SlotOf(&IKernelApi::OpenEventW),
        SlotOf(&IKernelApi::ResetEvent),
        SlotOf(&IKernelApi::SetEvent),
        SlotOf(&IKernelApi::WaitForSingleObject),
        SlotOf(&IKernelApi::MsgWaitForMultipleObjectsEx),
        SlotOf(&IKernelApi::WaitForInputIdle),
        SlotOf(&IKernelApi::GetLocalTime),
        SlotOf(&IKernelApi::GetSystemTime),
        SlotOf(&IKernelApi::GetProcessId),
        SlotOf(&IKernelApi::GetFileAttributesW),
        SlotOf(&IKernelApi::GetFileAttributesExW),
        SlotOf(&IKernelApi::CreateMutexW),
        SlotOf(&IKernelApi::OpenMutexW),
        SlotOf(&IKernelApi::ReleaseMutex),
        SlotOf(&IKernelApi::CreateDirectoryW),
        SlotOf(&IKernelApi::GetCommandLineW),
        SlotOf(&IKernelApi::GetShortPathNameW),
        SlotOf(&IKernelApi::GetFileSizeEx),
        SlotOf(&IKernelApi::CreateFileW),
        SlotOf(&IKernelApi::OpenProcess),
        SlotOf(&IKernelApi::PeekNamedPipe),
        SlotOf(&IKernelApi::GetEnvironmentVariableW),
        SlotOf(&IKernelApi::InitializeCriticalSection),
        SlotOf(&IKernelApi::DeleteCriticalSection),
        SlotOf(&IKernelApi::EnterCriticalSection),
        SlotOf(&IKernelApi::LeaveCriticalSection),
        SlotOf(&IKernelApi::TryEnterCriticalSection),
        SlotOf(&IKernelApi::WaitForMultipleObjects),
        SlotOf(&IKernelApi::CheckTokenMembership),
        SlotOf(&IKernelApi::memcpy_s),
        SlotOf(&IKernelApi::CreatePipe),
        SlotOf(&IKernelApi::GetStartupInfoW),
        SlotOf(&IKernelApi::GlobalMemoryStatusEx),
        SlotOf(&IKernelApi::OpenFileMappingW),
        SlotOf(&IKernelApi::CreateFileMappingW),
        SlotOf(&IKernelApi::MapViewOfFile),
        SlotOf(&IKernelApi::FlushViewOfFile),
        SlotOf(&IKernelApi::UnmapViewOfFile),
        SlotOf(&IKernelApi::GetProductInfo),
        SlotOf(&IKernelApi::GetSystemDefaultLCID),
        SlotOf(&IKernelApi::GetSystemDefaultUILanguage),
        SlotOf(&IKernelApi::GetUserDefaultLCID),
        SlotOf(&IKernelApi::GetLocaleInfoW),
        SlotOf(&IKernelApi::FindFirstFileW),
        SlotOf(&IKernelApi::FindNextFileW),
        SlotOf(&IKernelApi::FindClose),
        SlotOf(&IKernelApi::GetAsyncKeyState),
        SlotOf(&IKernelApi::DeleteFileW),
        SlotOf(&IKernelApi::GetTempFileNameW),
        SlotOf(&IKernelApi::MultiByteToWideChar),
        SlotOf(&IKernelApi::WideCharToMultiByte),
        SlotOf(&IKernelApi::WriteFile),
        SlotOf(&IKernelApi::GetComputerNameExW),
        SlotOf(&IKernelApi::GetCurrentDirectoryW),
        SlotOf(&IKernelApi::SetCurrentDirectoryW),
        SlotOf(&IKernelApi::GetUserDefaultLangID),
        SlotOf(&IKernelApi::GetUserGeoID),
        SlotOf(&IKernelApi::Sleep),
        SlotOf(&IKernelApi::LocalAlloc),
        SlotOf(&IKernelApi::LocalFree),
        SlotOf(&IKernelApi::GlobalAlloc),
        SlotOf(&IKernelApi::GlobalLock),
        SlotOf(&IKernelApi::GlobalUnlock),
        SlotOf(&IKernelApi::GlobalFree),
        SlotOf(&IKernelApi::ProcessIdToSessionId),
        SlotOf(&IKernelApi::GetCurrentProcessId),
        SlotOf(&IKernelApi::FindResourceW),
        SlotOf(&IKernelApi::LoadResource),
        SlotOf(&IKernelApi::LockResource),
        SlotOf(&IKernelApi::SizeofResource),
    }, 91);
}

TEST(WinApiSlotTest, IRegistryApiHasItsOperationsInOrderAndTheDestructorLast)
{
    ExpectSlots<IRegistryApi>({
        SlotOf(&IRegistryApi::RegOpenKeyExW),
        SlotOf(&IRegistryApi::RegCloseKey),
        SlotOf(&IRegistryApi::RegCreateKeyExW),
        SlotOf(&IRegistryApi::RegDeleteKeyW),
        SlotOf(&IRegistryApi::RegQueryValueExW),
        SlotOf(&IRegistryApi::RegSetValueExW),
        SlotOf(&IRegistryApi::RegDeleteValueW),
        SlotOf(&IRegistryApi::RegEnumKeyExW),
        SlotOf(&IRegistryApi::RegEnumValueW),
        SlotOf(&IRegistryApi::RegQueryInfoKeyW),
    }, 11);
}

TEST(WinApiSlotTest, ISpoolerApiHasItsOperationsInOrderAndTheDestructorLast)
{
    ExpectSlots<ISpoolerApi>({
        SlotOf(&ISpoolerApi::OpenPrinterW),
        SlotOf(&ISpoolerApi::ClosePrinter),
        SlotOf(&ISpoolerApi::EnumPrintersW),
        SlotOf(&ISpoolerApi::GetPrinterDataExW),
        SlotOf(&ISpoolerApi::SetPrinterDataExW),
        SlotOf(&ISpoolerApi::GetPrinterDriverW),
        SlotOf(&ISpoolerApi::XcvDataW),
        SlotOf(&ISpoolerApi::GetPrinterW),
        SlotOf(&ISpoolerApi::DeletePrinterDriverExW),
        SlotOf(&ISpoolerApi::GetPrinterDriverDirectoryW),
        SlotOf(&ISpoolerApi::EnumPrinterDriversW),
        SlotOf(&ISpoolerApi::SetPrinterW),
        SlotOf(&ISpoolerApi::SetJobW),
        SlotOf(&ISpoolerApi::GetJobW),
        SlotOf(&ISpoolerApi::EnumJobsW),
        SlotOf(&ISpoolerApi::SetDefaultPrinterW),
        SlotOf(&ISpoolerApi::GetDefaultPrinterW),
        SlotOf(&ISpoolerApi::AddMonitorW),
        SlotOf(&ISpoolerApi::DeleteMonitorW),
        SlotOf(&ISpoolerApi::EnumMonitorsW),
        SlotOf(&ISpoolerApi::EnumPortsW),
        SlotOf(&ISpoolerApi::StartDocPrinterW),
        SlotOf(&ISpoolerApi::StartPagePrinter),
        SlotOf(&ISpoolerApi::WritePrinter),
        SlotOf(&ISpoolerApi::EndPagePrinter),
        SlotOf(&ISpoolerApi::EndDocPrinter),
        SlotOf(&ISpoolerApi::FindFirstPrinterChangeNotification),
        SlotOf(&ISpoolerApi::FindNextPrinterChangeNotification),
        SlotOf(&ISpoolerApi::FindClosePrinterChangeNotification),
        SlotOf(&ISpoolerApi::DocumentPropertiesW),
    }, 31);
}

TEST(WinApiSlotTest, ISetupApiHasItsOperationsInOrderAndTheDestructorLast)
{
    ExpectSlots<ISetupApi>({
        SlotOf(&ISetupApi::CM_Locate_DevNodeW),
        SlotOf(&ISetupApi::CM_Get_DevNode_Status),
        SlotOf(&ISetupApi::CM_Get_Device_IDW),
        SlotOf(&ISetupApi::CM_Get_DevNode_Registry_PropertyW),
        SlotOf(&ISetupApi::CM_Set_DevNode_Registry_PropertyW),
        SlotOf(&ISetupApi::CM_Disable_DevNode),
        SlotOf(&ISetupApi::SetupDiGetClassDevsW),
        SlotOf(&ISetupApi::SetupDiCreateDeviceInfoList),
        SlotOf(&ISetupApi::SetupDiDestroyDeviceInfoList),
        SlotOf(&ISetupApi::SetupDiEnumDeviceInfo),
        SlotOf(&ISetupApi::SetupDiOpenDeviceInfoW),
        SlotOf(&ISetupApi::SetupDiCreateDeviceInfoW),
        SlotOf(&ISetupApi::SetupDiEnumDeviceInterfaces),
        SlotOf(&ISetupApi::SetupDiGetDeviceInterfaceDetailW),
        SlotOf(&ISetupApi::SetupDiGetDeviceInstallParamsW),
        SlotOf(&ISetupApi::SetupDiSetDeviceInstallParamsW),
        SlotOf(&ISetupApi::SetupDiCallClassInstaller),
        SlotOf(&ISetupApi::SetupDiOpenClassRegKey),
        SlotOf(&ISetupApi::SetupDiCreateDevRegKeyW),
        SlotOf(&ISetupApi::SetupDiOpenDevRegKey),
        SlotOf(&ISetupApi::SetupDiBuildDriverInfoList),
        SlotOf(&ISetupApi::SetupDiDestroyDriverInfoList),
        SlotOf(&ISetupApi::SetupDiRemoveDevice),
        SlotOf(&ISetupApi::SetupDiGetSelectedDriverW),
        SlotOf(&ISetupApi::SetupDiGetDriverInfoDetailW),
        SlotOf(&ISetupApi::SetupOpenInfFileW),
        SlotOf(&ISetupApi::SetupFindFirstLineW),
        SlotOf(&ISetupApi::SetupGetLineTextW),
        SlotOf(&ISetupApi::SetupCloseInfFile),
        SlotOf(&ISetupApi::CMP_WaitNoPendingInstallEvents),
        SlotOf(&ISetupApi::SetupDiSetClassInstallParamsW),
    }, 32);
}

TEST(WinApiSlotTest, IWinSockApiHasItsOperationsInOrderAndTheDestructorLast)
{
    ExpectSlots<IWinSockApi>({
        SlotOf(&IWinSockApi::WSAStartup),
        SlotOf(&IWinSockApi::WSAStringToAddressW),
        SlotOf(&IWinSockApi::WSACleanup),
        SlotOf(&IWinSockApi::WSASocketW),
        SlotOf(&IWinSockApi::setsockopt),
        SlotOf(&IWinSockApi::WSACreateEvent),
        SlotOf(&IWinSockApi::WSAEventSelect),
        SlotOf(&IWinSockApi::WSAConnect),
        SlotOf(&IWinSockApi::WSAEnumNetworkEvents),
        SlotOf(&IWinSockApi::WSAResetEvent),
        SlotOf(&IWinSockApi::shutdown),
        SlotOf(&IWinSockApi::closesocket),
        SlotOf(&IWinSockApi::WSACloseEvent),
        SlotOf(&IWinSockApi::WSADuplicateSocketW),
        SlotOf(&IWinSockApi::bind),
        SlotOf(&IWinSockApi::listen),
        SlotOf(&IWinSockApi::accept),
        SlotOf(&IWinSockApi::recv),
        SlotOf(&IWinSockApi::send),
        SlotOf(&IWinSockApi::getaddrinfo),
        SlotOf(&IWinSockApi::freeaddrinfo),
        SlotOf(&IWinSockApi::WSAAddressToStringW),
        SlotOf(&IWinSockApi::WSAGetLastError),
    }, 24);
}

TEST(WinApiSlotTest, ICryptApiHasItsOperationsInOrderAndTheDestructorLast)
{
    ExpectSlots<ICryptApi>({
        SlotOf(&ICryptApi::CryptUnprotectData),
        SlotOf(&ICryptApi::CryptAcquireContextW),
        SlotOf(&ICryptApi::CryptCreateHash),
        SlotOf(&ICryptApi::CryptHashData),
        SlotOf(&ICryptApi::CryptGetHashParam),
        SlotOf(&ICryptApi::CryptDestroyHash),
        SlotOf(&ICryptApi::CryptReleaseContext),
        SlotOf(&ICryptApi::CertOpenStore),
        SlotOf(&ICryptApi::CertAddEncodedCertificateToStore),
        SlotOf(&ICryptApi::CertDeleteCertificateFromStore),
        SlotOf(&ICryptApi::CertCloseStore),
    }, 12);
}

TEST(WinApiSlotTest, IShellApiHasItsOperationsInOrderAndTheDestructorLast)
{
    ExpectSlots<IShellApi>({
        SlotOf(&IShellApi::ShellExecuteExW),
        SlotOf(&IShellApi::ShellExecuteW),
        SlotOf(&IShellApi::SHGetFolderPathW),
        SlotOf(&IShellApi::SHGetSpecialFolderPathW),
        SlotOf(&IShellApi::ExtractIconW),
    }, 6);
}

TEST(WinApiSlotTest, IUserApiHasItsOperationsInOrderAndTheDestructorLast)
{
    ExpectSlots<IUserApi>({
        SlotOf(&IUserApi::OpenWindowStationW),
        SlotOf(&IUserApi::CloseWindowStation),
        SlotOf(&IUserApi::GetProcessWindowStation),
        SlotOf(&IUserApi::SetProcessWindowStation),
        SlotOf(&IUserApi::GetThreadDesktop),
        SlotOf(&IUserApi::SetThreadDesktop),
        SlotOf(&IUserApi::OpenDesktopW),
        SlotOf(&IUserApi::CloseDesktop),
        SlotOf(&IUserApi::ExitWindowsEx),
        SlotOf(&IUserApi::AllowSetForegroundWindow),
        SlotOf(&IUserApi::GetUserNameW),
        SlotOf(&IUserApi::PeekMessageW),
        SlotOf(&IUserApi::MsgWaitForMultipleObjects),
        SlotOf(&IUserApi::GetSystemMetrics),
        SlotOf(&IUserApi::SystemParametersInfoW),
        SlotOf(&IUserApi::LoadIconW),
        SlotOf(&IUserApi::DestroyIcon),
        SlotOf(&IUserApi::RegisterWindowMessageW),
        SlotOf(&IUserApi::SetTimer),
        SlotOf(&IUserApi::GetMessageW),
        SlotOf(&IUserApi::SendMessageCallbackW),
        SlotOf(&IUserApi::GetKeyState),
    }, 23);
}

TEST(WinApiSlotTest, IIPHelperApiHasItsOperationsInOrderAndTheDestructorLast)
{
    ExpectSlots<IIPHelperApi>({
        SlotOf(&IIPHelperApi::GetAdaptersInfo),
        SlotOf(&IIPHelperApi::GetAdaptersAddresses),
        SlotOf(&IIPHelperApi::GetIfEntry),
        SlotOf(&IIPHelperApi::GetInterfaceInfo),
        SlotOf(&IIPHelperApi::IpReleaseAddress),
        SlotOf(&IIPHelperApi::IpRenewAddress),
        SlotOf(&IIPHelperApi::AddIPAddress),
        SlotOf(&IIPHelperApi::DeleteIPAddress),
        SlotOf(&IIPHelperApi::IcmpCreateFile),
        SlotOf(&IIPHelperApi::IcmpSendEcho),
        SlotOf(&IIPHelperApi::IcmpCloseHandle),
        SlotOf(&IIPHelperApi::NotifyAddrChange),
    }, 13);
}

TEST(WinApiSlotTest, IWinInetApiHasItsOperationsInOrderAndTheDestructorLast)
{
    ExpectSlots<IWinInetApi>({
        SlotOf(&IWinInetApi::InternetOpenW),
        SlotOf(&IWinInetApi::InternetSetStatusCallbackW),
        SlotOf(&IWinInetApi::InternetConnectW),
        SlotOf(&IWinInetApi::HttpOpenRequestW),
        SlotOf(&IWinInetApi::HttpAddRequestHeadersW),
        SlotOf(&IWinInetApi::HttpSendRequestW),
        SlotOf(&IWinInetApi::HttpQueryInfoA),
        SlotOf(&IWinInetApi::HttpQueryInfoW),
        SlotOf(&IWinInetApi::InternetReadFileExA),
        SlotOf(&IWinInetApi::InternetQueryOptionW),
        SlotOf(&IWinInetApi::InternetSetOptionW),
        SlotOf(&IWinInetApi::GetDesktopWindow),
        SlotOf(&IWinInetApi::InternetErrorDlg),
        SlotOf(&IWinInetApi::InternetCloseHandle),
    }, 15);
}

TEST(WinApiSlotTest, IComApiHasItsOperationsInOrderAndTheDestructorLast)
{
    ExpectSlots<IComApi>({
        SlotOf(&IComApi::CoInitialize),
        SlotOf(&IComApi::CoInitializeEx),
        SlotOf(&IComApi::CoUninitialize),
        SlotOf(&IComApi::CoCreateInstance),
        SlotOf(&IComApi::CoWaitForMultipleHandles),
        SlotOf(&IComApi::PropVariantClear),
        SlotOf(&IComApi::StringFromGUID2),
        SlotOf(&IComApi::CoTaskMemFree),
        SlotOf(&IComApi::CLSIDFromString),
        SlotOf(&IComApi::SysAllocString),
        SlotOf(&IComApi::SysFreeString),
    }, 12);
}

TEST(WinApiSlotTest, IFileApiHasItsOperationsInOrderAndTheDestructorLast)
{
    ExpectSlots<IFileApi>({
        SlotOf(&IFileApi::CopyFileW),
        SlotOf(&IFileApi::MoveFileExW),
    }, 3);
}
