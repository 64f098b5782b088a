#pragma once

// windows.h turns GetUserName into GetUserNameW; it is included here so that
// the operation has that one name wherever the interface is seen.
#include <windows.h>

#include <map>
#include <string>

#include "http/ContentBuffer.h"

namespace QVIOStack {

// Sees the bytes of a request as sent, or of a response as read.
using PFN_STATUS_CALLBACK = void (*)(const void* bytes, unsigned long count, void* param);
// Sees the content buffer after each addition; false aborts the exchange.
using PFN_READ_CONTENT_CALLBACK = bool (*)(ContentBuffer* buffer, void* param);

// The description of one HTTP exchange: what to ask, with which body, where
// the answer goes, and the state of authentication carried between the first
// and the second attempt. String getters return a pointer into the object; a
// setter given null empties the string.
class IHTTPNavigateParams {
public:
    virtual const wchar_t* GetURI() = 0;
    virtual void SetURI(const wchar_t* uri) = 0;
    virtual const wchar_t* GetUserName() = 0;
    virtual void SetUserName(const wchar_t* userName) = 0;
    virtual const wchar_t* GetPassword() = 0;
    virtual void SetPassword(const wchar_t* password) = 0;
    virtual unsigned long GetHTTPRequestMethod() = 0;
    virtual void SetHTTPRequestMethod(unsigned long method) = 0;
    // The header map as "name: value" lines, each ended by CR LF.
    virtual const wchar_t* GetExtraHeaders() = 0;
    virtual void SetExtraHeaders(const std::map<std::wstring, std::wstring>& headers) = 0;
    virtual void SetExtraHeaders(const wchar_t* text) = 0;
    virtual const wchar_t* GetExtraHeader(const wchar_t* name) = 0;
    virtual void AddExtraHeader(const wchar_t* name, const wchar_t* value) = 0;
    virtual const wchar_t* GetDataType() = 0;
    virtual void SetDataType(const wchar_t* dataType) = 0;
    virtual unsigned long GetDataLength(bool* noContentLength) = 0;
    virtual void SetDataLength(unsigned long length, bool noContentLength) = 0;
    virtual const void* GetData() = 0;
    virtual void SetData(const void* data) = 0;
    virtual unsigned long GetFlags() = 0;
    virtual void SetFlags(unsigned long flags) = 0;
    virtual ContentBuffer* GetContentBuffer() = 0;
    virtual void SetContentBuffer(ContentBuffer* buffer) = 0;
    virtual void* GetSendStatusParam() = 0;
    virtual void SetSendStatusParam(void* param) = 0;
    virtual void* GetReadStatusParam() = 0;
    virtual void SetReadStatusParam(void* param) = 0;
    virtual void* GetReadContentParam() = 0;
    virtual void SetReadContentParam(void* param) = 0;
    virtual PFN_STATUS_CALLBACK GetSendStatusCallback() = 0;
    virtual void SetSendStatusCallback(PFN_STATUS_CALLBACK callback) = 0;
    virtual PFN_STATUS_CALLBACK GetReadStatusCallback() = 0;
    virtual void SetReadStatusCallback(PFN_STATUS_CALLBACK callback) = 0;
    virtual PFN_READ_CONTENT_CALLBACK GetReadContentCallback() = 0;
    virtual void SetReadContentCallback(PFN_READ_CONTENT_CALLBACK callback) = 0;
    virtual unsigned long GetAuthScheme() = 0;
    virtual void SetAuthScheme(unsigned long scheme) = 0;
    virtual bool TriedAuthenticating() = 0;
    virtual void SetTriedAuthenticating(bool tried) = 0;
    virtual const wchar_t* GetRealm() = 0;
    virtual void SetRealm(const wchar_t* realm) = 0;
    virtual const wchar_t* GetOpaque() = 0;
    virtual void SetOpaque(const wchar_t* opaque) = 0;
    virtual const wchar_t* GetNonce() = 0;
    virtual void SetNonce(const wchar_t* nonce) = 0;
    // Makes a client nonce from the tick count when there is none yet.
    virtual const wchar_t* GetCNonce() = 0;
    virtual void SetCNonce(const wchar_t* cnonce) = 0;
    // Adds 1 and returns the count as eight lower-case hexadecimal digits.
    virtual const wchar_t* IncrNonceCount() = 0;
    virtual void ResetNonceCount() = 0;
    // The method's text with its trailing blank; false for an unknown method.
    virtual bool GetHTTPMethodText(std::wstring& text) = 0;
    virtual ~IHTTPNavigateParams() = default;
};

}  // namespace QVIOStack
