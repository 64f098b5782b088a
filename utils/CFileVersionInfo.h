#pragma once

#include <windows.h>

#include <memory>

#include "utils/AFileVersionInfo.h"

namespace QVUtils {

// The version resource of one file, read once. The texts live as long as
// the object.
class CFileVersionInfo : public AFileVersionInfo {
public:
    explicit CFileVersionInfo(const wchar_t* fileName);
    CFileVersionInfo(const CFileVersionInfo&) = delete;
    CFileVersionInfo& operator=(const CFileVersionInfo&) = delete;

    // Looked up under each translation in turn; the last one found counts.
    const wchar_t* GetStringValue(const wchar_t* name) const override;
    // The fixed part: binary versions and flags; null without a resource.
    const VS_FIXEDFILEINFO* GetFixedFileInfo() const { return m_pFixedInfo; }

private:
    struct Translation {
        WORD language;
        WORD codePage;
    };

    VS_FIXEDFILEINFO* m_pFixedInfo = nullptr;
    unsigned long m_ulTranslations = 0;
    std::unique_ptr<BYTE[]> m_pBlock;
    Translation* m_pTranslations = nullptr;
};

}  // namespace QVUtils
