// The HTTP client's exchange: the client and its session, building and
// sending a request, the drain of what a device still sends before each
// request, and what the caller reads back afterwards. Authentication and
// redirection are in CHTTPClient.Auth.cpp, reading the response in
// CHTTPClient.Response.cpp.
#include "http/CHTTPClient.h"

#include <cstring>
#include <cwchar>
#include <new>

#include "http/CCodePage1252.h"
#include "http/CConnectionLock.h"
#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "iostack/IOStatus.h"
#include "logging/LogTrace.h"
#include "utils/CTickCountHelper.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

using QVUtils::CProgressAggregator;
using QVUtils::CTickCountHelper;
using QVUtils::IProgress;

namespace QVIOStack {

namespace {

constexpr unsigned long kBusyPauseMs = 200;
constexpr unsigned long kDrainTimeoutMs = 100;
constexpr unsigned long kDrainBufferSize = 4096;
constexpr unsigned long kNoDrainFlag = 1;
constexpr unsigned long kStatusUnauthorized = 401;
constexpr unsigned long kAuthNone = 0;

unsigned long MapOpenStatus(unsigned long ioStatus)
{
    switch (ioStatus) {
    case 0:
        return 0;
    case IOError_DeviceGone:
        return Error_Device_Gone;
    case IOError_Aborted:
        return Error_Aborted;
    case Error_Connection:
        return Error_Connection;
    case IOError_Busy:
        return Error_Device_Busy;
    default:
        return Error_Open_Fail;
    }
}

}  // namespace

CHTTPClient::CHTTPClient(IDeviceConnection* connection) : m_pIDeviceConnection(connection)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::CHTTPClient");
    if (m_pIDeviceConnection) {
        m_pIDeviceConnection->AddRef();
    }
    g_pKernelApi->InitializeCriticalSection(&m_lock);
    ResetRequest();
}

CHTTPClient::~CHTTPClient()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::~CHTTPClient");
    FreeContentBuffer();
    if (m_pIDeviceConnection) {
        m_pIDeviceConnection->Dispose();
    }
    g_pKernelApi->DeleteCriticalSection(&m_lock);
}

unsigned long CHTTPClient::Initialize(IDeviceConnection* connection)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::Initialize");
    if (connection == nullptr) {
        return logScope.m_errorCode = Error_InvalidArgument;
    }
    if (m_pIDeviceConnection) {
        CloseSession();
        m_pIDeviceConnection->Dispose();
    }
    m_pIDeviceConnection = connection;
    m_pIDeviceConnection->AddRef();
    return 0;
}

void CHTTPClient::SetRoot(const wchar_t* root)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::SetRoot");
    m_strRoot = root ? root : L"";
}

const wchar_t* CHTTPClient::GetRoot()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::GetRoot");
    return m_strRoot.c_str();
}

unsigned long CHTTPClient::OpenSession(IProgress* progress, unsigned long timeoutMs)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::OpenSession");
    const CTickCountHelper deadline(timeoutMs);
    for (;;) {
        if (m_pIDeviceConnection == nullptr) {
            return logScope.m_errorCode = Error_InvalidArgument;
        }
        const unsigned long opened = m_pIDeviceConnection->Open(progress);
        if (opened != 0) {
            QV_LOG_ERROR(L"%s m_pIDeviceConnection->Open returned 0x%08X", logScope.GetDisplayName(), opened);
        }
        const unsigned long status = MapOpenStatus(opened);
        if (status != Error_Device_Busy) {
            return logScope.m_errorCode = status;
        }
        if (timeoutMs != 0) {
            g_pKernelApi->Sleep(kBusyPauseMs);
            if (progress && !progress->Step(0UL)) {
                return logScope.m_errorCode = Error_Aborted;
            }
        }
        if (deadline.IsExpired()) {
            return logScope.m_errorCode = status;
        }
    }
}

unsigned long CHTTPClient::CloseSession()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::CloseSession");
    if (m_pIDeviceConnection == nullptr) {
        return logScope.m_errorCode = Error_InvalidArgument;
    }
    return logScope.m_errorCode = m_pIDeviceConnection->Close() == 0 ? 0 : Error_Close_Fail;
}

unsigned long CHTTPClient::Navigate(IHTTPNavigateParams* params, IProgress* progress)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::Navigate");
    CProgressAggregator localProgress(progress, 6);
    g_pKernelApi->EnterCriticalSection(&m_lock);
    unsigned long status;
    try {
        status = NavigateLocked(params, localProgress, logScope);
    } catch (...) {
        g_pKernelApi->LeaveCriticalSection(&m_lock);
        throw;
    }
    g_pKernelApi->LeaveCriticalSection(&m_lock);
    return logScope.m_errorCode = status;
}

unsigned long CHTTPClient::NavigateLocked(IHTTPNavigateParams* params, CProgressAggregator& localProgress,
                                          QVLogging::CLogFunction& logScope)
{
    if (params == nullptr || m_pIDeviceConnection == nullptr) {
        return Error_InvalidArgument;
    }
    ResetRequest();
    m_pNavigateParams = params;
    if (!m_strUserName.empty()) {
        params->SetUserName(m_strUserName.c_str());
        params->SetPassword(m_strPassword.c_str());
    }

    localProgress.Step(0UL);
    unsigned long status = BuildRequest();
    if (!localProgress.StepNext(3)) {
        status = Error_Aborted;
    }
    if (status != 0) {
        return status;
    }

    status = OpenSession(&localProgress, 0);
    const bool opened = status == 0;
    if (!localProgress.StepNext(10)) {
        status = Error_Aborted;
    }
    if (!opened) {
        return status;
    }

    try {
        if (status == 0) {
            status = Exchange(params, localProgress, logScope);
        }
        const unsigned long closed = CloseSession();
        return IsHTTPFailure(status) ? status : closed;
    } catch (...) {
        if (CloseSession() != 0) {
            QV_LOG_ERROR(L"CHTTPClient::Navigate: CloseSession from exception handler failed.");
        }
        throw;
    }
}

unsigned long CHTTPClient::Exchange(IHTTPNavigateParams* params, CProgressAggregator& localProgress,
                                    QVLogging::CLogFunction& logScope)
{
    if (m_pIDeviceConnection->IsHTTPCapable()) {
        const unsigned long result = m_pIDeviceConnection->Navigate(params, this, &localProgress);
        if (result != 0) {
            QV_LOG_ERROR(L"%s Error_Fail Navigate returned 0x%08X", logScope.GetDisplayName(), result);
            return Error_Fail;
        }
        return 0;
    }

    if (!localProgress.StepNext(10)) {
        return Error_Aborted;
    }
    if ((params->GetFlags() & kNoDrainFlag) == 0) {
        const CConnectionLock readLock(*m_pIDeviceConnection, CConnectionLock::Side::Read);
        EmptyDeviceRespone();
    }
    unsigned long status;
    {
        const CConnectionLock writeLock(*m_pIDeviceConnection, CConnectionLock::Side::Write);
        status = SendRequest(&localProgress);
    }
    if (!localProgress.StepNext(11)) {
        status = Error_Aborted;
    }
    if (IsHTTPFailure(status)) {
        return status;
    }

    {
        const CConnectionLock readLock(*m_pIDeviceConnection, CConnectionLock::Side::Read);
        status = ReadResponse(&localProgress);
    }
    if (!localProgress.StepNext(0)) {
        status = Error_Aborted;
    }
    if (IsHTTPFailure(status)) {
        return status;
    }

    // The device asks for credentials that it has told how to give: one more
    // attempt with the same parameters, which now carry them. Building that
    // request marks them as tried, so a device that keeps answering 401 gets
    // exactly one more attempt.
    if (m_ulStatusCode == kStatusUnauthorized && params->GetAuthScheme() != kAuthNone
        && !params->TriedAuthenticating()) {
        status = Navigate(params, &localProgress);
    }
    if (!IsHTTPFailure(status)) {
        status = HandleRedirection(&localProgress);
        if (!localProgress.StepNext(0)) {
            status = Error_Aborted;
        }
    }
    return status;
}

unsigned long CHTTPClient::Navigate(const wchar_t* uri, unsigned long method, IProgress* progress)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::Navigate");
    if (uri == nullptr || *uri == L'\0') {
        return logScope.m_errorCode = Error_InvalidArgument;
    }
    CHTTPNavigateParams params;
    params.SetHTTPRequestMethod(method);
    params.SetURI(uri);
    return logScope.m_errorCode = Navigate(&params, progress);
}

void CHTTPClient::SetUserName(const wchar_t* userName)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::SetUserName");
    m_strUserName = userName ? userName : L"";
}

void CHTTPClient::SetPassword(const wchar_t* password)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::SetPassword");
    m_strPassword = password ? password : L"";
}

const wchar_t* CHTTPClient::GetRequest()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::GetRequest");
    return m_strRequest.c_str();
}

IDeviceConnection* CHTTPClient::GetDeviceConnection()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::GetDeviceConnection");
    return m_pIDeviceConnection;
}

unsigned long CHTTPClient::GetStatusCode()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::GetStatusCode");
    return m_ulStatusCode;
}

const char* CHTTPClient::GetHeader()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::GetHeader");
    return m_strResponseHeader.c_str();
}

unsigned long CHTTPClient::GetHeaderLength()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::GetHeaderLength");
    return static_cast<unsigned long>(m_strResponseHeader.size());
}

const unsigned char* CHTTPClient::GetContent()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::GetContent");
    return m_ulContentBufferUsed != 0 ? m_pContentBuffer : nullptr;
}

unsigned long CHTTPClient::GetContentLength()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::GetContentLength");
    const wchar_t* value = GetHeaderEntry(L"Content-Length");
    return value ? static_cast<unsigned long>(wcstol(value, nullptr, 10)) : 0xFFFFFFFFUL;
}

const wchar_t* CHTTPClient::GetContentType()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::GetContentType");
    return GetHeaderEntry(L"Content-Type");
}

const wchar_t* CHTTPClient::GetHeaderEntry(const wchar_t* name)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::GetHeaderEntry");
    if (name == nullptr) {
        return nullptr;
    }
    const auto entry = m_headers.find(name);
    return entry == m_headers.end() ? nullptr : entry->second.c_str();
}

void CHTTPClient::GetHeaders(HeaderMap& headers)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::GetHeaders");
    headers = m_headers;
}

void CHTTPClient::SetStatusCode(unsigned long statusCode)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::SetStatusCode");
    m_ulStatusCode = statusCode;
}

void CHTTPClient::SetContent(const void* data, unsigned long length)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::SetContent");
    FreeContentBuffer();
    if (data == nullptr) {
        return;
    }
    m_pContentBuffer = new unsigned char[length];
    memcpy(m_pContentBuffer, data, length);
    m_ulContentBufferSize = length;
    m_ulContentBufferUsed = length;
    m_headers[L"Content-Length"] = std::to_wstring(length);
}

void CHTTPClient::SetHeaders(const char* text)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::SetHeaders");
    m_headers.clear();
    m_strResponseHeader.clear();
    if (text != nullptr) {
        m_strResponseHeader = text;
        if (ParseResponseHeader(m_strResponseHeader.data(), GetHeaderLength()) != 0) {
            QV_LOG_ERROR(L"Failure parsing response headers");
        } else {
            SetupAuthentication();
        }
    }
}

void CHTTPClient::ResetRequest()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::ResetRequest");
    m_strRequest.clear();
    m_headers.clear();
    m_strStatusText.clear();
    m_strResponseHeader.clear();
    m_pNavigateParams = nullptr;
    FreeContentBuffer();
    m_ulStatusCode = 0;
}

unsigned long CHTTPClient::EmptyDeviceRespone()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::EmptyDeviceRespone");
    const unsigned long readTimeout = m_pIDeviceConnection->GetReadTimeout();
    m_pIDeviceConnection->SetReadTimeout(kDrainTimeoutMs);
    char scratch[kDrainBufferSize];
    unsigned long count = 0;
    while (m_pIDeviceConnection->Read(scratch, sizeof(scratch), &count, nullptr) == 0 && count != 0) {
    }
    m_pIDeviceConnection->SetReadTimeout(readTimeout);
    return 0;
}

unsigned long CHTTPClient::BuildRequest()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::BuildRequest");
    if (m_pNavigateParams == nullptr || m_pIDeviceConnection == nullptr) {
        return logScope.m_errorCode = Error_InvalidArgument;
    }
    try {
        std::wstring request;
        if (!m_pNavigateParams->GetHTTPMethodText(request)) {
            return logScope.m_errorCode = Error_InvalidArgument;
        }
        const wchar_t* uri = m_pNavigateParams->GetURI();
        if (uri == nullptr || *uri == L'\0') {
            return logScope.m_errorCode = Error_InvalidArgument;
        }
        request += m_strRoot + uri + L" HTTP/1.1\r\n";

        std::wstring host;
        const wchar_t* address = m_pIDeviceConnection->GetAddress();
        const wchar_t* port = m_pIDeviceConnection->GetPort();
        if (address) {
            host = address;
        }
        if (port && *port) {
            host += std::wstring(L":") + port;
        }
        m_pNavigateParams->AddExtraHeader(L"HOST", host.c_str());
        AddAuthorization(logScope);

        if (m_pNavigateParams->GetData()) {
            bool noContentLength = false;
            const unsigned long length = m_pNavigateParams->GetDataLength(&noContentLength);
            if (!noContentLength) {
                request += L"Content-Length: " + std::to_wstring(length) + L"\r\n";
            }
            const wchar_t* dataType = m_pNavigateParams->GetDataType();
            request += std::wstring(L"Content-Type: ") + (dataType ? dataType : L"") + L"\r\n";
        }
        const wchar_t* extraHeaders = m_pNavigateParams->GetExtraHeaders();
        if (extraHeaders && *extraHeaders) {
            request += extraHeaders;
        }
        request += L"\r\n";
        m_strRequest = request;
        return 0;
    } catch (const std::bad_alloc&) {
        return logScope.m_errorCode = Error_OutOfMemory;
    }
}

unsigned long CHTTPClient::SendRequest(IProgress* progress)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::SendRequest");
    if (m_pNavigateParams == nullptr || m_pIDeviceConnection == nullptr) {
        return logScope.m_errorCode = Error_InvalidArgument;
    }
    // The body is appended as text up to its first zero byte, while the
    // count sent includes its whole length: a body must be text. The room
    // reserved keeps whatever follows the copy inside the buffer.
    std::string text;
    unsigned long dataLength;
    unsigned long toSend;
    try {
        const std::string request = CCodePage1252::ToNarrow(m_strRequest);
        dataLength = m_pNavigateParams->GetDataLength(nullptr);
        toSend = static_cast<unsigned long>(request.size()) + dataLength;
        text.reserve(toSend + 1);
        text.assign(request);
        if (dataLength != 0) {
            text.append(static_cast<const char*>(m_pNavigateParams->GetData()));
        }
    } catch (const std::bad_alloc&) {
        return logScope.m_errorCode = Error_OutOfMemory;
    }

    CProgressAggregator sendProgress(progress, toSend + dataLength);
    sendProgress.Inhibit(true);
    if (!sendProgress.Step(10UL)) {
        return logScope.m_errorCode = Error_Aborted;
    }
    // Ends also when one write sent at least as much as was then left.
    unsigned long status = 0;
    unsigned long last = 0;
    unsigned long left = toSend;
    const char* position = text.data();
    while (last < left) {
        unsigned long written = 0;
        const unsigned long result = SendData(position, left, &written, &sendProgress);
        if (PFN_STATUS_CALLBACK callback = m_pNavigateParams->GetSendStatusCallback()) {
            callback(position, written, m_pNavigateParams->GetSendStatusParam());
        }
        status = sendProgress.Step(10UL) ? 0 : Error_Aborted;
        if (result == IOError_Fail) {
            status = Error_IO_Write_Fail;
        } else if (result == IOError_Timeout || (result == 0 && written == 0)) {
            status = Error_Timeout;
        }
        left -= written;
        position += written;
        last = written;
        if (status != 0) {
            break;
        }
        if (!sendProgress.Step(0UL)) {
            status = Error_Aborted;
        }
    }
    return logScope.m_errorCode = status;
}

unsigned long CHTTPClient::SendData(const char* data, unsigned long size, unsigned long* written,
                                    IProgress* progress)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::SendData");
    CProgressAggregator localProgress(progress, 1);
    const unsigned long result = m_pIDeviceConnection->Write(data, size, written, &localProgress);
    if (result != 0) {
        QV_LOG_ERROR(L"%s m_pIDeviceConnection->Write returned 0x%08X", logScope.GetDisplayName(), result);
    }
    return logScope.m_errorCode = result;
}

}  // namespace QVIOStack
