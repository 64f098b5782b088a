#include "winapi/CUserApi.h"

namespace QVWinApi {

HWINSTA CUserApi::OpenWindowStationW(LPCWSTR lpszWinSta, BOOL fInherit, ACCESS_MASK dwDesiredAccess)
{
    return ::OpenWindowStationW(lpszWinSta, fInherit, dwDesiredAccess);
}

BOOL CUserApi::CloseWindowStation(HWINSTA hWinSta)
{
    return ::CloseWindowStation(hWinSta);
}

HWINSTA CUserApi::GetProcessWindowStation()
{
    return ::GetProcessWindowStation();
}

BOOL CUserApi::SetProcessWindowStation(HWINSTA hWinSta)
{
    return ::SetProcessWindowStation(hWinSta);
}

HDESK CUserApi::GetThreadDesktop(DWORD dwThreadId)
{
    return ::GetThreadDesktop(dwThreadId);
}

BOOL CUserApi::SetThreadDesktop(HDESK hDesktop)
{
    return ::SetThreadDesktop(hDesktop);
}

HDESK CUserApi::OpenDesktopW(LPCWSTR lpszDesktop, DWORD dwFlags, BOOL fInherit,
        ACCESS_MASK dwDesiredAccess)
{
    return ::OpenDesktopW(lpszDesktop, dwFlags, fInherit, dwDesiredAccess);
}

BOOL CUserApi::CloseDesktop(HDESK hDesktop)
{
    return ::CloseDesktop(hDesktop);
}

BOOL CUserApi::ExitWindowsEx(UINT uFlags, DWORD dwReason)
{
    return ::ExitWindowsEx(uFlags, dwReason);
}

BOOL CUserApi::AllowSetForegroundWindow(DWORD dwProcessId)
{
    return ::AllowSetForegroundWindow(dwProcessId);
}

BOOL CUserApi::GetUserNameW(LPWSTR lpBuffer, LPDWORD pcbBuffer)
{
    return ::GetUserNameW(lpBuffer, pcbBuffer);
}

BOOL CUserApi::PeekMessageW(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax,
        UINT wRemoveMsg)
{
    return ::PeekMessageW(lpMsg, hWnd, wMsgFilterMin, wMsgFilterMax, wRemoveMsg);
}

DWORD CUserApi::MsgWaitForMultipleObjects(DWORD nCount, const HANDLE* pHandles, BOOL fWaitAll,
        DWORD dwMilliseconds, DWORD dwWakeMask)
{
    return ::MsgWaitForMultipleObjects(nCount, pHandles, fWaitAll, dwMilliseconds, dwWakeMask);
}

int CUserApi::GetSystemMetrics(int nIndex)
{
    return ::GetSystemMetrics(nIndex);
}

BOOL CUserApi::SystemParametersInfoW(UINT uiAction, UINT uiParam, PVOID pvParam, UINT fWinIni)
{
    return ::SystemParametersInfoW(uiAction, uiParam, pvParam, fWinIni);
}

HICON CUserApi::LoadIconW(HINSTANCE hInstance, LPCWSTR lpIconName)
{
    return ::LoadIconW(hInstance, lpIconName);
}

BOOL CUserApi::DestroyIcon(HICON hIcon)
{
    return ::DestroyIcon(hIcon);
}

UINT CUserApi::RegisterWindowMessageW(LPCWSTR lpString)
{
    return ::RegisterWindowMessageW(lpString);
}

UINT_PTR CUserApi::SetTimer(HWND hWnd, UINT_PTR nIDEvent, UINT uElapse, TIMERPROC lpTimerFunc)
{
    return ::SetTimer(hWnd, nIDEvent, uElapse, lpTimerFunc);
}

BOOL CUserApi::GetMessageW(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax)
{
    return ::GetMessageW(lpMsg, hWnd, wMsgFilterMin, wMsgFilterMax);
}

BOOL CUserApi::SendMessageCallbackW(HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam,
        SENDASYNCPROC lpResultCallBack, ULONG_PTR dwData)
{
    return ::SendMessageCallbackW(hWnd, Msg, wParam, lParam, lpResultCallBack, dwData);
}

SHORT CUserApi::GetKeyState(int nVirtKey)
{
    return ::GetKeyState(nVirtKey);
}

}  // namespace QVWinApi

namespace {

QVWinApi::CUserApi s_userApi;

}  // namespace

QVWinApi::IUserApi* g_pUserApi = &s_userApi;
