#pragma once

#include <list>
#include <string>

#include "iostack/CIOCommon.h"
#include "utils/IDisposableImpl.h"

namespace QVDeviceManager {
class IUSBDevice;
}

namespace QVIOStack {

// Bytes to one function of a USB device through its device path. The channel
// has one user on the whole machine: Open first claims a named marker made
// from the path. On paths of the USB printing class a shadow buffer keeps
// the device read in requests of 2048 bytes or more.
class CIOUSB : public CIOCommon, public IDisposableImpl {
public:
    CIOUSB();
    ~CIOUSB() override;

    IDeviceConnection* Clone(bool secure) override;
    unsigned long Initialize(QVDeviceManager::IDevice* device,
                             const std::list<QVDeviceManager::FUNCTION_TYPE>& functions) override;
    unsigned long Initialize(const wchar_t* devicePath) override;
    bool IsHTTPCapable() override;
    unsigned long Navigate(IHTTPNavigateParams* params, IHTTPClient* client,
                           QVUtils::IProgress* progress) override;
    unsigned long Open(QVUtils::IProgress* progress) override;
    bool IsOpen() override;
    unsigned long Close() override;
    unsigned long Read(void* buffer, unsigned long size, unsigned long* bytesRead,
                       QVUtils::IProgress* progress) override;
    const wchar_t* GetAddress() override;
    const wchar_t* GetPort() override;
    const wchar_t* GetServiceAddress() override;

    virtual unsigned long Init(const wchar_t* devicePath);
    virtual void Cleanup();
    virtual unsigned long LockChannel(QVDeviceManager::IDeviceFunction** out);
    virtual unsigned long LockChannelObject(const std::wstring& name);
    virtual void UnlockChannelObject();

    const char* GetRuntimeTypeName() const override { return QVUtils::UndecoratedTypeName(typeid(*this)); }

    // The function LockChannel settled on; 0 before that.
    QVDeviceManager::FUNCTION_TYPE GetActiveFunction() const { return m_activeFunction; }

protected:
    // Small reads served from one large read of the device.
    struct ShadowBuffer {
        unsigned char* m_pData = nullptr;  // null: not active
        unsigned long m_size = 0;
        unsigned long m_readPos = 0;
        unsigned long m_fill = 0;

        unsigned long CopyData(void* buffer, unsigned long size, unsigned long* copied);
        void Free();
    };

    // The machine-wide name of a device path's channel.
    static std::wstring ChannelLockName(const std::wstring& devicePath);
    // Opens the device path for overlapped reading and writing, unshared.
    static HANDLE OpenDevicePath(const std::wstring& devicePath);

    QVDeviceManager::IUSBDevice* m_pDevice = nullptr;
    std::list<QVDeviceManager::FUNCTION_TYPE> m_functions;
    QVDeviceManager::FUNCTION_TYPE m_activeFunction = static_cast<QVDeviceManager::FUNCTION_TYPE>(0);
    std::wstring m_devicePath;
    HANDLE m_hChannelLock = nullptr;
    ShadowBuffer m_shadow;
};

// A new USB connection with a count of 0; null if none can be made.
IDeviceConnection* CreateIOUSB();

}  // namespace QVIOStack
