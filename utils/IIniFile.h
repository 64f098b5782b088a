#pragma once

#include <string>

#include "utils/ci_wstring.h"

namespace QVUtils {

// One file in the ini format: "[section]" lines and "key=value" lines, names
// without regard to case. Operations in slot order, the destructor last.
class IIniFile {
public:
    // False for an empty name.
    virtual bool SetFileName(const std::wstring& name) = 0;
    virtual std::wstring GetFileName() const = 0;
    // True if the value isn't empty.
    virtual bool GetString(const char* section, const char* key, std::string& out) const = 0;
    virtual bool GetString(const wchar_t* section, const wchar_t* key, std::wstring& out) const = 0;
    virtual bool SetString(const char* section, const char* key, const char* value) = 0;
    virtual bool SetString(const wchar_t* section, const wchar_t* key, const wchar_t* value) = 0;
    virtual bool GetString(const wchar_t* section, const wchar_t* key, ci_wstring& out) const = 0;
    virtual bool SetString(const wchar_t* section, const wchar_t* key, const ci_wstring& value) = 0;
    virtual bool GetInt(const wchar_t* section, const wchar_t* key, int& out) const = 0;
    virtual bool SetInt(const wchar_t* section, const wchar_t* key, int value) = 0;
    virtual bool GetBool(const wchar_t* section, const wchar_t* key, bool& out) const = 0;
    virtual bool SetBool(const wchar_t* section, const wchar_t* key, bool value) = 0;
    virtual bool DeleteKey(const wchar_t* section, const wchar_t* key) = 0;
    virtual ~IIniFile() = default;
};

}  // namespace QVUtils
