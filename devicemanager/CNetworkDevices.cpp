#include "devicemanager/CNetworkDevices.h"

#include <new>
#include <vector>

#include "logging/LogTrace.h"
#include "utils/CFileUtils.h"
#include "utils/CPathUtils.h"
#include "utils/CProgressAggregator.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

namespace {

constexpr unsigned long kListPhase = 9;

}  // namespace

std::unique_ptr<CNetworkDevice> CNetworkDevices::NewDevice()
{
    return std::make_unique<CNetworkDevice>();
}

unsigned long CNetworkDevices::GetInstalledDevices(QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevices::GetInstalledDevices");
    unsigned long status = 0;
    try {
        QVUtils::CProgressAggregator aggregator(progress, 2);
        Clear();
        if (!aggregator.Step(kListPhase)) {
            logScope.m_errorCode = DM_E_CANCELLED;
            return DM_E_CANCELLED;
        }
        const std::wstring& folder = CNetworkDevice::RecordFolder();
        const std::vector<std::wstring> files = QVUtils::CFileUtils::FindFiles(folder, L"*.ini");
        if (!aggregator.StepNext(0)) {
            status = DM_E_CANCELLED;
        }
        QVUtils::CProgressAggregator each(&aggregator, static_cast<unsigned long>(files.size()));
        for (size_t i = 0; status == 0 && i < files.size(); ++i) {
            std::unique_ptr<CNetworkDevice> device = NewDevice();
            const unsigned long made =
                device->InitFromFile(QVUtils::CPathUtils::CombinePath(folder, files[i]), nullptr, progress);
            if (made == 0) {
                m_devices.push_back(std::move(device));
            } else if (made == DM_E_OUT_OF_MEMORY || made == DM_E_CANCELLED) {
                status = made;
            }
            if (status == 0 && !each.StepNext(0)) {
                status = DM_E_CANCELLED;
            }
        }
    } catch (const std::bad_alloc&) {
        status = DM_E_OUT_OF_MEMORY;
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CNetworkDevices::AddDevice(const QVDiscovery::IDiscoveredDevice* discovered, CNetworkDevice** out,
                                         QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevices::AddDevice");
    if (discovered == nullptr || *discovered->GetSerialNumber() == L'\0') {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    unsigned long status = 0;
    try {
        CNetworkDevice* device = nullptr;
        if (FindDevice(discovered->GetSerialNumber(), &device) != 0) {
            std::unique_ptr<CNetworkDevice> made = NewDevice();
            status = made->Init(discovered, progress);
            if (status == 0) {
                device = made.get();
                m_devices.push_back(std::move(made));
            }
        } else {
            status = device->Init(discovered, progress);
            if (status != 0) {
                QV_LOG_ERROR(L"CNetworkDevice::Init failed, err=%d", static_cast<int>(status));
            }
        }
        if (status == 0 && out != nullptr) {
            *out = device;
        }
    } catch (const std::bad_alloc&) {
        status = DM_E_OUT_OF_MEMORY;
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CNetworkDevices::FindDevice(const wchar_t* serialNumber, CNetworkDevice** out)
{
    if (serialNumber == nullptr || *serialNumber == L'\0' || out == nullptr) {
        return DM_E_INVALID_ARGUMENT;
    }
    for (const std::unique_ptr<CNetworkDevice>& device : m_devices) {
        if (device->GetSerialNumber() == serialNumber) {
            *out = device.get();
            return 0;
        }
    }
    return DM_E_NOT_FOUND;
}

}  // namespace QVDeviceManager
