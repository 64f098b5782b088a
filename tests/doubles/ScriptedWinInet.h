#pragma once

#include <windows.h>
#include <wininet.h>

#include <algorithm>
#include <deque>
#include <string>
#include <thread>
#include <vector>

#include "iostack/CInternetRequest.h"
#include "winapi/CWinInetApi.h"

namespace doubles {

// WinINet without a network: handles are made up, sends, headers, status
// and body are what the test scripted, and every call the logic makes is
// recorded. Nothing reaches the platform.
class ScriptedWinInet : public QVWinApi::CWinInetApi {
public:
    static HINTERNET Session() { return reinterpret_cast<HINTERNET>(0x5E55); }
    static HINTERNET Connect() { return reinterpret_cast<HINTERNET>(0xC044); }

    // One send's outcome. `delayMs` keeps the call blocked that long;
    // `pendingMs` lets the call return 997 and the outcome arrive through
    // the status callback after that long (never, if negative).
    struct Send {
        BOOL result;
        DWORD error;
        DWORD delayMs = 0;
        int pendingMs = 0;
        bool pending = false;
    };
    struct Header {
        std::wstring text;
        DWORD modifiers;
    };
    struct Read {
        DWORD structSize;
        DWORD asked;
        DWORD flags;
        DWORD_PTR context;
    };
    struct Dialog {
        HWND window;
        HINTERNET request;
        DWORD error;
        DWORD flags;
        LPVOID* data;
    };

    ~ScriptedWinInet() override
    {
        for (std::thread& completion : m_completions) {
            completion.join();
        }
    }

    HINTERNET InternetOpenW(LPCWSTR agent, DWORD accessType, LPCWSTR proxy, LPCWSTR bypass,
                            DWORD flags) override
    {
        agentText = agent ? agent : L"(null)";
        openAccessType = accessType;
        openProxy = proxy;
        openBypass = bypass;
        openFlags = flags;
        ++opens;
        return Fail(openError) ? nullptr : Session();
    }
    INTERNET_STATUS_CALLBACK InternetSetStatusCallbackW(HINTERNET handle,
                                                        INTERNET_STATUS_CALLBACK callback) override
    {
        callbackHandle = handle;
        statusCallback = callback;
        return Fail(callbackError) ? INTERNET_INVALID_STATUS_CALLBACK : nullptr;
    }
    HINTERNET InternetConnectW(HINTERNET session, LPCWSTR server, INTERNET_PORT port, LPCWSTR user,
                               LPCWSTR password, DWORD service, DWORD flags, DWORD_PTR) override
    {
        connectSession = session;
        serverName = server ? server : L"(null)";
        serverPort = port;
        connectUser = user;
        connectPassword = password;
        connectService = service;
        connectFlags = flags;
        return Fail(connectError) ? nullptr : Connect();
    }
    HINTERNET HttpOpenRequestW(HINTERNET connect, LPCWSTR verb, LPCWSTR object, LPCWSTR version,
                               LPCWSTR referrer, LPCWSTR* acceptTypes, DWORD flags,
                               DWORD_PTR context) override
    {
        requestConnect = connect;
        requestVerb = verb ? verb : L"(null)";
        requestObject = object ? object : L"(null)";
        requestVersion = version;
        requestReferrer = referrer;
        requestAcceptTypes = acceptTypes;
        requestFlags = flags;
        requestContext = context;
        if (Fail(requestError)) {
            return nullptr;
        }
        lastRequest = reinterpret_cast<HINTERNET>(0x7000 + ++requests);
        return lastRequest;
    }
    BOOL HttpAddRequestHeadersW(HINTERNET, LPCWSTR text, DWORD length, DWORD modifiers) override
    {
        headers.push_back({std::wstring(text, length), modifiers});
        return TRUE;
    }
    BOOL HttpSendRequestW(HINTERNET request, LPCWSTR extra, DWORD extraLength, LPVOID data,
                          DWORD length) override
    {
        ++sends;
        sendExtraHeaders = extra;
        sendExtraLength = extraLength;
        sentData.push_back(data ? std::string(static_cast<const char*>(data), length) : "(null)");
        Send outcome{TRUE, 0};
        if (!sendScript.empty()) {
            outcome = sendScript.front();
            sendScript.pop_front();
        }
        if (outcome.delayMs != 0) {
            ::Sleep(outcome.delayMs);
        }
        if (outcome.pending) {
            if (outcome.pendingMs >= 0) {
                m_completions.emplace_back([=]() {
                    ::Sleep(static_cast<DWORD>(outcome.pendingMs));
                    INTERNET_ASYNC_RESULT result{static_cast<DWORD_PTR>(outcome.result), outcome.error};
                    QVIOStack::CInternetRequest::StatusCallback(request, 1, INTERNET_STATUS_REQUEST_COMPLETE,
                                                                &result, sizeof(result));
                });
            }
            ::SetLastError(ERROR_IO_PENDING);
            return FALSE;
        }
        ::SetLastError(outcome.error);
        return outcome.result;
    }
    BOOL HttpQueryInfoA(HINTERNET, DWORD level, LPVOID buffer, LPDWORD length, LPDWORD) override
    {
        queryLevelsA.push_back(level);
        return Answer(rawHeaders, sizeof(char), buffer, length);
    }
    BOOL HttpQueryInfoW(HINTERNET, DWORD level, LPVOID buffer, LPDWORD length, LPDWORD) override
    {
        queryLevelsW.push_back(level);
        const std::string bytes(reinterpret_cast<const char*>(statusText.c_str()),
                                statusText.size() * sizeof(wchar_t));
        return Answer(bytes, sizeof(wchar_t), buffer, length);
    }
    BOOL InternetReadFileExA(HINTERNET, LPINTERNET_BUFFERSA buffers, DWORD flags,
                             DWORD_PTR context) override
    {
        reads.push_back({buffers->dwStructSize, buffers->dwBufferLength, flags, context});
        if (readFailsAfter >= 0 && static_cast<int>(reads.size()) > readFailsAfter) {
            ::SetLastError(readError);
            return FALSE;
        }
        const DWORD count = std::min<DWORD>(buffers->dwBufferLength, static_cast<DWORD>(body.size() - bodyRead));
        std::copy_n(body.data() + bodyRead, count, static_cast<char*>(buffers->lpvBuffer));
        bodyRead += count;
        buffers->dwBufferLength = count;
        return TRUE;
    }
    BOOL InternetQueryOptionW(HINTERNET, DWORD option, LPVOID buffer, LPDWORD length) override
    {
        if (option != INTERNET_OPTION_SECURITY_FLAGS || Fail(queryOptionError)) {
            ::SetLastError(ERROR_INTERNET_INVALID_OPTION);
            return FALSE;
        }
        *static_cast<DWORD*>(buffer) = securityFlags;
        *length = sizeof(DWORD);
        return TRUE;
    }
    BOOL InternetSetOptionW(HINTERNET, DWORD option, LPVOID buffer, DWORD length) override
    {
        const DWORD value = length == sizeof(DWORD) ? *static_cast<DWORD*>(buffer) : 0;
        optionsSet.push_back({option, value});
        if (option == INTERNET_OPTION_SECURITY_FLAGS) {
            securityFlags = value;
        }
        return TRUE;
    }
    HWND GetDesktopWindow() override { return desktop; }
    DWORD InternetErrorDlg(HWND window, HINTERNET request, DWORD error, DWORD flags,
                           LPVOID* data) override
    {
        dialogs.push_back({window, request, error, flags, data});
        return dialogAnswer;
    }
    BOOL InternetCloseHandle(HINTERNET handle) override
    {
        closed.push_back(handle);
        return TRUE;
    }

    // Which of the handles were closed, in order, and how often `handle` was.
    size_t ClosedCount(HINTERNET handle) const
    {
        return static_cast<size_t>(std::count(closed.begin(), closed.end(), handle));
    }
    std::vector<DWORD> OptionValues(DWORD option) const
    {
        std::vector<DWORD> values;
        for (const auto& set : optionsSet) {
            if (set.first == option) {
                values.push_back(set.second);
            }
        }
        return values;
    }

    DWORD openError = 0;
    DWORD callbackError = 0;
    DWORD connectError = 0;
    DWORD requestError = 0;
    DWORD queryOptionError = 0;
    std::deque<Send> sendScript;
    std::string rawHeaders = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\n";
    std::wstring statusText = L"200";
    std::string body;
    int readFailsAfter = -1;
    DWORD readError = ERROR_INTERNET_CONNECTION_RESET;
    DWORD securityFlags = SECURITY_FLAG_IGNORE_CERT_CN_INVALID | SECURITY_FLAG_IGNORE_CERT_DATE_INVALID;
    DWORD dialogAnswer = ERROR_SUCCESS;

    std::wstring agentText;
    DWORD openAccessType = 0;
    LPCWSTR openProxy = nullptr;
    LPCWSTR openBypass = nullptr;
    DWORD openFlags = 0;
    int opens = 0;
    HINTERNET callbackHandle = nullptr;
    INTERNET_STATUS_CALLBACK statusCallback = nullptr;
    HINTERNET connectSession = nullptr;
    std::wstring serverName;
    INTERNET_PORT serverPort = 0;
    LPCWSTR connectUser = nullptr;
    LPCWSTR connectPassword = nullptr;
    DWORD connectService = 0;
    DWORD connectFlags = 0;
    HINTERNET requestConnect = nullptr;
    std::wstring requestVerb;
    std::wstring requestObject;
    LPCWSTR requestVersion = nullptr;
    LPCWSTR requestReferrer = nullptr;
    LPCWSTR* requestAcceptTypes = nullptr;
    DWORD requestFlags = 0;
    DWORD_PTR requestContext = 0;
    int requests = 0;
    HINTERNET lastRequest = nullptr;
    std::vector<Header> headers;
    int sends = 0;
    LPCWSTR sendExtraHeaders = nullptr;
    DWORD sendExtraLength = 0;
    std::vector<std::string> sentData;
    std::vector<DWORD> queryLevelsA;
    std::vector<DWORD> queryLevelsW;
    std::vector<Read> reads;
    size_t bodyRead = 0;
    std::vector<std::pair<DWORD, DWORD>> optionsSet;
    // The window the connection asks for as the dialog's owner.
    HWND desktop = reinterpret_cast<HWND>(0x7D0);
    std::vector<Dialog> dialogs;
    std::vector<HINTERNET> closed;

private:
    static bool Fail(DWORD error)
    {
        if (error == 0) {
            return false;
        }
        ::SetLastError(error);
        return true;
    }
    // HttpQueryInfo's two steps: the size with the terminator, then the text.
    static BOOL Answer(const std::string& bytes, size_t unit, LPVOID buffer, LPDWORD length)
    {
        const DWORD needed = static_cast<DWORD>(bytes.size() + unit);
        if (buffer == nullptr || *length < needed) {
            *length = needed;
            ::SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return FALSE;
        }
        std::copy(bytes.begin(), bytes.end(), static_cast<char*>(buffer));
        std::fill_n(static_cast<char*>(buffer) + bytes.size(), unit, '\0');
        *length = static_cast<DWORD>(bytes.size());
        return TRUE;
    }

    std::vector<std::thread> m_completions;
};

}  // namespace doubles
