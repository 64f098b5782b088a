#pragma once

#include <windows.h>
#include <wininet.h>

#include "iostack/CIONetwork.h"

namespace QVLogging {
class CLogFunction;
}

namespace QVIOStack {

class CInternetRequest;

// The HTTPS connection to a device. It keeps the address handling and the
// rediscovery of its base and leaves TLS and HTTP to WinINet, so it carries
// no stream of bytes: m_hIO stays invalid, and Read and Write fail. It does
// the whole exchange in Navigate and hands status, headers and content back
// to the client. Certificates are no reason to fail: a wrong name or date is
// ignored by the request's flags, an unknown authority or a failed
// revocation check by its security flags on a second send.
template <typename T>
class CIOSecureT : public T {
public:
    CIOSecureT();
    ~CIOSecureT() override;

    bool IsHTTPCapable() override;
    unsigned long Navigate(IHTTPNavigateParams* params, IHTTPClient* client,
                           QVUtils::IProgress* progress) override;
    unsigned long Open(QVUtils::IProgress* progress) override;
    bool IsOpen() override;
    unsigned long Close() override;
    unsigned long Init(const wchar_t* serviceAddress) override;
    void Cleanup() override;
    unsigned long RediscoverDevice(QVUtils::IProgress* progress) override;

    // A new object of this class with a count of 0, or null.
    virtual IDeviceConnection* CreateInstance();

protected:
    HINTERNET m_hConnect = nullptr;
    HINTERNET m_hInternet = nullptr;
    // An unknown certificate authority is accepted without asking.
    bool m_bIgnoreUnknownCA = true;

private:
    // Sends until it succeeds or fails for good; a status of this stack.
    unsigned long SendRequest(CInternetRequest& request, IHTTPNavigateParams* params,
                              IHTTPClient* client, QVLogging::CLogFunction& logScope);
    // Adds a SECURITY_FLAG_* to the request's security flags.
    void RelaxSecurity(CInternetRequest& request, DWORD flag, QVLogging::CLogFunction& logScope);
    void AddRequestHeaders(CInternetRequest& request, IHTTPNavigateParams* params,
                           QVLogging::CLogFunction& logScope);
    void SetTimeouts(CInternetRequest& request, QVLogging::CLogFunction& logScope);
    // Hands the raw headers and the status code to the client; the code.
    unsigned long HandBackHeaders(CInternetRequest& request, IHTTPNavigateParams* params,
                                  IHTTPClient* client, QVLogging::CLogFunction& logScope);
    // Reads the body in portions and hands it to the client.
    unsigned long HandBackContent(CInternetRequest& request, IHTTPNavigateParams* params,
                                  IHTTPClient* client, QVLogging::CLogFunction& logScope);
};

extern template class CIOSecureT<CIONetwork>;

}  // namespace QVIOStack
