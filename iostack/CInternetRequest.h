#pragma once

#include <windows.h>
#include <wininet.h>

namespace QVIOStack {

struct CInternetRequestState;

// One WinINet request on an asynchronous session. A send or a read started
// on it may go on after the call returns (last error 997); the session's
// status callback reports its end. What such an operation may still touch,
// the data sent and the buffer read into, belongs to the request's state,
// which lives until WinINet is done with the handle, even when the caller
// stopped waiting and this object is gone.
class CInternetRequest {
public:
    // The size of the buffer a read goes into.
    static constexpr DWORD kReadBufferSize = 256;

    CInternetRequest();
    ~CInternetRequest();
    CInternetRequest(const CInternetRequest&) = delete;
    CInternetRequest& operator=(const CInternetRequest&) = delete;

    // The status callback of a session whose requests are made here: hands
    // the end of an operation to the request it ran on.
    static void CALLBACK StatusCallback(HINTERNET handle, DWORD_PTR context, DWORD status,
                                        LPVOID information, DWORD length);

    // HttpOpenRequestW with the default version, no referrer and no accept
    // types; false with the platform's last error.
    bool Open(HINTERNET connect, const wchar_t* method, const wchar_t* uri, DWORD flags,
              DWORD_PTR context);
    HINTERNET Handle() const;
    // Closes the handle if this object still holds it.
    void Close();
    // The handle was closed by somebody else: it is no longer held.
    void Forget();

    // Starts HttpSendRequestW without extra headers on a copy of the data
    // (none when `data` is null); the call's own result.
    BOOL StartSend(const void* data, DWORD length);
    // Starts InternetReadFileExA of up to `size` bytes into the request's
    // zeroed buffer; the call's own result.
    BOOL StartRead(DWORD size, DWORD flags, DWORD_PTR context);
    // Set when an operation that went on after its call has ended.
    HANDLE CompletionEvent() const;
    // The outcome of that operation, its error as the last error.
    BOOL CompletedResult() const;
    // The end of an operation whose call returned `started`: that result if
    // it is final, else the outcome within `timeout`. A wait that runs out
    // closes the request and gives FALSE with 1460 (ERROR_TIMEOUT).
    BOOL Finish(BOOL started, DWORD timeout);
    // The bytes of the last read and their count.
    const char* ReadBytes() const;
    DWORD ReadCount() const;

private:
    // Gives up the registration when no operation runs any more.
    void Unregister();

    CInternetRequestState* m_pState;
};

}  // namespace QVIOStack
