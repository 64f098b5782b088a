#include "api/QVHTTPResponse.h"

#include <cstring>
#include <new>

#include "logging/LogTrace.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

QVHTTPResponse::QVHTTPResponse(QVIOStack::IHTTPClient* client) : m_pClient(client)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVHTTPResponse::QVHTTPResponse");
    if (m_pClient != nullptr) {
        m_pClient->AddRef();
    }
}

QVHTTPResponse::~QVHTTPResponse()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVHTTPResponse::~QVHTTPResponse");
    if (m_pClient != nullptr) {
        m_pClient->Dispose();
    }
    delete[] m_pContent;
}

unsigned long QVHTTPResponse::GetStatusCode()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVHTTPResponse::GetStatusCode");
    return m_pClient->GetStatusCode();
}

const wchar_t* QVHTTPResponse::GetHeader(const wchar_t* name)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVHTTPResponse::GetHeader");
    return m_pClient->GetHeaderEntry(name);
}

const wchar_t* QVHTTPResponse::GetContentType()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVHTTPResponse::GetContentType");
    return m_pClient->GetHeaderEntry(L"Content-Type");
}

unsigned long QVHTTPResponse::GetContentAvailable()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVHTTPResponse::GetContentAvailable");
    // The client answers 0xFFFFFFFF when the response told no length.
    const long length = static_cast<long>(m_pClient->GetContentLength());
    return length < 0 ? 0 : static_cast<unsigned long>(length);
}

const unsigned char* QVHTTPResponse::GetContent()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVHTTPResponse::GetContent");
    const unsigned long length = GetContentAvailable();
    if (length == 0) {
        return m_pContent;
    }
    delete[] m_pContent;
    m_pContent = nullptr;
    // A length announced for a body that was never read (an answer to HEAD,
    // a redirection) leaves nothing to copy.
    const unsigned char* body = m_pClient->GetContent();
    if (body == nullptr) {
        QV_LOG_ERROR(L"%s Content-Length is %lu but no content was read", logScope.GetDisplayName(), length);
        return nullptr;
    }
    try {
        m_pContent = new unsigned char[static_cast<size_t>(length) + 1];
    } catch (const std::bad_alloc&) {
        QV_LOG_ERROR(L"%s no memory for a copy of %lu bytes", logScope.GetDisplayName(), length);
        return nullptr;
    }
    memcpy(m_pContent, body, length);
    // Zero-terminated for callers that take the body as text.
    m_pContent[length] = 0;
    return m_pContent;
}

}  // namespace Orvane
