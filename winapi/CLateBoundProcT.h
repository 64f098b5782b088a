#pragma once

#include <windows.h>

#include <atomic>

namespace QVWinApi {

template <typename Signature>
class CLateBoundProcT;

// A platform function found by name or by ordinal in a module on its first
// call and kept for the later ones. A null module or a missing function gives
// a result of 0 with last error 120 (ERROR_CALL_NOT_IMPLEMENTED).
template <typename R, typename... Args>
class CLateBoundProcT<R WINAPI(Args...)> {
public:
    constexpr explicit CLateBoundProcT(const char* name) : m_pszName(name) {}
    constexpr explicit CLateBoundProcT(WORD ordinal) : m_wOrdinal(ordinal) {}
    CLateBoundProcT(const CLateBoundProcT&) = delete;
    CLateBoundProcT& operator=(const CLateBoundProcT&) = delete;

    R Call(HMODULE module, Args... args)
    {
        Function* function = m_pfn.load(std::memory_order_acquire);
        if (!function) {
            function = module ? Find(module) : nullptr;
            if (!function) {
                ::SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
                return R();
            }
            m_pfn.store(function, std::memory_order_release);
        }
        return function(args...);
    }

private:
    using Function = R WINAPI(Args...);

    Function* Find(HMODULE module) const
    {
        LPCSTR name = m_pszName ? m_pszName : MAKEINTRESOURCEA(m_wOrdinal);
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
    }

    const char* m_pszName = nullptr;
    WORD m_wOrdinal = 0;
    std::atomic<Function*> m_pfn{nullptr};
};

}  // namespace QVWinApi
