#include "utils/CFileVersionInfo.h"

#include <cstdio>

namespace QVUtils {

CFileVersionInfo::CFileVersionInfo(const wchar_t* fileName)
{
    if (!fileName) {
        return;
    }
    DWORD handle = 0;
    const DWORD size = ::GetFileVersionInfoSizeW(fileName, &handle);
    if (size == 0) {
        return;
    }
    m_pBlock.reset(new BYTE[size]);
    if (!::GetFileVersionInfoW(fileName, 0, size, m_pBlock.get())) {
        m_pBlock.reset();
        return;
    }
    void* table = nullptr;
    UINT tableBytes = 0;
    if (::VerQueryValueW(m_pBlock.get(), L"\\VarFileInfo\\Translation", &table, &tableBytes)) {
        m_pTranslations = static_cast<Translation*>(table);
        m_ulTranslations = tableBytes / sizeof(Translation);
    }
    void* fixed = nullptr;
    UINT fixedBytes = 0;
    if (::VerQueryValueW(m_pBlock.get(), L"\\", &fixed, &fixedBytes)) {
        m_pFixedInfo = static_cast<VS_FIXEDFILEINFO*>(fixed);
    }
}

const wchar_t* CFileVersionInfo::GetStringValue(const wchar_t* name) const
{
    if (!name || !m_pBlock || !m_pTranslations || m_ulTranslations == 0) {
        return nullptr;
    }
    const wchar_t* value = nullptr;
    for (unsigned long i = 0; i < m_ulTranslations; ++i) {
        wchar_t path[256];
        std::swprintf(path, sizeof path / sizeof path[0], L"\\StringFileInfo\\%04x%04x\\%ls",
                      m_pTranslations[i].language, m_pTranslations[i].codePage, name);
        void* found = nullptr;
        UINT length = 0;
        if (::VerQueryValueW(m_pBlock.get(), path, &found, &length)) {
            value = static_cast<const wchar_t*>(found);
        }
    }
    return value;
}

}  // namespace QVUtils
