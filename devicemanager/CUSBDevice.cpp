#include "devicemanager/CUSBDevice.h"

#include <cwchar>
#include <new>
#include <vector>

#include "devicemanager/CDevNodeManager.h"
#include "devicemanager/CPrintUtil.h"
#include "logging/LogTrace.h"
#include "utils/CProgressAggregator.h"
#include "utils/CSxSConfig.h"
#include "winapi/ISetupApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

namespace {

constexpr ULONG kHasProblem = 0x400;  // DN_HAS_PROBLEM
constexpr ULONG kProblemDisabled = 22;
constexpr ULONG kProblemNotPresent = 24;
constexpr ULONG kProblemPhantom = 45;
constexpr unsigned long kUninstallPhase = 6;

std::wstring Upper(std::wstring text)
{
    for (wchar_t& c : text) {
        c = static_cast<wchar_t>(towupper(c));
    }
    return text;
}

}  // namespace

unsigned long CUSBDevice::Init(const wchar_t* id, QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CUSBDevice::Init", L"%s", id ? id : L"");
    if (id == nullptr || *id == L'\0') {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    unsigned long status = 0;
    try {
        QVUtils::CProgressAggregator aggregator(progress, 3);
        std::wstring serial = id;
        if (serial.size() == 6 && serial.compare(0, 3, L"USB") == 0) {
            status = SerialOfPort(serial);
        }
        CDevNodeManager manager;
        std::vector<CDevNode> nodes;
        if (status == 0) {
            status = manager.GetDevices(nullptr, L"USB", &nodes, &aggregator);
            if (status == 0 && !aggregator.StepNext(0)) {
                status = DM_E_CANCELLED;
            }
        }
        if (status == 0) {
            status = DM_E_NOT_FOUND;
            QVUtils::CProgressAggregator each(&aggregator, static_cast<unsigned long>(nodes.size()));
            for (const CDevNode& node : nodes) {
                if (!each.StepNext(0)) {
                    status = DM_E_CANCELLED;
                    break;
                }
                std::wstring nodeSerial;
                if (node.GetSerialNumber(nodeSerial) && _wcsicmp(nodeSerial.c_str(), serial.c_str()) == 0) {
                    status = Init(node, &aggregator);
                    if (!aggregator.StepNext(0)) {
                        status = DM_E_CANCELLED;
                    }
                    break;
                }
            }
            if (nodes.empty()) {
                aggregator.StepNext(0);
            }
        }
    } catch (const std::bad_alloc&) {
        status = DM_E_OUT_OF_MEMORY;
    }
    logScope.m_errorCode = status;
    return status;
}

// The serial number of the device whose USBPRINT node has the port: the
// node's parent is the interface node, and its parent the device.
unsigned long CUSBDevice::SerialOfPort(std::wstring& id)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CUSBDevice::SerialOfPort");
    CDevNodeManager manager;
    std::vector<CDevNode> nodes;
    unsigned long status = manager.GetDevices(nullptr, L"USBPRINT", &nodes, nullptr);
    if (status != 0 || nodes.empty()) {
        logScope.m_errorCode = status;
        return status;
    }
    status = DM_E_NOT_FOUND;
    for (const CDevNode& node : nodes) {
        std::wstring port;
        CDevNode link;
        CDevNode device;
        std::wstring serial;
        if (node.GetPortName(port) == 0 && _wcsicmp(port.c_str(), id.c_str()) == 0 && node.GetParent(link, nullptr)
            && link.GetParent(device, nullptr) && device.GetSerialNumber(serial)) {
            QV_LOG_INFO(0, L"Port %s is the device %s", id.c_str(), serial.c_str());
            id = serial;
            status = 0;
            break;
        }
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CUSBDevice::Init(const CDevNode& devNode, QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CUSBDevice::Init");
    std::wstring instanceId;
    size_t slash = std::wstring::npos;
    if (!devNode.GetDeviceID(instanceId) || (slash = instanceId.rfind(L'\\')) == std::wstring::npos) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    const std::wstring hardware = instanceId.substr(0, slash);
    const std::wstring upper = Upper(hardware);
    const size_t product = upper.find(L"&PID_", 8);
    if (upper.compare(0, 8, L"USB\\VID_") != 0 || product == std::wstring::npos
        || upper.find(L"&MI_", product) != std::wstring::npos) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    const std::wstring usbId = QVUtils::CSxSConfig::GetUSBID();
    if (!usbId.empty() && hardware.find(usbId) == std::wstring::npos) {
        QV_LOG_INFO(0, L"%s is not a device of USBID %s", instanceId.c_str(), usbId.c_str());
        logScope.m_errorCode = DM_E_WRONG_USB_ID;
        return DM_E_WRONG_USB_ID;
    }
    std::vector<std::wstring> compatible;
    if (devNode.GetPropertyList(CM_DRP_COMPATIBLEIDS, compatible)) {
        for (const std::wstring& entry : compatible) {
            if (_wcsicmp(entry.c_str(), L"USB\\Class_09") == 0 || _wcsicmp(entry.c_str(), L"USB\\HubClass") == 0) {
                logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
                return DM_E_INVALID_ARGUMENT;
            }
        }
    }
    m_serialNumber = instanceId.substr(slash + 1);
    m_instanceID = instanceId;
    m_devNode = devNode;
    logScope.m_errorCode = Refresh(progress);
    return logScope.m_errorCode;
}

bool CUSBDevice::IsInstalled()
{
    return m_devNode.Exists();
}

bool CUSBDevice::IsOnline()
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CUSBDevice::IsOnline");
    ULONG status = 0;
    ULONG problem = 0;
    if (!IsInstalled() || g_pSetupApi->CM_Get_DevNode_Status(&status, &problem, m_devNode.GetHandle(), 0) != CR_SUCCESS) {
        return false;
    }
    return !((status & kHasProblem) != 0
             && (problem == kProblemDisabled || problem == kProblemNotPresent || problem == kProblemPhantom));
}

unsigned long CUSBDevice::Install(QVUtils::IProgress*)
{
    return IsInstalled() ? DM_E_ALREADY_INSTALLED : DM_E_NOT_SUPPORTED;
}

unsigned long CUSBDevice::Uninstall(QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CUSBDevice::Uninstall", L"%s",
                           m_serialNumber.c_str());
    if (!IsInstalled()) {
        logScope.m_errorCode = DM_E_DEVICE_GONE;
        return DM_E_DEVICE_GONE;
    }
    QVUtils::CProgressAggregator aggregator(progress, 1);
    if (!aggregator.Step(kUninstallPhase)) {
        logScope.m_errorCode = DM_E_CANCELLED;
        return DM_E_CANCELLED;
    }
    IDeviceFunction* print = nullptr;
    const bool hasPrint = GetFunction(FUNCTION_TYPE_PRINT, &print) == 0;
    std::wstring printDriver;
    if (hasPrint) {
        printDriver = print->GetDriverName();
        const unsigned long purged = CPrintUtil::DeleteAllPrintJobs(print->GetFriendlyName().c_str());
        if (purged != 0) {
            QV_LOG_ERROR(L"CPrintUtil::DeleteAllPrintJobs(%s) failed with error %d", print->GetFriendlyName().c_str(),
                         static_cast<int>(purged));
        }
    }
    bool reboot = false;
    unsigned long status = CDevNodeManager().UninstallDevice(m_devNode, &aggregator);
    if (status == DM_E_REBOOT_REQUIRED) {
        QV_LOG_INFO(0, L"Deleting devnode for %s requires reboot", m_serialNumber.c_str());
        reboot = true;
        status = 0;
    }
    if (status != 0) {
        logScope.m_errorCode = status;
        return status;
    }
    if (hasPrint) {
        const unsigned long removed = CPrintUtil::UninstallPrinterDriver(printDriver.c_str());
        if (removed == DM_E_REBOOT_REQUIRED) {
            QV_LOG_INFO(0, L"CPrintUtil::UninstallPrinterDriver(%s) requires reboot", printDriver.c_str());
            reboot = true;
        } else if (removed != 0) {
            QV_LOG_ERROR(L"CPrintUtil::UninstallPrinterDriver(%s) failed with error %d", printDriver.c_str(),
                         static_cast<int>(removed));
        }
    }
    if (HasFunction(FUNCTION_TYPE_FAX)) {
        UninstallPrinter(FUNCTION_TYPE_FAX, reboot, status);
    }
    if (status == 0 && reboot) {
        status = DM_E_REBOOT_REQUIRED;
    }
    logScope.m_errorCode = status;
    return status;
}

// The fax queue's jobs and driver. A restart needed ends the uninstall.
void CUSBDevice::UninstallPrinter(FUNCTION_TYPE type, bool& reboot, unsigned long& status)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CUSBDevice::UninstallPrinter");
    IDeviceFunction* function = nullptr;
    if (GetFunction(type, &function) != 0) {
        return;
    }
    const unsigned long purged = CPrintUtil::DeleteAllPrintJobs(function->GetFriendlyName().c_str());
    if (purged != 0) {
        QV_LOG_ERROR(L"CPrintUtil::DeleteAllPrintJobs(%s) failed with error %d", function->GetFriendlyName().c_str(),
                     static_cast<int>(purged));
    }
    const wchar_t* driver = function->GetDriverName().c_str();
    const unsigned long removed = CPrintUtil::UninstallPrinterDriver(driver);
    if (removed == DM_E_NOT_FOUND) {
        QV_LOG_INFO(0, L"CPrintUtil::UninstallPrinterDriver(%s) device not found", driver);
    } else if (removed == DM_E_REBOOT_REQUIRED) {
        QV_LOG_INFO(0, L"CPrintUtil::UninstallPrinterDriver(%s) requires reboot", driver);
        reboot = true;
        status = DM_E_REBOOT_REQUIRED;
    } else if (removed != 0) {
        QV_LOG_ERROR(L"CPrintUtil::UninstallPrinterDriver(%s) failed with error %d", driver, static_cast<int>(removed));
    }
}

}  // namespace QVDeviceManager
