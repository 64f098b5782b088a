#include "iostack/VarloDeviceConnection.h"

#include "logging/LogTrace.h"
#include "utils/CTickCountHelper.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

using namespace QVIOStack;
using QVUtils::CTickCountHelper;

namespace {

constexpr unsigned long kOpenTimeout = 0;
constexpr unsigned long kReadTimeout = 8000;
constexpr unsigned long kWriteTimeout = 8000;

// The library's system error numbers that have an I/O status of their own.
constexpr unsigned long kDeviceGone = 55;   // ERROR_DEV_NOT_EXIST
constexpr unsigned long kBusy = 170;        // ERROR_BUSY
constexpr unsigned long kAborted = 995;     // ERROR_OPERATION_ABORTED
constexpr unsigned long kTimedOut = 1460;   // ERROR_TIMEOUT

}  // namespace

VarloDeviceConnection::VarloDeviceConnection(IVarloLoader* loader)
    : CIOCommon(kOpenTimeout, kReadTimeout, kWriteTimeout), m_pLoader(loader)
{
}

VarloDeviceConnection::~VarloDeviceConnection()
{
    Close();
    delete m_pLoader;
}

IDeviceConnection* VarloDeviceConnection::Clone(bool)
{
    return nullptr;
}

unsigned long VarloDeviceConnection::Initialize(QVDeviceManager::IDevice*,
                                                const std::list<QVDeviceManager::FUNCTION_TYPE>&)
{
    return IOError_Fail;
}

unsigned long VarloDeviceConnection::Initialize(const wchar_t* address)
{
    QV_LOG_FUNCTION_PARAMS(g_pIOUSBLog, L"Orvane::VarloDeviceConnection::Initialize", L"%s",
                           address != nullptr ? address : L"(null)");
    Close();
    m_address = address != nullptr ? address : L"";
    return 0;
}

bool VarloDeviceConnection::IsHTTPCapable()
{
    return false;
}

unsigned long VarloDeviceConnection::Navigate(IHTTPNavigateParams*, IHTTPClient*, QVUtils::IProgress*)
{
    return IOError_Fail;
}

unsigned long VarloDeviceConnection::Open(QVUtils::IProgress*)
{
    QV_LOG_FUNCTION(g_pIOUSBLog, L"Orvane::VarloDeviceConnection::Open");
    if (!m_bOpen) {
        g_pKernelApi->EnterCriticalSection(&m_openLock);
        m_bOpen = m_pLoader->OpenBulk(m_address.c_str());
        g_pKernelApi->LeaveCriticalSection(&m_openLock);
        if (!m_bOpen) {
            return logScope.m_errorCode = GetLastError();
        }
    }
    return 0;
}

bool VarloDeviceConnection::IsOpen()
{
    return m_bOpen;
}

unsigned long VarloDeviceConnection::Close()
{
    QV_LOG_FUNCTION(g_pIOUSBLog, L"Orvane::VarloDeviceConnection::Close");
    unsigned long status = 0;
    if (m_bOpen) {
        g_pKernelApi->EnterCriticalSection(&m_openLock);
        if (!m_pLoader->CloseBulk()) {
            status = GetLastError();
        }
        g_pKernelApi->LeaveCriticalSection(&m_openLock);
        m_bOpen = false;
    }
    return logScope.m_errorCode = status;
}

unsigned long VarloDeviceConnection::Read(void* buffer, unsigned long size, unsigned long* bytesRead,
                                          QVUtils::IProgress*)
{
    QV_LOG_FUNCTION_PARAMS(g_pIOUSBLog, L"Orvane::VarloDeviceConnection::Read", L"ulBufferSize=%lu", size);
    if (buffer == nullptr || bytesRead == nullptr) {
        return logScope.m_errorCode = GetLastError();
    }
    const CTickCountHelper timer(m_readTimeout);
    int attempts = 0;
    while (!timer.IsExpired()) {
        *bytesRead = size;
        LockRead();
        m_pLoader->SetTimeout(timer.GetRemaining());
        const bool read = m_pLoader->ReadBulk(buffer, bytesRead);
        UnlockRead();
        ++attempts;
        QV_LOG_INFO(0, L"ReadBulk attempt %i %s with %i bytes", attempts, read ? L"succeeded" : L"failed",
                    static_cast<int>(*bytesRead));
        if (read && *bytesRead != 0) {
            QV_LOG_BYTES(QVLogging::kCategoryInfo | 7, L"\r\n%S", buffer, *bytesRead);
            return 0;
        }
    }
    QV_LOG_INFO(0, L"Read timeout after %i ms", static_cast<int>(m_readTimeout));
    return logScope.m_errorCode = GetLastError();
}

unsigned long VarloDeviceConnection::Write(const void* buffer, unsigned long size, unsigned long* bytesWritten,
                                           QVUtils::IProgress*)
{
    QV_LOG_FUNCTION_PARAMS(g_pIOUSBLog, L"Orvane::VarloDeviceConnection::Write", L"ulBufferSize=%lu", size);
    if (buffer == nullptr || bytesWritten == nullptr) {
        return logScope.m_errorCode = GetLastError();
    }
    const CTickCountHelper timer(m_writeTimeout);
    int attempts = 0;
    while (!timer.IsExpired()) {
        *bytesWritten = size;
        LockWrite();
        m_pLoader->SetTimeout(timer.GetRemaining());
        const bool written = m_pLoader->WriteBulk(buffer, bytesWritten);
        UnlockWrite();
        ++attempts;
        QV_LOG_INFO(0, L"WriteBulk attempt %i %s with %i bytes", attempts, written ? L"succeeded" : L"failed",
                    static_cast<int>(*bytesWritten));
        if (written && *bytesWritten != 0) {
            QV_LOG_BYTES(QVLogging::kCategoryInfo | 7, L"\r\n%S", buffer, *bytesWritten);
            return 0;
        }
    }
    QV_LOG_INFO(0, L"Write timeout after %i ms", static_cast<int>(m_writeTimeout));
    return logScope.m_errorCode = GetLastError();
}

const wchar_t* VarloDeviceConnection::GetAddress()
{
    return L"localhost";
}

const wchar_t* VarloDeviceConnection::GetPort()
{
    return nullptr;
}

const wchar_t* VarloDeviceConnection::GetServiceAddress()
{
    return nullptr;
}

unsigned long VarloDeviceConnection::GetLastError()
{
    QV_LOG_FUNCTION(g_pIOUSBLog, L"Orvane::VarloDeviceConnection::GetLastError");
    const unsigned long status = m_pLoader->GetLastStatus();
    QV_LOG_ERROR(L"GetLastStatus returned %d", static_cast<int>(status));
    switch (status) {
    case kDeviceGone:
        return IOError_DeviceGone;
    case kBusy:
        return IOError_Busy;
    case kAborted:
        return IOError_Aborted;
    case kTimedOut:
        return IOError_Timeout;
    default:
        return IOError_Fail;
    }
}

}  // namespace Orvane
