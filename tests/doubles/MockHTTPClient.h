#pragma once

#include <gmock/gmock.h>

#include "http/IHTTPClient.h"
#include "utils/IDisposableImpl.h"

namespace doubles {

// A scripted HTTP client with a real reference count: the results of an
// exchange are whatever the test says.
class MockHTTPClient : public QVIOStack::IHTTPClient, public IDisposableImpl {
public:
    explicit MockHTTPClient(bool* destroyed = nullptr) : m_destroyed(destroyed) {}
    ~MockHTTPClient() override
    {
        if (m_destroyed) {
            *m_destroyed = true;
        }
    }

    // The count of references, read without changing it.
    unsigned long References()
    {
        const unsigned long count = AddRef() - 1;
        SetKeepAtZero(true);
        Dispose();
        SetKeepAtZero(false);
        return count;
    }

    MOCK_METHOD(unsigned long, Initialize, (QVIOStack::IDeviceConnection*), (override));
    MOCK_METHOD(void, SetRoot, (const wchar_t*), (override));
    MOCK_METHOD(const wchar_t*, GetRoot, (), (override));
    MOCK_METHOD(unsigned long, OpenSession, (QVUtils::IProgress*, unsigned long), (override));
    MOCK_METHOD(unsigned long, CloseSession, (), (override));
    MOCK_METHOD(unsigned long, Navigate, (QVIOStack::IHTTPNavigateParams*, QVUtils::IProgress*), (override));
    MOCK_METHOD(unsigned long, Navigate, (const wchar_t*, unsigned long, QVUtils::IProgress*), (override));
    MOCK_METHOD(void, SetUserName, (const wchar_t*), (override));
    MOCK_METHOD(void, SetPassword, (const wchar_t*), (override));
    MOCK_METHOD(const wchar_t*, GetRequest, (), (override));
    MOCK_METHOD(QVIOStack::IDeviceConnection*, GetDeviceConnection, (), (override));
    MOCK_METHOD(unsigned long, GetStatusCode, (), (override));
    MOCK_METHOD(const char*, GetHeader, (), (override));
    MOCK_METHOD(unsigned long, GetHeaderLength, (), (override));
    MOCK_METHOD(const unsigned char*, GetContent, (), (override));
    MOCK_METHOD(unsigned long, GetContentLength, (), (override));
    MOCK_METHOD(const wchar_t*, GetContentType, (), (override));
    MOCK_METHOD(const wchar_t*, GetHeaderEntry, (const wchar_t*), (override));
    MOCK_METHOD(void, GetHeaders, (QVIOStack::HeaderMap&), (override));
    MOCK_METHOD(void, SetStatusCode, (unsigned long), (override));
    MOCK_METHOD(void, SetContent, (const void*, unsigned long), (override));
    MOCK_METHOD(void, SetHeaders, (const char*), (override));
    MOCK_METHOD(void, ResetRequest, (), (override));

private:
    bool* m_destroyed;
};

}  // namespace doubles
