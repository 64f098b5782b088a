#include "utils/CSxSConfig.h"

#include <windows.h>
#include <shlobj.h>

#include "logging/LogTrace.h"
#include "utils/CIniFile.h"
#include "utils/CPathUtils.h"
#include "winapi/IShellApi.h"

QV_LOG_SOURCE_FILE()

namespace QVUtils {

std::wstring CSxSConfig::GetRootFolder()
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CSxSConfig::GetRootFolder");
    static std::wstring s_root;
    if (s_root.empty()) {
        s_root = CPathUtils::StripFilename(CPathUtils::GetPathOfExecutable());
    }
    return s_root;
}

std::wstring CSxSConfig::GetModelName()
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CSxSConfig::GetModelName");
    static std::wstring s_modelName;
    return ReadCached(s_modelName, L"DeviceInfo", L"ModelName");
}

std::wstring CSxSConfig::GetUSBID()
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CSxSConfig::GetUSBID");
    static std::wstring s_usbId;
    return ReadCached(s_usbId, L"DeviceInfo", L"USBID");
}

std::wstring CSxSConfig::GetDataFolder()
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CSxSConfig::GetDataFolder");
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
    const HRESULT found = g_pShellApi->SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0,
                                                       commonData);
    if (FAILED(found)) {
        logScope.m_errorCode = static_cast<unsigned long>(found);
        return s_dataFolder;
    }
    s_dataFolder = CPathUtils::CombinePath(CPathUtils::CombinePath(commonData, L"ZQ"), component);
    QV_LOG_INFO(0, L"CSxSConfig::SetSxSProductFolder, data folder is %s", s_dataFolder.c_str());
    return s_dataFolder;
}

CIniFile& CSxSConfig::_GetIniFile()
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CSxSConfig::_GetIniFile");
    static CIniFile s_iniFile;
    if (s_iniFile.GetFileName().empty()) {
        const std::wstring fileName = CPathUtils::CombinePath(GetRootFolder(), L"config.ini");
        if (!s_iniFile.SetFileName(fileName)) {
            QV_LOG_ERROR(L"CSxSConfig failed to set ini file path to %s", fileName.c_str());
        }
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
