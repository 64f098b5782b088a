#include "utils/CSxSConfig.h"

#include <windows.h>
#include <shlobj.h>

#include "utils/CIniFile.h"
#include "utils/CPathUtils.h"
#include "winapi/IShellApi.h"

namespace QVUtils {

std::wstring CSxSConfig::GetRootFolder()
{
    static std::wstring s_root;
    if (s_root.empty()) {
        s_root = CPathUtils::StripFilename(CPathUtils::GetPathOfExecutable());
    }
    return s_root;
}

std::wstring CSxSConfig::GetModelName()
{
    static std::wstring s_modelName;
    return ReadCached(s_modelName, L"DeviceInfo", L"ModelName");
}

std::wstring CSxSConfig::GetUSBID()
{
    static std::wstring s_usbId;
    return ReadCached(s_usbId, L"DeviceInfo", L"USBID");
}

std::wstring CSxSConfig::GetDataFolder()
{
    static std::wstring s_dataFolder;
    if (!s_dataFolder.empty() || _GetIniFile().GetString(L"Directories", L"DataFolder", s_dataFolder)) {
        return s_dataFolder;
    }
    const std::wstring root = GetRootFolder();
    size_t cut = root.rfind(L'\\');
    if (cut == std::wstring::npos) {
        cut = root.rfind(L':');
    }
    const std::wstring component = cut == std::wstring::npos ? root : root.substr(cut + 1);
    wchar_t commonData[MAX_PATH] = {};
    if (SUCCEEDED(g_pShellApi->SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, commonData))) {
        s_dataFolder = CPathUtils::CombinePath(CPathUtils::CombinePath(commonData, L"ZQ"), component);
    }
    return s_dataFolder;
}

CIniFile& CSxSConfig::_GetIniFile()
{
    static CIniFile s_iniFile;
    if (s_iniFile.GetFileName().empty()) {
        s_iniFile.SetFileName(CPathUtils::CombinePath(GetRootFolder(), L"config.ini"));
    }
    return s_iniFile;
}

std::wstring CSxSConfig::ReadCached(std::wstring& cache, const wchar_t* section, const wchar_t* key)
{
    if (cache.empty()) {
        _GetIniFile().GetString(section, key, cache);
    }
    return cache;
}

}  // namespace QVUtils
