#include "devicemanager/CRecordLock.h"

#include <cwctype>

#include "logging/LogTrace.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

CRecordLock::CRecordLock(const std::wstring& path)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CRecordLock::CRecordLock");
    // File names are compared without case; a mutex name may hold no "\".
    std::wstring name = L"Local\\OrvaneRecord#";
    for (wchar_t c : path) {
        name += c == L'\\' ? L'#' : static_cast<wchar_t>(towupper(c));
    }
    m_hMutex = g_pKernelApi->CreateMutexW(nullptr, FALSE, name.c_str());
    if (m_hMutex == nullptr) {
        logScope.m_errorCode = ::GetLastError();
        QV_LOG_ERROR(L"CreateMutex(%s) failed with %d", name.c_str(), static_cast<int>(logScope.m_errorCode));
        return;
    }
    const DWORD waited = g_pKernelApi->WaitForSingleObject(m_hMutex, INFINITE);
    m_bOwned = waited == WAIT_OBJECT_0 || waited == WAIT_ABANDONED;
}

CRecordLock::~CRecordLock()
{
    if (m_bOwned) {
        g_pKernelApi->ReleaseMutex(m_hMutex);
    }
    if (m_hMutex != nullptr) {
        g_pKernelApi->CloseHandle(m_hMutex);
    }
}

}  // namespace QVDeviceManager
