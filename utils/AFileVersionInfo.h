#pragma once

namespace QVUtils {

// The texts of a file's version resource; null where there is none.
class AFileVersionInfo {
public:
    virtual ~AFileVersionInfo() = default;
    virtual const wchar_t* GetStringValue(const wchar_t* name) const = 0;
    virtual const wchar_t* GetCompanyName() const { return GetStringValue(L"CompanyName"); }
    virtual const wchar_t* GetFileDescription() const { return GetStringValue(L"FileDescription"); }
    virtual const wchar_t* GetFileVersion() const { return GetStringValue(L"FileVersion"); }
    virtual const wchar_t* GetProductName() const { return GetStringValue(L"ProductName"); }
    virtual const wchar_t* GetProductVersion() const { return GetStringValue(L"ProductVersion"); }
};

}  // namespace QVUtils
