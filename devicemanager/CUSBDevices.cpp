#include "devicemanager/CUSBDevices.h"

#include <memory>
#include <new>
#include <vector>

#include "devicemanager/CDevNodeManager.h"
#include "logging/LogTrace.h"
#include "utils/CProgressAggregator.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

namespace {

constexpr unsigned long kEnumeratePhase = 8;

}  // namespace

unsigned long CUSBDevices::GetInstalledDevices(QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CUSBDevices::GetInstalledDevices");
    unsigned long status = 0;
    try {
        Clear();
        QVUtils::CProgressAggregator aggregator(progress, 2);
        if (!aggregator.Step(kEnumeratePhase)) {
            logScope.m_errorCode = DM_E_CANCELLED;
            return DM_E_CANCELLED;
        }
        std::vector<CDevNode> nodes;
        status = CDevNodeManager().GetDevices(nullptr, L"USB", &nodes, &aggregator);
        if (status == 0 && !aggregator.StepNext(0)) {
            status = DM_E_CANCELLED;
        }
        QVUtils::CProgressAggregator each(&aggregator, static_cast<unsigned long>(nodes.size()));
        for (size_t i = 0; status == 0 && i < nodes.size(); ++i) {
            auto device = std::make_unique<CUSBDevice>();
            const unsigned long made = device->Init(nodes[i], &each);
            if (made == 0) {
                m_devices.push_back(std::move(device));
            } else if (made == DM_E_OUT_OF_MEMORY || made == DM_E_CANCELLED) {
                status = made;
            }
            if (status == 0 && !each.StepNext(0)) {
                status = DM_E_CANCELLED;
            }
        }
        if (status == 0 && nodes.empty()) {
            aggregator.StepNext(0);
        }
    } catch (const std::bad_alloc&) {
        status = DM_E_OUT_OF_MEMORY;
    }
    logScope.m_errorCode = status;
    return status;
}

}  // namespace QVDeviceManager
