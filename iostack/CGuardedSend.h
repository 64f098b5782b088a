#pragma once

#include <windows.h>
#include <wininet.h>

namespace QVIOStack {

class CInternetRequest;

// HttpSendRequestW within a time limit, which the call has not of its own:
// a watchdog thread closes the request when the send has not ended in time.
class CGuardedSend {
public:
    // What the watchdog watches: the request, the time it has, and the
    // event that says the send has ended.
    struct WatchdogArguments {
        HINTERNET request;
        DWORD timeout;
        HANDLE event;
    };

    // Sends the request with its data. FALSE with the reason as the last
    // error: the platform's, 1460 (ERROR_TIMEOUT) when the time ran out, in
    // which case the request's handle is gone, or 1626
    // (ERROR_FUNCTION_NOT_CALLED) when no watchdog could be started.
    static BOOL Send(CInternetRequest& request, const void* data, DWORD length, DWORD timeout);

    // The watchdog thread: waits for the event for the timeout, and when
    // that runs out closes the request. Its exit code is the wait's result;
    // 87 (ERROR_INVALID_PARAMETER) without arguments.
    static DWORD WINAPI Watchdog(void* arguments);
};

}  // namespace QVIOStack
