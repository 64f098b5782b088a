#include "iostack/CIONetwork.h"

#include <ws2tcpip.h>

#include <new>

#include "devicemanager/INetworkDevice.h"
#include "iostack/CIOSecureT.h"
#include "logging/LogTrace.h"
#include "utils/CProgressAggregator.h"
#include "utils/StringUtils.h"
#include "winapi/IKernelApi.h"
#include "winapi/IWinSockApi.h"

QV_LOG_SOURCE_FILE()

namespace QVIOStack {

using namespace QVDeviceManager;
using QVUtils::CProgressAggregator;

namespace {

constexpr unsigned long kNetworkTimeout = 30000;
constexpr int kReceiveBufferSize = 17520;
constexpr int kSocketAddressLength = 128;

bool IsHexDigit(wchar_t c)
{
    return (c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'f') || (c >= L'A' && c <= L'F');
}

bool IsDigits(const std::wstring& text, size_t from)
{
    for (size_t i = from; i < text.size(); ++i) {
        if (text[i] < L'0' || text[i] > L'9') {
            return false;
        }
    }
    return true;
}

// An embedded IPv4 tail: digits and exactly three dots, each dot behind a digit.
bool IsDottedTail(const std::wstring& text, size_t from)
{
    int dots = 0;
    for (size_t i = from; i < text.size(); ++i) {
        if (text[i] == L'.') {
            if (i == from || text[i - 1] < L'0' || text[i - 1] > L'9') {
                return false;
            }
            ++dots;
        } else if (text[i] < L'0' || text[i] > L'9') {
            return false;
        }
    }
    return dots == 3;
}

}  // namespace

IDeviceConnection* CreateIONetwork(bool secure)
{
    try {
        if (secure) {
            return new CIOSecureT<CIONetwork>();
        }
        return new CIONetwork();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

CIONetwork::CIONetwork()
    : CIOCommon(kNetworkTimeout, kNetworkTimeout, kNetworkTimeout)
{
}

CIONetwork::~CIONetwork()
{
    Cleanup();
    if (m_bStarted) {
        g_pWinSockApi->WSACleanup();
    }
}

IDeviceConnection* CIONetwork::Clone(bool secure)
{
    QV_LOG_FUNCTION(g_pIONetworkLog, L"QVIOStack::CIONetwork::Clone");
    IDeviceConnection* clone = CreateIONetwork(secure);
    if (clone == nullptr) {
        return nullptr;
    }
    unsigned long status;
    if (m_pDevice != nullptr) {
        status = clone->Initialize(m_pDevice, m_functions);
    } else {
        const std::wstring text = m_addressFamily == AF_INET6
            ? L"[" + m_address + L"]:" + m_port
            : m_address + L":" + m_port;
        status = clone->Initialize(text.c_str());
    }
    if (status != 0) {
        delete clone;
        return nullptr;
    }
    clone->AddRef();
    return clone;
}

unsigned long CIONetwork::Initialize(IDevice* device, const std::list<FUNCTION_TYPE>& functions)
{
    QV_LOG_FUNCTION(g_pIONetworkLog, L"QVIOStack::CIONetwork::Initialize");
    if (device == nullptr) {
        return logScope.m_errorCode = IOError_Fail;
    }
    INetworkDevice* networkDevice = nullptr;
    if (device->GetNetworkDevice(&networkDevice) != 0 || networkDevice == nullptr) {
        return logScope.m_errorCode = IOError_Fail;
    }
    m_functions.clear();
    for (FUNCTION_TYPE type : functions) {
        IDeviceFunction* function = nullptr;
        if (networkDevice->GetFunction(type, &function) == 0) {
            m_functions.push_back(type);
        }
    }
    if (m_functions.empty()) {
        return logScope.m_errorCode = IOError_Fail;
    }
    m_pDevice = networkDevice;
    return 0;
}

unsigned long CIONetwork::Initialize(const wchar_t* serviceAddress)
{
    QV_LOG_FUNCTION_PARAMS(g_pIONetworkLog, L"QVIOStack::CIONetwork::Initialize", L"%s",
                           serviceAddress != nullptr ? serviceAddress : L"(null)");
    m_pDevice = nullptr;
    return logScope.m_errorCode = Init(serviceAddress);
}

bool CIONetwork::IsHTTPCapable()
{
    return false;
}

unsigned long CIONetwork::Navigate(IHTTPNavigateParams*, IHTTPClient*, QVUtils::IProgress*)
{
    return IOError_Fail;
}

const wchar_t* CIONetwork::GetAddress()
{
    return m_address.empty() ? nullptr : m_address.c_str();
}

const wchar_t* CIONetwork::GetPort()
{
    return m_port.empty() ? nullptr : m_port.c_str();
}

const wchar_t* CIONetwork::GetServiceAddress()
{
    return m_serviceAddress.empty() ? nullptr : m_serviceAddress.c_str();
}

bool CIONetwork::IsIPv6(const std::wstring& a)
{
    if (a.empty()) {
        return false;
    }
    int colons = 0;
    int doubleColons = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        const wchar_t c = a[i];
        if (c == L':') {
            if (++colons < 2) {
                continue;
            }
            if (colons > 7) {
                break;
            }
            if (a[i - 1] == L':' && ++doubleColons > 1) {
                break;
            }
            const size_t next = a.find_first_of(L":.", i + 1);
            if (next != std::wstring::npos && a[next] == L'.') {
                return IsDottedTail(a, i + 1);
            }
        } else if (c == L'/' || c == L'%') {
            if (!IsDigits(a, i + 1)) {
                return false;
            }
            break;
        } else if (!IsHexDigit(c)) {
            return false;
        }
    }
    return colons >= 2 && colons <= 7 && doubleColons <= 1;
}

unsigned long CIONetwork::Init(const wchar_t* serviceAddress)
{
    QV_LOG_FUNCTION(g_pIONetworkLog, L"QVIOStack::CIONetwork::Init");
    if (serviceAddress == nullptr || *serviceAddress == L'\0') {
        return logScope.m_errorCode = IOError_Fail;
    }
    if (m_hIO != INVALID_HANDLE_VALUE) {
        Cleanup();
    }
    if (!SetFooting(serviceAddress, L"8080")) {
        return logScope.m_errorCode = IOError_Fail;
    }
    return 0;
}

bool CIONetwork::SetFooting(const wchar_t* serviceAddress, const wchar_t* defaultPort)
{
    std::wstring address;
    std::wstring port;
    if (!StringUtils::SplitHostPort(serviceAddress, address, port)) {
        return false;
    }
    m_address = address;
    m_port = port.empty() ? defaultPort : port;
    m_serviceAddress = serviceAddress;
    m_addressFamily = IsIPv6(m_address) ? AF_INET6 : AF_INET;
    return true;
}

unsigned long CIONetwork::RediscoverDevice(QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pIONetworkLog, L"QVIOStack::CIONetwork::RediscoverDevice");
    return logScope.m_errorCode = Rediscover(logScope, progress);
}

unsigned long CIONetwork::Rediscover(QVLogging::CLogFunction& logScope, QVUtils::IProgress* progress)
{
    const unsigned long refreshed = m_pDevice->Refresh(progress);
    if (refreshed != 0) {
        QV_LOG_ERROR(L"Failed to rediscover device");
        if (const unsigned long mapped = MapDeviceManagerError(refreshed)) {
            return mapped;
        }
    }
    for (FUNCTION_TYPE type : m_functions) {
        IDeviceFunction* function = nullptr;
        if (m_pDevice->GetFunction(type, &function) != 0 || function == nullptr) {
            continue;
        }
        if (Init(function->GetAddress().c_str()) == 0) {
            return 0;  // the first function whose address can be parsed wins
        }
        QV_LOG_ERROR(L"Failed to initialize connection with device service address (%s)",
                     function->GetAddress().c_str());
    }
    return IOError_Fail;
}

unsigned long CIONetwork::Open(QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pIONetworkLog, L"QVIOStack::CIONetwork::Open");
    g_pKernelApi->EnterCriticalSection(&m_openLock);
    CProgressAggregator localProgress(progress, 3);
    unsigned long status = 0;

    auto finish = [&](unsigned long result) {
        if (result != 0) {
            Cleanup();
        }
        g_pKernelApi->LeaveCriticalSection(&m_openLock);
        return logScope.m_errorCode = result;
    };

    if (m_hIO != INVALID_HANDLE_VALUE) {
        QV_LOG_INFO(0, L"Open called and socket is already valid");
        if (IsOpen()) {
            ++m_lSessionCount;
            return finish(0);
        }
        // The peer has gone: rebuild, and let the users of the dead socket
        // keep their places in the count.
        QV_LOG_INFO(0, L"CIONetwork::Open: socket has been closed, ready for Cleanup()");
        const long sessions = m_lSessionCount;
        Cleanup();
        m_lSessionCount = sessions;
    }

    if (m_pDevice != nullptr && (status = RediscoverDevice(&localProgress)) != 0) {
        return finish(status);
    }
    if (m_address.empty()) {
        QV_LOG_ERROR(L"FAIL: rediscovery success but no address");
        return finish(IOError_Fail);
    }
    if (!localProgress.Step(0UL)) {
        QV_LOG_INFO(0, L"ABORT: rediscovery success but LocalProgress.Step is false");
        return finish(IOError_Aborted);
    }
    if (!m_bStarted) {
        WSADATA data;
        const int started = g_pWinSockApi->WSAStartup(0x202, &data);
        // Set either way: the destructor balances even a failed start.
        m_bStarted = true;
        if (started != 0) {
            QV_LOG_ERROR(L"WSAStartup failed");
            return finish(IOError_Fail);
        }
    }
    if (m_hIO == INVALID_HANDLE_VALUE) {
        QV_LOG_INFO(0, L"Still don't have socket, calling WSASocket to create local socket");
        m_hIO = reinterpret_cast<HANDLE>(g_pWinSockApi->WSASocketW(
            m_addressFamily, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, WSA_FLAG_OVERLAPPED));
    }
    if (Socket() == INVALID_SOCKET) {
        m_hIO = INVALID_HANDLE_VALUE;
        QV_LOG_ERROR(L"Failed to create socket");
        return finish(IOError_Fail);
    }
    const int receiveBuffer = kReceiveBufferSize;
    if (g_pWinSockApi->setsockopt(Socket(), SOL_SOCKET, SO_RCVBUF,
                                  reinterpret_cast<const char*>(&receiveBuffer),
                                  sizeof(receiveBuffer)) != 0) {
        QV_LOG_ERROR(L"setsockopt failed");
        return finish(IOError_Fail);
    }
    m_hEvent = g_pWinSockApi->WSACreateEvent();
    if (m_hEvent == nullptr) {
        QV_LOG_ERROR(L"WSACreateEvent call failed");
        return finish(IOError_Fail);
    }
    if (g_pWinSockApi->WSAEventSelect(Socket(), m_hEvent, FD_CONNECT) != 0) {
        QV_LOG_ERROR(L"WSAEventSelect failed with error = %d", g_pWinSockApi->WSAGetLastError());
        return finish(IOError_Fail);
    }
    if (!localProgress.Step(0UL)) {
        QV_LOG_INFO(0, L"ABORT: WSAEventSelect success but LocalProgress.Step is false");
        return finish(IOError_Aborted);
    }

    const int connectCode = Connect(logScope);
    // A stop asked for here does not undo a connection that stands: the
    // connect code alone decides.
    if (!localProgress.Step(0UL)) {
        QV_LOG_INFO(0, L"ABORT2: LocalProgess.Step is false");
    }
    if (connectCode == 0) {
        QV_LOG_INFO(0, L"WSAConnect succeeded");
        ++m_lSessionCount;
        g_pWinSockApi->WSAResetEvent(m_hEvent);
        // From here on only the peer's close fires the event (see IsOpen).
        if (g_pWinSockApi->WSAEventSelect(Socket(), m_hEvent, FD_CLOSE) != 0) {
            QV_LOG_ERROR(L"WSAEventSelect failed with error = %d", g_pWinSockApi->WSAGetLastError());
        }
        return finish(0);
    }
    if (connectCode == WSA_WAIT_TIMEOUT || connectCode == WSAETIMEDOUT) {
        QV_LOG_ERROR(L"TIMEOUT: WSA_WAIT_TIMEOUT or WSAETIMEDOUT during connect attempt");
        return finish(IOError_Timeout);
    }
    QV_LOG_ERROR(L"FAIL: Other failure %d occurred during connect attempt", connectCode);
    return finish(IOError_Fail);
}

int CIONetwork::Connect(QVLogging::CLogFunction& logScope)
{
    const std::wstring text = m_addressFamily == AF_INET6
        ? L"[" + m_address + L"]:" + m_port
        : m_address + L":" + m_port;
    unsigned char storage[kSocketAddressLength] = {};
    sockaddr* address = reinterpret_cast<sockaddr*>(storage);
    address->sa_family = static_cast<ADDRESS_FAMILY>(m_addressFamily);
    int length = kSocketAddressLength;

    int code = g_pWinSockApi->WSAStringToAddressW(const_cast<wchar_t*>(text.c_str()),
                                                  m_addressFamily, nullptr, address, &length);
    if (code != 0) {
        QV_LOG_ERROR(L"WSAStringToAddressW(%s) failed with err = %d", text.c_str(),
                     g_pWinSockApi->WSAGetLastError());
        return code;
    }
    if (g_pWinSockApi->WSAConnect(Socket(), address, length, nullptr, nullptr, nullptr, nullptr)
        == 0) {
        return 0;
    }
    code = g_pWinSockApi->WSAGetLastError();
    QV_LOG_INFO(0, L"WSAConnect returned err = %d", code);
    if (code == WSAEWOULDBLOCK) {
        code = static_cast<int>(g_pKernelApi->WaitForSingleObject(m_hEvent, m_openTimeout));
        QV_LOG_INFO(0, L"WaitForSingleObject returned %d", code);
        if (code == 0) {
            WSANETWORKEVENTS events{};
            code = g_pWinSockApi->WSAEnumNetworkEvents(Socket(), m_hEvent, &events);
            if (code == 0) {
                code = events.iErrorCode[FD_CONNECT_BIT];
            }
            g_pWinSockApi->WSAResetEvent(m_hEvent);
        }
    }
    return code;
}

bool CIONetwork::IsOpen()
{
    QV_LOG_FUNCTION(g_pIONetworkLog, L"QVIOStack::CIONetwork::IsOpen");
    if (m_hIO == INVALID_HANDLE_VALUE) {
        return false;
    }
    const DWORD waited = g_pKernelApi->WaitForSingleObject(m_hEvent, 0);
    QV_LOG_INFO(5, L"WaitForSingleObject returned %d", static_cast<int>(waited));
    if (waited == WAIT_TIMEOUT) {
        return true;
    }
    if (waited == WAIT_OBJECT_0) {
        // Only FD_CLOSE fires the event of an open socket. The event is reset,
        // so the caller must clean up now (Open does).
        WSANETWORKEVENTS events{};
        const int enumerated = g_pWinSockApi->WSAEnumNetworkEvents(Socket(), m_hEvent, &events);
        g_pWinSockApi->WSAResetEvent(m_hEvent);
        if (enumerated == 0) {
            QV_LOG_INFO(0, L"WSAEnumNetworkEvents indicates FD_CLOSE occurred (%d)",
                        events.iErrorCode[FD_CLOSE_BIT]);
        }
    }
    return false;
}

unsigned long CIONetwork::Close()
{
    QV_LOG_FUNCTION(g_pIONetworkLog, L"QVIOStack::CIONetwork::Close");
    g_pKernelApi->EnterCriticalSection(&m_openLock);
    if (m_hIO != INVALID_HANDLE_VALUE) {
        if (m_lSessionCount < 1) {
            QV_LOG_ERROR(L"CIONetowrk::Close entered with valid m_hIO handle, but m_lSessionCount = %d",
                         static_cast<int>(m_lSessionCount));
            m_lSessionCount = 1;
        }
        if (--m_lSessionCount == 0) {
            QV_LOG_INFO(0, L"CIONetwork::Close: shutting down socket");
            if (g_pWinSockApi->shutdown(Socket(), SD_BOTH) != 0) {
                QV_LOG_ERROR(L"shutdown socket failed with error = %d", g_pWinSockApi->WSAGetLastError());
            }
            if (g_pWinSockApi->closesocket(Socket()) != 0) {
                QV_LOG_ERROR(L"closesocket failed with error = %d", g_pWinSockApi->WSAGetLastError());
            }
            m_hIO = INVALID_HANDLE_VALUE;
            ShutdownSocketServer();
            // The transfer events go with the socket they served.
            CloseTransferEvents();
        }
    }
    g_pKernelApi->LeaveCriticalSection(&m_openLock);
    return 0;
}

void CIONetwork::Cleanup()
{
    QV_LOG_FUNCTION(g_pIONetworkLog, L"QVIOStack::CIONetwork::Cleanup");
    if (m_hEvent != nullptr) {
        g_pWinSockApi->WSACloseEvent(m_hEvent);
        m_hEvent = nullptr;
    }
    if (m_hIO != INVALID_HANDLE_VALUE) {
        m_lSessionCount = 0;
        Close();
    }
}

void CIONetwork::ShutdownSocketServer()
{
    QV_LOG_FUNCTION(g_pIONetworkLog, L"QVIOStack::CIONetwork::ShutdownSocketServer");
    HANDLE& thread = m_hServer[4];
    if (thread != nullptr) {
        if (g_pKernelApi->SetEvent(m_hServer[2])) {
            g_pKernelApi->WaitForSingleObject(thread, INFINITE);
        } else {
            QV_LOG_ERROR(L"Coult not set event to shut down sock server. Error: %d",
                         static_cast<int>(GetLastError()));
        }
        thread = nullptr;
    }
    for (int i = 3; i >= 0; --i) {
        if (m_hServer[i] != nullptr) {
            g_pKernelApi->CloseHandle(m_hServer[i]);
            m_hServer[i] = nullptr;
        }
    }
}

BOOL CIONetwork::StartTransfer(Direction direction, void* buffer, DWORD size, DWORD* done,
                               OVERLAPPED* overlapped)
{
    // Sockets take the socket calls: an overlapped WriteFile on a socket that
    // goes pending does not complete on every platform this runs on.
    WSABUF chunk{size, static_cast<char*>(buffer)};
    DWORD flags = 0;
    const int result = direction == Direction::Read
        ? WSARecv(Socket(), &chunk, 1, done, &flags, overlapped, nullptr)
        : WSASend(Socket(), &chunk, 1, done, 0, overlapped, nullptr);
    if (result == 0) {
        return TRUE;
    }
    SetLastError(g_pWinSockApi->WSAGetLastError());
    return FALSE;
}

BOOL CIONetwork::GetTransferResult(OVERLAPPED* overlapped, DWORD* done, BOOL wait)
{
    DWORD flags = 0;
    if (WSAGetOverlappedResult(Socket(), overlapped, done, wait, &flags)) {
        return TRUE;
    }
    SetLastError(g_pWinSockApi->WSAGetLastError());
    return FALSE;
}

}  // namespace QVIOStack
