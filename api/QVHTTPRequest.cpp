#include "api/QVHTTPRequest.h"

#include <cstring>
#include <cwchar>
#include <cwctype>
#include <exception>
#include <new>

#include "logging/LogTrace.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

namespace {

struct MethodName {
    const wchar_t* text;
    unsigned long number;
};

// The methods a request can carry, with the client's numbers for them.
constexpr MethodName kMethods[] = {
    {L"GET", 0},
    {L"PUT", 1},
    {L"POST", 2},
    {L"DELETE", 3},
};

}  // namespace

QVHTTPRequest::QVHTTPRequest(QVIOStack::IHTTPClient* client)
    : m_pClient(client), m_pParams(new QVIOStack::CHTTPNavigateParams())
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVHTTPRequest::QVHTTPRequest");
    if (m_pClient != nullptr) {
        m_pClient->AddRef();
    }
}

QVHTTPRequest::~QVHTTPRequest()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVHTTPRequest::~QVHTTPRequest");
    delete[] m_pContent;
    delete m_pParams;
    delete m_pResponse;
    if (m_pClient != nullptr) {
        m_pClient->Dispose();
    }
}

void QVHTTPRequest::SetURI(const wchar_t* uri)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVHTTPRequest::SetURI");
    m_pParams->SetURI(uri);
}

void QVHTTPRequest::SetUserName(const wchar_t* name)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVHTTPRequest::SetUserName");
    m_pParams->SetUserName(name);
}

void QVHTTPRequest::SetPassword(const wchar_t* password)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVHTTPRequest::SetPassword");
    m_pParams->SetPassword(password);
}

unsigned long QVHTTPRequest::SetMethod(const wchar_t* method)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVHTTPRequest::SetMethod");
    if (method == nullptr) {
        QV_LOG_ERROR(L"%s no method given", logScope.GetDisplayName());
        return logScope.m_errorCode = E_NOTIMPL;
    }
    // Folded into a copy; the whole text has to match.
    wchar_t folded[16];
    size_t length = 0;
    for (; method[length] != L'\0' && length + 1 < sizeof(folded) / sizeof(folded[0]); ++length) {
        folded[length] = static_cast<wchar_t>(towupper(method[length]));
    }
    folded[length] = L'\0';
    if (method[length] == L'\0') {
        for (const MethodName& known : kMethods) {
            if (wcscmp(folded, known.text) == 0) {
                m_pParams->SetHTTPRequestMethod(known.number);
                return 0;
            }
        }
    }
    QV_LOG_ERROR(L"%s method \"%s\" is not supported", logScope.GetDisplayName(), method);
    return logScope.m_errorCode = E_NOTIMPL;
}

void QVHTTPRequest::SetHeader(const wchar_t* name, const wchar_t* value)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVHTTPRequest::SetHeader");
    if (name == nullptr) {
        QV_LOG_ERROR(L"%s no header name given", logScope.GetDisplayName());
        return;
    }
    try {
        if (value == nullptr) {
            m_headers.erase(name);
        } else {
            m_headers[name] = value;
        }
    } catch (const std::bad_alloc&) {
        QV_LOG_ERROR(L"%s no memory for the header %s", logScope.GetDisplayName(), name);
    }
}

void QVHTTPRequest::SetContentType(const wchar_t* type)
{
    m_pParams->SetDataType(type);
}

void QVHTTPRequest::SetContent(const void* data, unsigned long size)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVHTTPRequest::SetContent");
    delete[] m_pContent;
    m_pContent = nullptr;
    if (data != nullptr) {
        // The client reads the body as text up to its first zero byte: the
        // copy carries one behind its end, so that the reading stops inside.
        try {
            m_pContent = new unsigned char[static_cast<size_t>(size) + 1];
            memcpy(m_pContent, data, size);
            m_pContent[size] = 0;
        } catch (const std::bad_alloc&) {
            QV_LOG_ERROR(L"%s no memory for a body of %lu bytes", logScope.GetDisplayName(), size);
        }
    }
    // Without data the request goes out without a body.
    m_pParams->SetData(m_pContent);
    m_pParams->SetDataLength(m_pContent != nullptr ? size : 0, false);
}

unsigned long QVHTTPRequest::GetResponse(HTTPResponse** out)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVHTTPRequest::GetResponse");
    if (out == nullptr || m_pClient == nullptr) {
        QV_LOG_ERROR(L"%s no place for the response, or no client", logScope.GetDisplayName());
        return logScope.m_errorCode = E_FAIL;
    }
    try {
        // With no headers of its own the request leaves the parameters' text
        // as it was, even after the last header was erased.
        if (!m_headers.empty()) {
            std::wstring text;
            for (const auto& header : m_headers) {
                text += header.first + L":" + header.second + L"\r\n";
            }
            m_pParams->SetExtraHeaders(text.c_str());
        }
        const unsigned long status = m_pClient->Navigate(m_pParams, nullptr);
        if (status != 0) {
            QV_LOG_ERROR(L"%s Navigate returned 0x%08X", logScope.GetDisplayName(), status);
            return logScope.m_errorCode = E_FAIL;
        }
        delete m_pResponse;
        m_pResponse = nullptr;
        m_pResponse = new QVHTTPResponse(m_pClient);
    } catch (const std::exception& e) {
        QV_LOG_ERROR(L"%s exception: %hs", logScope.GetDisplayName(), e.what());
        return logScope.m_errorCode = E_FAIL;
    }
    *out = m_pResponse;
    return 0;
}

}  // namespace Orvane
