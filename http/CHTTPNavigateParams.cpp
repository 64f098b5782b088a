#include "http/CHTTPNavigateParams.h"

#include <cwchar>

#include "logging/LogTrace.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace QVIOStack {

namespace {

const wchar_t* const kMethodTexts[] = {L"GET ", L"PUT ", L"POST ", L"DELETE ", L"HEAD "};

}  // namespace

const wchar_t* CHTTPNavigateParams::GetURI()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetURI");
    return m_strURI.c_str();
}

void CHTTPNavigateParams::SetURI(const wchar_t* uri)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetURI");
    Assign(m_strURI, uri);
}

const wchar_t* CHTTPNavigateParams::GetUserName()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetUserNameW");
    return m_strUserName.c_str();
}

void CHTTPNavigateParams::SetUserName(const wchar_t* userName)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetUserName");
    Assign(m_strUserName, userName);
}

const wchar_t* CHTTPNavigateParams::GetPassword()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetPassword");
    return m_strPassword.c_str();
}

void CHTTPNavigateParams::SetPassword(const wchar_t* password)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetPassword");
    Assign(m_strPassword, password);
}

unsigned long CHTTPNavigateParams::GetHTTPRequestMethod()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetHTTPRequestMethod");
    return m_ulHTTPRequestMethod;
}

void CHTTPNavigateParams::SetHTTPRequestMethod(unsigned long method)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetHTTPRequestMethod");
    m_ulHTTPRequestMethod = method;
}

const wchar_t* CHTTPNavigateParams::GetExtraHeaders()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetExtraHeaders");
    m_strExtraHeadersText.clear();
    for (const auto& entry : m_extraHeaders) {
        m_strExtraHeadersText += entry.first + L": " + entry.second + L"\r\n";
    }
    return m_strExtraHeadersText.c_str();
}

void CHTTPNavigateParams::SetExtraHeaders(const std::map<std::wstring, std::wstring>& headers)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetExtraHeaders");
    m_extraHeaders = headers;
}

void CHTTPNavigateParams::SetExtraHeaders(const wchar_t* text)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetExtraHeaders");
    if (text == nullptr || *text == L'\0') {
        m_extraHeaders.clear();
        return;
    }
    std::wstring rest = text;
    size_t lineEnd = rest.find(L"\r\n");
    size_t colon = rest.find(L':');
    while (colon != std::wstring::npos) {
        if (lineEnd == std::wstring::npos) {
            rest += L"\r\n";
            lineEnd = rest.size() - 2;
        }
        std::wstring value = lineEnd > colon ? rest.substr(colon + 1, lineEnd - colon - 1) : L"";
        value.erase(0, value.find_first_not_of(L' '));
        m_extraHeaders[rest.substr(0, colon)] = value;
        rest.erase(0, lineEnd + 2);
        lineEnd = rest.find(L"\r\n");
        colon = rest.find(L':');
    }
}

const wchar_t* CHTTPNavigateParams::GetExtraHeader(const wchar_t* name)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetExtraHeader");
    const auto entry = m_extraHeaders.find(name ? name : L"");
    return entry == m_extraHeaders.end() ? nullptr : entry->second.c_str();
}

void CHTTPNavigateParams::AddExtraHeader(const wchar_t* name, const wchar_t* value)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::AddExtraHeader");
    Assign(m_extraHeaders[name ? name : L""], value);
}

const wchar_t* CHTTPNavigateParams::GetDataType()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetDataType");
    return m_strDataType.c_str();
}

void CHTTPNavigateParams::SetDataType(const wchar_t* dataType)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetDataType");
    Assign(m_strDataType, dataType);
}

unsigned long CHTTPNavigateParams::GetDataLength(bool* noContentLength)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetDataLength");
    if (noContentLength) {
        *noContentLength = m_bNoContentLength;
    }
    return m_ulDataLength;
}

void CHTTPNavigateParams::SetDataLength(unsigned long length, bool noContentLength)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetDataLength");
    m_ulDataLength = length;
    m_bNoContentLength = noContentLength;
}

const void* CHTTPNavigateParams::GetData()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetData");
    return m_pData;
}

void CHTTPNavigateParams::SetData(const void* data)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetData");
    m_pData = data;
}

unsigned long CHTTPNavigateParams::GetFlags()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetFlags");
    return m_ulFlags;
}

void CHTTPNavigateParams::SetFlags(unsigned long flags)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetFlags");
    m_ulFlags = flags;
}

ContentBuffer* CHTTPNavigateParams::GetContentBuffer()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetContentBuffer");
    return m_pContentBuffer;
}

void CHTTPNavigateParams::SetContentBuffer(ContentBuffer* buffer)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetContentBuffer");
    m_pContentBuffer = buffer;
}

void* CHTTPNavigateParams::GetSendStatusParam()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetSendStatusParam");
    return m_pSendStatusParam;
}

void CHTTPNavigateParams::SetSendStatusParam(void* param)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetSendStatusParam");
    m_pSendStatusParam = param;
}

void* CHTTPNavigateParams::GetReadStatusParam()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetReadStatusParam");
    return m_pReadStatusParam;
}

void CHTTPNavigateParams::SetReadStatusParam(void* param)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetReadStatusParam");
    m_pReadStatusParam = param;
}

void* CHTTPNavigateParams::GetReadContentParam()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetReadContentParam");
    return m_pReadContentParam;
}

void CHTTPNavigateParams::SetReadContentParam(void* param)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetReadContentParam");
    m_pReadContentParam = param;
}

PFN_STATUS_CALLBACK CHTTPNavigateParams::GetSendStatusCallback()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetSendStatusCallback");
    return m_pfnSendStatusCallback;
}

void CHTTPNavigateParams::SetSendStatusCallback(PFN_STATUS_CALLBACK callback)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetSendStatusCallback");
    m_pfnSendStatusCallback = callback;
}

PFN_STATUS_CALLBACK CHTTPNavigateParams::GetReadStatusCallback()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetReadStatusCallback");
    return m_pfnReadStatusCallback;
}

void CHTTPNavigateParams::SetReadStatusCallback(PFN_STATUS_CALLBACK callback)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetReadStatusCallback");
    m_pfnReadStatusCallback = callback;
}

PFN_READ_CONTENT_CALLBACK CHTTPNavigateParams::GetReadContentCallback()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetReadContentCallback");
    return m_pfnReadContentCallback;
}

void CHTTPNavigateParams::SetReadContentCallback(PFN_READ_CONTENT_CALLBACK callback)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetReadContentCallback");
    m_pfnReadContentCallback = callback;
}

unsigned long CHTTPNavigateParams::GetAuthScheme()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetAuthScheme");
    return m_ulAuthScheme;
}

void CHTTPNavigateParams::SetAuthScheme(unsigned long scheme)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetAuthScheme");
    m_ulAuthScheme = scheme;
}

bool CHTTPNavigateParams::TriedAuthenticating()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::TriedAuthenticating");
    return m_bTriedAuthenticating;
}

void CHTTPNavigateParams::SetTriedAuthenticating(bool tried)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetTriedAuthenticating");
    m_bTriedAuthenticating = tried;
}

const wchar_t* CHTTPNavigateParams::GetRealm()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetRealm");
    return m_strRealm.c_str();
}

void CHTTPNavigateParams::SetRealm(const wchar_t* realm)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetRealm");
    Assign(m_strRealm, realm);
}

const wchar_t* CHTTPNavigateParams::GetOpaque()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetOpaque");
    return m_strOpaque.c_str();
}

void CHTTPNavigateParams::SetOpaque(const wchar_t* opaque)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetOpaque");
    Assign(m_strOpaque, opaque);
}

const wchar_t* CHTTPNavigateParams::GetNonce()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetNonce");
    return m_strNonce.c_str();
}

void CHTTPNavigateParams::SetNonce(const wchar_t* nonce)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetNonce");
    Assign(m_strNonce, nonce);
}

const wchar_t* CHTTPNavigateParams::GetCNonce()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetCNonce");
    if (m_strCNonce.empty()) {
        wchar_t text[9];
        swprintf(text, 9, L"%lx", g_pKernelApi->GetTickCount());
        m_strCNonce = text;
    }
    return m_strCNonce.c_str();
}

void CHTTPNavigateParams::SetCNonce(const wchar_t* cnonce)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::SetCNonce");
    Assign(m_strCNonce, cnonce);
}

const wchar_t* CHTTPNavigateParams::IncrNonceCount()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::IncrNonceCount");
    static const wchar_t kDigits[] = L"0123456789abcdef";
    ++m_ulNonceCount;
    m_strNonceCount.assign(8, L'0');
    for (int i = 0; i < 8; ++i) {
        m_strNonceCount[7 - i] = kDigits[(m_ulNonceCount >> (4 * i)) & 0xF];
    }
    return m_strNonceCount.c_str();
}

void CHTTPNavigateParams::ResetNonceCount()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::ResetNonceCount");
    m_ulNonceCount = 0;
}

bool CHTTPNavigateParams::GetHTTPMethodText(std::wstring& text)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPNavigateParams::GetHTTPMethodText");
    if (m_ulHTTPRequestMethod >= sizeof(kMethodTexts) / sizeof(kMethodTexts[0])) {
        return false;
    }
    text = kMethodTexts[m_ulHTTPRequestMethod];
    return true;
}

}  // namespace QVIOStack
