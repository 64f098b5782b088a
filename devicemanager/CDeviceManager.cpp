#include "devicemanager/CDeviceManager.h"

#include <memory>
#include <new>

#include "devicemanager/CAllDevices.h"
#include "devicemanager/CDevNodeCache.h"
#include "devicemanager/CDeviceDiscovery.h"
#include "devicemanager/CNetworkDevice.Progress.h"
#include "devicemanager/CNetworkDevices.h"
#include "devicemanager/CUSBDevice.h"
#include "logging/LogTrace.h"
#include "utils/CProgressAggregator.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

namespace {

constexpr unsigned long kOpenPhase = 3;
constexpr unsigned long kKnownTypes = CONNECTION_TYPE_USB | CONNECTION_TYPE_NETWORK | CONNECTION_TYPE_BLUETOOTH;

bool IsEmpty(const wchar_t* text)
{
    return text == nullptr || *text == L'\0';
}

// Equal but for the case of A to Z.
bool SameName(const wchar_t* a, const wchar_t* b)
{
    auto lower = [](wchar_t ch) { return ch >= L'A' && ch <= L'Z' ? static_cast<wchar_t>(ch + 32) : ch; };
    for (; *a != L'\0' && lower(*a) == lower(*b); ++a, ++b) {
    }
    return lower(*a) == lower(*b);
}

}  // namespace

CDeviceManager::~CDeviceManager()
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceManager::~CDeviceManager");
    QV_LOG_INFO(0, L"Destroying %u collections and %u devices", static_cast<unsigned>(m_openCollections.size()),
                static_cast<unsigned>(m_openDevices.size()));
    for (IDevices* devices : m_openCollections) {
        delete dynamic_cast<CDevices*>(devices);
    }
    for (IDevice* device : m_openDevices) {
        delete dynamic_cast<CDevice*>(device);
    }
}

unsigned long CDeviceManager::GetInstalledDevices(unsigned long mask, IDevices** devices, QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceManager::GetInstalledDevices");
    if ((mask & kKnownTypes) == 0 || devices == nullptr) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    try {
        auto all = std::make_unique<CAllDevices>();
        logScope.m_errorCode = all->GetInstalledDevices(mask, progress);
        if (logScope.m_errorCode == 0) {
            m_openCollections.insert(all.get());
            *devices = all.release();
        }
    } catch (const std::bad_alloc&) {
        logScope.m_errorCode = DM_E_OUT_OF_MEMORY;
    }
    return logScope.m_errorCode;
}

unsigned long CDeviceManager::DestroyDevices(IDevices* devices)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceManager::DestroyDevices");
    if (m_openCollections.erase(devices) == 0) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    delete dynamic_cast<CDevices*>(devices);
    return 0;
}

unsigned long CDeviceManager::CloseDevice(IDevice* device)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceManager::CloseDevice");
    if (m_openDevices.erase(device) == 0) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    delete dynamic_cast<CDevice*>(device);
    return 0;
}

unsigned long CDeviceManager::Keep(CAllDevices& all, unsigned long index, IDevice** device)
{
    IDevice* detached = nullptr;
    const unsigned long status = all.Detach(index, &detached);
    if (status == 0) {
        try {
            m_openDevices.insert(detached);
        } catch (const std::bad_alloc&) {
            delete dynamic_cast<CDevice*>(detached);
            throw;
        }
        *device = detached;
    }
    return status;
}

unsigned long CDeviceManager::OpenMYDUT(unsigned long mask, IDevice** device, QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceManager::OpenMYDUT");
    CAllDevices all;
    unsigned long status = all.GetInstalledDevices(mask, progress);
    if (status == 0) {
        status = DM_E_NOT_FOUND;
        // Configuration, fax or scan: print alone doesn't make a device
        // under test.
        const std::list<FUNCTION_TYPE> wanted{FUNCTION_TYPE_CONFIG, FUNCTION_TYPE_FAX, FUNCTION_TYPE_SCAN};
        for (unsigned long i = 0; i < all.GetCount(); ++i) {
            if (all.GetDevice(i)->HasAnyFunction(wanted)) {
                status = Keep(all, i, device);
                break;
            }
        }
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CDeviceManager::OpenDevice(const wchar_t* id, CONNECTION_TYPE connectionType, IDevice** device,
                                         QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceManager::OpenDevice", L"%s",
                           id ? id : L"");
    if (IsEmpty(id) || device == nullptr) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    try {
        QVUtils::CProgressAggregator aggregator(progress, 1);
        if (!aggregator.Step(kOpenPhase)) {
            logScope.m_errorCode = DM_E_CANCELLED;
            return DM_E_CANCELLED;
        }
        if (SameName(id, L"MYDUT")) {
            logScope.m_errorCode = OpenMYDUT(connectionType, device, progress);
            return logScope.m_errorCode;
        }
        std::unique_ptr<CDevice> made;
        switch (connectionType) {
        case CONNECTION_TYPE_USB:
            made = std::make_unique<CUSBDevice>();
            break;
        case CONNECTION_TYPE_NETWORK:
            made = std::make_unique<CNetworkDevice>();
            break;
        case CONNECTION_TYPE_BLUETOOTH:
            logScope.m_errorCode = DM_E_NOT_FOUND;
            return DM_E_NOT_FOUND;
        default:
            logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
            return DM_E_INVALID_ARGUMENT;
        }
        logScope.m_errorCode = made->Init(id, progress);
        if (logScope.m_errorCode == 0) {
            IDevice* opened = dynamic_cast<IDevice*>(made.get());
            m_openDevices.insert(opened);
            made.release();
            *device = opened;
        }
    } catch (const std::bad_alloc&) {
        logScope.m_errorCode = DM_E_OUT_OF_MEMORY;
    }
    return logScope.m_errorCode;
}

unsigned long CDeviceManager::OpenDevice(const wchar_t* friendlyName, FUNCTION_TYPE functionType, IDevice** device,
                                         QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceManager::OpenDevice", L"%s",
                           friendlyName ? friendlyName : L"");
    if (IsEmpty(friendlyName) || device == nullptr) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    try {
        QVUtils::CProgressAggregator aggregator(progress, 1);
        if (!aggregator.Step(kOpenPhase)) {
            logScope.m_errorCode = DM_E_CANCELLED;
            return DM_E_CANCELLED;
        }
        CAllDevices all;
        logScope.m_errorCode = all.GetInstalledDevices(kKnownTypes, progress);
        if (logScope.m_errorCode != 0) {
            return logScope.m_errorCode;
        }
        logScope.m_errorCode = DM_E_NOT_FOUND;
        for (unsigned long i = 0; i < all.GetCount(); ++i) {
            IDeviceFunction* function = nullptr;
            if (all.GetDevice(i)->GetFunction(functionType, &function) == 0
                && SameName(function->GetFriendlyName().c_str(), friendlyName)) {
                logScope.m_errorCode = Keep(all, i, device);
                break;
            }
        }
    } catch (const std::bad_alloc&) {
        logScope.m_errorCode = DM_E_OUT_OF_MEMORY;
    }
    return logScope.m_errorCode;
}

unsigned long CDeviceManager::FindNetworkDevice(const wchar_t* address, IDevice** device,
                                                QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceManager::FindNetworkDevice", L"%s",
                           address ? address : L"");
    if (IsEmpty(address) || device == nullptr) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    try {
        auto found = std::make_unique<CNetworkDevice>();
        CNetworkDevice::CDeviceDiscoveryProgress callback(progress);
        CDeviceDiscovery discovery(&callback);
        logScope.m_errorCode = discovery.SearchByAddress(address, found.get());
        if (logScope.m_errorCode == 0) {
            m_openDevices.insert(found.get());
            *device = found.release();
        }
    } catch (const std::bad_alloc&) {
        logScope.m_errorCode = DM_E_OUT_OF_MEMORY;
    } catch (...) {
        logScope.m_errorCode = DM_E_NOT_INITIALISED;
    }
    return logScope.m_errorCode;
}

unsigned long CDeviceManager::FindNetworkDevices(IDevices** devices, QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceManager::FindNetworkDevices");
    if (devices == nullptr) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    try {
        auto found = std::make_unique<CNetworkDevices>();
        CNetworkDevice::CDeviceDiscoveryProgress callback(progress);
        CDeviceDiscovery discovery(&callback);
        logScope.m_errorCode = discovery.SearchByType(nullptr, found.get());
        if (logScope.m_errorCode == 0) {
            m_openCollections.insert(found.get());
            *devices = found.release();
        }
    } catch (const std::bad_alloc&) {
        logScope.m_errorCode = DM_E_OUT_OF_MEMORY;
    } catch (...) {
        logScope.m_errorCode = DM_E_NOT_INITIALISED;
    }
    return logScope.m_errorCode;
}

unsigned long CDeviceManager::GetModelNameFromFriendlyName(const wchar_t* friendlyName, FUNCTION_TYPE functionType,
                                                           std::wstring& name)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceManager::GetModelNameFromFriendlyName");
    IDevice* device = nullptr;
    logScope.m_errorCode = OpenDevice(friendlyName, functionType, &device, nullptr);
    if (logScope.m_errorCode == 0) {
        name = device->GetModelName();
        logScope.m_errorCode = CloseDevice(device);
    }
    return logScope.m_errorCode;
}

unsigned long CDeviceManager::GetFriendlyNameFromSerialNumber(const wchar_t* serialNumber,
                                                              CONNECTION_TYPE connectionType,
                                                              FUNCTION_TYPE functionType, std::wstring& name)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceManager::GetFriendlyNameFromSerialNumber");
    IDevice* device = nullptr;
    logScope.m_errorCode = OpenDevice(serialNumber, connectionType, &device, nullptr);
    if (logScope.m_errorCode == 0) {
        IDeviceFunction* function = nullptr;
        if (device->GetFunction(functionType, &function) == 0 && function != nullptr) {
            name = function->GetFriendlyName();
        }
        logScope.m_errorCode = CloseDevice(device);
    }
    return logScope.m_errorCode;
}

unsigned long CDeviceManager::RefreshDevNodes(QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceManager::RefreshDevNodes");
    if (!CDevNodeCache::Global().RefreshMap(0, progress, true)) {
        logScope.m_errorCode = DM_E_FAILED;
    }
    return logScope.m_errorCode;
}

}  // namespace QVDeviceManager
