#include "winapi/CLazyLibrary.h"

namespace QVWinApi {

CLazyLibrary::~CLazyLibrary()
{
    if (HMODULE module = m_hModule.load()) {
        ::FreeLibrary(module);
    }
}

HMODULE CLazyLibrary::Get()
{
    HMODULE module = m_hModule.load(std::memory_order_acquire);
    if (module) {
        return module;
    }
    HMODULE loaded = ::LoadLibraryW(m_pszName);
    if (!loaded) {
        return nullptr;
    }
    if (!m_hModule.compare_exchange_strong(module, loaded)) {
        ::FreeLibrary(loaded);  // another thread was first; `module` holds its handle
        return module;
    }
    return loaded;
}

}  // namespace QVWinApi
