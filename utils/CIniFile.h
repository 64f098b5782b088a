#pragma once

#include "utils/IIniFile.h"

namespace QVUtils {

// An ini file read and written through the platform's profile functions.
// The 8-bit forms use the file name in the system code page.
class CIniFile : public IIniFile {
public:
    CIniFile() = default;
    explicit CIniFile(const std::wstring& name) : m_strFileName(name) {}

    bool SetFileName(const std::wstring& name) override;
    std::wstring GetFileName() const override;
    bool GetString(const char* section, const char* key, std::string& out) const override;
    bool GetString(const wchar_t* section, const wchar_t* key, std::wstring& out) const override;
    bool SetString(const char* section, const char* key, const char* value) override;
    bool SetString(const wchar_t* section, const wchar_t* key, const wchar_t* value) override;
    bool GetString(const wchar_t* section, const wchar_t* key, ci_wstring& out) const override;
    bool SetString(const wchar_t* section, const wchar_t* key, const ci_wstring& value) override;
    bool GetInt(const wchar_t* section, const wchar_t* key, int& out) const override;
    bool SetInt(const wchar_t* section, const wchar_t* key, int value) override;
    bool GetBool(const wchar_t* section, const wchar_t* key, bool& out) const override;
    bool SetBool(const wchar_t* section, const wchar_t* key, bool value) override;
    bool DeleteKey(const wchar_t* section, const wchar_t* key) override;

    // Drops the platform's cached copy of the file, so that the next call
    // reads what the disk holds.
    static void ForgetCached(const std::wstring& name);

private:
    std::string NarrowFileName() const;

    std::wstring m_strFileName;
};

}  // namespace QVUtils
