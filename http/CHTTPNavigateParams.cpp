#include "http/CHTTPNavigateParams.h"

#include <cwchar>

#include "winapi/IKernelApi.h"

namespace QVIOStack {

namespace {

const wchar_t* const kMethodTexts[] = {L"GET ", L"PUT ", L"POST ", L"DELETE ", L"HEAD "};

}  // namespace

const wchar_t* CHTTPNavigateParams::GetURI()
{
    return m_strURI.c_str();
}

void CHTTPNavigateParams::SetURI(const wchar_t* uri)
{
    Assign(m_strURI, uri);
}

const wchar_t* CHTTPNavigateParams::GetUserName()
{
    return m_strUserName.c_str();
}

void CHTTPNavigateParams::SetUserName(const wchar_t* userName)
{
    Assign(m_strUserName, userName);
}

const wchar_t* CHTTPNavigateParams::GetPassword()
{
    return m_strPassword.c_str();
}

void CHTTPNavigateParams::SetPassword(const wchar_t* password)
{
    Assign(m_strPassword, password);
}

unsigned long CHTTPNavigateParams::GetHTTPRequestMethod()
{
    return m_ulHTTPRequestMethod;
}

void CHTTPNavigateParams::SetHTTPRequestMethod(unsigned long method)
{
    m_ulHTTPRequestMethod = method;
}

const wchar_t* CHTTPNavigateParams::GetExtraHeaders()
{
    m_strExtraHeadersText.clear();
    for (const auto& entry : m_extraHeaders) {
        m_strExtraHeadersText += entry.first + L": " + entry.second + L"\r\n";
    }
    return m_strExtraHeadersText.c_str();
}

void CHTTPNavigateParams::SetExtraHeaders(const std::map<std::wstring, std::wstring>& headers)
{
    m_extraHeaders = headers;
}

void CHTTPNavigateParams::SetExtraHeaders(const wchar_t* text)
{
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
    const auto entry = m_extraHeaders.find(name ? name : L"");
    return entry == m_extraHeaders.end() ? nullptr : entry->second.c_str();
}

void CHTTPNavigateParams::AddExtraHeader(const wchar_t* name, const wchar_t* value)
{
    Assign(m_extraHeaders[name ? name : L""], value);
}

const wchar_t* CHTTPNavigateParams::GetDataType()
{
    return m_strDataType.c_str();
}

void CHTTPNavigateParams::SetDataType(const wchar_t* dataType)
{
    Assign(m_strDataType, dataType);
}

unsigned long CHTTPNavigateParams::GetDataLength(bool* noContentLength)
{
    if (noContentLength) {
        *noContentLength = m_bNoContentLength;
    }
    return m_ulDataLength;
}

void CHTTPNavigateParams::SetDataLength(unsigned long length, bool noContentLength)
{
    m_ulDataLength = length;
    m_bNoContentLength = noContentLength;
}

const void* CHTTPNavigateParams::GetData()
{
    return m_pData;
}

void CHTTPNavigateParams::SetData(const void* data)
{
    m_pData = data;
}

unsigned long CHTTPNavigateParams::GetFlags()
{
    return m_ulFlags;
}

void CHTTPNavigateParams::SetFlags(unsigned long flags)
{
    m_ulFlags = flags;
}

ContentBuffer* CHTTPNavigateParams::GetContentBuffer()
{
    return m_pContentBuffer;
}

void CHTTPNavigateParams::SetContentBuffer(ContentBuffer* buffer)
{
    m_pContentBuffer = buffer;
}

void* CHTTPNavigateParams::GetSendStatusParam()
{
    return m_pSendStatusParam;
}

void CHTTPNavigateParams::SetSendStatusParam(void* param)
{
    m_pSendStatusParam = param;
}

void* CHTTPNavigateParams::GetReadStatusParam()
{
    return m_pReadStatusParam;
}

void CHTTPNavigateParams::SetReadStatusParam(void* param)
{
    m_pReadStatusParam = param;
}

void* CHTTPNavigateParams::GetReadContentParam()
{
    return m_pReadContentParam;
}

void CHTTPNavigateParams::SetReadContentParam(void* param)
{
    m_pReadContentParam = param;
}

PFN_STATUS_CALLBACK CHTTPNavigateParams::GetSendStatusCallback()
{
    return m_pfnSendStatusCallback;
}

void CHTTPNavigateParams::SetSendStatusCallback(PFN_STATUS_CALLBACK callback)
{
    m_pfnSendStatusCallback = callback;
}

PFN_STATUS_CALLBACK CHTTPNavigateParams::GetReadStatusCallback()
{
    return m_pfnReadStatusCallback;
}

void CHTTPNavigateParams::SetReadStatusCallback(PFN_STATUS_CALLBACK callback)
{
    m_pfnReadStatusCallback = callback;
}

PFN_READ_CONTENT_CALLBACK CHTTPNavigateParams::GetReadContentCallback()
{
    return m_pfnReadContentCallback;
}

void CHTTPNavigateParams::SetReadContentCallback(PFN_READ_CONTENT_CALLBACK callback)
{
    m_pfnReadContentCallback = callback;
}

unsigned long CHTTPNavigateParams::GetAuthScheme()
{
    return m_ulAuthScheme;
}

void CHTTPNavigateParams::SetAuthScheme(unsigned long scheme)
{
    m_ulAuthScheme = scheme;
}

bool CHTTPNavigateParams::TriedAuthenticating()
{
    return m_bTriedAuthenticating;
}

void CHTTPNavigateParams::SetTriedAuthenticating(bool tried)
{
    m_bTriedAuthenticating = tried;
}

const wchar_t* CHTTPNavigateParams::GetRealm()
{
    return m_strRealm.c_str();
}

void CHTTPNavigateParams::SetRealm(const wchar_t* realm)
{
    Assign(m_strRealm, realm);
}

const wchar_t* CHTTPNavigateParams::GetOpaque()
{
    return m_strOpaque.c_str();
}

void CHTTPNavigateParams::SetOpaque(const wchar_t* opaque)
{
    Assign(m_strOpaque, opaque);
}

const wchar_t* CHTTPNavigateParams::GetNonce()
{
    return m_strNonce.c_str();
}

void CHTTPNavigateParams::SetNonce(const wchar_t* nonce)
{
    Assign(m_strNonce, nonce);
}

const wchar_t* CHTTPNavigateParams::GetCNonce()
{
    if (m_strCNonce.empty()) {
        wchar_t text[9];
        swprintf(text, 9, L"%lx", g_pKernelApi->GetTickCount());
        m_strCNonce = text;
    }
    return m_strCNonce.c_str();
}

void CHTTPNavigateParams::SetCNonce(const wchar_t* cnonce)
{
    Assign(m_strCNonce, cnonce);
}

const wchar_t* CHTTPNavigateParams::IncrNonceCount()
{
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
    m_ulNonceCount = 0;
}

bool CHTTPNavigateParams::GetHTTPMethodText(std::wstring& text)
{
    if (m_ulHTTPRequestMethod >= sizeof(kMethodTexts) / sizeof(kMethodTexts[0])) {
        return false;
    }
    text = kMethodTexts[m_ulHTTPRequestMethod];
    return true;
}

}  // namespace QVIOStack
