#pragma once

#include <string>

namespace QVUtils {

class CIniFile;

// The installation's "config.ini", in the parent of the executable's folder,
// so that installations side by side each have their own identity and data
// folder. Values are read once per process and kept.
class CSxSConfig {
public:
    // The parent of the executable's folder.
    static std::wstring GetRootFolder();
    // "DeviceInfo" "ModelName" and "USBID"; empty when not set, read again
    // at the next call.
    static std::wstring GetModelName();
    static std::wstring GetUSBID();
    // "Directories" "DataFolder", or else "ZQ" and the root folder's name
    // under the common application data folder.
    static std::wstring GetDataFolder();

private:
    static CIniFile& _GetIniFile();
    static std::wstring ReadCached(std::wstring& cache, const wchar_t* section, const wchar_t* key);
};

}  // namespace QVUtils
