#include "devicemanager/CDevNodeManager.h"

#include <setupapi.h>

#include <new>
#include <string>

#include "devicemanager/CDevNodeCache.h"
#include "devicemanager/DeviceManagerTypes.h"
#include "logging/LogTrace.h"
#include "utils/CProgressAggregator.h"
#include "winapi/ISetupApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

namespace {

constexpr DWORD kPresent = 0x08;            // DIGCF_PRESENT
constexpr DWORD kPresentAllClasses = 0x0C;  // DIGCF_PRESENT | DIGCF_ALLCLASSES

}  // namespace

unsigned long CDevNodeManager::MapWin32Error(DWORD code)
{
    switch (code) {
    case ERROR_ACCESS_DENIED:
        return DM_E_ACCESS_DENIED;
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY:
        return DM_E_OUT_OF_MEMORY;
    case ERROR_BAD_UNIT:
    case 15299:  // ERROR_NOT_FOUND of the device installer
        return DM_E_NOT_FOUND;
    case ERROR_DEV_NOT_EXIST:
        return DM_E_DEVICE_GONE;
    case ERROR_INVALID_PARAMETER:
        return DM_E_INVALID_ARGUMENT;
    default:
        return DM_E_FAILED;
    }
}

unsigned long CDevNodeManager::GetDevices(const GUID* classGuid, const wchar_t* enumerator,
                                          std::vector<CDevNode>* nodes, QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CDevNodeManager::GetDevices", L"%s",
                           enumerator ? enumerator : L"");
    if (nodes == nullptr) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    QVUtils::CProgressAggregator aggregator(progress, 1);
    const HDEVINFO set = g_pSetupApi->SetupDiGetClassDevsW(classGuid, enumerator, nullptr,
                                                           classGuid ? kPresent : kPresentAllClasses);
    if (set == INVALID_HANDLE_VALUE) {
        const DWORD error = ::GetLastError();
        QV_LOG_ERROR(L"GetClassDevs failed, err=%d", static_cast<int>(error));
        logScope.m_errorCode = MapWin32Error(error);
        return logScope.m_errorCode;
    }
    unsigned long status = 0;
    try {
        SP_DEVINFO_DATA data = {};
        data.cbSize = sizeof data;
        for (DWORD index = 0; g_pSetupApi->SetupDiEnumDeviceInfo(set, index, &data); ++index) {
            if (!aggregator.Step(0)) {
                status = DM_E_CANCELLED;
                break;
            }
            nodes->push_back(CDevNode(data.DevInst));
        }
        if (status == 0 && !aggregator.StepNext(0)) {
            status = DM_E_CANCELLED;
        }
    } catch (const std::bad_alloc&) {
        status = DM_E_OUT_OF_MEMORY;
    }
    if (!g_pSetupApi->SetupDiDestroyDeviceInfoList(set)) {
        QV_LOG_ERROR(L"DestroyDeviceInfoList failed, err=%d", static_cast<int>(::GetLastError()));
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CDevNodeManager::GetDeviceChildren(const CDevNode& node, std::vector<CDevNode>* nodes,
                                                 QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDevNodeManager::GetDeviceChildren");
    if (nodes == nullptr || !node.Exists()) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    try {
        logScope.m_errorCode = AddChildren(node, *nodes, progress);
    } catch (const std::bad_alloc&) {
        logScope.m_errorCode = DM_E_OUT_OF_MEMORY;
    } catch (...) {
        logScope.m_errorCode = DM_E_NOT_INITIALISED;
    }
    return logScope.m_errorCode;
}

unsigned long CDevNodeManager::AddChildren(const CDevNode& node, std::vector<CDevNode>& nodes,
                                           QVUtils::IProgress* progress)
{
    QVUtils::CProgressAggregator aggregator(progress, 3);
    CDevNode child;
    if (!node.GetChild(child, &aggregator)) {
        return 0;
    }
    if (!aggregator.StepNext(0)) {
        return DM_E_CANCELLED;
    }
    nodes.push_back(child);
    unsigned long status = AddChildren(child, nodes, &aggregator);
    if (status != 0) {
        return status;
    }
    std::vector<CDevNode> siblings;
    DEVINST at = child.GetHandle();
    for (DEVINST next = 0; CDevNodeCache::Global().GetNextSibling(at, next); at = next) {
        siblings.push_back(CDevNode(next));
    }
    QVUtils::CProgressAggregator each(&aggregator, static_cast<unsigned long>(siblings.size()));
    for (const CDevNode& sibling : siblings) {
        nodes.push_back(sibling);
        status = AddChildren(sibling, nodes, &each);
        if (status != 0) {
            break;
        }
        each.StepNext(0);
    }
    return status;
}

unsigned long CDevNodeManager::UninstallDevice(const CDevNode& node, QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDevNodeManager::UninstallDevice");
    QVUtils::CProgressAggregator aggregator(progress, 2);
    unsigned long status = 0;
    try {
        std::vector<CDevNode> nodes{node};
        status = GetDeviceChildren(node, &nodes, &aggregator);
        if (status == 0 || status == DM_E_REBOOT_REQUIRED) {
            if (!aggregator.StepNext(0)) {
                status = DM_E_CANCELLED;
            } else {
                status = RemoveDevNodes(nodes, &aggregator);
                if ((status == 0 || status == DM_E_REBOOT_REQUIRED) && !aggregator.StepNext(0)) {
                    status = DM_E_CANCELLED;
                }
            }
        }
    } catch (const std::bad_alloc&) {
        status = DM_E_OUT_OF_MEMORY;
    }
    CDevNodeCache::Global().Invalidate();
    logScope.m_errorCode = status;
    return status;
}

unsigned long CDevNodeManager::RemoveDevNodes(const std::vector<CDevNode>& nodes, QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDevNodeManager::RemoveDevNodes");
    bool reboot = false;
    unsigned long status = 0;
    QVUtils::CProgressAggregator aggregator(progress, static_cast<unsigned long>(nodes.size()));
    for (auto node = nodes.rbegin(); node != nodes.rend(); ++node) {
        status = RemoveDevNode(*node);
        if (status == DM_E_REBOOT_REQUIRED) {
            reboot = true;
            status = 0;
        }
        if (status != 0) {
            break;
        }
        if (!aggregator.StepNext(0)) {
            status = DM_E_CANCELLED;
            break;
        }
    }
    if (status == 0 && reboot) {
        status = DM_E_REBOOT_REQUIRED;
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CDevNodeManager::RemoveDevNode(const CDevNode& node)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDevNodeManager::RemoveDevNode");
    std::wstring id;
    node.GetDeviceID(id);
    GUID classGuid = {};
    const bool hasClass = node.GetClassGuid(classGuid);
    const HDEVINFO set = g_pSetupApi->SetupDiCreateDeviceInfoList(hasClass ? &classGuid : nullptr, nullptr);
    if (set == INVALID_HANDLE_VALUE) {
        const DWORD error = ::GetLastError();
        QV_LOG_ERROR(L"CreateDeviceInfoList failed, err=%d", static_cast<int>(error));
        logScope.m_errorCode = MapWin32Error(error);
        return logScope.m_errorCode;
    }
    unsigned long status = 0;
    SP_DEVINFO_DATA data = {};
    data.cbSize = sizeof data;
    if (!g_pSetupApi->SetupDiOpenDeviceInfoW(set, id.c_str(), nullptr, 0, &data)) {
        const DWORD error = ::GetLastError();
        QV_LOG_ERROR(L"OpenDeviceInfo(%s) failed, err=%d", id.c_str(), static_cast<int>(error));
        status = MapWin32Error(error);
    } else {
        SP_REMOVEDEVICE_PARAMS params = {};
        params.ClassInstallHeader.cbSize = sizeof(SP_CLASSINSTALL_HEADER);
        params.ClassInstallHeader.InstallFunction = DIF_REMOVE;
        params.Scope = DI_REMOVEDEVICE_GLOBAL;
        params.HwProfile = 0;
        if (!g_pSetupApi->SetupDiSetClassInstallParamsW(set, &data, &params.ClassInstallHeader, sizeof params)) {
            QV_LOG_ERROR(L"SetClassInstallParams failed, err=%d", static_cast<int>(::GetLastError()));
        }
        if (!g_pSetupApi->SetupDiCallClassInstaller(DIF_REMOVE, set, &data)) {
            const DWORD error = ::GetLastError();
            QV_LOG_ERROR(L"CallClassInstaller(DIF_REMOVE) failed, err=%d", static_cast<int>(error));
            status = MapWin32Error(error);
        } else {
            SP_DEVINSTALL_PARAMS_W install = {};
            install.cbSize = sizeof install;
            if (g_pSetupApi->SetupDiGetDeviceInstallParamsW(set, &data, &install)
                && (install.Flags & (DI_NEEDREBOOT | DI_NEEDRESTART)) != 0) {
                status = DM_E_REBOOT_REQUIRED;
            }
        }
    }
    if (!g_pSetupApi->SetupDiDestroyDeviceInfoList(set)) {
        QV_LOG_ERROR(L"DestroyDeviceInfoList failed, err=%d", static_cast<int>(::GetLastError()));
    }
    logScope.m_errorCode = status;
    return status;
}

}  // namespace QVDeviceManager
