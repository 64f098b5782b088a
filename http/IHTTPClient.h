#pragma once

#include "http/HeaderNameLess.h"
#include "http/IHTTPNavigateParams.h"
#include "iostack/IDeviceConnection.h"
#include "utils/IDisposable.h"
#include "utils/IProgress.h"

namespace QVIOStack {

// An HTTP/1.1 client that speaks over any device connection. Results of the
// last exchange stay until the next Navigate or ResetRequest.
class IHTTPClient : public virtual ::IDisposable {
public:
    virtual ~IHTTPClient() = default;
    virtual unsigned long Initialize(IDeviceConnection* connection) = 0;
    // Text put before every URI in the request line; null empties it.
    virtual void SetRoot(const wchar_t* root) = 0;
    virtual const wchar_t* GetRoot() = 0;
    virtual unsigned long OpenSession(QVUtils::IProgress* progress, unsigned long timeoutMs) = 0;
    virtual unsigned long CloseSession() = 0;
    virtual unsigned long Navigate(IHTTPNavigateParams* params, QVUtils::IProgress* progress) = 0;
    virtual unsigned long Navigate(const wchar_t* uri, unsigned long method, QVUtils::IProgress* progress) = 0;
    // Credentials that override those of each request.
    virtual void SetUserName(const wchar_t* userName) = 0;
    virtual void SetPassword(const wchar_t* password) = 0;
    virtual const wchar_t* GetRequest() = 0;
    virtual IDeviceConnection* GetDeviceConnection() = 0;
    virtual unsigned long GetStatusCode() = 0;
    // The raw header block as read, and its length.
    virtual const char* GetHeader() = 0;
    virtual unsigned long GetHeaderLength() = 0;
    // The client's own content buffer if anything is in it, else null.
    virtual const unsigned char* GetContent() = 0;
    // Content-Length in base 10, or 0xFFFFFFFF when there is none.
    virtual unsigned long GetContentLength() = 0;
    virtual const wchar_t* GetContentType() = 0;
    // The value, or null; the name is compared without regard to ASCII case.
    virtual const wchar_t* GetHeaderEntry(const wchar_t* name) = 0;
    virtual void GetHeaders(HeaderMap& headers) = 0;
    // Hand-back of a connection that does the exchange by itself.
    virtual void SetStatusCode(unsigned long statusCode) = 0;
    virtual void SetContent(const void* data, unsigned long length) = 0;
    virtual void SetHeaders(const char* text) = 0;
    virtual void ResetRequest() = 0;
};

}  // namespace QVIOStack
