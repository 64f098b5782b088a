// Installing a network device's functions as devices of the system, and
// removing them with the record again.
#include <windows.h>

#include <cwchar>
#include <new>

#include "devicemanager/CDevNode.h"
#include "devicemanager/CDevNodeManager.h"
#include "devicemanager/CNetworkDevice.h"
#include "devicemanager/CPrintUtil.h"
#include "logging/LogTrace.h"
#include "utils/CFileUtils.h"
#include "winapi/IKernelApi.h"
#include "winapi/IRegistryApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

namespace {

constexpr unsigned long kInstallPhase = 5;
constexpr unsigned long kUninstallPhase = 6;
const wchar_t kInstanceKey[] = L"DeviceInstanceId";
const wchar_t kDefaultConfigPort[] = L"8080";

// The image class of scanners.
const GUID kScannerClass = {0x6BDD1FC6, 0x810F, 0x11D0, {0xBE, 0xC7, 0x08, 0x00, 0x2B, 0xE2, 0x09, 0x2F}};

// A restart asked for counts as success and is noted.
unsigned long NoteReboot(unsigned long status, bool& reboot)
{
    if (status == DM_E_REBOOT_REQUIRED) {
        reboot = true;
        return 0;
    }
    return status;
}

}  // namespace

std::wstring CNetworkDevice::ModelIdentifier(const std::wstring& modelName)
{
    std::wstring identifier = modelName;
    if (identifier.size() >= 3 && _wcsnicmp(identifier.c_str(), L"ZQ ", 3) == 0) {
        identifier.erase(0, 3);
    }
    for (wchar_t& c : identifier) {
        if (c == L' ') {
            c = L'_';
        }
    }
    return identifier;
}

unsigned long CNetworkDevice::Install(QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::Install", L"%s",
                           m_serialNumber.c_str());
    if (IsInstalled() && !m_bHasBadDevNode) {
        logScope.m_errorCode = DM_E_ALREADY_INSTALLED;
        return DM_E_ALREADY_INSTALLED;
    }
    unsigned long status = 0;
    try {
        QVUtils::CProgressAggregator phase(progress, 1);
        if (!phase.Step(kInstallPhase)) {
            logScope.m_errorCode = DM_E_CANCELLED;
            return DM_E_CANCELLED;
        }
        m_pIniFile->SetFileName(RecordPath(m_serialNumber));
        if (!SaveDeviceInfo()) {
            QV_LOG_ERROR(L"SaveDeviceInfo failed");
            logScope.m_errorCode = DM_E_FAILED;
            return DM_E_FAILED;
        }
        const FUNCTION_TYPE order[] = {FUNCTION_TYPE_PRINT, FUNCTION_TYPE_SCAN, FUNCTION_TYPE_FAX,
                                       FUNCTION_TYPE_CONFIG};
        unsigned long handlers = 0;
        for (FUNCTION_TYPE type : order) {
            handlers += HasFunction(type) ? 1 : 0;
        }
        if (handlers == 0) {
            m_bHasBadDevNode = false;
            return 0;
        }
        QVUtils::CProgressAggregator aggregator(&phase, handlers);
        const std::wstring model = ModelIdentifier(m_modelName);
        bool reboot = false;
        for (FUNCTION_TYPE type : order) {
            if (status != 0 || !HasFunction(type)) {
                continue;
            }
            switch (type) {
            case FUNCTION_TYPE_PRINT:
                status = InstallPrint(model, &aggregator);
                break;
            case FUNCTION_TYPE_SCAN:
                status = InstallScan(model, &aggregator);
                break;
            case FUNCTION_TYPE_FAX:
                status = InstallFax(model, &aggregator);
                break;
            default:
                status = InstallConfig();
                break;
            }
            status = NoteReboot(status, reboot);
            if (status == 0 && !aggregator.StepNext(0)) {
                status = DM_E_CANCELLED;
            }
        }
        if (status == 0) {
            m_bHasBadDevNode = false;
            logScope.m_errorCode = reboot ? DM_E_REBOOT_REQUIRED : 0;
            return logScope.m_errorCode;
        }
        // All or nothing: what the earlier handlers made goes again.
        const unsigned long undone = Uninstall(nullptr, true);
        if (undone != 0 && undone != DM_E_REBOOT_REQUIRED) {
            QV_LOG_ERROR(L"Uninstall failed with %d", static_cast<int>(undone));
        }
    } catch (const std::bad_alloc&) {
        status = DM_E_OUT_OF_MEMORY;
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CNetworkDevice::InstallNode(const Service& service, const std::wstring& model, const wchar_t* section,
                                          std::wstring& instance, QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::InstallNode");
    const unsigned long status = InstallService(service, model, instance, progress);
    if (status != 0 && status != DM_E_REBOOT_REQUIRED) {
        logScope.m_errorCode = status;
        return status;
    }
    // "PrinterInfo" is saved and loaded as "Printer", and so on.
    const std::wstring word(section, wcslen(section) - 4);
    if (!m_pIniFile->SetString(section, kInstanceKey, instance.c_str())) {
        logScope.m_errorCode = DM_E_FAILED;
        QV_LOG_ERROR(L"Save%sInfo failed", word.c_str());
        return DM_E_FAILED;
    }
    const bool loaded = service.word[0] == L'P' ? LoadPrinterInfo()
                        : service.word[0] == L'F' ? LoadFaxInfo()
                                                  : LoadScannerInfo();
    if (!loaded) {
        logScope.m_errorCode = DM_E_FAILED;
        QV_LOG_ERROR(L"Load%sInfo failed", word.c_str());
        return DM_E_FAILED;
    }
    return status;
}

unsigned long CNetworkDevice::InstallPrint(const std::wstring& model, QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::InstallPrint");
    if (!m_strPrinterInstance.empty()) {
        return 0;
    }
    const Service print = {L"Printer", nullptr, L"PRINT", &CNetworkDevice::SetPrinterParams};
    const unsigned long status = InstallNode(print, model, L"PrinterInfo", m_strPrinterInstance, progress);
    IDeviceFunction* function = nullptr;
    if ((status == 0 || status == DM_E_REBOOT_REQUIRED) && GetFunction(FUNCTION_TYPE_PRINT, &function) == 0) {
        SetPrinterContainerID(function->GetFriendlyName());
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CNetworkDevice::InstallFax(const std::wstring& model, QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::InstallFax");
    if (!m_strFaxInstance.empty()) {
        return 0;
    }
    const Service fax = {L"Printer", nullptr, L"FAX", &CNetworkDevice::SetFaxParams};
    const unsigned long status = InstallNode(fax, model, L"FaxInfo", m_strFaxInstance, progress);
    IDeviceFunction* function = nullptr;
    if ((status == 0 || status == DM_E_REBOOT_REQUIRED) && GetFunction(FUNCTION_TYPE_FAX, &function) == 0) {
        SetPrinterContainerID(function->GetFriendlyName());
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CNetworkDevice::InstallScan(const std::wstring& model, QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::InstallScan");
    if (!m_strScannerInstance.empty()) {
        return 0;
    }
    const Service scan = {L"Scanner", &kScannerClass, L"SCAN", &CNetworkDevice::SetScannerParams};
    logScope.m_errorCode = InstallNode(scan, model, L"ScannerInfo", m_strScannerInstance, progress);
    return logScope.m_errorCode;
}

unsigned long CNetworkDevice::InstallConfig()
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::InstallConfig");
    // The port of an address such as "10.0.0.5:8000" or "[fe80::1]:8000".
    const std::wstring& text = m_strIPAddress;
    const size_t dot = text.find(L'.');
    const size_t colon = text.find(L':');
    std::wstring port;
    if (!text.empty() && text[0] == L'[') {
        const size_t close = text.find(L"]:");
        port = close == std::wstring::npos ? L"" : text.substr(close + 2);
    } else if (dot != std::wstring::npos && colon != std::wstring::npos && dot < colon) {
        port = text.substr(colon + 1);
    }
    m_strConfigPort = port.empty() ? kDefaultConfigPort : port;
    if (!m_pIniFile->SetString(L"ConfigInfo", L"PortNumber", m_strConfigPort.c_str())) {
        QV_LOG_ERROR(L"SaveConfigInfo failed");
        logScope.m_errorCode = DM_E_FAILED;
        return DM_E_FAILED;
    }
    if (!LoadConfigInfo()) {
        QV_LOG_ERROR(L"LoadConfigInfo failed");
        logScope.m_errorCode = DM_E_FAILED;
        return DM_E_FAILED;
    }
    return 0;
}

unsigned long CNetworkDevice::SetPrinterContainerID(const std::wstring& printerName)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::SetPrinterContainerID");
    if (m_containerID.empty()) {
        return 0;
    }
    logScope.m_errorCode = CPrintUtil::SetPrinterDataValue(printerName.c_str(), m_containerID.c_str());
    return logScope.m_errorCode;
}

unsigned long CNetworkDevice::Uninstall(QVUtils::IProgress* progress)
{
    return Uninstall(progress, false);
}

unsigned long CNetworkDevice::Uninstall(QVUtils::IProgress* progress, bool force)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::Uninstall", L"%s",
                           m_serialNumber.c_str());
    if (!IsInstalled()) {
        logScope.m_errorCode = DM_E_DEVICE_GONE;
        return DM_E_DEVICE_GONE;
    }
    unsigned long status = 0;
    bool reboot = false;
    try {
        QVUtils::CProgressAggregator phase(progress, 1);
        if (!phase.Step(kUninstallPhase)) {
            logScope.m_errorCode = DM_E_CANCELLED;
            return DM_E_CANCELLED;
        }
        const FUNCTION_TYPE order[] = {FUNCTION_TYPE_FAX, FUNCTION_TYPE_PRINT, FUNCTION_TYPE_SCAN,
                                       FUNCTION_TYPE_CONFIG};
        unsigned long handlers = 0;
        for (FUNCTION_TYPE type : order) {
            handlers += HasFunction(type) ? 1 : 0;
        }
        QVUtils::CProgressAggregator aggregator(&phase, handlers == 0 ? 1 : handlers);
        for (FUNCTION_TYPE type : order) {
            if (status != 0 || !HasFunction(type)) {
                continue;
            }
            switch (type) {
            case FUNCTION_TYPE_FAX:
                status = UninstallFax(&aggregator, force);
                break;
            case FUNCTION_TYPE_PRINT:
                status = UninstallPrint(&aggregator, force);
                break;
            case FUNCTION_TYPE_SCAN:
                status = UninstallScan(&aggregator, force);
                break;
            default:
                status = UninstallConfig();
                break;
            }
            status = NoteReboot(status, reboot);
            if (status == 0 && !aggregator.StepNext(0)) {
                status = DM_E_CANCELLED;
            }
        }
        if (status != 0) {
            // What went is put back.
            m_bHasBadDevNode = true;
            Install(nullptr);
            logScope.m_errorCode = status;
            return status;
        }
        const std::wstring path = RecordPath(m_serialNumber);
        if (!g_pKernelApi->DeleteFileW(path.c_str())) {
            const DWORD error = ::GetLastError();
            QV_LOG_ERROR(L"DeleteFile(%s) failed with %d", path.c_str(), static_cast<int>(error));
            logScope.m_errorCode = DM_E_FAILED;
            return DM_E_FAILED;
        }
        m_containerID.clear();
        m_bHasBadDevNode = false;
    } catch (const std::bad_alloc&) {
        status = DM_E_OUT_OF_MEMORY;
    }
    logScope.m_errorCode = status == 0 && reboot ? DM_E_REBOOT_REQUIRED : status;
    return logScope.m_errorCode;
}

unsigned long CNetworkDevice::UninstallDriver(FUNCTION_TYPE type, bool force, bool& reboot)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::UninstallDriver");
    IDeviceFunction* function = nullptr;
    if (GetFunction(type, &function) != 0) {
        return 0;
    }
    const wchar_t* driver = function->GetDriverName().c_str();
    const unsigned long removed = CPrintUtil::UninstallPrinterDriver(driver);
    if (removed == DM_E_REBOOT_REQUIRED) {
        QV_LOG_LINE(QVLogging::kCategoryWarning, L"CPrintUtil::UninstallPrinterDriver(%s) requires reboot", driver);
        reboot = true;
        return 0;
    }
    if (removed == DM_E_ACCESS_DENIED) {
        QV_LOG_INFO(0, L"CPrintUtil::UninstallPrinterDriver(%s) requires reboot", driver);
        return 0;
    }
    if (type == FUNCTION_TYPE_FAX && removed == DM_E_NOT_FOUND) {
        QV_LOG_LINE(QVLogging::kCategoryWarning, L"CPrintUtil::UninstallPrinterDriver(%s) device not found", driver);
        return 0;
    }
    if (removed != 0) {
        if (type == FUNCTION_TYPE_FAX) {
            QV_LOG_LINE(QVLogging::kCategoryWarning, L"CPrintUtil::UninstallPrinterDriver(%s) failed with error %d", driver,
                        static_cast<int>(removed));
        } else {
            QV_LOG_ERROR(L"CPrintUtil::UninstallPrinterDriver(%s) failed with error %d", driver,
                         static_cast<int>(removed));
        }
        return force ? 0 : removed;
    }
    return 0;
}

unsigned long CNetworkDevice::UninstallPrint(QVUtils::IProgress* progress, bool force)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::UninstallPrint");
    IDeviceFunction* function = nullptr;
    if (GetFunction(FUNCTION_TYPE_PRINT, &function) == 0) {
        const unsigned long purged = CPrintUtil::DeleteAllPrintJobs(function->GetFriendlyName().c_str());
        if (purged != 0) {
            QV_LOG_LINE(QVLogging::kCategoryWarning, L"CPrintUtil::DeleteAllPrintJobs(%s) failed with error %d",
                        function->GetFriendlyName().c_str(), static_cast<int>(purged));
        }
    }
    bool reboot = false;
    if (!m_strPrinterInstance.empty()) {
        const unsigned long status = UninstallService(m_strPrinterInstance, progress);
        if (status == 0 || status == DM_E_REBOOT_REQUIRED) {
            m_strPrinterInstance.clear();
            reboot = status == DM_E_REBOOT_REQUIRED;
        } else {
            if (status != DM_E_CANCELLED) {
                QV_LOG_ERROR(L"UninstallService(%s) failed", m_strPrinterInstance.c_str());
            }
            if (!force || status == DM_E_CANCELLED) {
                logScope.m_errorCode = status;
                return status;
            }
        }
    }
    unsigned long status = UninstallDriver(FUNCTION_TYPE_PRINT, force, reboot);
    if (status != 0) {
        logScope.m_errorCode = status;
        return status;
    }
    if (!m_strPrinterPort.empty()) {
        status = DeletePrinterPort(m_strPrinterPort);
        if (status != 0) {
            QV_LOG_ERROR(L"DeletePrinterPort(%s) failed with error %d", m_strPrinterPort.c_str(),
                         static_cast<int>(status));
            if (!force) {
                logScope.m_errorCode = status;
                return status;
            }
        }
        m_strPrinterPort.clear();
    }
    DestroyFunction(FUNCTION_TYPE_PRINT);
    logScope.m_errorCode = reboot ? DM_E_REBOOT_REQUIRED : 0;
    return logScope.m_errorCode;
}

unsigned long CNetworkDevice::UninstallFax(QVUtils::IProgress* progress, bool force)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::UninstallFax");
    IDeviceFunction* function = nullptr;
    if (GetFunction(FUNCTION_TYPE_FAX, &function) == 0) {
        const unsigned long purged = CPrintUtil::DeleteAllPrintJobs(function->GetFriendlyName().c_str());
        if (purged != 0) {
            QV_LOG_LINE(QVLogging::kCategoryWarning, L"CPrintUtil::DeleteAllPrintJobs(%s) failed with error %d",
                        function->GetFriendlyName().c_str(), static_cast<int>(purged));
        }
    }
    bool reboot = false;
    if (!m_strFaxInstance.empty()) {
        const unsigned long status = UninstallService(m_strFaxInstance, progress);
        if (status == 0 || status == DM_E_REBOOT_REQUIRED) {
            m_strFaxInstance.clear();
            reboot = status == DM_E_REBOOT_REQUIRED;
        } else {
            if (status != DM_E_CANCELLED) {
                QV_LOG_ERROR(L"UninstallService(%s) failed", m_strFaxInstance.c_str());
            }
            if (!force || status == DM_E_CANCELLED) {
                logScope.m_errorCode = status;
                return status;
            }
        }
    }
    unsigned long status = UninstallDriver(FUNCTION_TYPE_FAX, force, reboot);
    if (status != 0) {
        logScope.m_errorCode = status;
        return status;
    }
    if (!m_strFaxPort.empty()) {
        status = DeletePrinterPort(m_strFaxPort);
        if (status != 0) {
            QV_LOG_ERROR(L"DeleteFaxPort failed");
            if (!force) {
                logScope.m_errorCode = status;
                return status;
            }
        }
        m_strFaxPort.clear();
    }
    DestroyFunction(FUNCTION_TYPE_FAX);
    logScope.m_errorCode = reboot ? DM_E_REBOOT_REQUIRED : 0;
    return logScope.m_errorCode;
}

unsigned long CNetworkDevice::UninstallScan(QVUtils::IProgress* progress, bool force)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::UninstallScan");
    bool reboot = false;
    if (!m_strScannerInstance.empty()) {
        // Removing a node takes its driver key only when no subkey is left
        // in it: the scanner's values go first.
        std::wstring driverKey;
        if (CDevNode(m_strScannerInstance.c_str()).GetProperty(CM_DRP_DRIVER, driverKey)) {
            const std::wstring data = L"System\\CurrentControlSet\\Control\\Class\\" + driverKey + L"\\DeviceData";
            g_pRegistryApi->RegDeleteKeyW(HKEY_LOCAL_MACHINE, data.c_str());
        }
        const unsigned long status = UninstallService(m_strScannerInstance, progress);
        if (status == 0 || status == DM_E_REBOOT_REQUIRED) {
            m_strScannerInstance.clear();
            reboot = status == DM_E_REBOOT_REQUIRED;
        } else {
            if (status != DM_E_CANCELLED) {
                QV_LOG_ERROR(L"UninstallService(%s) failed", m_strScannerInstance.c_str());
            }
            if (!force || status == DM_E_CANCELLED) {
                logScope.m_errorCode = status;
                return status;
            }
        }
    }
    DestroyFunction(FUNCTION_TYPE_SCAN);
    logScope.m_errorCode = reboot ? DM_E_REBOOT_REQUIRED : 0;
    return logScope.m_errorCode;
}

unsigned long CNetworkDevice::UninstallConfig()
{
    m_strConfigPort.clear();
    DestroyFunction(FUNCTION_TYPE_CONFIG);
    return 0;
}

unsigned long CNetworkDevice::UninstallService(const std::wstring& instance, QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::UninstallService", L"%s",
                           instance.c_str());
    const CDevNode node(instance.c_str());
    logScope.m_errorCode = CDevNodeManager().UninstallDevice(node, progress);
    return logScope.m_errorCode;
}

}  // namespace QVDeviceManager
