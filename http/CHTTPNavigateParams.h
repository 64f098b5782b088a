#pragma once

#include <map>
#include <string>

#include "http/IHTTPNavigateParams.h"

namespace QVIOStack {

// One HTTP exchange as the caller describes it. The client writes into it as
// well (HOST and Authorization headers, digest fields, a redirected URI), so
// one object serves one exchange at a time.
class CHTTPNavigateParams : public IHTTPNavigateParams {
public:
    const wchar_t* GetURI() override;
    void SetURI(const wchar_t* uri) override;
    const wchar_t* GetUserName() override;
    void SetUserName(const wchar_t* userName) override;
    const wchar_t* GetPassword() override;
    void SetPassword(const wchar_t* password) override;
    unsigned long GetHTTPRequestMethod() override;
    void SetHTTPRequestMethod(unsigned long method) override;
    const wchar_t* GetExtraHeaders() override;
    void SetExtraHeaders(const std::map<std::wstring, std::wstring>& headers) override;
    void SetExtraHeaders(const wchar_t* text) override;
    const wchar_t* GetExtraHeader(const wchar_t* name) override;
    void AddExtraHeader(const wchar_t* name, const wchar_t* value) override;
    const wchar_t* GetDataType() override;
    void SetDataType(const wchar_t* dataType) override;
    unsigned long GetDataLength(bool* noContentLength) override;
    void SetDataLength(unsigned long length, bool noContentLength) override;
    const void* GetData() override;
    void SetData(const void* data) override;
    unsigned long GetFlags() override;
    void SetFlags(unsigned long flags) override;
    ContentBuffer* GetContentBuffer() override;
    void SetContentBuffer(ContentBuffer* buffer) override;
    void* GetSendStatusParam() override;
    void SetSendStatusParam(void* param) override;
    void* GetReadStatusParam() override;
    void SetReadStatusParam(void* param) override;
    void* GetReadContentParam() override;
    void SetReadContentParam(void* param) override;
    PFN_STATUS_CALLBACK GetSendStatusCallback() override;
    void SetSendStatusCallback(PFN_STATUS_CALLBACK callback) override;
    PFN_STATUS_CALLBACK GetReadStatusCallback() override;
    void SetReadStatusCallback(PFN_STATUS_CALLBACK callback) override;
    PFN_READ_CONTENT_CALLBACK GetReadContentCallback() override;
    void SetReadContentCallback(PFN_READ_CONTENT_CALLBACK callback) override;
    unsigned long GetAuthScheme() override;
    void SetAuthScheme(unsigned long scheme) override;
    bool TriedAuthenticating() override;
    void SetTriedAuthenticating(bool tried) override;
    const wchar_t* GetRealm() override;
    void SetRealm(const wchar_t* realm) override;
    const wchar_t* GetOpaque() override;
    void SetOpaque(const wchar_t* opaque) override;
    const wchar_t* GetNonce() override;
    void SetNonce(const wchar_t* nonce) override;
    const wchar_t* GetCNonce() override;
    void SetCNonce(const wchar_t* cnonce) override;
    const wchar_t* IncrNonceCount() override;
    void ResetNonceCount() override;
    bool GetHTTPMethodText(std::wstring& text) override;

protected:
    static void Assign(std::wstring& field, const wchar_t* text) { field = text ? text : L""; }

    std::wstring m_strURI;
    std::wstring m_strUserName;
    std::wstring m_strPassword;
    unsigned long m_ulHTTPRequestMethod = 0;
    std::wstring m_strExtraHeadersText;
    std::wstring m_strDataType;
    unsigned long m_ulDataLength = 0;
    bool m_bNoContentLength = false;
    const void* m_pData = nullptr;
    unsigned long m_ulFlags = 0;
    ContentBuffer* m_pContentBuffer = nullptr;
    void* m_pSendStatusParam = nullptr;
    void* m_pReadStatusParam = nullptr;
    void* m_pReadContentParam = nullptr;
    PFN_STATUS_CALLBACK m_pfnSendStatusCallback = nullptr;
    PFN_STATUS_CALLBACK m_pfnReadStatusCallback = nullptr;
    PFN_READ_CONTENT_CALLBACK m_pfnReadContentCallback = nullptr;
    std::map<std::wstring, std::wstring> m_extraHeaders;
    unsigned long m_ulAuthScheme = 0;
    bool m_bTriedAuthenticating = false;
    std::wstring m_strRealm;
    std::wstring m_strOpaque;
    std::wstring m_strNonce;
    std::wstring m_strCNonce;
    unsigned long m_ulNonceCount = 0;
    std::wstring m_strNonceCount;
};

}  // namespace QVIOStack
