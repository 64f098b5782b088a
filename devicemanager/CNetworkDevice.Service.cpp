// One function of a network device as a root-enumerated node of the device
// tree, with its parameters: a port of the discovery monitor for a print or
// fax queue, the addresses for a scanner.
#include <windows.h>
#include <setupapi.h>
#include <cfgmgr32.h>

#include <cwchar>
#include <string>
#include <vector>

#include "devicemanager/CNetworkDevice.h"
#include "logging/LogTrace.h"
#include "winapi/IRegistryApi.h"
#include "winapi/ISetupApi.h"
#include "winapi/ISpoolerApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

namespace {

constexpr unsigned long kServiceStages = 10;
constexpr size_t kPortChars = 64;
constexpr DWORD kQuietInstall = 0x800000;
// DI_FLAGSEX_ALWAYSWRITEIDS, DI_FLAGSEX_ALLOWEXCLUDEDDRVS, DI_FLAGSEX_USECLASSFORCOMPAT.
constexpr DWORD kInstallFlagsEx = 0x2A00;
constexpr DWORD kRestartFlags = 0x180;
constexpr DWORD kDoDefault = 0xE000020E;
constexpr DWORD kServerAdminister = 1;
const wchar_t kMonitor[] = L"ZQ Discovery Port Monitor";

// The record the monitor takes for "AddPort" and "ConfigPort".
struct PortRecord {
    wchar_t portName[kPortChars];
    wchar_t serialNumber[kPortChars];
    wchar_t modelName[kPortChars];
};
static_assert(sizeof(PortRecord) == 384, "three fields of 64 characters");

struct PortDeletion {
    wchar_t portName[kPortChars];
};

// An IPv4 address with an optional port, or an IPv6 one in brackets or bare.
bool ParseIP(const std::wstring& text)
{
    return !text.empty() && text.find_first_of(L".:") != std::wstring::npos;
}

void CopyField(wchar_t (&field)[kPortChars], const std::wstring& text)
{
    wcsncpy(field, text.c_str(), kPortChars - 1);
    field[kPortChars - 1] = L'\0';
}

// The class installer's functions after the node is registered.
struct ClassFunction {
    DI_FUNCTION function;
    const wchar_t* name;
};
const ClassFunction kInstallFunctions[] = {
    {DIF_SELECTBESTCOMPATDRV, L"DIF_SELECTBESTCOMPATDRV"}, {DIF_ALLOW_INSTALL, L"DIF_ALLOW_INSTALL"},
    {DIF_INSTALLDEVICEFILES, L"DIF_INSTALLDEVICEFILES"},   {DIF_REGISTER_COINSTALLERS, L"DIF_REGISTER_COINSTALLERS"},
    {DIF_INSTALLINTERFACES, L"DIF_INSTALLINTERFACES"},     {DIF_INSTALLDEVICE, L"DIF_INSTALLDEVICE"},
};

}  // namespace

unsigned long CNetworkDevice::InstallService(const Service& service, const std::wstring& model,
                                             std::wstring& instance, QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::InstallService", L"%s",
                           service.word);
    QVUtils::CProgressAggregator aggregator(progress, kServiceStages);
    const GUID none = {};
    const GUID* classGuid = service.classGuid != nullptr ? service.classGuid : &none;
    HDEVINFO set = g_pSetupApi->SetupDiCreateDeviceInfoList(service.classGuid, nullptr);
    if (set == INVALID_HANDLE_VALUE) {
        QV_LOG_ERROR(L"CreateDeviceInfoList(%s) failed, err=%d", service.className, static_cast<int>(::GetLastError()));
        logScope.m_errorCode = DM_E_FAILED;
        return DM_E_FAILED;
    }
    if (!aggregator.StepNext(0)) {
        g_pSetupApi->SetupDiDestroyDeviceInfoList(set);
        logScope.m_errorCode = DM_E_CANCELLED;
        return DM_E_CANCELLED;
    }
    unsigned long status = 0;
    bool reboot = false;
    bool created = false;
    bool driversBuilt = false;
    SP_DEVINFO_DATA node = {};
    node.cbSize = sizeof node;
    if (!g_pSetupApi->SetupDiCreateDeviceInfoW(set, service.className, classGuid, m_modelName.c_str(), nullptr,
                                               DICD_GENERATE_ID, &node)) {
        QV_LOG_ERROR(L"CreateDeviceInfo(%s) failed, err=%d", service.className, static_cast<int>(::GetLastError()));
        status = DM_E_FAILED;
    } else {
        created = true;
        // A multi-string: the id, its zero and a second one.
        const std::wstring hardwareId = L"MF\\" + model + L"&WSD&IP_" + service.word + std::wstring(2, L'\0');
        const CONFIGRET set_id = g_pSetupApi->CM_Set_DevNode_Registry_PropertyW(
            node.DevInst, CM_DRP_HARDWAREID, hardwareId.c_str(),
            static_cast<ULONG>(hardwareId.size() * sizeof(wchar_t)), 0);
        if (set_id != CR_SUCCESS) {
            QV_LOG_ERROR(L"SetDevNodeRegistryProperty(CM_DRP_HARDWAREID) failed, err=%d", static_cast<int>(set_id));
            status = DM_E_FAILED;
        }
    }
    if (status == 0 && !g_pSetupApi->SetupDiCallClassInstaller(DIF_REGISTERDEVICE, set, &node)) {
        QV_LOG_ERROR(L"CallClassInstaller(DIF_REGISTERDEVICE) failed, err=%d", static_cast<int>(::GetLastError()));
        status = DM_E_FAILED;
    }
    if (status == 0 && !aggregator.StepNext(0)) {
        status = DM_E_CANCELLED;
    }
    if (status == 0 && service.parameters != nullptr) {
        status = (this->*service.parameters)(set, &node);
    }
    if (status == 0) {
        SP_DEVINSTALL_PARAMS_W params = {};
        params.cbSize = sizeof params;
        g_pSetupApi->SetupDiGetDeviceInstallParamsW(set, &node, &params);
        params.Flags |= kQuietInstall;
        params.FlagsEx |= kInstallFlagsEx;
        if (!g_pSetupApi->SetupDiSetDeviceInstallParamsW(set, &node, &params)) {
            QV_LOG_ERROR(L"SetDeviceInstallParams failed, err=%d", static_cast<int>(::GetLastError()));
            status = DM_E_FAILED;
        }
    }
    if (status == 0) {
        if (!g_pSetupApi->SetupDiBuildDriverInfoList(set, &node, SPDIT_COMPATDRIVER)) {
            QV_LOG_ERROR(L"BuildDriverInfoList failed, err=%d", static_cast<int>(::GetLastError()));
            status = DM_E_FAILED;
        } else {
            driversBuilt = true;
            status = aggregator.StepNext(0) ? 0 : DM_E_CANCELLED;
        }
    }
    if (status == 0) {
        status = RunClassInstallers(set, &node, reboot, aggregator);
    }
    if (status == 0) {
        wchar_t id[200] = {};
        const CONFIGRET got = g_pSetupApi->CM_Get_Device_IDW(node.DevInst, id, _countof(id), 0);
        if (got != CR_SUCCESS) {
            QV_LOG_ERROR(L"GetDeviceID failed, err=%d", static_cast<int>(got));
            status = DM_E_FAILED;
        } else {
            instance = id;
        }
    }
    if (driversBuilt && !g_pSetupApi->SetupDiDestroyDriverInfoList(set, &node, SPDIT_COMPATDRIVER)) {
        QV_LOG_ERROR(L"DestroyDriverInfoList failed, err=%d", static_cast<int>(::GetLastError()));
    }
    if (status != 0 && created && !g_pSetupApi->SetupDiCallClassInstaller(DIF_REMOVE, set, &node)) {
        QV_LOG_ERROR(L"CallClassInstaller(DIF_REMOVE) failed, err=%d", static_cast<int>(::GetLastError()));
    }
    if (!g_pSetupApi->SetupDiDestroyDeviceInfoList(set)) {
        QV_LOG_ERROR(L"DestroyDeviceInfoList failed, err=%d", static_cast<int>(::GetLastError()));
    }
    if (status == 0 && !aggregator.StepNext(0)) {
        status = DM_E_CANCELLED;
    }
    if (status == 0 && reboot) {
        status = DM_E_REBOOT_REQUIRED;
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CNetworkDevice::RunClassInstallers(HDEVINFO set, PSP_DEVINFO_DATA node, bool& reboot,
                                                 QVUtils::CProgressAggregator& aggregator)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::RunClassInstallers");
    for (const ClassFunction& step : kInstallFunctions) {
        if (!g_pSetupApi->SetupDiCallClassInstaller(step.function, set, node)) {
            const DWORD error = ::GetLastError();
            if (step.function != DIF_ALLOW_INSTALL || error != kDoDefault) {
                QV_LOG_ERROR(L"CallClassInstaller(%s) failed, err=%d", step.name, static_cast<int>(error));
                logScope.m_errorCode = DM_E_FAILED;
                return DM_E_FAILED;
            }
        }
        SP_DEVINSTALL_PARAMS_W params = {};
        params.cbSize = sizeof params;
        if (g_pSetupApi->SetupDiGetDeviceInstallParamsW(set, node, &params) && (params.Flags & kRestartFlags) != 0) {
            reboot = true;
        }
        if (!aggregator.StepNext(0)) {
            logScope.m_errorCode = DM_E_CANCELLED;
            return DM_E_CANCELLED;
        }
    }
    return 0;
}

unsigned long CNetworkDevice::WritePortName(HDEVINFO set, PSP_DEVINFO_DATA node, const std::wstring& port)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::WritePortName");
    const HKEY key = g_pSetupApi->SetupDiCreateDevRegKeyW(set, node, DICS_FLAG_GLOBAL, 0, DIREG_DEV, nullptr, nullptr);
    if (key == INVALID_HANDLE_VALUE) {
        QV_LOG_ERROR(L"CreateDevRegKey failed with error = %d", static_cast<int>(::GetLastError()));
        logScope.m_errorCode = DM_E_FAILED;
        return DM_E_FAILED;
    }
    const LSTATUS written =
        g_pRegistryApi->RegSetValueExW(key, L"PortName", 0, REG_SZ, reinterpret_cast<const BYTE*>(port.c_str()),
                                       static_cast<DWORD>((port.size() + 1) * sizeof(wchar_t)));
    g_pRegistryApi->RegCloseKey(key);
    if (written != ERROR_SUCCESS) {
        QV_LOG_ERROR(L"g_pRegistryApi->SetValue failed with error = %d", static_cast<int>(written));
        logScope.m_errorCode = DM_E_FAILED;
        return DM_E_FAILED;
    }
    return 0;
}

unsigned long CNetworkDevice::SetPrinterParams(HDEVINFO set, PSP_DEVINFO_DATA node)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::SetPrinterParams");
    unsigned long status = CreatePrinterPort(m_serialNumber);
    if (status == 0) {
        status = WritePortName(set, node, m_strPrinterPort);
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CNetworkDevice::SetFaxParams(HDEVINFO set, PSP_DEVINFO_DATA node)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::SetFaxParams");
    // The port is made through the printer port's field.
    const std::wstring printerPort = m_strPrinterPort;
    unsigned long status = CreatePrinterPort(m_serialNumber + L"_FAX");
    if (status == 0) {
        m_strFaxPort = m_strPrinterPort;
    }
    m_strPrinterPort = printerPort;
    if (status == 0) {
        status = WritePortName(set, node, m_strFaxPort);
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CNetworkDevice::SetScannerParams(HDEVINFO set, PSP_DEVINFO_DATA node)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::SetScannerParams");
    const HKEY driverKey =
        g_pSetupApi->SetupDiCreateDevRegKeyW(set, node, DICS_FLAG_GLOBAL, 0, DIREG_DRV, nullptr, nullptr);
    if (driverKey == INVALID_HANDLE_VALUE) {
        QV_LOG_ERROR(L"CreateDevRegKey failed with error = %d", static_cast<int>(::GetLastError()));
        logScope.m_errorCode = DM_E_FAILED;
        return DM_E_FAILED;
    }
    HKEY data = nullptr;
    const LSTATUS made = g_pRegistryApi->RegCreateKeyExW(driverKey, L"DeviceData", 0, nullptr, 0, KEY_WRITE, nullptr,
                                                         &data, nullptr);
    if (made != ERROR_SUCCESS) {
        g_pRegistryApi->RegCloseKey(driverKey);
        QV_LOG_ERROR(L"CreateKey failed with error = %d", static_cast<int>(made));
        logScope.m_errorCode = DM_E_FAILED;
        return DM_E_FAILED;
    }
    // The host-name field holds the IP address: so the scanner finds it.
    wchar_t deviceId[262] = {};
    _snwprintf(deviceId, 261, L"\\%ls:%ls\\%ls:%ls\\%ls:%ls\\%ls:%ls\\%ls:%ls", L"hostname", m_strIPAddress.c_str(), L"ipaddr",
               m_strIPAddress.c_str(), L"guid", m_strGUID.c_str(), L"macaddr", m_strMAC.c_str(), L"port", L"1");
    const struct {
        const wchar_t* name;
        std::wstring value;
    } values[] = {
        {L"NetworkDeviceID", deviceId}, {L"PortID", m_strIPAddress}, {L"MAC", m_strMAC},
        {L"GUID", m_strGUID},           {L"PortNumber", L"1"},
    };
    unsigned long status = 0;
    for (const auto& value : values) {
        const LSTATUS written = g_pRegistryApi->RegSetValueExW(
            data, value.name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.value.c_str()),
            static_cast<DWORD>((value.value.size() + 1) * sizeof(wchar_t)));
        if (written != ERROR_SUCCESS) {
            QV_LOG_ERROR(L"g_pRegistryApi->SetValue(%s, %s) failed with err = %d", value.name, value.value.c_str(),
                         static_cast<int>(written));
            status = DM_E_FAILED;
            break;
        }
    }
    g_pRegistryApi->RegCloseKey(data);
    if (status != 0) {
        // The node's removal keeps a driver key that still has a subkey.
        g_pRegistryApi->RegDeleteKeyW(driverKey, L"DeviceData");
    }
    g_pRegistryApi->RegCloseKey(driverKey);
    logScope.m_errorCode = status;
    return status;
}

unsigned long CNetworkDevice::CreatePrinterPort(const std::wstring& portName)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::CreatePrinterPort", L"%s",
                           portName.c_str());
    std::wstring name = std::wstring(L",XcvMonitor ") + kMonitor + L" (" + m_modelName + L")";
    PRINTER_DEFAULTSW defaults = {nullptr, nullptr, kServerAdminister};
    HANDLE xcv = nullptr;
    if (!g_pSpoolerApi->OpenPrinterW(&name[0], &xcv, &defaults)) {
        QV_LOG_ERROR(L"OpenPrinter for '%s' failed with err = %d", name.c_str(), static_cast<int>(::GetLastError()));
        logScope.m_errorCode = DM_E_FAILED;
        return DM_E_FAILED;
    }
    // The port finds its device by the serial number, not by the address.
    if (!ParseIP(m_strIPAddress)) {
        QV_LOG_ERROR(L"ParseIP(%s) failed", m_strIPAddress.c_str());
    }
    PortRecord record = {};
    CopyField(record.portName, portName);
    CopyField(record.serialNumber, m_serialNumber);
    CopyField(record.modelName, m_modelName);
    DWORD needed = 0;
    DWORD answer = 0;
    unsigned long status = 0;
    const BOOL sent = g_pSpoolerApi->XcvDataW(xcv, L"AddPort", reinterpret_cast<BYTE*>(&record), sizeof record,
                                              nullptr, 0, &needed, &answer);
    if (sent && answer == ERROR_SUCCESS) {
        m_strPrinterPort = portName;
    } else if (sent && answer == ERROR_ALREADY_EXISTS) {
        QV_LOG_LINE(QVLogging::kCategoryDebug, L"XcvData \"AddPort\" returned ERROR_ALREADY_EXISTS");
        const BOOL configured = g_pSpoolerApi->XcvDataW(xcv, L"ConfigPort", reinterpret_cast<BYTE*>(&record),
                                                        sizeof record, nullptr, 0, &needed, &answer);
        if (configured && answer == ERROR_SUCCESS) {
            m_strPrinterPort = portName;
        } else {
            QV_LOG_ERROR(L"XcvData \"ConfigPort\" returned = %d", static_cast<int>(configured ? answer : ::GetLastError()));
            status = DM_E_FAILED;
        }
    } else {
        QV_LOG_ERROR(L"XcvData \"AddPort\" returned = %d", static_cast<int>(sent ? answer : ::GetLastError()));
        status = DM_E_FAILED;
    }
    if (!g_pSpoolerApi->ClosePrinter(xcv)) {
        QV_LOG_ERROR(L"ClosePrinter for XcvMonitor ZQ Discovery Port Monitor failed with err = %d",
                     static_cast<int>(::GetLastError()));
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CNetworkDevice::DeletePrinterPort(const std::wstring& portName)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::DeletePrinterPort", L"%s",
                           portName.c_str());
    std::wstring name = L",XcvPort " + portName;
    PRINTER_DEFAULTSW defaults = {nullptr, nullptr, kServerAdminister};
    HANDLE xcv = nullptr;
    if (!g_pSpoolerApi->OpenPrinterW(&name[0], &xcv, &defaults)) {
        QV_LOG_ERROR(L"OpenPrinter for %s failed with err = %d", name.c_str(), static_cast<int>(::GetLastError()));
        logScope.m_errorCode = DM_E_FAILED;
        return DM_E_FAILED;
    }
    PortDeletion record = {};
    CopyField(record.portName, portName);
    DWORD needed = 0;
    DWORD answer = 0;
    unsigned long status = 0;
    const BOOL sent = g_pSpoolerApi->XcvDataW(xcv, L"DeletePort", reinterpret_cast<BYTE*>(&record), sizeof record,
                                              nullptr, 0, &needed, &answer);
    if (!sent || answer != ERROR_SUCCESS) {
        QV_LOG_ERROR(L"XcvData failed with dwERr = %d, GetLastError = %d", static_cast<int>(answer),
                     static_cast<int>(::GetLastError()));
        // A port still in use goes with the last queue that uses it.
        status = sent && answer == ERROR_BUSY ? 0 : DM_E_FAILED;
    }
    if (!g_pSpoolerApi->ClosePrinter(xcv)) {
        QV_LOG_ERROR(L"ClosePrinter failed with %d", static_cast<int>(::GetLastError()));
    }
    logScope.m_errorCode = status;
    return status;
}

}  // namespace QVDeviceManager
