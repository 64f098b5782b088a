#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace QVWinApi {
class IKernelApi;
}

namespace Orvane {

// Loads the first of a list of libraries that loads, by file name only, on
// first need; an entry point is looked up at each call. A list that loaded
// nothing is tried again at the next call.
class LibraryLoader {
public:
    // Takes ownership of `kernelApi`; null makes a platform one.
    LibraryLoader(QVWinApi::IKernelApi* kernelApi, size_t count, const wchar_t* const* names);
    virtual ~LibraryLoader();

    LibraryLoader(const LibraryLoader&) = delete;
    LibraryLoader& operator=(const LibraryLoader&) = delete;

    virtual bool IsLoaded();
    virtual FARPROC GetProcAddress(const wchar_t* name);
    virtual bool LoadLibraryW();

private:
    std::vector<std::wstring> m_names;
    HMODULE m_hModule;
    QVWinApi::IKernelApi* m_pKernelApi;
};

}  // namespace Orvane
