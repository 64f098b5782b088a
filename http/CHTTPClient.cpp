#include "http/CHTTPClient.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwctype>
#include <map>
#include <cwchar>
#include <new>
#include <sstream>
#include <vector>

#include "http/CCodePage1252.h"
#include "http/CConnectionLock.h"
#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "iostack/CIONetwork.h"
#include "iostack/IOStatus.h"
#include "logging/LogTrace.h"
#include "utils/CBase64.h"
#include "utils/CTickCountHelper.h"
#include "utils/MD5.h"
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
constexpr unsigned long kHeaderTextLimit = 1024;
constexpr unsigned long kNoDrainFlag = 1;
constexpr unsigned long kStatusUnauthorized = 401;
constexpr unsigned long kStatusMovedPermanently = 301;
constexpr unsigned long kStatusFound = 302;
constexpr unsigned long kStatusTemporaryRedirect = 307;

constexpr unsigned long kAuthNone = 0;
constexpr unsigned long kAuthBasic = 1;
constexpr unsigned long kAuthDigest = 2;
constexpr unsigned long kAuthDigestQop = 3;
constexpr unsigned long kAuthDigestQopIntegrity = 4;
constexpr unsigned long kStatusContinue = 100;
constexpr unsigned long kStatusOK = 200;
constexpr unsigned long kMethodPut = 1;
constexpr unsigned long kMethodHead = 4;
// The header buffer of a response, also the limit on its header block.
constexpr unsigned long kResponseBufferSize = 4096;
// How long a response without a length may pause before it counts as ended.
constexpr unsigned long kUnknownSizeTimeoutMs = 500;
// The step by which the client's buffer grows when data are copied into it.
constexpr unsigned long kContentGrowth = 4096;
constexpr unsigned long kProgressRead = 11;

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

// Position of the first CR LF in a byte range, or `length` if there is none.
unsigned long FindLineEnd(const char* text, unsigned long length)
{
    for (unsigned long i = 0; i + 1 < length; ++i) {
        if (text[i] == '\r' && text[i + 1] == '\n') {
            return i;
        }
    }
    return length;
}

std::wstring Text(const wchar_t* text)
{
    return text ? text : L"";
}

// The size of a chunk line without its line end: a hexadecimal number read
// as a stream does, so that an extension behind it is ignored and a line
// without a number counts as 0.
long ParseChunkSize(const char* line, unsigned long length)
{
    std::istringstream stream(std::string(line, length));
    long size = 0;
    stream >> std::hex >> size;
    return size;
}

bool EqualsIgnoringASCIICase(const std::wstring& a, const wchar_t* b)
{
    const size_t length = wcslen(b);
    if (a.size() != length) {
        return false;
    }
    for (size_t i = 0; i < length; ++i) {
        if (HeaderNameLess::Fold(a[i]) != HeaderNameLess::Fold(b[i])) {
            return false;
        }
    }
    return true;
}

// The names of a Trailer header, split at each "," and not trimmed.
std::vector<std::wstring> SplitTrailerNames(const std::wstring& value)
{
    std::vector<std::wstring> names;
    size_t start = 0;
    for (size_t comma; (comma = value.find(L',', start)) != std::wstring::npos; start = comma + 1) {
        names.push_back(value.substr(start, comma - start));
    }
    names.push_back(value.substr(start));
    return names;
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

unsigned long CHTTPClient::ReadResponse(IProgress* progress)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::ReadResponse");
    CProgressAggregator localProgress(progress, 4);
    char buffer[kResponseBufferSize];
    unsigned long ulHeaderBytes = 0;
    unsigned long contentLength = 0;
    unsigned long status = 0;
    ReadState state = rs_start;
    while (state != rs_done) {
        const unsigned long headerLength = static_cast<unsigned long>(m_strResponseHeader.size());
        switch (state) {
        case rs_start:
            m_headers.clear();
            m_strResponseHeader.clear();
            FreeContentBuffer();
            ulHeaderBytes = 0;
            state = rs_readHeader;
            if (!localProgress.Step(kProgressRead)) {
                status = Error_Aborted;
                state = rs_done;
            }
            break;
        case rs_readHeader:
            status = ReadHeader(buffer, sizeof(buffer), &ulHeaderBytes, &localProgress);
            if (status != 0) {
                if (status == Error_Timeout) {
                    QV_LOG_ERROR(L"CHTTPClient::ReadResponse ReadHeader failed (Error_Timeout=>Error_IO_Read_Fail)");
                    status = Error_IO_Read_Fail;
                }
                state = rs_done;
                break;
            }
            state = rs_parseHeader;
            if (!localProgress.StepNext(kProgressRead)) {
                status = Error_Aborted;
                state = rs_done;
            }
            break;
        case rs_parseHeader:
            if (ParseResponseHeader(buffer, headerLength) != 0) {
                QV_LOG_ERROR(L"CHTTPClient::ReadResponse ParseResponseHeader failed (Error_IO_Read_Fail)");
                status = Error_IO_Read_Fail;
                state = rs_done;
                break;
            }
            state = ChooseContentReading(&contentLength);
            break;
        case rs_readContentKnownSize:
            localProgress.Inhibit(true);
            status = ReadContentKnownSize(buffer + headerLength, ulHeaderBytes - headerLength, contentLength,
                                          &localProgress);
            localProgress.Inhibit(false);
            if (status == Error_Timeout) {
                QV_LOG_ERROR(L"CHTTPClient::ReadResponse rs_readContentKnownSize CopyDataToContentBuffer timed out "
                             L"(Error_IO_Read_Fail)");
                status = Error_IO_Read_Fail;
            }
            state = rs_done;
            break;
        case rs_readContentUnknownSize:
            localProgress.Inhibit(true);
            status = ReadContentUnknownSize(buffer + headerLength, ulHeaderBytes - headerLength, &localProgress);
            localProgress.Inhibit(false);
            state = rs_done;
            break;
        case rs_readContentChunked:
            status = ReadContentChunked(buffer, sizeof(buffer), ulHeaderBytes, &localProgress);
            state = rs_done;
            break;
        default:
            state = rs_done;
            break;
        }
    }

    // Chunked and unknown-size content tell their length like any other.
    if (contentLength == 0 && m_ulContentBufferUsed != 0) {
        m_headers[L"Content-Length"] = std::to_wstring(m_ulContentBufferUsed);
    }
    if (!localProgress.StepNext(kProgressRead)) {
        status = Error_Aborted;
    }
    if (m_ulStatusCode == kStatusUnauthorized) {
        SetupAuthentication();
    }
    return logScope.m_errorCode = status;
}

// After a parsed header: what to read of the content, by the status and the
// headers. 100 starts over; other statuses above 200, except 401, carry no
// content that is read. A HEAD with a length reads nothing, a HEAD without
// one reads until the device stops; a PUT without a length reads nothing.
CHTTPClient::ReadState CHTTPClient::ChooseContentReading(unsigned long* contentLength)
{
    if (m_ulStatusCode == kStatusContinue) {
        return rs_start;
    }
    if (m_ulStatusCode > kStatusOK && m_ulStatusCode != kStatusUnauthorized) {
        return rs_done;
    }
    const unsigned long method = m_pNavigateParams ? m_pNavigateParams->GetHTTPRequestMethod() : 0;
    if (IsContentChunked()) {
        return rs_readContentChunked;
    }
    if (IsContentLengthSpecified(contentLength)) {
        return method == kMethodHead ? rs_done : rs_readContentKnownSize;
    }
    return method == kMethodPut ? rs_done : rs_readContentUnknownSize;
}

unsigned long CHTTPClient::ReadContentKnownSize(const char* behindHeader, unsigned long behindCount,
                                                unsigned long contentLength, IProgress* progress)
{
    unsigned long status = CreateContentBufferIfNeeded(contentLength);
    if (status == 0) {
        status = CopyDataToContentBuffer(behindHeader, behindCount);
    }
    if (status == 0 && behindCount < contentLength) {
        unsigned long bytesRead = 0;
        status = ReadContentNumBytes(contentLength - behindCount, &bytesRead, progress);
    }
    return status;
}

// Reads until the device pauses for longer than a short read timeout: the
// time-out is the normal end. A closed connection gives 1, a success that
// Navigate overwrites with the result of closing.
unsigned long CHTTPClient::ReadContentUnknownSize(const char* behindHeader, unsigned long behindCount,
                                                  IProgress* progress)
{
    unsigned long status = CreateContentBufferIfNeeded(kResponseBufferSize);
    if (status == 0) {
        status = CopyDataToContentBuffer(behindHeader, behindCount);
    }
    if (status != 0) {
        return status;
    }
    const unsigned long readTimeout = m_pIDeviceConnection->GetReadTimeout();
    m_pIDeviceConnection->SetReadTimeout(kUnknownSizeTimeoutMs);
    unsigned long bytesRead = 0;
    do {
        status = ReadContentNumBytes(kResponseBufferSize, &bytesRead, progress);
    } while (status == 0);
    m_pIDeviceConnection->SetReadTimeout(readTimeout);
    if (status == Error_Timeout) {
        return 0;
    }
    return status == Error_IO_Read_Fail ? 1 : status;
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

void CHTTPClient::AddAuthorization(QVLogging::CLogFunction& logScope)
{
    const unsigned long scheme = m_pNavigateParams->GetAuthScheme();
    std::wstring value;
    switch (scheme) {
    case kAuthNone:
        return;
    case kAuthBasic: {
        const std::wstring credentials = Text(m_pNavigateParams->GetUserName()) + L":"
            + Text(m_pNavigateParams->GetPassword());
        const QVCrypt::CBase64<wchar_t> encoded(credentials.c_str());
        value = std::wstring(L"Basic ") + encoded.GetEncoded();
        break;
    }
    case kAuthDigest:
    case kAuthDigestQop:
    case kAuthDigestQopIntegrity:
        value = DigestAuthorization(scheme);
        break;
    default:
        // No header can be made; marking the attempt as made keeps a 401
        // from being retried for ever.
        QV_LOG_ERROR(L"%s unknown authentication scheme %u, no Authorization header", logScope.GetDisplayName(),
                     static_cast<unsigned int>(scheme));
        m_pNavigateParams->SetTriedAuthenticating(true);
        return;
    }
    m_pNavigateParams->AddExtraHeader(L"Authorization", value.c_str());
    m_pNavigateParams->SetTriedAuthenticating(true);
}

std::wstring CHTTPClient::DigestAuthorization(unsigned long scheme)
{
    IHTTPNavigateParams& params = *m_pNavigateParams;
    const std::wstring qop = scheme == kAuthDigestQop ? L"auth" : scheme == kAuthDigestQopIntegrity ? L"auth-int" : L"";
    const std::wstring user = Text(params.GetUserName());
    const std::wstring realm = Text(params.GetRealm());
    const std::wstring nonce = Text(params.GetNonce());
    // The URI as the caller gave it, without the client's root.
    const std::wstring uri = Text(params.GetURI());
    std::wstring method;
    params.GetHTTPMethodText(method);
    method.erase(std::remove(method.begin(), method.end(), L' '), method.end());

    std::wstring value = L"Digest username=\"" + user + L"\", realm=\"" + realm + L"\", nonce=\"" + nonce
        + L"\", uri=\"" + uri + L"\", algorithm=MD5";
    std::wstring nc;
    std::wstring cnonce;
    if (!qop.empty()) {
        nc = Text(params.IncrNonceCount());
        cnonce = Text(params.GetCNonce());
        value += L", qop=" + qop + L", nc=" + nc + L", cnonce=\"" + cnonce + L"\"";
    }
    // auth-int is announced but computed as auth: the body is not hashed.
    const QVUtils::MD5 response(nonce.c_str(), cnonce.c_str(), user.c_str(), realm.c_str(),
                                Text(params.GetPassword()).c_str(), qop.c_str(), uri.c_str(), method.c_str(),
                                nc.c_str());
    value += L", response=\"" + response.GetDigest() + L"\", opaque=\"" + Text(params.GetOpaque()) + L"\"";
    return value;
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

unsigned long CHTTPClient::ParseResponseHeader(const char* header, unsigned long length)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::ParseResponseHeader");
    unsigned long statusLength = 0;
    unsigned long status = ParseStatusFromHeader(header, length, &statusLength);
    if (status != 0) {
        return logScope.m_errorCode = status;
    }
    const std::string rest(header + statusLength, length - statusLength);
    const char* line = rest.data();
    unsigned long remaining = static_cast<unsigned long>(rest.size());
    while (remaining >= 2 && status == 0) {
        unsigned long lineLength = 0;
        status = FindNextHeaderLen(line, remaining, &lineLength);
        if (status == 0 && lineLength > 2) {
            ParseHeader(line, lineLength);
        }
        line += lineLength;
        remaining -= lineLength;
    }
    return logScope.m_errorCode = status;
}

unsigned long CHTTPClient::ParseStatusFromHeader(const char* header, unsigned long length,
                                                 unsigned long* statusLength)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::ParseStatusFromHeader");
    if (header == nullptr || length == 0) {
        QV_LOG_ERROR(L"%s Error_Fail pHeader is null or ulHeaderLen is zero", logScope.GetDisplayName());
        return logScope.m_errorCode = Error_Fail;
    }
    unsigned long blank = 0;
    while (blank + 5 <= length && !(header[blank] == ' ' && header[blank + 1] != ' ')) {
        ++blank;
    }
    if (blank + 5 > length) {
        return logScope.m_errorCode = Error_Fail;
    }
    const std::string code(header + blank + 1, 3);
    const long number = strtol(code.c_str(), nullptr, 10);
    *statusLength = blank + 5;
    if (number >= 506) {
        return logScope.m_errorCode = Error_Fail;
    }
    m_ulStatusCode = static_cast<unsigned long>(number);
    if (*statusLength >= length - 4) {
        QV_LOG_ERROR(L"%s Error_Fail invalid header ulStatusLen=%d ulHeaderLen=%d", logScope.GetDisplayName(),
                     static_cast<int>(*statusLength), static_cast<int>(length));
        return logScope.m_errorCode = Error_Fail;
    }
    unsigned long lineLength = 0;
    FindNextHeaderLen(header + *statusLength, length - *statusLength, &lineLength);
    if (lineLength < 3) {
        return 0;
    }
    if (!CCodePage1252::ToWide(header + *statusLength, lineLength - 2, kHeaderTextLimit, m_strStatusText)) {
        return logScope.m_errorCode = Error_Fail;
    }
    *statusLength += lineLength;
    return 0;
}

unsigned long CHTTPClient::FindNextHeaderLen(const char* buffer, unsigned long length, unsigned long* lineLength)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::FindNextHeaderLen");
    *lineLength = 0;
    if (buffer == nullptr) {
        QV_LOG_ERROR(L"%s Error_Fail pBuffer is null", logScope.GetDisplayName());
        return logScope.m_errorCode = Error_Fail;
    }
    if (length == 0) {
        return 0;
    }
    const unsigned long end = FindLineEnd(buffer, length);
    if (end == length) {
        return logScope.m_errorCode = Error_Fail;
    }
    *lineLength = end + 2;
    return 0;
}

unsigned long CHTTPClient::ParseHeader(const char* line, unsigned long length)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::ParseHeader");
    if (line == nullptr || length == 0) {
        QV_LOG_ERROR(L"%s Error_Fail pHeader is null or ulHeaderLen is zero", logScope.GetDisplayName());
        return logScope.m_errorCode = Error_Fail;
    }
    const unsigned long end = FindLineEnd(line, length);
    const char* separator = nullptr;
    for (unsigned long i = 0; i + 1 < end && separator == nullptr; ++i) {
        if (line[i] == ':' && line[i + 1] == ' ') {
            separator = line + i;
        }
    }
    if (separator == nullptr) {
        return logScope.m_errorCode = Error_Fail;
    }
    const unsigned long nameLength = static_cast<unsigned long>(separator - line);
    std::wstring name;
    std::wstring value;
    if (!CCodePage1252::ToWide(line, nameLength, kHeaderTextLimit, name)
        || !CCodePage1252::ToWide(separator + 2, end - nameLength - 2, kHeaderTextLimit, value)) {
        return logScope.m_errorCode = Error_Fail;
    }
    m_headers[name] = value;
    return 0;
}

void CHTTPClient::SetupAuthentication()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::SetupAuthentication");
    const wchar_t* header = GetHeaderEntry(L"WWW-Authenticate");
    if (header == nullptr || m_pNavigateParams == nullptr) {
        return;
    }
    const std::wstring text(header);
    const size_t blank = text.find(L' ');
    if (blank == std::wstring::npos) {
        return;
    }
    const std::wstring scheme = text.substr(0, blank);
    if (EqualsIgnoringASCIICase(scheme, L"Basic")) {
        m_pNavigateParams->SetAuthScheme(kAuthBasic);
        return;
    }
    if (!EqualsIgnoringASCIICase(scheme, L"Digest")) {
        return;
    }

    // name=value pairs cut at each comma, whether quoted or not: a quoted
    // list loses its tail to the next name, and no value holds a comma.
    std::map<std::wstring, std::wstring> parameters;
    size_t position = text.find_first_not_of(L' ', blank);
    while (position != std::wstring::npos) {
        const size_t equals = text.find(L'=', position);
        if (equals == std::wstring::npos) {
            break;
        }
        std::wstring name = text.substr(position, equals - position);
        const size_t comma = text.find(L',', equals);
        std::wstring value = text.substr(equals + 1, comma == std::wstring::npos ? std::wstring::npos
                                                                                 : comma - equals - 1);
        position = comma == std::wstring::npos ? comma : text.find_first_not_of(L' ', comma + 1);
        value.erase(std::remove(value.begin(), value.end(), L'"'), value.end());
        std::transform(name.begin(), name.end(), name.begin(),
                       [](wchar_t c) { return static_cast<wchar_t>(std::towlower(c)); });
        parameters[name] = value;
    }

    const std::wstring qop = parameters[L"qop"];
    if (qop == L"auth" || qop.find(L"auth,") != std::wstring::npos) {
        m_pNavigateParams->SetAuthScheme(kAuthDigestQop);
    } else if (qop.find(L"auth-int") != std::wstring::npos) {
        m_pNavigateParams->SetAuthScheme(kAuthDigestQopIntegrity);
    } else {
        m_pNavigateParams->SetAuthScheme(kAuthDigest);
    }
    m_pNavigateParams->SetRealm(parameters[L"realm"].c_str());
    m_pNavigateParams->SetNonce(parameters[L"nonce"].c_str());
    m_pNavigateParams->SetOpaque(parameters[L"opaque"].c_str());
}

unsigned long CHTTPClient::HandleRedirection(IProgress* progress)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::HandleRedirection");
    CProgressAggregator localProgress(progress, 1);
    if (m_ulStatusCode != kStatusMovedPermanently && m_ulStatusCode != kStatusFound
        && m_ulStatusCode != kStatusTemporaryRedirect) {
        return 0;
    }
    const wchar_t* locationEntry = GetHeaderEntry(L"Location");
    if (locationEntry == nullptr) {
        QV_LOG_ERROR(L"%s Error_NoLocation status %u without Location", logScope.GetDisplayName(),
                     static_cast<unsigned int>(m_ulStatusCode));
        return logScope.m_errorCode = Error_NoLocation;
    }
    IHTTPNavigateParams* params = m_pNavigateParams;
    if (params == nullptr) {
        return logScope.m_errorCode = Error_InvalidArgument;
    }
    const std::wstring location(locationEntry);
    const std::wstring uri = Text(params->GetURI());
    const size_t uriSlash = uri.find(L'/');
    const size_t slashes = location.find(L"//");
    if (uriSlash == std::wstring::npos || slashes == std::wstring::npos) {
        QV_LOG_ERROR(L"%s Error_BadLocation Location: %s, URI: %s", logScope.GetDisplayName(), location.c_str(),
                     uri.c_str());
        return logScope.m_errorCode = Error_BadLocation;
    }
    std::wstring schemeText = location.substr(0, slashes);
    std::transform(schemeText.begin(), schemeText.end(), schemeText.begin(),
                   [](wchar_t c) { return static_cast<wchar_t>(std::towlower(c)); });
    const bool secure = schemeText == L"https:";
    // Host and path; with no path the rest is both, and the path then gets
    // the old URI from its first "/" behind the host name.
    const std::wstring rest = location.substr(slashes + 2);
    const size_t pathStart = rest.find(L'/');
    const std::wstring host = rest.substr(0, pathStart);
    std::wstring path = pathStart == std::wstring::npos ? rest : rest.substr(pathStart);

    IDeviceConnection* redirected = CreateRedirectedNetworkConnection(secure, host.c_str());
    if (redirected == nullptr) {
        QV_LOG_ERROR(L"%s no connection to %s, the redirect is not followed", logScope.GetDisplayName(),
                     location.c_str());
        return 0;
    }
    IDeviceConnection* original = m_pIDeviceConnection;
    m_pIDeviceConnection = redirected;
    if (path.find(L'/') == std::wstring::npos) {
        path += uri.substr(uriSlash);
    }
    unsigned long status;
    try {
        params->SetURI(path.c_str());
        localProgress.Inhibit(true);
        status = Navigate(params, &localProgress);
        localProgress.Inhibit(false);
    } catch (...) {
        redirected->Dispose();
        m_pIDeviceConnection = original;
        throw;
    }
    redirected->Dispose();
    m_pIDeviceConnection = original;
    return logScope.m_errorCode = status;
}

IDeviceConnection* CHTTPClient::CreateRedirectedNetworkConnection(bool secure, const wchar_t* serviceAddress)
{
    QV_LOG_FUNCTION_PARAMS(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::CreateRedirectedNetworkConnection",
                           L"%s, %s", secure ? L"secure" : L"plain", serviceAddress ? serviceAddress : L"(null)");
    IDeviceConnection* connection = CreateIONetwork(secure);
    if (connection == nullptr) {
        QV_LOG_ERROR(L"%s no %s network connection can be made", logScope.GetDisplayName(),
                     secure ? L"secure" : L"plain");
        return nullptr;
    }
    const unsigned long status = connection->Initialize(serviceAddress);
    if (status != 0) {
        QV_LOG_ERROR(L"%s Initialize returned 0x%08X", logScope.GetDisplayName(), static_cast<unsigned int>(status));
        delete connection;
        return nullptr;
    }
    connection->AddRef();
    return connection;
}

unsigned long CHTTPClient::ReadHeader(char* buffer, unsigned long size, unsigned long* headerBytes,
                                      IProgress* progress)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::ReadHeader");
    CProgressAggregator localProgress(progress, 1);
    localProgress.Inhibit(true);
    *headerBytes = 0;
    for (;;) {
        unsigned long headerLength = 0;
        if (IsHeaderComplete(buffer, *headerBytes, &headerLength)) {
            m_strResponseHeader.assign(buffer, headerLength);
            return 0;
        }
        // A full buffer asks for 0 bytes, which ends in a time-out.
        unsigned long count = 0;
        unsigned long status = ReadData(buffer + *headerBytes, size - *headerBytes, &count, &localProgress);
        *headerBytes += count;
        if (count == 0 && status == 0) {
            QV_LOG_ERROR(L"CHTTPClient::ReadHeader zero bytes read (Error_IO_Read_Fail)");
            status = Error_IO_Read_Fail;
        }
        if (status == 0 && !localProgress.Step(kProgressRead)) {
            status = Error_Aborted;
        }
        if (status != 0) {
            return logScope.m_errorCode = status;
        }
    }
}

bool CHTTPClient::IsHeaderComplete(const char* buffer, unsigned long bytes, unsigned long* headerLength)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::IsHeaderComplete");
    for (unsigned long i = 0; i + 4 <= bytes; ++i) {
        if (memcmp(buffer + i, "\r\n\r\n", 4) == 0) {
            *headerLength = i + 4;
            return true;
        }
    }
    return false;
}

bool CHTTPClient::IsContentChunked()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::IsContentChunked");
    const wchar_t* encoding = GetHeaderEntry(L"Transfer-Encoding");
    return encoding != nullptr && EqualsIgnoringASCIICase(encoding, L"Chunked");
}

bool CHTTPClient::IsContentLengthSpecified(unsigned long* length)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::IsContentLengthSpecified");
    const wchar_t* value = GetHeaderEntry(L"Content-Length");
    if (value == nullptr) {
        return false;
    }
    *length = static_cast<unsigned long>(wcstol(value, nullptr, 10));
    return true;
}

// The chunk lines are read from the header buffer, where `used` bytes lie
// and the body starts behind the header; chunk data go to the content. A
// chunk line is read a byte at a time only when it isn't in the buffer yet.
unsigned long CHTTPClient::ReadContentChunked(char* buffer, unsigned long size, unsigned long used,
                                              IProgress* progress)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::ReadContentChunked");
    CProgressAggregator localProgress(progress, 1);
    localProgress.Inhibit(true);
    unsigned long status = CreateContentBufferIfNeeded(kResponseBufferSize);
    unsigned long pos = static_cast<unsigned long>(m_strResponseHeader.size());
    bool lastChunk = false;
    while (status == 0 && !lastChunk) {
        unsigned long lineEnd = pos + FindLineEnd(buffer + pos, used - pos);
        while (status == 0 && lineEnd == used) {
            if (used >= size) {
                QV_LOG_ERROR(L"%s Error_Fail no more space in buffer used=%d len=%d", logScope.GetDisplayName(),
                             static_cast<int>(used), static_cast<int>(size));
                status = Error_Fail;
                break;
            }
            unsigned long count = 0;
            status = ReadData(buffer + used, 1, &count, &localProgress);
            used += count;
            if (status == 0 && count == 0) {
                // A read that brings nothing without failing would repeat for ever.
                status = Error_IO_Read_Fail;
            }
            lineEnd = pos + FindLineEnd(buffer + pos, used - pos);
        }
        if (status != 0) {
            break;
        }
        const long chunkSize = ParseChunkSize(buffer + pos, lineEnd - pos);
        pos = lineEnd + 2;
        QV_LOG_INFO(1, L"ReadContentChunked: next chunksize is %ld bytes", chunkSize);
        if (chunkSize < 0) {
            QV_LOG_ERROR(L"%s Error_Fail negative chunk size", logScope.GetDisplayName());
            status = Error_Fail;
            break;
        }
        if (chunkSize == 0) {
            lastChunk = true;
            break;
        }

        unsigned long missing = static_cast<unsigned long>(chunkSize);
        if (used > pos) {
            const unsigned long held = used - pos;
            if (held >= missing) {
                status = CopyDataToContentBuffer(buffer + pos, missing);
                pos += missing;
                missing = 0;
            } else {
                status = CopyDataToContentBuffer(buffer + pos, held);
                missing -= held;
                pos = 0;
                used = 0;
            }
            if (status != 0) {
                continue;
            }
        }
        if (missing != 0) {
            unsigned long count = 0;
            status = ReadContentNumBytes(missing, &count, &localProgress);
            QV_LOG_INFO(1, L"ReadContentChunked: ReadContentNumBytes requested %ld bytes, read %ld bytes",
                        static_cast<long>(missing), static_cast<long>(count));
            if (status != 0) {
                continue;
            }
        }

        // The chunk's line end, read into the start of the buffer when it
        // isn't there whole.
        if (used - pos >= 2) {
            pos += 2;
            continue;
        }
        const unsigned long lineEndMissing = 2 - (used - pos);
        unsigned long got = 0;
        while (status == 0 && got < lineEndMissing) {
            unsigned long count = 0;
            status = ReadData(buffer + got, lineEndMissing - got, &count, &localProgress);
            got += count;
            if (status == 0 && count == 0) {
                status = Error_IO_Read_Fail;
            }
        }
        pos = 0;
        used = 0;
    }
    // Without a Trailer header the body's final blank line isn't read: it is
    // drained before the next exchange.
    if (status == 0 && GetHeaderEntry(L"Trailer") != nullptr) {
        status = ReadTrailers(buffer, size, pos, used, localProgress, logScope);
    }
    return logScope.m_errorCode = status;
}

// Reads as many header lines behind the last chunk as the Trailer header
// names, enters them into the headers and into the raw header block, and
// checks that every name announced came.
unsigned long CHTTPClient::ReadTrailers(char* buffer, unsigned long size, unsigned long pos, unsigned long used,
                                        CProgressAggregator& progress, QVLogging::CLogFunction& logScope)
{
    const std::vector<std::wstring> names = SplitTrailerNames(GetHeaderEntry(L"Trailer"));
    size_t left = names.size();
    unsigned long status = 0;
    bool reading = true;
    while (left != 0 && status == 0 && reading) {
        memmove(buffer, buffer + pos, used - pos);
        used -= pos;
        pos = 0;
        const unsigned long lineEnd = FindLineEnd(buffer, used);
        if (lineEnd != used && lineEnd != 0) {
            const unsigned long lineLength = lineEnd + 2;
            ParseHeader(buffer, lineLength);
            m_strResponseHeader.insert(m_strResponseHeader.size() - 2, buffer, lineLength);
            pos = lineLength;
            --left;
        } else if (used >= size) {
            QV_LOG_ERROR(L"%s Error_Fail no more space in buffer while reading trailing headers, used=%d len=%d",
                         logScope.GetDisplayName(), static_cast<int>(used), static_cast<int>(size));
            status = Error_Fail;
        } else {
            unsigned long count = 0;
            reading = ReadData(buffer + used, 1, &count, &progress) == 0 && count != 0;
            used += count;
        }
    }
    for (const std::wstring& name : names) {
        if (status == 0 && GetHeaderEntry(name.c_str()) == nullptr) {
            QV_LOG_ERROR(L"%s Error_Fail header entry is null", logScope.GetDisplayName());
            status = Error_Fail;
        }
    }
    if (status == 0 && !progress.StepNext(kProgressRead)) {
        status = Error_Aborted;
    }
    return status;
}

unsigned long CHTTPClient::ReadContentNumBytes(unsigned long count, unsigned long* bytesRead, IProgress* progress)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::ReadContentNumBytes");
    CProgressAggregator localProgress(progress, 1);
    localProgress.Inhibit(true);
    *bytesRead = 0;
    ContentBuffer* callers = CallersContentBuffer();
    if (callers == nullptr) {
        if (m_pContentBuffer == nullptr) {
            QV_LOG_ERROR(L"%s Error_Fail ContentBuffer is null", logScope.GetDisplayName());
            return logScope.m_errorCode = Error_Fail;
        }
        if (m_ulContentBufferSize - m_ulContentBufferUsed < count && !GrowContentBuffer(count)) {
            FreeContentBuffer();
            return logScope.m_errorCode = Error_OutOfMemory;
        }
    }
    unsigned long status = 0;
    while (*bytesRead < count && status == 0) {
        // The reads go straight into the final buffer.
        ContentBuffer freeRoom{};
        ContentBuffer* target = callers;
        if (callers == nullptr) {
            freeRoom = {m_pContentBuffer + m_ulContentBufferUsed, m_ulContentBufferSize - m_ulContentBufferUsed, 0};
            target = &freeRoom;
        } else if (callers->ulBufferSize == 0 || callers->ulBufferUsed >= callers->ulBufferSize) {
            status = Error_ContentBufferFull;
            continue;
        }
        if (target->pBuffer == nullptr) {
            QV_LOG_ERROR(L"%s Error_Fail ContentBuffer->pBuffer is null", logScope.GetDisplayName());
            status = Error_Fail;
            continue;
        }
        const unsigned long wanted = std::min(count - *bytesRead, target->ulBufferSize - target->ulBufferUsed);
        unsigned long got = 0;
        status = ReadData(target->pBuffer + target->ulBufferUsed, wanted, &got, &localProgress);
        target->ulBufferUsed += got;
        *bytesRead += got;
        if (callers == nullptr) {
            m_ulContentBufferUsed += got;
        }
        if (status == 0 && got == 0) {
            // A read that brings nothing without failing would repeat for ever.
            status = Error_IO_Read_Fail;
        }
        if (!TellReadContent(target)) {
            status = Error_Aborted;
        }
        if (!localProgress.Step(0UL)) {
            status = Error_Aborted;
        }
    }
    return logScope.m_errorCode = status;
}

unsigned long CHTTPClient::ReadData(void* destination, unsigned long count, unsigned long* bytesRead,
                                    IProgress* progress)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::ReadData");
    *bytesRead = 0;
    if (m_pIDeviceConnection == nullptr) {
        return logScope.m_errorCode = Error_InvalidArgument;
    }
    CProgressAggregator localProgress(progress, 1);
    const unsigned long result = m_pIDeviceConnection->Read(destination, count, bytesRead, &localProgress);
    if (result != 0) {
        QV_LOG_ERROR(L"%s m_pIDeviceConnection->Read returned 0x%08X", logScope.GetDisplayName(), result);
    }
    if (m_pNavigateParams != nullptr) {
        if (PFN_STATUS_CALLBACK callback = m_pNavigateParams->GetReadStatusCallback()) {
            callback(destination, *bytesRead, m_pNavigateParams->GetReadStatusParam());
        }
    }
    unsigned long status = localProgress.Step(kProgressRead) ? 0 : Error_Aborted;
    if (result == IOError_Fail) {
        QV_LOG_ERROR(L"CHTTPClient::ReadData m_pIDeviceConnection->Read (IOError_Fail) Error_IO_Read_Fail");
        status = Error_IO_Read_Fail;
    } else if (result == IOError_Timeout) {
        status = Error_Timeout;
        QV_LOG_ERROR(L"CHTTPClient::ReadData m_pIDeviceConnection->Read Error_Timeout 0x%08X", status);
    } else if (result == 0 && *bytesRead == 0) {
        status = Error_Timeout;
        QV_LOG_ERROR(L"CHTTPClient::ReadData  m_pIDeviceConnection->Read ulBytesRead = 0 Error_Timeout 0x%08X",
                     status);
    }
    return logScope.m_errorCode = status;
}

unsigned long CHTTPClient::CreateContentBufferIfNeeded(unsigned long size)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::CreateContentBufferIfNeeded");
    if (CallersContentBuffer() != nullptr) {
        return 0;
    }
    FreeContentBuffer();
    m_pContentBuffer = new (std::nothrow) unsigned char[size];
    if (m_pContentBuffer == nullptr) {
        return logScope.m_errorCode = Error_OutOfMemory;
    }
    m_ulContentBufferSize = size;
    return 0;
}

unsigned long CHTTPClient::CopyDataToContentBuffer(const void* data, unsigned long count)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::CopyDataToContentBuffer");
    const unsigned char* bytes = static_cast<const unsigned char*>(data);
    if (ContentBuffer* callers = CallersContentBuffer()) {
        // A full buffer is reported even when all the data fitted; a callback
        // that consumes the data sets the count used back.
        unsigned long status = callers->ulBufferUsed >= callers->ulBufferSize ? Error_ContentBufferFull : 0;
        if (status == 0 && count != 0 && callers->pBuffer == nullptr) {
            QV_LOG_ERROR(L"%s Error_Fail ContentBuffer->pBuffer is null", logScope.GetDisplayName());
            status = Error_Fail;
        }
        unsigned long copied = 0;
        while (status == 0 && copied < count) {
            const unsigned long piece = std::min(count - copied, callers->ulBufferSize - callers->ulBufferUsed);
            memcpy(callers->pBuffer + callers->ulBufferUsed, bytes + copied, piece);
            callers->ulBufferUsed += piece;
            copied += piece;
            if (!TellReadContent(callers)) {
                status = Error_Aborted;
            }
            if (callers->ulBufferUsed >= callers->ulBufferSize) {
                status = Error_ContentBufferFull;
            }
        }
        return logScope.m_errorCode = status;
    }

    if (m_pContentBuffer == nullptr) {
        QV_LOG_ERROR(L"%s Error_Fail m_pContentBuffer is null", logScope.GetDisplayName());
        return logScope.m_errorCode = Error_Fail;
    }
    const unsigned long room = m_ulContentBufferSize - m_ulContentBufferUsed;
    if (room < count) {
        const unsigned long growth = (count - room + kContentGrowth - 1) / kContentGrowth * kContentGrowth;
        if (!GrowContentBuffer(growth)) {
            return logScope.m_errorCode = Error_OutOfMemory;
        }
    }
    memcpy(m_pContentBuffer + m_ulContentBufferUsed, bytes, count);
    ContentBuffer added{m_pContentBuffer + m_ulContentBufferUsed, count, count};
    m_ulContentBufferUsed += count;
    return logScope.m_errorCode = TellReadContent(&added) ? 0 : Error_Aborted;
}

bool CHTTPClient::GrowContentBuffer(unsigned long extra)
{
    const unsigned long size = m_ulContentBufferSize + extra;
    if (size < m_ulContentBufferSize) {
        return false;
    }
    unsigned char* grown = new (std::nothrow) unsigned char[size];
    if (grown == nullptr) {
        return false;
    }
    memcpy(grown, m_pContentBuffer, m_ulContentBufferUsed);
    delete[] m_pContentBuffer;
    m_pContentBuffer = grown;
    m_ulContentBufferSize = size;
    return true;
}

ContentBuffer* CHTTPClient::CallersContentBuffer()
{
    return m_pNavigateParams ? m_pNavigateParams->GetContentBuffer() : nullptr;
}

bool CHTTPClient::TellReadContent(ContentBuffer* buffer)
{
    if (m_pNavigateParams == nullptr) {
        return true;
    }
    PFN_READ_CONTENT_CALLBACK callback = m_pNavigateParams->GetReadContentCallback();
    return callback == nullptr || callback(buffer, m_pNavigateParams->GetReadContentParam());
}

void CHTTPClient::FreeContentBuffer()
{
    delete[] m_pContentBuffer;
    m_pContentBuffer = nullptr;
    m_ulContentBufferSize = 0;
    m_ulContentBufferUsed = 0;
}

}  // namespace QVIOStack
