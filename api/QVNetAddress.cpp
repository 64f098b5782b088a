#include "api/QVNetAddress.h"

#include "api/NetDornRTLMIBConnection.h"
#include "api/QVHTTPRequest.h"
#include "api/QVStream.h"
#include "http/CHTTPClient.h"
#include "iostack/CIONetwork.h"
#include "logging/LogTrace.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

namespace {

constexpr int kLowestPort = 80;
constexpr int kHighestStreamPort = 9100;
constexpr int kHighestHTTPPort = 8080;

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
    if (port < kLowestPort || port > kHighestStreamPort) {
        return 0;
    }
    QVIOStack::IDeviceConnection* connection = CreateConnection(port, logScope);
    if (connection == nullptr) {
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

unsigned long QVNetAddress::CreateHTTPRequest(HTTPRequest** out, int port)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVNetAddress::CreateHTTPRequest");
    *out = nullptr;
    // As for streams, a port out of range gives status 0 and no request.
    if (port < kLowestPort || port > kHighestHTTPPort) {
        return 0;
    }
    QVIOStack::IDeviceConnection* connection = CreateConnection(port, logScope);
    if (connection == nullptr) {
        return 0;
    }
    QVIOStack::CHTTPClient* client = nullptr;
    try {
        client = new QVIOStack::CHTTPClient(connection);
        QVHTTPRequest* request = new QVHTTPRequest(client);
        request->AddRef();
        *out = request;
    } catch (const std::bad_alloc&) {
        QV_LOG_ERROR(L"%s out of memory", logScope.GetDisplayName());
        // The client, if made, holds the connection's only reference.
        if (client != nullptr) {
            client->AddRef();
            client->Dispose();
        } else {
            delete connection;
        }
    }
    return 0;
}

QVIOStack::IDeviceConnection* QVNetAddress::CreateConnection(int port, QVLogging::CLogFunction& logScope)
{
    std::wstring text;
    try {
        text = m_address + L":" + std::to_wstring(port);
    } catch (...) {
        text.clear();
    }
    const bool secure = IsSecurePort(port);
    QVIOStack::IDeviceConnection* connection = QVIOStack::CreateIONetwork(secure);
    if (connection == nullptr) {
        QV_LOG_ERROR(L"%s no %s connection for port %d", logScope.GetDisplayName(),
                     secure ? L"secure" : L"network", port);
        return nullptr;
    }
    const unsigned long status = connection->Initialize(text.c_str());
    if (status != 0) {
        QV_LOG_ERROR(L"%s Initialize(%s) returned 0x%08X", logScope.GetDisplayName(), text.c_str(), status);
        // Nobody holds a reference to it yet.
        delete connection;
        return nullptr;
    }
    return connection;
}

unsigned long QVNetAddress::CreateMIBConnection(MIBConnection** out)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVNetAddress::CreateMIBConnection");
    try {
        NetDornRTLMIBConnection* connection = new NetDornRTLMIBConnection();
        connection->Initialize(m_address.c_str());
        connection->AddRef();
        *out = connection;
    } catch (const std::bad_alloc&) {
        *out = nullptr;
        return logScope.m_errorCode = E_FAIL;
    }
    return 0;
}

}  // namespace Orvane
