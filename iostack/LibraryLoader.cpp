#include "iostack/LibraryLoader.h"

#include "utils/StringUtils.h"
#include "winapi/CKernelApi.h"

namespace Orvane {

LibraryLoader::LibraryLoader(QVWinApi::IKernelApi* kernelApi, size_t count,
                             const wchar_t* const* names)
    : m_names(names, names + count),
      m_hModule(nullptr),
      m_pKernelApi(kernelApi ? kernelApi : new QVWinApi::CKernelApi())
{
}

LibraryLoader::~LibraryLoader()
{
    if (m_hModule)
        m_pKernelApi->FreeLibrary(m_hModule);
    delete m_pKernelApi;
}

bool LibraryLoader::IsLoaded()
{
    return m_hModule != nullptr;
}

bool LibraryLoader::LoadLibraryW()
{
    for (size_t i = 0; !m_hModule && i < m_names.size(); ++i)
        m_hModule = m_pKernelApi->LoadLibraryW(m_names[i].c_str());
    return m_hModule != nullptr;
}

FARPROC LibraryLoader::GetProcAddress(const wchar_t* name)
{
    if (!LoadLibraryW())
        return nullptr;
    return m_pKernelApi->GetProcAddress(m_hModule, StringUtils::WideToUtf8(name).c_str());
}

}  // namespace Orvane
