#pragma once

#include <winsock2.h>

#include <list>
#include <string>

#include "iostack/CIOCommon.h"
#include "utils/IDisposableImpl.h"

namespace QVIOStack {

// A TCP connection to a device, on plain text (address and port) or on a
// device record that is found again at every Open. Reads and writes are
// those of CIOCommon on the socket; a close watch on the socket's event
// makes IsOpen cheap and truthful.
class CIONetwork : public CIOCommon, public IDisposableImpl {
public:
    CIONetwork();
    ~CIONetwork() override;

    IDeviceConnection* Clone(bool secure) override;
    unsigned long Initialize(QVDeviceManager::IDevice* device,
                             const std::list<QVDeviceManager::FUNCTION_TYPE>& functions) override;
    unsigned long Initialize(const wchar_t* serviceAddress) override;
    bool IsHTTPCapable() override;
    unsigned long Navigate(IHTTPNavigateParams* params, IHTTPClient* client,
                           QVUtils::IProgress* progress) override;
    unsigned long Open(QVUtils::IProgress* progress) override;
    bool IsOpen() override;
    unsigned long Close() override;
    const wchar_t* GetAddress() override;
    const wchar_t* GetPort() override;
    const wchar_t* GetServiceAddress() override;

    virtual unsigned long Init(const wchar_t* serviceAddress);
    virtual void Cleanup();
    virtual unsigned long RediscoverDevice(QVUtils::IProgress* progress);

    const char* GetRuntimeTypeName() const override { return QVUtils::UndecoratedTypeName(typeid(*this)); }

    // Whether a host part is an IPv6 literal: 2 to 7 colons, at most one
    // "::", hexadecimal groups, an optional dotted IPv4 tail and an optional
    // "/prefix" or "%zone" in decimal.
    static bool IsIPv6(const std::wstring& address);

protected:
    BOOL StartTransfer(Direction direction, void* buffer, DWORD size, DWORD* done,
                       OVERLAPPED* overlapped) override;
    BOOL GetTransferResult(OVERLAPPED* overlapped, DWORD* done, BOOL wait) override;

    // Splits a service address into address and port, `defaultPort` when it
    // names none, and keeps the whole text; false when the text is refused.
    bool SetFooting(const wchar_t* serviceAddress, const wchar_t* defaultPort);
    // Finds the device again and takes the address of the first wanted
    // function that can be parsed; the lines go into the caller's scope.
    unsigned long Rediscover(QVLogging::CLogFunction& logScope, QVUtils::IProgress* progress);

    QVDeviceManager::INetworkDevice* m_pDevice = nullptr;
    std::list<QVDeviceManager::FUNCTION_TYPE> m_functions;
    int m_addressFamily = AF_INET;
    std::wstring m_address;
    std::wstring m_port;
    std::wstring m_serviceAddress;

private:
    SOCKET Socket() const { return reinterpret_cast<SOCKET>(m_hIO); }
    // Connects the socket within the open timeout; the system's connect code.
    int Connect(QVLogging::CLogFunction& logScope);
    void ShutdownSocketServer();

    WSAEVENT m_hEvent = nullptr;
    bool m_bStarted = false;
    // Kept for a socket server thread that nothing starts; cleaned up in
    // ShutdownSocketServer. The third is its shutdown event, the last its thread.
    HANDLE m_hServer[5] = {};
};

// A new network connection with a count of 0, secure or not; null if none
// can be made.
IDeviceConnection* CreateIONetwork(bool secure);

}  // namespace QVIOStack
