#pragma once

#include <list>

#include "devicemanager/IDevice.h"
#include "utils/IDisposable.h"
#include "utils/IProgress.h"

namespace QVIOStack {

class IHTTPNavigateParams;
class IHTTPClient;

// Everything that carries bytes to a device. Texts returned are owned by the
// connection; a progress object may be null.
class IDeviceConnection : public virtual ::IDisposable {
public:
    virtual ~IDeviceConnection() = default;
    // A new connection on the same footing, with one reference, or null.
    virtual IDeviceConnection* Clone(bool secure) = 0;
    virtual unsigned long Initialize(QVDeviceManager::IDevice* device,
                                     const std::list<QVDeviceManager::FUNCTION_TYPE>& functions) = 0;
    virtual unsigned long Initialize(const wchar_t* serviceAddress) = 0;
    // Whether the connection does Navigate by itself.
    virtual bool IsHTTPCapable() = 0;
    virtual unsigned long Navigate(IHTTPNavigateParams* params, IHTTPClient* client,
                                   QVUtils::IProgress* progress) = 0;
    virtual unsigned long Open(QVUtils::IProgress* progress) = 0;
    virtual bool IsOpen() = 0;
    virtual unsigned long Close() = 0;
    virtual void LockRead() = 0;
    virtual void UnlockRead() = 0;
    virtual void LockWrite() = 0;
    virtual void UnlockWrite() = 0;
    virtual unsigned long Read(void* buffer, unsigned long size, unsigned long* bytesRead,
                               QVUtils::IProgress* progress) = 0;
    virtual unsigned long Write(const void* buffer, unsigned long size, unsigned long* bytesWritten,
                                QVUtils::IProgress* progress) = 0;
    virtual const wchar_t* GetAddress() = 0;
    virtual const wchar_t* GetPort() = 0;
    virtual const wchar_t* GetServiceAddress() = 0;
    virtual unsigned long GetOpenTimeout() = 0;
    virtual void SetOpenTimeout(unsigned long ms) = 0;
    virtual unsigned long GetReadTimeout() = 0;
    virtual void SetReadTimeout(unsigned long ms) = 0;
    virtual unsigned long GetWriteTimeout() = 0;
    virtual void SetWriteTimeout(unsigned long ms) = 0;
    virtual unsigned long GetReadWaitInterval() = 0;
    virtual void SetReadWaitInterval(unsigned long ms) = 0;
    virtual unsigned long GetWriteWaitInterval() = 0;
    virtual void SetWriteWaitInterval(unsigned long ms) = 0;
};

}  // namespace QVIOStack
