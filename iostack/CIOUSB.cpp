#include "iostack/CIOUSB.h"

#include <cstring>
#include <cwchar>
#include <new>

#include "devicemanager/DeviceManagerTypes.h"
#include "devicemanager/IUSBDevice.h"
#include "iostack/CChannelSecurity.h"
#include "logging/LogTrace.h"
#include "utils/CProgressAggregator.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace QVIOStack {

using namespace QVDeviceManager;
using QVUtils::CProgressAggregator;

namespace {

constexpr unsigned long kUSBReadTimeout = 8000;
constexpr unsigned long kUSBWriteTimeout = 8000;
constexpr unsigned long kShadowSize = 2048;
constexpr DWORD kLockAccess = 0x1F0001;
// What LockChannel says when the device has no functions at all.
constexpr unsigned long kNoFunctions = 0x83E8FFF4;
// The device interface class of USB printing.
constexpr GUID kUSBPrintClass = {0x28D78FAD, 0x5A12, 0x11D1, {0xAE, 0x5B, 0x00, 0x00, 0xF8, 0x03, 0xA8, 0xC2}};

std::wstring GuidText(const GUID& guid)
{
    wchar_t text[40];
    swprintf(text, 40, L"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
             static_cast<unsigned>(guid.Data1), guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1],
             guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
    return text;
}

bool ContainsIgnoringCase(const std::wstring& text, const std::wstring& part)
{
    if (part.size() > text.size()) {
        return false;
    }
    for (size_t i = 0; i + part.size() <= text.size(); ++i) {
        if (_wcsnicmp(text.c_str() + i, part.c_str(), part.size()) == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

IDeviceConnection* CreateIOUSB()
{
    try {
        return new CIOUSB();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

CIOUSB::CIOUSB()
    : CIOCommon(0, kUSBReadTimeout, kUSBWriteTimeout)
{
    QV_LOG_FUNCTION(g_pIOUSBLog, L"QVIOStack::CIOUSB::CIOUSB");
    m_hFailEvent = g_pKernelApi->CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (m_hFailEvent == nullptr) {
        QV_LOG_ERROR(L"Unable to create event (%d)", static_cast<int>(GetLastError()));
    }
}

CIOUSB::~CIOUSB()
{
    Cleanup();
    if (m_hFailEvent != nullptr && m_hFailEvent != INVALID_HANDLE_VALUE) {
        g_pKernelApi->CloseHandle(m_hFailEvent);
    }
    m_hFailEvent = INVALID_HANDLE_VALUE;
    m_shadow.Free();
}

IDeviceConnection* CIOUSB::Clone(bool)
{
    QV_LOG_FUNCTION(g_pIOUSBLog, L"QVIOStack::CIOUSB::Clone");
    // Always a plain connection: a clone fails at once on a taken channel.
    IDeviceConnection* clone = CreateIOUSB();
    if (clone == nullptr) {
        return nullptr;
    }
    const unsigned long status = m_pDevice != nullptr ? clone->Initialize(m_pDevice, m_functions)
                                                      : clone->Initialize(m_devicePath.c_str());
    if (status != 0) {
        delete clone;
        return nullptr;
    }
    clone->AddRef();
    return clone;
}

unsigned long CIOUSB::Initialize(IDevice* device, const std::list<FUNCTION_TYPE>& functions)
{
    QV_LOG_FUNCTION(g_pIOUSBLog, L"QVIOStack::CIOUSB::Initialize");
    if (device == nullptr || functions.empty()) {
        return logScope.m_errorCode = IOError_Fail;
    }
    IUSBDevice* usbDevice = nullptr;
    if (device->GetUSBDevice(&usbDevice) != 0 || usbDevice == nullptr) {
        return logScope.m_errorCode = IOError_Fail;
    }
    m_pDevice = usbDevice;
    m_functions.clear();
    for (FUNCTION_TYPE type : functions) {
        IDeviceFunction* function = nullptr;
        if (m_pDevice->GetFunction(type, &function) == 0) {
            m_functions.push_back(type);
        }
    }
    if (m_functions.empty()) {
        return logScope.m_errorCode = IOError_Fail;
    }
    m_activeFunction = static_cast<FUNCTION_TYPE>(0);
    return 0;
}

unsigned long CIOUSB::Initialize(const wchar_t* devicePath)
{
    QV_LOG_FUNCTION_PARAMS(g_pIOUSBLog, L"QVIOStack::CIOUSB::Initialize", L"%s",
                           devicePath != nullptr ? devicePath : L"(null)");
    m_pDevice = nullptr;
    m_activeFunction = static_cast<FUNCTION_TYPE>(0);
    return logScope.m_errorCode = Init(devicePath);
}

bool CIOUSB::IsHTTPCapable()
{
    return false;
}

unsigned long CIOUSB::Navigate(IHTTPNavigateParams*, IHTTPClient*, QVUtils::IProgress*)
{
    return IOError_Fail;
}

const wchar_t* CIOUSB::GetAddress()
{
    return nullptr;
}

const wchar_t* CIOUSB::GetPort()
{
    return nullptr;
}

const wchar_t* CIOUSB::GetServiceAddress()
{
    return m_devicePath.empty() ? nullptr : m_devicePath.c_str();
}

unsigned long CIOUSB::Init(const wchar_t* devicePath)
{
    QV_LOG_FUNCTION(g_pIOUSBLog, L"QVIOStack::CIOUSB::Init");
    if (devicePath == nullptr || *devicePath == L'\0') {
        return logScope.m_errorCode = IOError_Fail;
    }
    Cleanup();
    m_devicePath = devicePath;
    m_shadow.Free();
    if (!ContainsIgnoringCase(m_devicePath, GuidText(kUSBPrintClass))) {
        return 0;
    }
    m_shadow.m_pData = new (std::nothrow) unsigned char[kShadowSize];
    if (m_shadow.m_pData == nullptr) {
        return logScope.m_errorCode = IOError_Fail;
    }
    m_shadow.m_size = kShadowSize;
    return 0;
}

HANDLE CIOUSB::OpenDevicePath(const std::wstring& devicePath)
{
    return g_pKernelApi->CreateFileW(devicePath.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                     FILE_FLAG_OVERLAPPED, nullptr);
}

std::wstring CIOUSB::ChannelLockName(const std::wstring& devicePath)
{
    std::wstring name = devicePath;
    for (wchar_t& c : name) {
        if (c == L'\\') {
            c = L'#';
        }
    }
    return L"Global\\" + name;
}

unsigned long CIOUSB::Open(QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pIOUSBLog, L"QVIOStack::CIOUSB::Open");
    CProgressAggregator localProgress(progress, 2);
    g_pKernelApi->EnterCriticalSection(&m_openLock);
    unsigned long status = 0;

    if (m_hIO != INVALID_HANDLE_VALUE && !IsOpen()) {
        g_pKernelApi->CloseHandle(m_hIO);
        m_hIO = INVALID_HANDLE_VALUE;
    }
    if (m_hIO != INVALID_HANDLE_VALUE) {
        if (m_lSessionCount < 1) {
            QV_LOG_ERROR(L"Open called, m_hio != INVALID_HANDLE_VALUE, but m_lSessionCount = %d",
                         static_cast<int>(m_lSessionCount));
            m_lSessionCount = 0;
        }
        ++m_lSessionCount;
        QV_LOG_INFO(1, L"Open success, session count %d", static_cast<int>(m_lSessionCount));
        g_pKernelApi->LeaveCriticalSection(&m_openLock);
        return 0;
    }
    if (m_pDevice != nullptr) {
        const unsigned long refreshed = m_pDevice->Refresh(&localProgress);
        if (refreshed != 0) {
            QV_LOG_ERROR(L"Failed to refresh device (%d)", static_cast<int>(refreshed));
            status = MapDeviceManagerError(refreshed);
        } else if (!localProgress.Step(0UL)) {
            status = IOError_Aborted;
        }
        if (status == 0) {
            IDeviceFunction* function = nullptr;
            status = LockChannel(&function);
        }
    }
    if (status == 0 && m_devicePath.empty()) {
        status = IOError_Fail;
    }
    if (status == 0 && !localProgress.Step(0UL)) {
        status = IOError_Aborted;
    }
    if (status == 0) {
        m_hIO = OpenDevicePath(m_devicePath);
        if (m_hIO == INVALID_HANDLE_VALUE) {
            QV_LOG_ERROR(L"CreateFile failed with err = %d", static_cast<int>(GetLastError()));
            status = IOError_Fail;
        }
    }
    if (status == 0) {
        ++m_lSessionCount;
        QV_LOG_INFO(1, L"Open success, session count %d", static_cast<int>(m_lSessionCount));
        g_pKernelApi->ResetEvent(m_hFailEvent);
    } else {
        Cleanup();
    }
    g_pKernelApi->LeaveCriticalSection(&m_openLock);
    return logScope.m_errorCode = status;
}

unsigned long CIOUSB::LockChannel(IDeviceFunction** out)
{
    QV_LOG_FUNCTION(g_pIOUSBLog, L"QVIOStack::CIOUSB::LockChannel");
    *out = nullptr;
    unsigned long status = IOError_Fail;
    for (FUNCTION_TYPE type : m_functions) {
        const unsigned long found = m_pDevice->GetFunction(type, out);
        if (found == DM_E_DEVICE_GONE) {
            status = kNoFunctions;
            continue;
        }
        status = found;
        if (status != 0) {
            continue;
        }
        status = Init((*out)->GetAddress().c_str());
        if (status != 0) {
            continue;
        }
        if (LockChannelObject(ChannelLockName(m_devicePath)) != 0) {
            status = IOError_Busy;
            continue;
        }
        HANDLE trial = OpenDevicePath(m_devicePath);
        if (trial == INVALID_HANDLE_VALUE) {
            // The status stays 0: Open meets the failure in its own attempt.
            QV_LOG_ERROR(L"CreateFile failed with err = %d", static_cast<int>(GetLastError()));
            UnlockChannelObject();
            continue;
        }
        g_pKernelApi->CloseHandle(trial);
        m_activeFunction = type;
        return 0;
    }
    return logScope.m_errorCode = status;
}

// The lock is an event whose mere existence claims the channel; it lasts as
// long as a handle to it.
unsigned long CIOUSB::LockChannelObject(const std::wstring& name)
{
    QV_LOG_FUNCTION(g_pIOUSBLog, L"QVIOStack::CIOUSB::LockChannelObject");
    unsigned long status = 0;
    if (m_hChannelLock != nullptr) {
        QV_LOG_ERROR(L"Entered MutexThread with a non-NULL mutex handle!");
        g_pKernelApi->CloseHandle(m_hChannelLock);
        m_hChannelLock = nullptr;
    }
    CChannelSecurity security(logScope, kLockAccess, true);
    // Without the attributes no lock object is made: the channel counts as
    // claimed all the same.
    if (security.Attributes() != nullptr) {
        m_hChannelLock = g_pKernelApi->CreateEventW(security.Attributes(), FALSE, TRUE, name.c_str());
        if (m_hChannelLock == nullptr) {
            QV_LOG_ERROR(L"CreateMutex failed with error (%d)", static_cast<int>(GetLastError()));
            status = IOError_Busy;
        } else if (GetLastError() == ERROR_ALREADY_EXISTS) {
            QV_LOG_ERROR(L"CreateMutex failed with error ERROR_ALREADY_EXISTS");
            g_pKernelApi->CloseHandle(m_hChannelLock);
            m_hChannelLock = nullptr;
            status = IOError_Busy;
        }
    }
    return logScope.m_errorCode = status;
}

void CIOUSB::UnlockChannelObject()
{
    if (m_hChannelLock != nullptr) {
        g_pKernelApi->CloseHandle(m_hChannelLock);
        m_hChannelLock = nullptr;
    }
}

unsigned long CIOUSB::Read(void* buffer, unsigned long size, unsigned long* bytesRead, QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pIOUSBLog, L"QVIOStack::CIOUSB::Read");
    if (buffer == nullptr || bytesRead == nullptr) {
        QV_LOG_ERROR(L"CIOUSB::Read called with NULL pointer(s).");
        return logScope.m_errorCode = IOError_Fail;
    }
    *bytesRead = 0;
    if (m_shadow.m_pData == nullptr) {
        QV_LOG_INFO(7, L"CIOUSB::Read: shadow buffer not active, delegating call to base class");
        return logScope.m_errorCode = CIOCommon::Read(buffer, size, bytesRead, progress);
    }
    if (m_shadow.m_fill != m_shadow.m_readPos) {
        QV_LOG_INFO(0, L"CIOUSB::Read: using shadow buffer to satisfy request");
        return logScope.m_errorCode = m_shadow.CopyData(buffer, size, bytesRead);
    }
    if (size >= m_shadow.m_size) {
        QV_LOG_INFO(0, L"CIOUSB::Read: requested size sufficient, delegating call to base class");
        return logScope.m_errorCode = CIOCommon::Read(buffer, size, bytesRead, progress);
    }
    QV_LOG_INFO(0, L"CIOUSB::Read: filling shadow buffer");
    m_shadow.m_readPos = 0;
    m_shadow.m_fill = 0;
    unsigned long filled = 0;
    const unsigned long status = CIOCommon::Read(m_shadow.m_pData, m_shadow.m_size, &filled, progress);
    if (status != 0) {
        return logScope.m_errorCode = status;
    }
    if (filled > m_shadow.m_size) {
        return logScope.m_errorCode = IOError_Fail;
    }
    m_shadow.m_fill = filled;
    return logScope.m_errorCode = m_shadow.CopyData(buffer, size, bytesRead);
}

unsigned long CIOUSB::ShadowBuffer::CopyData(void* buffer, unsigned long size, unsigned long* copied)
{
    if (buffer == nullptr || copied == nullptr || m_pData == nullptr) {
        return IOError_Fail;
    }
    *copied = 0;
    const unsigned long held = m_fill - m_readPos;
    const unsigned long n = size < held ? size : held;
    if (n != 0) {
        std::memcpy(buffer, m_pData + m_readPos, n);
        m_readPos += n;
        *copied = n;
    }
    return 0;
}

void CIOUSB::ShadowBuffer::Free()
{
    delete[] m_pData;
    m_pData = nullptr;
    m_size = 0;
    m_readPos = 0;
    m_fill = 0;
}

// A hard read or write failure sets the fail event once: one false answer.
bool CIOUSB::IsOpen()
{
    QV_LOG_FUNCTION(g_pIOUSBLog, L"QVIOStack::CIOUSB::IsOpen");
    if (m_hIO == INVALID_HANDLE_VALUE) {
        return false;
    }
    if (m_hFailEvent == INVALID_HANDLE_VALUE) {
        return true;
    }
    return g_pKernelApi->WaitForSingleObject(m_hFailEvent, 0) != WAIT_OBJECT_0;
}

unsigned long CIOUSB::Close()
{
    QV_LOG_FUNCTION(g_pIOUSBLog, L"QVIOStack::CIOUSB::Close");
    g_pKernelApi->EnterCriticalSection(&m_openLock);
    if (m_hIO != INVALID_HANDLE_VALUE) {
        --m_lSessionCount;
        QV_LOG_INFO(1, L"Close entered with valid m_hIO handle.  SessionCount has been decremented to %d",
                    static_cast<int>(m_lSessionCount));
        if (m_lSessionCount < 0) {
            QV_LOG_ERROR(L"Entered CIOUSB::Close with a valid IO handle, but m_lSessionCount now equals %d",
                         static_cast<int>(m_lSessionCount));
            m_lSessionCount = 0;
        }
    }
    if (m_lSessionCount == 0) {
        if (m_hIO != INVALID_HANDLE_VALUE) {
            if (!g_pKernelApi->CloseHandle(m_hIO)) {
                QV_LOG_ERROR(L"CloseHandle failed with error = %d", static_cast<int>(GetLastError()));
            }
            m_hIO = INVALID_HANDLE_VALUE;
        }
        UnlockChannelObject();
    }
    g_pKernelApi->LeaveCriticalSection(&m_openLock);
    return 0;
}

void CIOUSB::Cleanup()
{
    QV_LOG_FUNCTION(g_pIOUSBLog, L"QVIOStack::CIOUSB::Cleanup");
    m_lSessionCount = 0;
    Close();
}

}  // namespace QVIOStack
