#include "api/QVUSBAddress.h"

#include <cwchar>
#include <new>

#include "api/QVHTTPRequest.h"
#include "api/QVStream.h"
#include "api/QVUSBDeviceConnection.h"
#include "api/QVUSBNotifier.h"
#include "api/VarloNotifier.h"
#include "api/USBDornRTLMIBConnection.h"
#include "http/CHTTPClient.h"
#include "iostack/FXVarloChannelLoader.h"
#include "iostack/VarloDeviceConnection.h"
#include "iostack/VarloLoader.h"
#include "logging/LogTrace.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

using namespace QVDeviceManager;
using QVIOStack::IDeviceConnection;

namespace {

constexpr int kLowestWebPort = 80;
constexpr int kHighestWebPort = 8080;
constexpr DWORD kOnlinePause = 1000;

bool IsWebPort(int port)
{
    return port >= kLowestWebPort && port <= kHighestWebPort;
}

// The kinds of configuration channel, by the function's name: a prefix for
// the plain channel, whole names for the component libraries.
bool IsPlainChannel(const std::wstring& name)
{
    return _wcsnicmp(name.c_str(), L"REST", 4) == 0;
}

bool IsBulkHeskChannel(const std::wstring& name)
{
    return _wcsicmp(name.c_str(), L"ZQFXBULKHESK") == 0;
}

bool IsEwsChannel(const std::wstring& name)
{
    return _wcsicmp(name.c_str(), L"ZQEWSFXBULK") == 0;
}

// The one function a stream port picks; false for any other port.
bool FunctionOfPort(int port, FUNCTION_TYPE* type)
{
    switch (port) {
    case 0:
        *type = FUNCTION_TYPE_LASERFAX;
        return true;
    case 1:
        *type = FUNCTION_TYPE_FAX;
        return true;
    case 2:
        *type = FUNCTION_TYPE_SCAN;
        return true;
    case 9100:
        *type = FUNCTION_TYPE_PRINT;
        return true;
    default:
        return false;
    }
}

// A USB connection on the first of `functions` that the device has, count
// 0; null if it has none of them.
IDeviceConnection* USBConnection(IDevice* device, const std::list<FUNCTION_TYPE>& functions)
{
    QVUSBDeviceConnection* connection = new QVUSBDeviceConnection();
    if (connection->Initialize(device, functions) != 0) {
        connection->AddRef();
        connection->Dispose();
        return nullptr;
    }
    return connection;
}

}  // namespace

QVUSBAddress::QVUSBAddress(const wchar_t* address, IUSBDeviceManager* manager, IDevice* device)
    : m_pManager(manager), m_pDevice(device), m_address(address != nullptr ? address : L"")
{
}

QVUSBAddress::~QVUSBAddress()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBAddress::~QVUSBAddress");
    if (m_pManager != nullptr && m_pDevice != nullptr) {
        m_pManager->CloseDevice(m_pDevice);
        m_pDevice = nullptr;
    }
    delete m_pManager;
}

BOOL QVUSBAddress::IsConnected()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBAddress::IsConnected");
    if (m_pDevice == nullptr) {
        QV_LOG_ERROR(L"Device is NULL");
        return FALSE;
    }
    // The device gets a second to settle before each test.
    g_pKernelApi->Sleep(kOnlinePause);
    const bool online = m_pDevice->IsOnline();
    QV_LOG_INFO(0, L"IsOnline returned %s", online ? L"TRUE" : L"FALSE");
    return online ? TRUE : FALSE;
}

const wchar_t* QVUSBAddress::GetAddress()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBAddress::GetAddress");
    return m_address.c_str();
}

IDeviceConnection* QVUSBAddress::CreateConfigConnection()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBAddress::CreateConfigConnection");
    if (m_pDevice == nullptr) {
        QV_LOG_ERROR(L"Device is NULL");
        return nullptr;
    }
    try {
        IDeviceFunction* config = nullptr;
        if (m_pDevice->GetFunction(FUNCTION_TYPE_CONFIG, &config) != 0 || config == nullptr) {
            QV_LOG_INFO(0, L"No configuration function: using fax, scan or print");
            return USBConnection(m_pDevice, {FUNCTION_TYPE_FAX, FUNCTION_TYPE_SCAN, FUNCTION_TYPE_PRINT});
        }
        const std::wstring name = config->GetFriendlyName();
        QV_LOG_INFO(0, L"Configuration function %s", name.c_str());
        if (IsPlainChannel(name)) {
            return USBConnection(m_pDevice, {FUNCTION_TYPE_CONFIG});
        }
        IVarloLoader* loader = nullptr;
        if (IsBulkHeskChannel(name)) {
            loader = new VarloLoader();
        } else if (IsEwsChannel(name)) {
            loader = new FXVarloChannelLoader();
        } else {
            QV_LOG_ERROR(L"Unknown configuration channel %s", name.c_str());
            return nullptr;
        }
        VarloDeviceConnection* connection = new VarloDeviceConnection(loader);
        if (connection->Initialize(m_address.c_str()) != 0) {
            connection->AddRef();
            connection->Dispose();
            return nullptr;
        }
        return connection;
    } catch (const std::bad_alloc&) {
        QV_LOG_ERROR(L"%s out of memory", logScope.GetDisplayName());
        return nullptr;
    }
}

unsigned long QVUSBAddress::CreateStream(int port, Stream** out)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBAddress::CreateStream");
    *out = nullptr;
    Stream* stream = nullptr;
    if (IsWebPort(port)) {
        if (CreateConfigConnection() == nullptr) {
            return logScope.m_errorCode = E_FAIL;
        }
        // The first connection only proved that one can be made; it is left
        // as it is, unopened, and the stream gets a second one.
        IDeviceConnection* connection = CreateConfigConnection();
        if (connection != nullptr) {
            try {
                stream = new QVStream(connection);
            } catch (const std::bad_alloc&) {
                delete connection;
            }
        }
    } else {
        stream = CreateFunctionStream(port);
    }
    if (stream == nullptr) {
        return logScope.m_errorCode = E_FAIL;
    }
    stream->AddRef();
    *out = stream;
    return 0;
}

Stream* QVUSBAddress::CreateFunctionStream(int port)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBAddress::CreateFunctionStream");
    FUNCTION_TYPE type;
    if (!FunctionOfPort(port, &type)) {
        QV_LOG_ERROR(L"No function on port %d", port);
        return nullptr;
    }
    IDeviceConnection* connection = nullptr;
    try {
        connection = USBConnection(m_pDevice, {type});
        return connection != nullptr ? new QVStream(connection) : nullptr;
    } catch (const std::bad_alloc&) {
        delete connection;
        return nullptr;
    }
}

unsigned long QVUSBAddress::CreateNotifier(Notifier** out)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBAddress::CreateNotifier");
    *out = nullptr;
    IDeviceFunction* config = nullptr;
    if (m_pDevice == nullptr || m_pDevice->GetFunction(FUNCTION_TYPE_CONFIG, &config) != 0 || config == nullptr) {
        return logScope.m_errorCode = E_FAIL;
    }
    const std::wstring name = config->GetFriendlyName();
    try {
        Notifier* notifier = nullptr;
        if (IsPlainChannel(name)) {
            notifier = new QVUSBNotifier(m_pDevice);
        } else if (IsBulkHeskChannel(name)) {
            notifier = new VarloNotifier(m_address.c_str());
        } else {
            return logScope.m_errorCode = E_FAIL;
        }
        notifier->AddRef();
        *out = notifier;
        return logScope.m_errorCode = 0;
    } catch (const std::bad_alloc&) {
        QV_LOG_ERROR(L"%s out of memory", logScope.GetDisplayName());
        return logScope.m_errorCode = E_FAIL;
    }
}

unsigned long QVUSBAddress::CreateHTTPRequest(HTTPRequest** out, int port)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBAddress::CreateHTTPRequest");
    *out = nullptr;
    if (!IsWebPort(port)) {
        return logScope.m_errorCode = E_FAIL;
    }
    IDeviceConnection* connection = CreateConfigConnection();
    if (connection == nullptr) {
        return logScope.m_errorCode = E_FAIL;
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
        return logScope.m_errorCode = E_FAIL;
    }
    return 0;
}

unsigned long QVUSBAddress::CreateMIBConnection(MIBConnection** out)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVUSBAddress::CreateMIBConnection");
    try {
        USBDornRTLMIBConnection* connection = new USBDornRTLMIBConnection();
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
