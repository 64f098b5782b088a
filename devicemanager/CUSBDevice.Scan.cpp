// The functions of a USB device, from the nodes below its own.
#include "devicemanager/CUSBDevice.h"

#include <windows.h>

#include <cwchar>
#include <new>
#include <vector>

#include "devicemanager/CDevNodeManager.h"
#include "devicemanager/CDeviceFunction.h"
#include "devicemanager/CPrintUtil.h"
#include "devicemanager/CRegUtil.h"
#include "logging/LogTrace.h"
#include "utils/CProgressAggregator.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

namespace {

constexpr unsigned long kRefreshPhase = 4;

constexpr GUID kClassPrinter = {0x4D36E979, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr GUID kClassImage = {0x6BDD1FC6, 0x810F, 0x11D0, {0xBE, 0xC7, 0x08, 0x00, 0x2B, 0xE2, 0x09, 0x2F}};
constexpr GUID kClassUSB = {0x36FC9E60, 0xC465, 0x11CF, {0x80, 0x56, 0x44, 0x45, 0x53, 0x54, 0x00, 0x00}};
constexpr GUID kClassDiskDrive = {0x4D36E967, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr GUID kInterfaceImage = {0x6BDD1FC6, 0x810F, 0x11D0, {0xBE, 0xC7, 0x08, 0x00, 0x2B, 0xE2, 0x09, 0x2F}};
constexpr GUID kInterfaceUSBPrint = {0x28D78FAD, 0x5A12, 0x11D1, {0xAE, 0x5B, 0x00, 0x00, 0xF8, 0x03, 0xA8, 0xC2}};
constexpr GUID kInterfaceFxBulkHesk = {0x211CD2C1, 0xA63E, 0x4164, {0x9E, 0x17, 0xFD, 0xA3, 0xFE, 0x1F, 0x79, 0xFF}};
constexpr GUID kInterfaceEwsFxBulk = {0xA6AF917D, 0x48E9, 0x459A, {0x95, 0xA1, 0x3B, 0x9C, 0xD2, 0x4D, 0x91, 0xE3}};
constexpr GUID kInterfaceDeviceChannel = {0x573E8C73, 0x0CB4, 0x4471, {0xA1, 0xBF, 0xFA, 0xB2, 0x6C, 0x31, 0xD3, 0x85}};

// Model name: the first of these functions with a driver name.
constexpr FUNCTION_TYPE kModelOrder[] = {FUNCTION_TYPE_CONFIG,  FUNCTION_TYPE_OTHER, FUNCTION_TYPE_STORAGE,
                                         FUNCTION_TYPE_FAX,     FUNCTION_TYPE_SCAN,  FUNCTION_TYPE_PRINT};

// A DWORD of the node's "Device Parameters", 0 when it can't be read.
DWORD Parameter(const CDevNode& node, const wchar_t* name)
{
    DWORD value = 0;
    return node.GetParameterValue(name, value) == 0 ? value : 0;
}

std::wstring Path(const CDevNode& node, const GUID& interfaceClass)
{
    std::wstring path;
    node.GetDevicePath(interfaceClass, path);
    return path;
}

std::wstring PathOr(const CDevNode& node, const GUID& first, const GUID& second)
{
    std::wstring path;
    return node.GetDevicePath(first, path) || node.GetDevicePath(second, path) ? path : std::wstring();
}

std::wstring ParentPath(const CDevNode& node, const GUID& interfaceClass)
{
    CDevNode parent;
    return node.GetParent(parent, nullptr) ? Path(parent, interfaceClass) : std::wstring();
}

}  // namespace

unsigned long CUSBDevice::Refresh(QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CUSBDevice::Refresh", L"%s",
                           m_serialNumber.c_str());
    unsigned long status = 0;
    try {
        QVUtils::CProgressAggregator aggregator(progress, 2);
        const bool goOn = aggregator.Step(kRefreshPhase);
        if (m_devNode.GetEnumValue(L"ContainerID", m_containerID) != 0) {
            m_containerID.clear();
        }
        if (!goOn) {
            logScope.m_errorCode = DM_E_CANCELLED;
            return DM_E_CANCELLED;
        }
        std::vector<CDevNode> nodes{m_devNode};
        status = CDevNodeManager().GetDeviceChildren(m_devNode, &nodes, &aggregator);
        if (status == 0 && !aggregator.StepNext(0)) {
            status = DM_E_CANCELLED;
        }
        if (status == 0) {
            ClearFunctions();
            m_badDevNodeIDs.clear();
            QVUtils::CProgressAggregator each(&aggregator, static_cast<unsigned long>(nodes.size()));
            for (const CDevNode& node : nodes) {
                CheckDevNode(node);
                ScanDevNode(node);
                if (!each.StepNext(0)) {
                    status = DM_E_CANCELLED;
                    break;
                }
            }
        }
        if (status == 0 && !aggregator.StepNext(0)) {
            status = DM_E_CANCELLED;
        }
        if (status == 0) {
            for (FUNCTION_TYPE type : kModelOrder) {
                if (m_pFunctions[type] != nullptr && !m_pFunctions[type]->GetDriverName().empty()) {
                    m_modelName = m_pFunctions[type]->GetDriverName();
                    break;
                }
            }
        }
    } catch (const std::bad_alloc&) {
        status = DM_E_OUT_OF_MEMORY;
    }
    logScope.m_errorCode = status;
    return status;
}

// A node with configuration flags or without a driver description is
// noted as bad; it is still scanned.
void CUSBDevice::CheckDevNode(const CDevNode& node)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CUSBDevice::CheckDevNode");
    std::wstring id;
    node.GetDeviceID(id);
    DWORD flags = 0;
    if (!node.GetPropertyDword(CM_DRP_CONFIGFLAGS, flags) || flags != 0) {
        QV_LOG_INFO(0, L"%s has configuration flags 0x%X", id.c_str(), static_cast<unsigned>(flags));
        m_bHasBadDevNode = true;
        m_badDevNodeIDs.push_back(id);
        return;
    }
    std::wstring description;
    if (!node.GetDriverValue(L"DriverDesc", description) || description.empty()) {
        QV_LOG_INFO(0, L"%s has no driver", id.c_str());
        m_bHasBadDevNode = true;
        m_bDriverMissing = true;
        m_badDevNodeIDs.push_back(id);
    }
}

void CUSBDevice::AddFunction(FUNCTION_TYPE type, const std::wstring& friendlyName, const CDevNode& node,
                             const std::wstring& address)
{
    std::wstring driver;
    node.GetDriverValue(L"DriverDesc", driver);
    auto* function = new CDeviceFunction(type);
    function->Init(friendlyName.c_str(), driver.c_str(), address.c_str());
    m_pFunctions[type] = function;
}

void CUSBDevice::ScanDevNode(const CDevNode& node)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CUSBDevice::ScanDevNode");
    GUID nodeClass = {};
    std::wstring id;
    if (!node.GetClassGuid(nodeClass) || !node.GetDeviceID(id)) {
        return;
    }
    if (nodeClass == kClassPrinter) {
        ScanPrinter(node, id);
    } else if (nodeClass == kClassImage) {
        if (m_pFunctions[FUNCTION_TYPE_SCAN] == nullptr) {
            std::wstring friendly;
            node.GetDriverValue(L"FriendlyName", friendly);
            AddFunction(FUNCTION_TYPE_SCAN, friendly, node, Path(node, kInterfaceImage));
        }
    } else if (nodeClass == kClassUSB) {
        ScanUSB(node);
    } else if (nodeClass == kClassDiskDrive) {
        if (m_pFunctions[FUNCTION_TYPE_STORAGE] == nullptr) {
            std::wstring friendly;
            std::wstring drive;
            node.GetProperty(CM_DRP_FRIENDLYNAME, friendly);
            node.GetDrivePath(drive);
            AddFunction(FUNCTION_TYPE_STORAGE, friendly, node, drive);
        }
    }
}

// A print queue, or a fax queue when its "Fax" value is 1.
void CUSBDevice::ScanPrinter(const CDevNode& node, const std::wstring& instanceId)
{
    if (m_pFunctions[FUNCTION_TYPE_PRINT] != nullptr && m_pFunctions[FUNCTION_TYPE_FAX] != nullptr) {
        return;
    }
    const DWORD fax = Parameter(node, L"Fax");
    const FUNCTION_TYPE type = fax == 0 ? FUNCTION_TYPE_PRINT : fax == 1 ? FUNCTION_TYPE_FAX : FUNCTION_TYPE(0);
    if (type == FUNCTION_TYPE(0) || m_pFunctions[type] != nullptr) {
        return;
    }
    std::wstring queue;
    CPrintUtil::FindPrinterName(instanceId.c_str(), nullptr, nullptr, queue);
    AddFunction(type, queue, node, ParentPath(node, kInterfaceUSBPrint));
}

// The rows for a USB class node, from the top; the first that fits with
// its slot still empty makes the function.
void CUSBDevice::ScanUSB(const CDevNode& node)
{
    std::wstring service;
    node.GetProperty(CM_DRP_SERVICE, service);
    const auto empty = [this](FUNCTION_TYPE type) { return m_pFunctions[type] == nullptr; };
    if (empty(FUNCTION_TYPE_CONFIG) && Parameter(node, L"REST") == 1) {
        std::wstring key;
        std::wstring fileName;
        node.GetDeviceID(key);
        CRegUtil::GetValue(HKEY_LOCAL_MACHINE,
                           (L"System\\CurrentControlSet\\Enum\\" + key + L"\\Device Parameters").c_str(),
                           L"CreateFileName", fileName);
        AddFunction(FUNCTION_TYPE_CONFIG, fileName.empty() ? L"REST" : L"REST(" + fileName + L")", node,
                    PathOr(node, kInterfaceImage, kInterfaceDeviceChannel));
    } else if (empty(FUNCTION_TYPE_CONFIG) && _wcsicmp(service.c_str(), L"ZQFXBULKHESK") == 0) {
        AddFunction(FUNCTION_TYPE_CONFIG, service, node, Path(node, kInterfaceFxBulkHesk));
    } else if (empty(FUNCTION_TYPE_CONFIG) && _wcsicmp(service.c_str(), L"ZQEWSFXBULK") == 0) {
        AddFunction(FUNCTION_TYPE_CONFIG, service, node, Path(node, kInterfaceEwsFxBulk));
    } else if (empty(FUNCTION_TYPE_LASERFAX) && Parameter(node, L"LaserFax") == 1) {
        AddFunction(FUNCTION_TYPE_LASERFAX, L"LaserFax", node, PathOr(node, kInterfaceImage, kInterfaceDeviceChannel));
    } else if (empty(FUNCTION_TYPE_PRINT) && Parameter(node, L"Print") == 1) {
        AddFunction(FUNCTION_TYPE_PRINT, L"Print", node, Path(node, kInterfaceDeviceChannel));
    } else if (empty(FUNCTION_TYPE_SCAN) && Parameter(node, L"Scan") == 1) {
        AddFunction(FUNCTION_TYPE_SCAN, L"Scan", node, Path(node, kInterfaceDeviceChannel));
    } else if (empty(FUNCTION_TYPE_FAX) && Parameter(node, L"FaxStub") == 1) {
        AddFunction(FUNCTION_TYPE_FAX, L"FaxStub", node, ParentPath(node, kInterfaceUSBPrint));
    }
}

}  // namespace QVDeviceManager
