#pragma once

#include <string>

#include "iostack/CIOCommon.h"
#include "iostack/IVarloLoader.h"
#include "utils/IDisposableImpl.h"

namespace Orvane {

// A device reached through a component library's flat bulk interface: the
// library keeps the channel, this connection only frames the calls. One
// Open opens it, one Close ends it, however many Opens came before.
class VarloDeviceConnection : public QVIOStack::CIOCommon, public IDisposableImpl {
public:
    // Takes ownership of `loader`.
    explicit VarloDeviceConnection(IVarloLoader* loader);
    ~VarloDeviceConnection() override;

    IDeviceConnection* Clone(bool secure) override;
    unsigned long Initialize(QVDeviceManager::IDevice* device,
                             const std::list<QVDeviceManager::FUNCTION_TYPE>& functions) override;
    // The port text handed to the library's OpenBulk.
    unsigned long Initialize(const wchar_t* address) override;
    bool IsHTTPCapable() override;
    unsigned long Navigate(QVIOStack::IHTTPNavigateParams* params, QVIOStack::IHTTPClient* client,
                           QVUtils::IProgress* progress) override;
    unsigned long Open(QVUtils::IProgress* progress) override;
    bool IsOpen() override;
    unsigned long Close() override;
    unsigned long Read(void* buffer, unsigned long size, unsigned long* bytesRead,
                       QVUtils::IProgress* progress) override;
    unsigned long Write(const void* buffer, unsigned long size, unsigned long* bytesWritten,
                        QVUtils::IProgress* progress) override;
    const wchar_t* GetAddress() override;
    const wchar_t* GetPort() override;
    const wchar_t* GetServiceAddress() override;

    // The library's last status as an I/O status.
    virtual unsigned long GetLastError();

    const char* GetRuntimeTypeName() const override { return QVUtils::UndecoratedTypeName(typeid(*this)); }

private:
    std::wstring m_address;
    IVarloLoader* m_pLoader;
    bool m_bOpen = false;
};

}  // namespace Orvane
