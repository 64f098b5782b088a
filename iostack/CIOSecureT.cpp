#include "iostack/CIOSecureT.h"

#include <cwchar>
#include <new>
#include <string>

#include "http/CCodePage1252.h"
#include "http/IHTTPClient.h"
#include "iostack/CGuardedSend.h"
#include "iostack/CInternetRequest.h"
#include "logging/LogTrace.h"
#include "utils/CProgressAggregator.h"
#include "winapi/IKernelApi.h"
#include "winapi/IWinInetApi.h"

QV_LOG_SOURCE_FILE()

// The trace scopes' names: the class is made for CIONetwork only (see the
// instantiation at the end).
#define QV_SECURE_NAME(method) L"QVIOStack::CIOSecureT<QVIOStack::CIONetwork>::" method

namespace QVIOStack {

using QVLogging::CLogFunction;
using QVUtils::CProgressAggregator;
using QVUtils::IProgress;

namespace {

constexpr DWORD kRequestFlags = INTERNET_FLAG_NO_CACHE_WRITE | INTERNET_FLAG_SECURE
    | INTERNET_FLAG_NO_AUTO_REDIRECT | INTERNET_FLAG_NO_AUTH
    | INTERNET_FLAG_IGNORE_CERT_DATE_INVALID | INTERNET_FLAG_IGNORE_CERT_CN_INVALID;
static_assert(kRequestFlags == 0x04A43000, "the request's flags");
constexpr DWORD_PTR kRequestContext = 1;
constexpr DWORD kHeaderModifiers = HTTP_ADDREQ_FLAG_COALESCE_WITH_COMMA;  // 0x40000000
constexpr DWORD kErrorDialogFlags = FLAGS_ERROR_UI_FILTER_FOR_ERRORS
    | FLAGS_ERROR_UI_FLAGS_CHANGE_OPTIONS | FLAGS_ERROR_UI_FLAGS_GENERATE_DATA
    | FLAGS_ERROR_UI_SERIALIZE_DIALOGS;
static_assert(kErrorDialogFlags == 23, "the certificate dialog's flags");
constexpr unsigned long kStatusUnauthorized = 401;

int LastError()
{
    return static_cast<int>(::GetLastError());
}

}  // namespace

template <typename T>
CIOSecureT<T>::CIOSecureT() = default;

template <typename T>
CIOSecureT<T>::~CIOSecureT()
{
    Cleanup();
}

template <typename T>
IDeviceConnection* CIOSecureT<T>::CreateInstance()
{
    QV_LOG_FUNCTION(g_pIONetworkLog, QV_SECURE_NAME(L"CreateInstance"));
    try {
        return new CIOSecureT<T>();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

template <typename T>
bool CIOSecureT<T>::IsHTTPCapable()
{
    QV_LOG_FUNCTION(g_pIONetworkLog, QV_SECURE_NAME(L"IsHTTPCapable"));
    return true;
}

template <typename T>
unsigned long CIOSecureT<T>::Init(const wchar_t* serviceAddress)
{
    QV_LOG_FUNCTION(g_pIONetworkLog, QV_SECURE_NAME(L"Init"));
    if (serviceAddress == nullptr || *serviceAddress == L'\0') {
        return logScope.m_errorCode = IOError_Fail;
    }
    if (IsOpen()) {
        Cleanup();
    }
    if (!this->SetFooting(serviceAddress, L"443")) {
        return logScope.m_errorCode = IOError_Fail;
    }
    return 0;
}

template <typename T>
unsigned long CIOSecureT<T>::RediscoverDevice(IProgress* progress)
{
    QV_LOG_FUNCTION(g_pIONetworkLog, QV_SECURE_NAME(L"RediscoverDevice"));
    return logScope.m_errorCode = this->Rediscover(logScope, progress);
}

template <typename T>
unsigned long CIOSecureT<T>::Open(IProgress* progress)
{
    QV_LOG_FUNCTION(g_pIONetworkLog, QV_SECURE_NAME(L"Open"));
    g_pKernelApi->EnterCriticalSection(&this->m_openLock);
    CProgressAggregator localProgress(progress, 3);
    auto finish = [&](unsigned long result) {
        if (result != 0) {
            Cleanup();
        }
        g_pKernelApi->LeaveCriticalSection(&this->m_openLock);
        return logScope.m_errorCode = result;
    };

    if (IsOpen()) {
        ++this->m_lSessionCount;
        return finish(0);
    }
    const long sessions = this->m_lSessionCount;
    Cleanup();
    this->m_lSessionCount = sessions;

    unsigned long status = 0;
    if (this->m_pDevice != nullptr && (status = RediscoverDevice(&localProgress)) != 0) {
        return finish(status);
    }
    if (this->m_address.empty()) {
        QV_LOG_ERROR(L"No address to connect to");
        return finish(IOError_Fail);
    }
    if (!localProgress.Step(0UL)) {
        return finish(IOError_Aborted);
    }
    // Asynchronous, so that a send can be given up when its time is over:
    // a blocked synchronous send is not ended by closing its request on
    // every platform this runs on.
    m_hInternet = g_pWinInetApi->InternetOpenW(L"ZQ", INTERNET_OPEN_TYPE_DIRECT, nullptr, nullptr,
                                               INTERNET_FLAG_ASYNC);
    if (m_hInternet == nullptr) {
        QV_LOG_ERROR(L"InternetOpen failed, last error = %d", LastError());
        return finish(IOError_Fail);
    }
    if (g_pWinInetApi->InternetSetStatusCallbackW(m_hInternet, CInternetRequest::StatusCallback)
        == INTERNET_INVALID_STATUS_CALLBACK) {
        QV_LOG_ERROR(L"InternetSetStatusCallback failed, last error = %d", LastError());
        return finish(IOError_Fail);
    }
    if (!localProgress.Step(0UL)) {
        return finish(IOError_Aborted);
    }
    const auto port = static_cast<INTERNET_PORT>(wcstoul(this->m_port.c_str(), nullptr, 10));
    m_bIgnoreUnknownCA = true;
    m_hConnect = g_pWinInetApi->InternetConnectW(m_hInternet, this->m_address.c_str(), port, nullptr,
                                                 nullptr, INTERNET_SERVICE_HTTP, 0, 0);
    if (m_hConnect == nullptr) {
        QV_LOG_ERROR(L"InternetConnect failed, last error = %d", LastError());
        return finish(IOError_Fail);
    }
    if (!localProgress.Step(0UL)) {
        return finish(IOError_Aborted);
    }
    ++this->m_lSessionCount;
    return finish(0);
}

template <typename T>
bool CIOSecureT<T>::IsOpen()
{
    QV_LOG_FUNCTION(g_pIONetworkLog, QV_SECURE_NAME(L"IsOpen"));
    return m_hInternet != nullptr;
}

template <typename T>
unsigned long CIOSecureT<T>::Close()
{
    QV_LOG_FUNCTION(g_pIONetworkLog, QV_SECURE_NAME(L"Close"));
    g_pKernelApi->EnterCriticalSection(&this->m_openLock);
    if (--this->m_lSessionCount < 1) {
        if (m_hConnect != nullptr) {
            g_pWinInetApi->InternetCloseHandle(m_hConnect);
            m_hConnect = nullptr;
        }
        if (m_hInternet != nullptr) {
            g_pWinInetApi->InternetCloseHandle(m_hInternet);
            m_hInternet = nullptr;
        }
        this->m_lSessionCount = 0;
    }
    g_pKernelApi->LeaveCriticalSection(&this->m_openLock);
    return 0;
}

template <typename T>
void CIOSecureT<T>::Cleanup()
{
    QV_LOG_FUNCTION(g_pIONetworkLog, QV_SECURE_NAME(L"Cleanup"));
    this->m_lSessionCount = 0;
    Close();
}

template <typename T>
unsigned long CIOSecureT<T>::Navigate(IHTTPNavigateParams* params, IHTTPClient* client,
                                      IProgress* progress)
{
    QV_LOG_FUNCTION(g_pIONetworkLog, QV_SECURE_NAME(L"Navigate"));
    if (params == nullptr || client == nullptr) {
        return logScope.m_errorCode = IOError_Fail;
    }
    CProgressAggregator localProgress(progress, 3);
    try {
        std::wstring method;
        params->GetHTTPMethodText(method);
        // The text ends with a blank, made for a request line.
        while (!method.empty() && method.back() == L' ') {
            method.pop_back();
        }
        CInternetRequest request;
        if (!request.Open(m_hConnect, method.c_str(), params->GetURI(), kRequestFlags,
                          kRequestContext)) {
            QV_LOG_ERROR(L"HttpOpenRequest failed, last error = %d", LastError());
            return logScope.m_errorCode = IOError_Fail;
        }
        if (!localProgress.Step(0UL)) {
            return logScope.m_errorCode = IOError_Aborted;
        }
        SetTimeouts(request, logScope);
        AddRequestHeaders(request, params, logScope);
        unsigned long status = SendRequest(request, params, client, logScope);
        if (!localProgress.Step(0UL)) {
            status = IOError_Aborted;
        }
        if (status != 0) {
            return logScope.m_errorCode = status;
        }
        const unsigned long code = HandBackHeaders(request, params, client, logScope);
        if (code == kStatusUnauthorized && params->GetAuthScheme() != 0
            && !params->TriedAuthenticating()) {
            // The client starts over with the credentials.
            request.Close();
            return logScope.m_errorCode = client->Navigate(params, progress) != 0 ? IOError_Fail : 0;
        }
        return logScope.m_errorCode = HandBackContent(request, params, client, logScope);
    } catch (const std::bad_alloc&) {
        QV_LOG_ERROR(L"Out of memory");
        return logScope.m_errorCode = IOError_Fail;
    }
}

template <typename T>
void CIOSecureT<T>::SetTimeouts(CInternetRequest& request, CLogFunction& logScope)
{
    // Bounds what WinINet does once connected; the send as a whole is bounded
    // by the guarded send.
    const struct {
        DWORD option;
        DWORD timeout;
    } timeouts[] = {
        {INTERNET_OPTION_CONNECT_TIMEOUT, this->m_openTimeout},
        {INTERNET_OPTION_SEND_TIMEOUT, this->m_writeTimeout},
        {INTERNET_OPTION_RECEIVE_TIMEOUT, this->m_readTimeout},
    };
    for (auto timeout : timeouts) {
        if (!g_pWinInetApi->InternetSetOptionW(request.Handle(), timeout.option, &timeout.timeout,
                                               sizeof(timeout.timeout))) {
            QV_LOG_ERROR(L"InternetSetOption(%lu) failed, last error = %d", timeout.option,
                         LastError());
        }
    }
}

template <typename T>
void CIOSecureT<T>::AddRequestHeaders(CInternetRequest& request, IHTTPNavigateParams* params,
                                      CLogFunction& logScope)
{
    auto add = [&](const std::wstring& header) {
        if (!g_pWinInetApi->HttpAddRequestHeadersW(request.Handle(), header.c_str(),
                                                   static_cast<DWORD>(header.size()),
                                                   kHeaderModifiers)) {
            QV_LOG_ERROR(L"HttpAddRequestHeaders failed, last error = %d", LastError());
        }
    };
    if (params->GetData() != nullptr) {
        add(L"Content-Length: " + std::to_wstring(params->GetDataLength(nullptr)) + L"\r\n");
        const wchar_t* type = params->GetDataType();
        if (type != nullptr && *type != L'\0') {
            add(std::wstring(L"Content-Type: ") + type + L"\r\n");
        }
    }
    const wchar_t* extra = params->GetExtraHeaders();
    if (extra != nullptr && *extra != L'\0') {
        std::wstring headers = extra;
        if (headers.size() < 2 || headers.compare(headers.size() - 2, 2, L"\r\n") != 0) {
            headers += L"\r\n";
        }
        add(headers);
    }
}

template <typename T>
unsigned long CIOSecureT<T>::SendRequest(CInternetRequest& request, IHTTPNavigateParams* params,
                                         IHTTPClient* client, CLogFunction& logScope)
{
    const void* data = params->GetData();
    const DWORD length = params->GetDataLength(nullptr);
    bool unknownAuthorityHandled = false;
    bool revocationHandled = false;
    for (;;) {
        if (CGuardedSend::Send(request, data, length, this->m_readTimeout)) {
            if (PFN_STATUS_CALLBACK callback = params->GetSendStatusCallback()) {
                const std::string text = CCodePage1252::ToNarrow(client->GetRequest());
                callback(text.c_str(), static_cast<unsigned long>(text.size()),
                         params->GetSendStatusParam());
                if (length != 0) {
                    callback(data, length, params->GetSendStatusParam());
                }
            }
            return 0;
        }
        const DWORD error = ::GetLastError();
        QV_LOG_ERROR(L"HttpSendRequest failed, last error = %d", static_cast<int>(error));
        if (error == ERROR_INTERNET_INVALID_CA && !unknownAuthorityHandled) {
            unknownAuthorityHandled = true;
            if (!m_bIgnoreUnknownCA
                && g_pWinInetApi->InternetErrorDlg(g_pWinInetApi->GetDesktopWindow(), request.Handle(),
                                                   error, kErrorDialogFlags, nullptr)
                    != 0) {
                return IOError_Fail;
            }
            m_bIgnoreUnknownCA = true;
            RelaxSecurity(request, SECURITY_FLAG_IGNORE_UNKNOWN_CA, logScope);
        } else if (error == ERROR_INTERNET_SEC_CERT_REV_FAILED && !revocationHandled) {
            revocationHandled = true;
            RelaxSecurity(request, SECURITY_FLAG_IGNORE_REVOCATION, logScope);
        } else {
            return IOError_Fail;
        }
    }
}

template <typename T>
void CIOSecureT<T>::RelaxSecurity(CInternetRequest& request, DWORD flag, CLogFunction& logScope)
{
    DWORD flags = 0;
    DWORD size = sizeof(flags);
    // Without the flags in hand nothing is written back: the flags of the
    // request's certificate name and date must stay.
    if (!g_pWinInetApi->InternetQueryOptionW(request.Handle(), INTERNET_OPTION_SECURITY_FLAGS,
                                             &flags, &size)) {
        QV_LOG_ERROR(L"InternetQueryOption(INTERNET_OPTION_SECURITY_FLAGS) failed, last error = %d",
                     LastError());
        return;
    }
    flags |= flag;
    if (!g_pWinInetApi->InternetSetOptionW(request.Handle(), INTERNET_OPTION_SECURITY_FLAGS, &flags,
                                           sizeof(flags))) {
        QV_LOG_ERROR(L"InternetSetOption(INTERNET_OPTION_SECURITY_FLAGS) failed, last error = %d",
                     LastError());
    }
}

template <typename T>
unsigned long CIOSecureT<T>::HandBackHeaders(CInternetRequest& request, IHTTPNavigateParams* params,
                                             IHTTPClient* client, CLogFunction& logScope)
{
    DWORD size = 0;
    g_pWinInetApi->HttpQueryInfoA(request.Handle(), HTTP_QUERY_RAW_HEADERS_CRLF, nullptr, &size,
                                  nullptr);
    std::string headers(size + 1, '\0');
    if (size != 0
        && g_pWinInetApi->HttpQueryInfoA(request.Handle(), HTTP_QUERY_RAW_HEADERS_CRLF, &headers[0],
                                         &size, nullptr)) {
        client->SetHeaders(headers.c_str());
        if (PFN_STATUS_CALLBACK callback = params->GetReadStatusCallback()) {
            callback(client->GetHeader(), client->GetHeaderLength(), params->GetReadStatusParam());
        }
    } else {
        QV_LOG_ERROR(L"HttpQueryInfo(HTTP_QUERY_RAW_HEADERS_CRLF) failed, last error = %d",
                     LastError());
    }

    size = 0;
    g_pWinInetApi->HttpQueryInfoW(request.Handle(), HTTP_QUERY_STATUS_CODE, nullptr, &size, nullptr);
    std::wstring text(size / sizeof(wchar_t) + 1, L'\0');
    unsigned long code = 0;
    if (size != 0
        && g_pWinInetApi->HttpQueryInfoW(request.Handle(), HTTP_QUERY_STATUS_CODE, &text[0], &size,
                                         nullptr)) {
        code = wcstoul(text.c_str(), nullptr, 10);
    } else {
        QV_LOG_ERROR(L"HttpQueryInfo(HTTP_QUERY_STATUS_CODE) failed, last error = %d", LastError());
    }
    QV_LOG_INFO(0, L"HTTP Response code =  %d", static_cast<int>(code));
    client->SetStatusCode(code);
    return code;
}

template <typename T>
unsigned long CIOSecureT<T>::HandBackContent(CInternetRequest& request, IHTTPNavigateParams* params,
                                             IHTTPClient* client, CLogFunction& logScope)
{
    // Portions of at most 255 bytes until a read gives none. What came before
    // a failed read is handed back all the same.
    unsigned long status = 0;
    std::string content;
    for (;;) {
        const BOOL started = request.StartRead(CInternetRequest::kReadBufferSize - 1, IRF_NO_WAIT,
                                               kRequestContext);
        if (!request.Finish(started, this->m_readTimeout)) {
            QV_LOG_ERROR(L"InternetReadFileExA failed, error = %d", LastError());
            status = IOError_Fail;
            break;
        }
        if (request.ReadCount() == 0) {
            break;
        }
        content.append(request.ReadBytes(), request.ReadCount());
    }
    client->SetContent(content.data(), static_cast<unsigned long>(content.size()));
    if (PFN_STATUS_CALLBACK callback = params->GetReadStatusCallback()) {
        callback(client->GetContent(), client->GetContentLength(), params->GetReadStatusParam());
    }
    request.Close();
    return status;
}

template class CIOSecureT<CIONetwork>;

}  // namespace QVIOStack
