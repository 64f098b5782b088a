// The record file of a network device: its folder, and the sections that
// are read into the object and written from it.
#include <windows.h>

#include <cwchar>
#include <initializer_list>
#include <utility>
#include <vector>

#include "devicemanager/CDevNode.h"
#include "devicemanager/CNetworkDevice.h"
#include "devicemanager/CPrintUtil.h"
#include "devicemanager/CRecordLock.h"
#include "logging/LogTrace.h"
#include "utils/CFileUtils.h"
#include "utils/CIniFile.h"
#include "utils/CPathUtils.h"
#include "utils/CStagedFile.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

namespace {

const wchar_t kDeviceInfo[] = L"DeviceInfo";
const wchar_t kInstanceKey[] = L"DeviceInstanceId";
const wchar_t kUrnPrefix[] = L"urn:uuid:";

// Version 6.1 or later of the platform.
bool HasContainerIds()
{
    OSVERSIONINFOW version = {};
    version.dwOSVersionInfoSize = sizeof version;
    if (!g_pKernelApi->GetVersionExW(&version)) {
        return false;
    }
    return version.dwPlatformId == VER_PLATFORM_WIN32_NT
        && (version.dwMajorVersion > 6 || (version.dwMajorVersion == 6 && version.dwMinorVersion > 0));
}

}  // namespace

const std::wstring& CNetworkDevice::RecordFolder()
{
    static const std::wstring folder =
        QVUtils::CPathUtils::CombinePath(QVUtils::CPathUtils::GetTamrikDataDirectory(true), L"NetworkDevices");
    return folder;
}

std::wstring CNetworkDevice::RecordPath(const std::wstring& serialNumber)
{
    return QVUtils::CPathUtils::CombinePath(RecordFolder(), serialNumber + L".ini");
}

bool CNetworkDevice::IsInstalled()
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::IsInstalled");
    return g_pKernelApi->GetFileAttributesW(RecordPath(m_serialNumber).c_str()) != INVALID_FILE_ATTRIBUTES;
}

void CNetworkDevice::SetContainerID()
{
    if (!HasContainerIds()) {
        return;
    }
    std::wstring id = m_strGUID;
    if (id.compare(0, wcslen(kUrnPrefix), kUrnPrefix) == 0) {
        id.erase(0, wcslen(kUrnPrefix));
    }
    m_containerID = L"{" + id + L"}";
}

bool CNetworkDevice::LoadDeviceInfo()
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::LoadDeviceInfo");
    // The keys are read in their order, and the object takes them only once
    // all of them read: a short record leaves no half of itself behind for
    // a later save to write over the user's file.
    QVUtils::IIniFile& ini = *m_pIniFile;
    std::wstring serialNumber;
    std::wstring modelName;
    std::wstring guid;
    std::wstring mac;
    std::wstring hostName;
    std::wstring ipAddress;
    bool offSubNet = false;
    bool multicastEnabled = true;
    bool defaultToSearchByIP = true;
    if (!ini.GetString(kDeviceInfo, L"SerialNumber", serialNumber) || !ini.GetString(kDeviceInfo, L"ModelName", modelName)
        || !ini.GetString(kDeviceInfo, L"GUID", guid) || !ini.GetString(kDeviceInfo, L"MAC", mac)
        || !ini.GetString(kDeviceInfo, L"HostName", hostName) || !ini.GetString(kDeviceInfo, L"IPAddress", ipAddress)
        || !ini.GetBool(kDeviceInfo, L"OffSubNet", offSubNet)
        || !ini.GetBool(kDeviceInfo, L"MulticastEnabled", multicastEnabled)
        || !ini.GetBool(kDeviceInfo, L"DefaultToSearchByIP", defaultToSearchByIP)) {
        return false;
    }
    m_serialNumber = serialNumber;
    m_modelName = modelName;
    m_strGUID = guid;
    m_strMAC = mac;
    m_strHostName = hostName;
    m_strIPAddress = ipAddress;
    m_bOffSubNet = offSubNet;
    m_bMulticastEnabled = multicastEnabled;
    m_bDefaultToSearchByIP = defaultToSearchByIP;
    std::wstring type;
    if (ini.GetString(kDeviceInfo, L"NetworkType", type)) {
        if (type == L"Ethernet") {
            m_ulNetworkType = 1;
        } else if (type == L"Wireless") {
            m_ulNetworkType = 2;
        }
    }
    SetContainerID();
    return true;
}

bool CNetworkDevice::SaveDeviceInfo()
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::SaveDeviceInfo");
    const std::wstring path = m_pIniFile->GetFileName();
    if (g_pKernelApi->GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES
        && !QVUtils::CFileUtils::CreateDirectoryW(QVUtils::CPathUtils::StripFilename(path))) {
        return false;
    }
    const wchar_t* type = m_ulNetworkType == 1 ? L"Ethernet" : m_ulNetworkType == 2 ? L"Wireless" : L"Unknown";
    // Another process saving the same record waits for this one's keys.
    CRecordLock lock(path);
    // The keys go to a copy of the record, which takes its place only once
    // they read back from the disk: a write that reports success on a full
    // disk, or a process stopped between two writes, leaves the record as
    // it was.
    std::vector<RecordValue> expected = KeptValues();
    QVUtils::CStagedFile staged(path);
    if (!staged.Begin()) {
        logScope.m_errorCode = ::GetLastError();
        return false;
    }
    QVUtils::CIniFile::ForgetCached(staged.Path());
    m_pIniFile->SetFileName(staged.Path());
    QVUtils::IIniFile& ini = *m_pIniFile;
    const bool written = ini.SetString(kDeviceInfo, L"SerialNumber", m_serialNumber.c_str())
        && ini.SetString(kDeviceInfo, L"ModelName", m_modelName.c_str())
        && ini.SetString(kDeviceInfo, L"GUID", m_strGUID.c_str()) && ini.SetString(kDeviceInfo, L"MAC", m_strMAC.c_str())
        && ini.SetString(kDeviceInfo, L"HostName", m_strHostName.c_str())
        && ini.SetString(kDeviceInfo, L"IPAddress", m_strIPAddress.c_str())
        && ini.SetString(kDeviceInfo, L"NetworkType", type) && ini.SetBool(kDeviceInfo, L"OffSubNet", m_bOffSubNet)
        && ini.SetBool(kDeviceInfo, L"MulticastEnabled", m_bMulticastEnabled)
        && ini.SetBool(kDeviceInfo, L"DefaultToSearchByIP", m_bDefaultToSearchByIP);
    DWORD error = ::GetLastError();
    bool whole = false;
    if (written) {
        for (const auto& [key, value] : std::initializer_list<std::pair<const wchar_t*, std::wstring>>{
                 {L"SerialNumber", m_serialNumber}, {L"ModelName", m_modelName}, {L"GUID", m_strGUID},
                 {L"MAC", m_strMAC}, {L"HostName", m_strHostName}, {L"IPAddress", m_strIPAddress},
                 {L"NetworkType", type}, {L"OffSubNet", m_bOffSubNet ? L"true" : L"false"},
                 {L"MulticastEnabled", m_bMulticastEnabled ? L"true" : L"false"},
                 {L"DefaultToSearchByIP", m_bDefaultToSearchByIP ? L"true" : L"false"}}) {
            expected.push_back({kDeviceInfo, key, value});
        }
        QVUtils::CIniFile::ForgetCached(staged.Path());
        whole = ReadsBack(expected);
        error = whole ? ERROR_SUCCESS : ERROR_WRITE_FAULT;
    }
    m_pIniFile->SetFileName(path);
    QVUtils::CIniFile::ForgetCached(staged.Path());
    if (!whole || !staged.Commit()) {
        logScope.m_errorCode = whole ? ::GetLastError() : error;
        return false;
    }
    SetContainerID();
    return true;
}

// The keys of the record that a save of the device's own keys copies as
// they are.
std::vector<CNetworkDevice::RecordValue> CNetworkDevice::KeptValues() const
{
    std::vector<RecordValue> kept;
    for (const auto& [section, key] : std::initializer_list<std::pair<const wchar_t*, const wchar_t*>>{
             {L"PrinterInfo", kInstanceKey}, {L"FaxInfo", kInstanceKey}, {L"ScannerInfo", kInstanceKey},
             {L"ConfigInfo", L"PortNumber"}}) {
        std::wstring value;
        m_pIniFile->GetString(section, key, value);
        kept.push_back({section, key, value});
    }
    return kept;
}

bool CNetworkDevice::ReadsBack(const std::vector<RecordValue>& values) const
{
    for (const RecordValue& value : values) {
        std::wstring read;
        m_pIniFile->GetString(value.section, value.key, read);
        if (read != value.text) {
            return false;
        }
    }
    return true;
}

// The queue of a printer or fax node named in the record; the node must be
// the device's, which its port name tells.
bool CNetworkDevice::LoadQueueInfo(const wchar_t* section, FUNCTION_TYPE type, std::wstring& instance,
                                   std::wstring& port)
{
    if (!m_pIniFile->GetString(section, kInstanceKey, instance)) {
        DestroyFunction(type);
        return false;
    }
    const CDevNode node(instance.c_str());
    if (node.GetPortName(port) != 0) {
        port.clear();
    }
    const bool ours = type == FUNCTION_TYPE_PRINT ? port == m_serialNumber
                                                  : port.find(m_serialNumber) != std::wstring::npos;
    if (!ours) {
        instance.clear();
        port.clear();
        m_bHasBadDevNode = true;
        return true;
    }
    std::wstring friendlyName;
    if (CPrintUtil::FindPrinterName(instance.c_str(), nullptr, nullptr, friendlyName) != 0) {
        friendlyName.clear();
    }
    std::wstring driverName;
    if (!node.GetDriverValue(L"DriverDesc", driverName)) {
        driverName.clear();
    }
    MakeFunction(type)->Init(friendlyName.c_str(), driverName.c_str(), m_strIPAddress.c_str());
    return true;
}

bool CNetworkDevice::LoadPrinterInfo()
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::LoadPrinterInfo");
    return LoadQueueInfo(L"PrinterInfo", FUNCTION_TYPE_PRINT, m_strPrinterInstance, m_strPrinterPort);
}

bool CNetworkDevice::LoadFaxInfo()
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::LoadFaxInfo");
    return LoadQueueInfo(L"FaxInfo", FUNCTION_TYPE_FAX, m_strFaxInstance, m_strFaxPort);
}

bool CNetworkDevice::LoadScannerInfo()
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::LoadScannerInfo");
    if (!m_pIniFile->GetString(L"ScannerInfo", kInstanceKey, m_strScannerInstance)) {
        DestroyFunction(FUNCTION_TYPE_SCAN);
        return false;
    }
    const CDevNode node(m_strScannerInstance.c_str());
    std::wstring friendlyName;
    if (!node.GetProperty(CM_DRP_FRIENDLYNAME, friendlyName)) {
        friendlyName.clear();
    }
    std::wstring driverName;
    if (!node.GetDriverValue(L"DriverDesc", driverName)) {
        driverName.clear();
    }
    MakeFunction(FUNCTION_TYPE_SCAN)->Init(friendlyName.c_str(), driverName.c_str(), m_strIPAddress.c_str());
    return true;
}

bool CNetworkDevice::LoadConfigInfo()
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::LoadConfigInfo");
    if (!m_pIniFile->GetString(L"ConfigInfo", L"PortNumber", m_strConfigPort)) {
        DestroyFunction(FUNCTION_TYPE_CONFIG);
        return false;
    }
    const std::wstring& text = m_strIPAddress;
    const size_t dot = text.find(L'.');
    const size_t colon = text.find(L':');
    std::wstring host;
    std::wstring port;
    bool ipv6 = false;
    if (!text.empty() && text[0] == L'[') {
        const size_t close = text.find(L']');
        host = text.substr(1, close == std::wstring::npos ? std::wstring::npos : close - 1);
        if (close != std::wstring::npos && text.compare(close, 2, L"]:") == 0) {
            port = text.substr(close + 2);
        }
        ipv6 = true;
    } else if (dot != std::wstring::npos && (colon == std::wstring::npos || dot < colon)) {
        host = text.substr(0, colon);
        if (colon != std::wstring::npos) {
            port = text.substr(colon + 1);
        }
    } else if (colon != std::wstring::npos) {
        host = text;
        ipv6 = true;
    }
    if (port.empty()) {
        port = m_strConfigPort;
    }
    std::wstring address;
    if (!host.empty()) {
        address = port.empty() ? host : ipv6 ? L"[" + host + L"]:" + port : host + L":" + port;
    }
    MakeFunction(FUNCTION_TYPE_CONFIG)->Init(m_modelName.c_str(), m_modelName.c_str(), address.c_str());
    return true;
}

}  // namespace QVDeviceManager
