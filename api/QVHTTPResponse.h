#pragma once

#include "http/IHTTPClient.h"
#include "orvane64.h"

namespace Orvane {

// The answer to a request: a view of its client's last result. Owned by the
// request that made it, so not reference counted.
class QVHTTPResponse : public HTTPResponse {
public:
    // Takes its own reference on the client.
    explicit QVHTTPResponse(QVIOStack::IHTTPClient* client);
    ~QVHTTPResponse() override;
    QVHTTPResponse(const QVHTTPResponse&) = delete;
    QVHTTPResponse& operator=(const QVHTTPResponse&) = delete;

    unsigned long GetStatusCode() override;
    const wchar_t* GetHeader(const wchar_t* name) override;
    const wchar_t* GetContentType() override;
    unsigned long GetContentAvailable() override;
    const unsigned char* GetContent() override;

private:
    QVIOStack::IHTTPClient* m_pClient;
    unsigned char* m_pContent = nullptr;
};

}  // namespace Orvane
