#pragma once

#include "winapi/IUserApi.h"

namespace QVWinApi {

// Forwards each operation unchanged to the platform function of its name.
class CUserApi : public IUserApi {
public:
    constexpr CUserApi() = default;

    HWINSTA OpenWindowStationW(LPCWSTR lpszWinSta, BOOL fInherit,
            ACCESS_MASK dwDesiredAccess) override;
    BOOL CloseWindowStation(HWINSTA hWinSta) override;
    HWINSTA GetProcessWindowStation() override;
    BOOL SetProcessWindowStation(HWINSTA hWinSta) override;
    HDESK GetThreadDesktop(DWORD dwThreadId) override;
    BOOL SetThreadDesktop(HDESK hDesktop) override;
    HDESK OpenDesktopW(LPCWSTR lpszDesktop, DWORD dwFlags, BOOL fInherit,
            ACCESS_MASK dwDesiredAccess) override;
    BOOL CloseDesktop(HDESK hDesktop) override;
    BOOL ExitWindowsEx(UINT uFlags, DWORD dwReason) override;
    BOOL AllowSetForegroundWindow(DWORD dwProcessId) override;
    BOOL GetUserNameW(LPWSTR lpBuffer, LPDWORD pcbBuffer) override;
    BOOL PeekMessageW(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax,
            UINT wRemoveMsg) override;
    DWORD MsgWaitForMultipleObjects(DWORD nCount, const HANDLE* pHandles, BOOL fWaitAll,
            DWORD dwMilliseconds, DWORD dwWakeMask) override;
    int GetSystemMetrics(int nIndex) override;
    BOOL SystemParametersInfoW(UINT uiAction, UINT uiParam, PVOID pvParam, UINT fWinIni) override;
    HICON LoadIconW(HINSTANCE hInstance, LPCWSTR lpIconName) override;
    BOOL DestroyIcon(HICON hIcon) override;
    UINT RegisterWindowMessageW(LPCWSTR lpString) override;
    UINT_PTR SetTimer(HWND hWnd, UINT_PTR nIDEvent, UINT uElapse, TIMERPROC lpTimerFunc) override;
    BOOL GetMessageW(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax) override;
    BOOL SendMessageCallbackW(HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam,
            SENDASYNCPROC lpResultCallBack, ULONG_PTR dwData) override;
    SHORT GetKeyState(int nVirtKey) override;
};

}  // namespace QVWinApi
