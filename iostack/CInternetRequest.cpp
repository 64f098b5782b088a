#include "iostack/CInternetRequest.h"

#include <atomic>
#include <cstring>
#include <map>
#include <string>

#include "winapi/IKernelApi.h"
#include "winapi/IWinInetApi.h"

namespace QVIOStack {

// What an operation on a request may touch after its call returned, shared
// by the request object and the registry of the status callback; counted.
struct CInternetRequestState {
    std::atomic<long> refs{1};
    HINTERNET handle = nullptr;
    HANDLE event = nullptr;
    // In the registry; taken and given up under the registry's lock.
    bool registered = false;
    // An operation went on after its call; written under the registry's lock.
    bool pending = false;
    BOOL result = FALSE;
    DWORD error = 0;
    std::string data;
    char buffer[CInternetRequest::kReadBufferSize] = {};
    INTERNET_BUFFERSA buffers = {};
};

namespace {

void Release(CInternetRequestState* state)
{
    if (--state->refs == 0) {
        if (state->event != nullptr) {
            g_pKernelApi->CloseHandle(state->event);
        }
        delete state;
    }
}

// The requests by handle, for the status callback. A registered state
// carries one count of the registry's own.
class Registry {
public:
    Registry() { g_pKernelApi->InitializeCriticalSection(&m_lock); }

    void Lock() { g_pKernelApi->EnterCriticalSection(&m_lock); }
    void Unlock() { g_pKernelApi->LeaveCriticalSection(&m_lock); }
    std::map<HINTERNET, CInternetRequestState*>& Entries() { return m_entries; }

private:
    CRITICAL_SECTION m_lock;
    std::map<HINTERNET, CInternetRequestState*> m_entries;
};

// Never destroyed: WinINet may call back from its own threads until the
// process ends.
Registry& TheRegistry()
{
    static Registry* s_registry = new Registry();
    return *s_registry;
}

void SetPending(CInternetRequestState* state, bool pending)
{
    Registry& registry = TheRegistry();
    registry.Lock();
    state->pending = pending;
    registry.Unlock();
}

}  // namespace

CInternetRequest::CInternetRequest() : m_pState(new CInternetRequestState())
{
    m_pState->event = g_pKernelApi->CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

CInternetRequest::~CInternetRequest()
{
    Close();
    Release(m_pState);
}

void CALLBACK CInternetRequest::StatusCallback(HINTERNET handle, DWORD_PTR, DWORD status,
                                               LPVOID information, DWORD length)
{
    if (status != INTERNET_STATUS_REQUEST_COMPLETE && status != INTERNET_STATUS_HANDLE_CLOSING) {
        return;
    }
    Registry& registry = TheRegistry();
    CInternetRequestState* released = nullptr;
    registry.Lock();
    const auto entry = registry.Entries().find(handle);
    if (entry != registry.Entries().end()) {
        CInternetRequestState* state = entry->second;
        if (status == INTERNET_STATUS_REQUEST_COMPLETE) {
            if (information != nullptr && length >= sizeof(INTERNET_ASYNC_RESULT)) {
                const auto* outcome = static_cast<const INTERNET_ASYNC_RESULT*>(information);
                state->result = outcome->dwResult != 0;
                state->error = outcome->dwError;
            }
            state->pending = false;
            g_pKernelApi->SetEvent(state->event);
        } else {
            // The last word on a handle: nothing touches the state any more.
            registry.Entries().erase(entry);
            state->registered = false;
            released = state;
        }
    }
    registry.Unlock();
    if (released != nullptr) {
        Release(released);
    }
}

bool CInternetRequest::Open(HINTERNET connect, const wchar_t* method, const wchar_t* uri,
                            DWORD flags, DWORD_PTR context)
{
    Close();
    if (m_pState->event == nullptr) {
        return false;  // the last error is that of the event's creation
    }
    HINTERNET handle = g_pWinInetApi->HttpOpenRequestW(connect, method, uri, nullptr, nullptr,
                                                       nullptr, flags, context);
    if (handle == nullptr) {
        return false;
    }
    Registry& registry = TheRegistry();
    registry.Lock();
    m_pState->handle = handle;
    registry.Entries()[handle] = m_pState;
    m_pState->registered = true;
    ++m_pState->refs;
    registry.Unlock();
    return true;
}

HINTERNET CInternetRequest::Handle() const
{
    return m_pState->handle;
}

void CInternetRequest::Close()
{
    if (m_pState->handle != nullptr) {
        g_pWinInetApi->InternetCloseHandle(m_pState->handle);
    }
    Forget();
}

void CInternetRequest::Forget()
{
    Unregister();
    m_pState->handle = nullptr;
}

void CInternetRequest::Unregister()
{
    // An operation that still runs keeps the registration: its end, or the
    // handle's closing, arrives through the callback and gives it up there.
    Registry& registry = TheRegistry();
    bool release = false;
    registry.Lock();
    if (m_pState->registered && !m_pState->pending) {
        const auto entry = registry.Entries().find(m_pState->handle);
        if (entry != registry.Entries().end() && entry->second == m_pState) {
            registry.Entries().erase(entry);
        }
        m_pState->registered = false;
        release = true;
    }
    registry.Unlock();
    if (release) {
        Release(m_pState);
    }
}

BOOL CInternetRequest::StartSend(const void* data, DWORD length)
{
    void* optional = nullptr;
    if (data != nullptr) {
        m_pState->data.assign(static_cast<const char*>(data), length);
        optional = &m_pState->data[0];
    } else {
        length = 0;
    }
    g_pKernelApi->ResetEvent(m_pState->event);
    SetPending(m_pState, true);
    const BOOL sent = g_pWinInetApi->HttpSendRequestW(m_pState->handle, nullptr, 0, optional, length);
    const DWORD error = ::GetLastError();
    if (sent || error != ERROR_IO_PENDING) {
        SetPending(m_pState, false);
    }
    ::SetLastError(error);
    return sent;
}

BOOL CInternetRequest::StartRead(DWORD size, DWORD flags, DWORD_PTR context)
{
    std::memset(m_pState->buffer, 0, sizeof(m_pState->buffer));
    m_pState->buffers = INTERNET_BUFFERSA{};
    m_pState->buffers.dwStructSize = sizeof(INTERNET_BUFFERSA);
    m_pState->buffers.lpvBuffer = m_pState->buffer;
    m_pState->buffers.dwBufferLength = size < kReadBufferSize ? size : kReadBufferSize - 1;
    g_pKernelApi->ResetEvent(m_pState->event);
    SetPending(m_pState, true);
    const BOOL read = g_pWinInetApi->InternetReadFileExA(m_pState->handle, &m_pState->buffers,
                                                         flags, context);
    const DWORD error = ::GetLastError();
    if (read || error != ERROR_IO_PENDING) {
        SetPending(m_pState, false);
    }
    ::SetLastError(error);
    return read;
}

HANDLE CInternetRequest::CompletionEvent() const
{
    return m_pState->event;
}

BOOL CInternetRequest::CompletedResult() const
{
    ::SetLastError(m_pState->error);
    return m_pState->result;
}

BOOL CInternetRequest::Finish(BOOL started, DWORD timeout)
{
    if (started) {
        return TRUE;
    }
    const DWORD error = ::GetLastError();
    if (error != ERROR_IO_PENDING) {
        ::SetLastError(error);
        return FALSE;
    }
    const DWORD waited = g_pKernelApi->WaitForSingleObject(m_pState->event, timeout);
    if (waited == WAIT_OBJECT_0) {
        return CompletedResult();
    }
    const DWORD reason = waited == WAIT_TIMEOUT ? ERROR_TIMEOUT : ::GetLastError();
    Close();
    ::SetLastError(reason);
    return FALSE;
}

const char* CInternetRequest::ReadBytes() const
{
    return m_pState->buffer;
}

DWORD CInternetRequest::ReadCount() const
{
    return m_pState->buffers.dwBufferLength;
}

}  // namespace QVIOStack
