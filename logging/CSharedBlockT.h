#pragma once

#include <windows.h>

#include <new>
#include <string>
#include <utility>

#include "winapi/IKernelApi.h"

namespace QVLogging {

// A module's attachment to a block shared by the log modules of the process:
// a section named `name` + "MappedFile", guarded by the mutex `name` + "Lock".
// The first module to attach constructs the block in place, the last to
// detach destroys it. T counts its modules in `m_attachCount`.
template <typename T>
class CSharedBlockT {
public:
    static constexpr DWORD kWaitMs = 50;

    // Without the mutex within the wait, the holder stays without a view.
    template <typename... Args>
    void Attach(const std::wstring& name, Args&&... args)
    {
        if (m_hMutex == nullptr) {
            m_hMutex = g_pKernelApi->CreateMutexW(nullptr, FALSE, (name + L"Lock").c_str());
        }
        if (!Take()) {
            return;
        }
        m_hMapping = g_pKernelApi->CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr,
                PAGE_READWRITE, 0, sizeof(T), (name + L"MappedFile").c_str());
        const bool existed = ::GetLastError() == ERROR_ALREADY_EXISTS;
        if (m_hMapping != nullptr) {
            void* view = g_pKernelApi->MapViewOfFile(m_hMapping, FILE_MAP_ALL_ACCESS, 0, 0, 0);
            if (view != nullptr && !existed) {
                new (view) T(std::forward<Args>(args)...);
            }
            m_pView = static_cast<T*>(view);
        }
        if (m_pView != nullptr) {
            ++m_pView->m_attachCount;
        }
        Release();
    }

    // Without the mutex within the wait, the block is left as it is.
    void Detach()
    {
        if (m_hMutex == nullptr) {
            return;
        }
        if (Take()) {
            if (m_pView != nullptr && --m_pView->m_attachCount == 0) {
                m_pView->~T();
            }
            if (m_pView != nullptr) {
                g_pKernelApi->UnmapViewOfFile(m_pView);
                m_pView = nullptr;
            }
            Release();
            if (m_hMapping != nullptr) {
                g_pKernelApi->CloseHandle(m_hMapping);
                m_hMapping = nullptr;
            }
        }
        g_pKernelApi->CloseHandle(m_hMutex);
        m_hMutex = nullptr;
    }

    // Takes the mutex unless this holder has it already.
    bool Take()
    {
        if (m_held == 0) {
            const DWORD wait = g_pKernelApi->WaitForSingleObject(m_hMutex, kWaitMs);
            if (wait != WAIT_OBJECT_0 && wait != WAIT_ABANDONED) {
                return false;
            }
            m_held = 1;
        }
        return true;
    }

    void Release()
    {
        if (m_held != 0) {
            m_held = 0;
            g_pKernelApi->ReleaseMutex(m_hMutex);
        }
    }

    T* View() const { return m_pView; }

private:
    unsigned long m_held = 0;
    HANDLE m_hMapping = nullptr;
    HANDLE m_hMutex = nullptr;
    T* m_pView = nullptr;
};

}  // namespace QVLogging
