#pragma once

#include <windows.h>

#include <atomic>

namespace QVWinApi {

// A library loaded by name on first use and released with the object. The
// object needs no construction at load time; concurrent first uses keep one
// handle and give the other back.
class CLazyLibrary {
public:
    constexpr explicit CLazyLibrary(const wchar_t* name) : m_pszName(name) {}
    ~CLazyLibrary();
    CLazyLibrary(const CLazyLibrary&) = delete;
    CLazyLibrary& operator=(const CLazyLibrary&) = delete;

    // Null while the library can't be loaded.
    HMODULE Get();

private:
    const wchar_t* m_pszName;
    std::atomic<HMODULE> m_hModule{nullptr};
};

}  // namespace QVWinApi
