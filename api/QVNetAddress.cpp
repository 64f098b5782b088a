#include "api/QVNetAddress.h"

#include "api/QVStream.h"
#include "iostack/CIONetwork.h"
#include "logging/LogTrace.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

namespace {

constexpr int kLowestPort = 80;
constexpr int kHighestPort = 9100;

bool IsSecurePort(int port)
{
    return port == 443 || port == 7627;
}

}  // namespace

QVNetAddress::QVNetAddress(const wchar_t* address)
    : m_address(address != nullptr ? address : L"")
{
}

BOOL QVNetAddress::IsConnected()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVNetAddress::IsConnected");
    // Reachability is found out only by opening a connection.
    return TRUE;
}

const wchar_t* QVNetAddress::GetAddress()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVNetAddress::GetAddress");
    return m_address.c_str();
}

unsigned long QVNetAddress::CreateStream(int port, Stream** out)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVNetAddress::CreateStream");
    *out = nullptr;
    // A port out of range is no error: the caller tests the pointer.
    if (port < kLowestPort || port > kHighestPort) {
        return 0;
    }
    std::wstring text;
    try {
        text = m_address + L":" + std::to_wstring(port);
    } catch (...) {
        text.clear();
    }
    QVIOStack::IDeviceConnection* connection = QVIOStack::CreateIONetwork(IsSecurePort(port));
    // A connection that cannot be initialised is dropped with its count at 0.
    if (connection == nullptr || connection->Initialize(text.c_str()) != 0) {
        return 0;
    }
    try {
        QVStream* stream = new QVStream(connection);
        stream->AddRef();
        *out = stream;
    } catch (const std::bad_alloc&) {
        delete connection;
        return logScope.m_errorCode = E_FAIL;
    }
    return 0;
}

unsigned long QVNetAddress::CreateNotifier(Notifier** out)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVNetAddress::CreateNotifier");
    // A network device raises no interrupts.
    *out = nullptr;
    return logScope.m_errorCode = E_FAIL;
}

unsigned long QVNetAddress::CreateHTTPRequest(HTTPRequest** out, int)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVNetAddress::CreateHTTPRequest");
    // The HTTP client arrives with its own objects.
    *out = nullptr;
    return logScope.m_errorCode = E_NOTIMPL;
}

unsigned long QVNetAddress::CreateMIBConnection(MIBConnection** out)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVNetAddress::CreateMIBConnection");
    // Management objects arrive with their run-time library bridge.
    *out = nullptr;
    return logScope.m_errorCode = E_NOTIMPL;
}

}  // namespace Orvane
