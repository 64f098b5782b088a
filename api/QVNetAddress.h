#pragma once

#include <string>

#include "iostack/IDeviceConnection.h"
#include "logging/CLogFunction.h"
#include "orvane64.h"
#include "utils/IDisposableImpl.h"

namespace Orvane {

// An address on an IP address or host text. The text is kept as given and
// not looked at until a connection on it is opened.
class QVNetAddress : public Address, public IDisposableImpl {
public:
    explicit QVNetAddress(const wchar_t* address);

    BOOL IsConnected() override;
    const wchar_t* GetAddress() override;
    unsigned long CreateStream(int port, Stream** out) override;
    unsigned long CreateNotifier(Notifier** out) override;
    unsigned long CreateHTTPRequest(HTTPRequest** out, int port) override;
    unsigned long CreateMIBConnection(MIBConnection** out) override;

    const char* GetRuntimeTypeName() const override { return QVUtils::UndecoratedTypeName(typeid(*this)); }

private:
    // An initialised connection to the port, secure on 443 and 7627, with
    // its count at 0; null on failure, told in the caller's scope.
    QVIOStack::IDeviceConnection* CreateConnection(int port, QVLogging::CLogFunction& logScope);

    std::wstring m_address;
};

}  // namespace Orvane
