#include "devicemanager/CAllDevices.h"

#include <new>

#include "logging/LogTrace.h"
#include "utils/CProgressAggregator.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

namespace {

constexpr unsigned long kAllTypes = CONNECTION_TYPE_USB | CONNECTION_TYPE_NETWORK | CONNECTION_TYPE_BLUETOOTH;

}  // namespace

unsigned long CAllDevices::GetInstalledDevices(QVUtils::IProgress* progress)
{
    return GetInstalledDevices(kAllTypes, progress);
}

void CAllDevices::Clear()
{
    m_all.clear();
    m_usb.Clear();
    m_network.Clear();
}

unsigned long CAllDevices::Detach(unsigned long index, IDevice** device)
{
    if (index >= m_all.size()) {
        return DM_E_INVALID_ARGUMENT;
    }
    const unsigned long usbCount = m_usb.GetCount();
    const unsigned long status =
        index < usbCount ? m_usb.Detach(index, device) : m_network.Detach(index - usbCount, device);
    if (status == 0) {
        m_all.erase(m_all.begin() + index);
    }
    return status;
}

unsigned long CAllDevices::GetInstalledDevices(unsigned long mask, QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CAllDevices::GetInstalledDevices");
    Clear();
    if ((mask & kAllTypes) == 0) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    unsigned long status = 0;
    try {
        QVUtils::CProgressAggregator aggregator(progress, 2);
        struct {
            unsigned long bit;
            CDevices* devices;
        } kinds[] = {{CONNECTION_TYPE_USB, &m_usb}, {CONNECTION_TYPE_NETWORK, &m_network}};
        for (const auto& kind : kinds) {
            if (status != 0) {
                break;
            }
            if ((mask & kind.bit) != 0) {
                status = kind.devices->GetInstalledDevices(&aggregator);
                if (status != 0) {
                    break;
                }
            }
            m_all.reserve(m_all.size() + kind.devices->GetCount());
            for (unsigned long i = 0; i < kind.devices->GetCount(); ++i) {
                m_all.push_back(kind.devices->GetDevice(i));
            }
            if (!aggregator.StepNext(0)) {
                status = DM_E_CANCELLED;
            }
        }
    } catch (const std::bad_alloc&) {
        Clear();
        status = DM_E_OUT_OF_MEMORY;
    }
    logScope.m_errorCode = status;
    return status;
}

}  // namespace QVDeviceManager
