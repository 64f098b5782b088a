#pragma once

#include <string>

#include "devicemanager/CDeviceT.h"
#include "devicemanager/CDevNode.h"
#include "http/CHTTPClient.h"
#include "iostack/CIOSecureT.h"

namespace iostack_test {

// A secure connection whose session count and certificate question a test
// can reach.
class TestableSecure : public QVIOStack::CIOSecureT<QVIOStack::CIONetwork> {
public:
    long SessionCount() const { return m_lSessionCount; }
    bool IgnoresUnknownCA() const { return m_bIgnoreUnknownCA; }
    void AskAboutUnknownCA() { m_bIgnoreUnknownCA = false; }
    HINTERNET Session() const { return m_hInternet; }
    HINTERNET Connection() const { return m_hConnect; }
};

// A client whose own Navigate, the one a connection calls to start over
// with credentials, is counted and answers as the test says.
class CountingClient : public QVIOStack::CHTTPClient {
public:
    using CHTTPClient::Navigate;
    unsigned long Navigate(QVIOStack::IHTTPNavigateParams*, QVUtils::IProgress*) override
    {
        ++navigations;
        return answer;
    }

    int navigations = 0;
    unsigned long answer = 0;
};

// A device with one function whose address it gives after a refresh.
class FakeDevice : public QVDeviceManager::CDeviceT<QVDeviceManager::INetworkDevice>,
                   public QVDeviceManager::IDeviceFunction {
public:
    unsigned long GetFunction(QVDeviceManager::FUNCTION_TYPE, QVDeviceManager::IDeviceFunction** out) override
    {
        *out = this;
        return 0;
    }
    unsigned long Refresh(QVUtils::IProgress*) override { return refreshStatus; }
    QVDeviceManager::FUNCTION_TYPE GetFunctionType() override { return QVDeviceManager::FUNCTION_TYPE(); }
    const std::wstring& GetAddress() override { return address; }

    unsigned long refreshStatus = 0;
    std::wstring address = L"192.0.2.9:7627";

private:
    // Not asked of it by a connection.
    unsigned long Init(const wchar_t*, QVUtils::IProgress*) override { return 0; }
    unsigned long Init(const QVDeviceManager::CDevNode&, QVUtils::IProgress*) override { return 0; }
    bool IsInstalled() override { return true; }
    bool IsOnline() override { return true; }
    QVDeviceManager::CONNECTION_TYPE GetConnectionType() override { return QVDeviceManager::CONNECTION_TYPE_NETWORK; }
    unsigned long Install(QVUtils::IProgress*) override { return 0; }
    unsigned long Uninstall(QVUtils::IProgress*) override { return 0; }
    const std::wstring& GetFriendlyName() override { return address; }
    const std::wstring& GetDriverName() override { return address; }
    void Init(const wchar_t*, const wchar_t*, const wchar_t*) override {}
    void Clear() override {}
    const std::wstring& GetIPAddress() override { return address; }
    const std::wstring& GetHostName() override { return address; }
    const std::wstring& GetGUID() override { return address; }
    const std::wstring& GetMAC() override { return address; }
    unsigned long GetNetworkType() override { return 0; }
    unsigned long SetIPAddress(const wchar_t*) override { return 0; }
    unsigned long SetHostName(const wchar_t*) override { return 0; }
    void SetMulticastEnabled(bool) override {}
    bool GetMulticastEnabled() override { return true; }
    void SetDefaultToSearchByIP(bool) override {}
    bool GetDefaultToSearchByIP() override { return true; }
};

}  // namespace iostack_test
