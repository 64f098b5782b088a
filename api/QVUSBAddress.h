#pragma once

#include <string>

#include "api/IUSBDeviceManager.h"
#include "iostack/IDeviceConnection.h"
#include "orvane64.h"
#include "utils/IDisposableImpl.h"

namespace Orvane {

// An address on a USB or Dot4 device. A stream's port number picks one of
// the device's functions; the web range picks its configuration channel,
// plain USB or through a component library, by the configuration
// function's name. Streams keep the device without a reference: dispose
// of them before the address.
class QVUSBAddress : public Address, public IDisposableImpl {
public:
    // Takes over `manager` and `device`, which was opened through it.
    QVUSBAddress(const wchar_t* address, IUSBDeviceManager* manager, QVDeviceManager::IDevice* device);
    ~QVUSBAddress() override;

    BOOL IsConnected() override;
    const wchar_t* GetAddress() override;
    unsigned long CreateStream(int port, Stream** out) override;
    unsigned long CreateNotifier(Notifier** out) override;
    unsigned long CreateHTTPRequest(HTTPRequest** out, int port) override;
    unsigned long CreateMIBConnection(MIBConnection** out) override;

    const char* GetRuntimeTypeName() const override { return QVUtils::UndecoratedTypeName(typeid(*this)); }

private:
    // An initialised connection to the configuration channel (or, on a
    // device without one, to its fax, scan or print function), with its
    // count at 0; null on failure.
    QVIOStack::IDeviceConnection* CreateConfigConnection();
    // A stream on the one function a port number picks; null if none.
    Stream* CreateFunctionStream(int port);

    IUSBDeviceManager* m_pManager;
    QVDeviceManager::IDevice* m_pDevice;
    std::wstring m_address;
};

}  // namespace Orvane
