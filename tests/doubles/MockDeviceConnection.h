#pragma once

#include <gmock/gmock.h>

#include "iostack/IDeviceConnection.h"
#include "utils/IDisposableImpl.h"

namespace doubles {

// A scripted device connection with a real reference count: proves that a
// user of IDeviceConnection runs on any connection, not only on sockets.
class MockDeviceConnection : public QVIOStack::IDeviceConnection, public IDisposableImpl {
public:
    explicit MockDeviceConnection(bool* destroyed = nullptr) : m_destroyed(destroyed) {}
    ~MockDeviceConnection() override
    {
        if (m_destroyed) {
            *m_destroyed = true;
        }
    }

    MOCK_METHOD(QVIOStack::IDeviceConnection*, Clone, (bool), (override));
    MOCK_METHOD(unsigned long, Initialize,
                (QVDeviceManager::IDevice*, const std::list<QVDeviceManager::FUNCTION_TYPE>&), (override));
    MOCK_METHOD(unsigned long, Initialize, (const wchar_t*), (override));
    MOCK_METHOD(bool, IsHTTPCapable, (), (override));
    MOCK_METHOD(unsigned long, Navigate,
                (QVIOStack::IHTTPNavigateParams*, QVIOStack::IHTTPClient*, QVUtils::IProgress*), (override));
    MOCK_METHOD(unsigned long, Open, (QVUtils::IProgress*), (override));
    MOCK_METHOD(bool, IsOpen, (), (override));
    MOCK_METHOD(unsigned long, Close, (), (override));
    MOCK_METHOD(void, LockRead, (), (override));
    MOCK_METHOD(void, UnlockRead, (), (override));
    MOCK_METHOD(void, LockWrite, (), (override));
    MOCK_METHOD(void, UnlockWrite, (), (override));
    MOCK_METHOD(unsigned long, Read, (void*, unsigned long, unsigned long*, QVUtils::IProgress*), (override));
    MOCK_METHOD(unsigned long, Write, (const void*, unsigned long, unsigned long*, QVUtils::IProgress*),
                (override));
    MOCK_METHOD(const wchar_t*, GetAddress, (), (override));
    MOCK_METHOD(const wchar_t*, GetPort, (), (override));
    MOCK_METHOD(const wchar_t*, GetServiceAddress, (), (override));
    MOCK_METHOD(unsigned long, GetOpenTimeout, (), (override));
    MOCK_METHOD(void, SetOpenTimeout, (unsigned long), (override));
    MOCK_METHOD(unsigned long, GetReadTimeout, (), (override));
    MOCK_METHOD(void, SetReadTimeout, (unsigned long), (override));
    MOCK_METHOD(unsigned long, GetWriteTimeout, (), (override));
    MOCK_METHOD(void, SetWriteTimeout, (unsigned long), (override));
    MOCK_METHOD(unsigned long, GetReadWaitInterval, (), (override));
    MOCK_METHOD(void, SetReadWaitInterval, (unsigned long), (override));
    MOCK_METHOD(unsigned long, GetWriteWaitInterval, (), (override));
    MOCK_METHOD(void, SetWriteWaitInterval, (unsigned long), (override));

private:
    bool* m_destroyed;
};

}  // namespace doubles
