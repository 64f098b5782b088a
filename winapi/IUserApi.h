#pragma once

#include <windows.h>

namespace QVWinApi {

// User services: window stations, desktops, messages, system metrics and icons.
// Operations in slot order, the destructor last.
class IUserApi {
public:
    virtual HWINSTA OpenWindowStationW(LPCWSTR lpszWinSta, BOOL fInherit,
            ACCESS_MASK dwDesiredAccess) = 0;
    virtual BOOL CloseWindowStation(HWINSTA hWinSta) = 0;
    virtual HWINSTA GetProcessWindowStation() = 0;
    virtual BOOL SetProcessWindowStation(HWINSTA hWinSta) = 0;
    virtual HDESK GetThreadDesktop(DWORD dwThreadId) = 0;
    virtual BOOL SetThreadDesktop(HDESK hDesktop) = 0;
    virtual HDESK OpenDesktopW(LPCWSTR lpszDesktop, DWORD dwFlags, BOOL fInherit,
            ACCESS_MASK dwDesiredAccess) = 0;
    virtual BOOL CloseDesktop(HDESK hDesktop) = 0;
    virtual BOOL ExitWindowsEx(UINT uFlags, DWORD dwReason) = 0;
    virtual BOOL AllowSetForegroundWindow(DWORD dwProcessId) = 0;
    virtual BOOL GetUserNameW(LPWSTR lpBuffer, LPDWORD pcbBuffer) = 0;
    virtual BOOL PeekMessageW(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax,
            UINT wRemoveMsg) = 0;
    virtual DWORD MsgWaitForMultipleObjects(DWORD nCount, const HANDLE* pHandles, BOOL fWaitAll,
            DWORD dwMilliseconds, DWORD dwWakeMask) = 0;
    virtual int GetSystemMetrics(int nIndex) = 0;
    virtual BOOL SystemParametersInfoW(UINT uiAction, UINT uiParam, PVOID pvParam,
            UINT fWinIni) = 0;
    virtual HICON LoadIconW(HINSTANCE hInstance, LPCWSTR lpIconName) = 0;
    virtual BOOL DestroyIcon(HICON hIcon) = 0;
    virtual UINT RegisterWindowMessageW(LPCWSTR lpString) = 0;
    virtual UINT_PTR SetTimer(HWND hWnd, UINT_PTR nIDEvent, UINT uElapse,
            TIMERPROC lpTimerFunc) = 0;
    virtual BOOL GetMessageW(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax) = 0;
    virtual BOOL SendMessageCallbackW(HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam,
            SENDASYNCPROC lpResultCallBack, ULONG_PTR dwData) = 0;
    virtual SHORT GetKeyState(int nVirtKey) = 0;
    virtual ~IUserApi() = default;
};

}  // namespace QVWinApi

// The object through which the logic reaches these services.
extern QVWinApi::IUserApi* g_pUserApi;
