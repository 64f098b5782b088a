#pragma once

#include <windows.h>

#include <string>

namespace QVDeviceManager {

// Registry values read with the device manager's status codes: 0,
// DM_E_VALUE_NOT_FOUND, DM_E_WRONG_VALUE_TYPE, DM_E_ACCESS_DENIED or
// DM_E_INVALID_ARGUMENT. Without a `subkey` the value is read from `root`.
class CRegUtil {
public:
    // A REG_SZ value, without its final zero.
    static unsigned long GetValue(HKEY root, const wchar_t* subkey, const wchar_t* name, std::wstring& out);
    // A REG_DWORD value.
    static unsigned long GetValue(HKEY root, const wchar_t* subkey, const wchar_t* name, DWORD& out);

private:
    static unsigned long MapResult(LSTATUS result);
    static unsigned long Read(HKEY root, const wchar_t* subkey, const wchar_t* name, DWORD wantedType,
                              std::wstring* text, DWORD* number);
};

}  // namespace QVDeviceManager
