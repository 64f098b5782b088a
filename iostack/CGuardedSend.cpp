#include "iostack/CGuardedSend.h"

#include "iostack/CInternetRequest.h"
#include "logging/LogTrace.h"
#include "winapi/IKernelApi.h"
#include "winapi/IWinInetApi.h"

QV_LOG_SOURCE_FILE()

namespace QVIOStack {

BOOL CGuardedSend::Send(CInternetRequest& request, const void* data, DWORD length, DWORD timeout)
{
    QV_LOG_FUNCTION(g_pIONetworkLog, L"QVIOStack::CGuardedSend::Send");
    HANDLE done = g_pKernelApi->CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (done == nullptr) {
        QV_LOG_ERROR(L"CreateEvent failed with err = %d", static_cast<int>(::GetLastError()));
        return FALSE;
    }
    WatchdogArguments arguments{request.Handle(), timeout, done};
    HANDLE watchdog = g_pKernelApi->CreateThread(nullptr, 0, Watchdog, &arguments, 0, nullptr);
    BOOL sent = FALSE;
    DWORD error = ERROR_FUNCTION_NOT_CALLED;
    if (watchdog == nullptr) {
        QV_LOG_ERROR(L"CreateThread failed with err = %d", static_cast<int>(::GetLastError()));
    } else {
        sent = request.StartSend(data, length);
        error = ::GetLastError();
        if (!sent && error == ERROR_IO_PENDING) {
            // The send goes on in WinINet: it ends, or the watchdog ends first
            // because it closed the request.
            const HANDLE ends[] = {request.CompletionEvent(), watchdog};
            if (g_pKernelApi->WaitForMultipleObjects(2, ends, FALSE, INFINITE) == WAIT_OBJECT_0) {
                sent = request.CompletedResult();
                error = ::GetLastError();
            } else {
                error = ERROR_TIMEOUT;
            }
        }
        g_pKernelApi->SetEvent(done);
        g_pKernelApi->WaitForSingleObject(watchdog, INFINITE);
        DWORD exitCode = 0;
        g_pKernelApi->GetExitCodeThread(watchdog, &exitCode);
        g_pKernelApi->CloseHandle(watchdog);
        if (exitCode == WAIT_TIMEOUT) {
            request.Forget();  // the watchdog closed it
            if (sent) {
                sent = FALSE;
                error = ERROR_TIMEOUT;
            }
        }
    }
    g_pKernelApi->CloseHandle(done);
    if (!sent) {
        logScope.m_errorCode = error;
        ::SetLastError(error);
    }
    return sent;
}

DWORD WINAPI CGuardedSend::Watchdog(void* arguments)
{
    QV_LOG_FUNCTION(g_pIONetworkLog, L"QVIOStack::CGuardedSend::Watchdog");
    if (arguments == nullptr) {
        return logScope.m_errorCode = ERROR_INVALID_PARAMETER;
    }
    const auto* watched = static_cast<const WatchdogArguments*>(arguments);
    const DWORD waited = g_pKernelApi->WaitForSingleObject(watched->event, watched->timeout);
    if (waited == WAIT_TIMEOUT) {
        QV_LOG_ERROR(L"No answer within %lu ms, closing the request", watched->timeout);
        g_pWinInetApi->InternetCloseHandle(watched->request);
    }
    return waited;
}

}  // namespace QVIOStack
