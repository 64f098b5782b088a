#pragma once

#include <windows.h>

#include <string>

#include "http/IHTTPClient.h"
#include "logging/CLogFunction.h"
#include "utils/CProgressAggregator.h"
#include "utils/IDisposableImpl.h"

namespace QVIOStack {

// The system's own HTTP/1.1 client: builds a request, sends it over any
// IDeviceConnection in one write, and reads the answer. A connection that
// does HTTP by itself takes the exchange over and hands the result back.
class CHTTPClient : public IHTTPClient, public IDisposableImpl {
public:
    explicit CHTTPClient(IDeviceConnection* connection = nullptr);
    ~CHTTPClient() override;

    unsigned long Initialize(IDeviceConnection* connection) override;
    void SetRoot(const wchar_t* root) override;
    const wchar_t* GetRoot() override;
    unsigned long OpenSession(QVUtils::IProgress* progress, unsigned long timeoutMs) override;
    unsigned long CloseSession() override;
    unsigned long Navigate(IHTTPNavigateParams* params, QVUtils::IProgress* progress) override;
    unsigned long Navigate(const wchar_t* uri, unsigned long method, QVUtils::IProgress* progress) override;
    void SetUserName(const wchar_t* userName) override;
    void SetPassword(const wchar_t* password) override;
    const wchar_t* GetRequest() override;
    IDeviceConnection* GetDeviceConnection() override;
    unsigned long GetStatusCode() override;
    const char* GetHeader() override;
    unsigned long GetHeaderLength() override;
    const unsigned char* GetContent() override;
    unsigned long GetContentLength() override;
    const wchar_t* GetContentType() override;
    const wchar_t* GetHeaderEntry(const wchar_t* name) override;
    void GetHeaders(HeaderMap& headers) override;
    void SetStatusCode(unsigned long statusCode) override;
    void SetContent(const void* data, unsigned long length) override;
    void SetHeaders(const char* text) override;
    void ResetRequest() override;

    // Reads the response of the exchange in hand, between the connection's
    // read locks: the header into a fixed buffer, then the content by its
    // known size, in chunks, or until the device stops sending.
    virtual unsigned long ReadResponse(QVUtils::IProgress* progress);

    // Drains what the device still has to say from an earlier exchange.
    unsigned long EmptyDeviceRespone();
    unsigned long BuildRequest();
    unsigned long SendRequest(QVUtils::IProgress* progress);

    // The status line and the header lines of a raw header block.
    unsigned long ParseResponseHeader(const char* header, unsigned long length);
    unsigned long ParseStatusFromHeader(const char* header, unsigned long length, unsigned long* statusLength);
    unsigned long FindNextHeaderLen(const char* buffer, unsigned long length, unsigned long* lineLength);
    unsigned long ParseHeader(const char* line, unsigned long length);

    // The steps of reading a response. The content goes to the caller's
    // ContentBuffer of the exchange in hand if there is one, else to the
    // client's own buffer.
    unsigned long ReadHeader(char* buffer, unsigned long size, unsigned long* headerBytes,
                             QVUtils::IProgress* progress);
    bool IsHeaderComplete(const char* buffer, unsigned long bytes, unsigned long* headerLength);
    bool IsContentChunked();
    bool IsContentLengthSpecified(unsigned long* length);
    unsigned long ReadContentChunked(char* buffer, unsigned long size, unsigned long used,
                                     QVUtils::IProgress* progress);
    unsigned long ReadContentNumBytes(unsigned long count, unsigned long* bytesRead, QVUtils::IProgress* progress);
    unsigned long ReadData(void* destination, unsigned long count, unsigned long* bytesRead,
                           QVUtils::IProgress* progress);
    unsigned long CreateContentBufferIfNeeded(unsigned long size);
    unsigned long CopyDataToContentBuffer(const void* data, unsigned long count);

    // Learns the scheme a device asks for from its WWW-Authenticate header
    // and keeps it, with the digest's realm, nonce and opaque, in the
    // exchange's parameters.
    void SetupAuthentication();
    // Follows a 301, 302 or 307 to its Location on a connection of its own;
    // 0 for any other response.
    unsigned long HandleRedirection(QVUtils::IProgress* progress);
    // A new connection to a redirect target, holding a reference, or null.
    virtual IDeviceConnection* CreateRedirectedNetworkConnection(bool secure, const wchar_t* serviceAddress);

    const char* GetRuntimeTypeName() const override { return QVUtils::UndecoratedTypeName(typeid(*this)); }

private:
    // Navigate once m_lock is held.
    unsigned long NavigateLocked(IHTTPNavigateParams* params, QVUtils::CProgressAggregator& localProgress,
                                 QVLogging::CLogFunction& logScope);
    // The exchange itself, on an open session.
    unsigned long Exchange(IHTTPNavigateParams* params, QVUtils::CProgressAggregator& localProgress,
                           QVLogging::CLogFunction& logScope);
    // The Authorization entry of the request for the parameters' scheme.
    void AddAuthorization(QVLogging::CLogFunction& logScope);
    std::wstring DigestAuthorization(unsigned long scheme);
    unsigned long SendData(const char* data, unsigned long size, unsigned long* written,
                           QVUtils::IProgress* progress);
    void FreeContentBuffer();

    // The states of ReadResponse; 3 and 4 are not used.
    enum ReadState : unsigned long {
        rs_start = 0,
        rs_readHeader = 1,
        rs_parseHeader = 2,
        rs_readContentKnownSize = 5,
        rs_readContentUnknownSize = 6,
        rs_readContentChunked = 7,
        rs_done = 8,
    };
    ReadState ChooseContentReading(unsigned long* contentLength);
    unsigned long ReadContentKnownSize(const char* behindHeader, unsigned long behindCount,
                                       unsigned long contentLength, QVUtils::IProgress* progress);
    unsigned long ReadContentUnknownSize(const char* behindHeader, unsigned long behindCount,
                                         QVUtils::IProgress* progress);
    // The trailing header lines announced by a Trailer header.
    unsigned long ReadTrailers(char* buffer, unsigned long size, unsigned long pos, unsigned long used,
                               QVUtils::CProgressAggregator& progress, QVLogging::CLogFunction& logScope);
    // Grows the client's own buffer by `extra` bytes, keeping what is in it.
    bool GrowContentBuffer(unsigned long extra);
    // What the exchange in hand gives; none without one.
    ContentBuffer* CallersContentBuffer();
    bool TellReadContent(ContentBuffer* buffer);

    HeaderMap m_headers;
    std::wstring m_strRoot;
    std::wstring m_strRequest;
    IHTTPNavigateParams* m_pNavigateParams = nullptr;
    std::wstring m_strUserName;
    std::wstring m_strPassword;
    IDeviceConnection* m_pIDeviceConnection;
    unsigned long m_ulStatusCode = 0;
    std::wstring m_strStatusText;
    std::string m_strResponseHeader;
    unsigned char* m_pContentBuffer = nullptr;
    unsigned long m_ulContentBufferSize = 0;
    unsigned long m_ulContentBufferUsed = 0;
    CRITICAL_SECTION m_lock;
};

}  // namespace QVIOStack
