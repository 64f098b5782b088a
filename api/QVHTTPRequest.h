#pragma once

#include <map>
#include <string>

#include "api/QVHTTPResponse.h"
#include "http/CHTTPNavigateParams.h"
#include "http/IHTTPClient.h"
#include "orvane64.h"
#include "utils/IDisposableImpl.h"

namespace Orvane {

// A request to the device's web server: collects its settings in one set of
// navigate parameters and hands them to the HTTP client.
class QVHTTPRequest : public HTTPRequest, public IDisposableImpl {
public:
    // Takes its own reference on the client.
    explicit QVHTTPRequest(QVIOStack::IHTTPClient* client);
    ~QVHTTPRequest() override;

    void SetURI(const wchar_t* uri) override;
    void SetUserName(const wchar_t* name) override;
    void SetPassword(const wchar_t* password) override;
    unsigned long SetMethod(const wchar_t* method) override;
    void SetHeader(const wchar_t* name, const wchar_t* value) override;
    void SetContentType(const wchar_t* type) override;
    void SetContent(const void* data, unsigned long size) override;
    unsigned long GetResponse(HTTPResponse** out) override;

    const char* GetRuntimeTypeName() const override { return QVUtils::UndecoratedTypeName(typeid(*this)); }

private:
    QVHTTPResponse* m_pResponse = nullptr;
    // Ordered by plain 16-bit code units: names are case-sensitive here.
    std::map<std::wstring, std::wstring> m_headers;
    QVIOStack::IHTTPClient* m_pClient;
    QVIOStack::CHTTPNavigateParams* m_pParams;
    unsigned char* m_pContent = nullptr;
};

}  // namespace Orvane
