// The searches that find a network device again: by its identifier, or
// directed at its addresses one after the other.
#include <cstdarg>
#include <memory>
#include <new>

#include "devicemanager/CDeviceDiscovery.h"
#include "devicemanager/CNetworkDevice.Progress.h"
#include "logging/LogTrace.h"
#include "utils/CProgressAggregator.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

void CNetworkDevice::CDeviceDiscoveryProgress::OnAddDevice(IDevice*)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::CDeviceDiscoveryProgress::OnAddDevice");
}

void CNetworkDevice::CDeviceDiscoveryProgress::OnRemoveDevice(IDevice*)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog,
                    L"QVDeviceManager::CNetworkDevice::CDeviceDiscoveryProgress::OnRemoveDevice");
}

void CNetworkDevice::CDeviceDiscoveryProgress::OnSearchComplete(unsigned long)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog,
                    L"QVDeviceManager::CNetworkDevice::CDeviceDiscoveryProgress::OnSearchComplete");
}

void CNetworkDevice::CDeviceDiscoveryProgress::OnSearchFailed(unsigned long status)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog,
                    L"QVDeviceManager::CNetworkDevice::CDeviceDiscoveryProgress::OnSearchFailed");
    logScope.m_errorCode = status;
}

bool CNetworkDevice::CDeviceDiscoveryProgress::OnSearchProgress(double percent, unsigned long code, ...)
{
    if (m_pProgress == nullptr) {
        return true;
    }
    va_list args;
    va_start(args, code);
    const bool goOn = m_pProgress->OnStep(percent, code, args);
    va_end(args);
    return goOn;
}

namespace {

unsigned long RunStep(CDeviceDiscovery& discovery, const SearchStep& step, CNetworkDevice& target)
{
    return step.kind == SearchStep::ById ? discovery.SearchById(step.target.c_str(), &target)
                                         : discovery.SearchByAddress(step.target.c_str(), &target);
}

}  // namespace

unsigned long CNetworkDevice::Search(const std::vector<SearchStep>& steps, CNetworkDevice& target,
                                     QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::Search");
    unsigned long status = DM_E_NOT_FOUND;
    try {
        if (progress == nullptr) {
            CDeviceDiscovery discovery(nullptr);
            for (size_t i = 0; status != 0 && i < steps.size(); ++i) {
                status = RunStep(discovery, steps[i], target);
            }
        } else if (steps.size() == 1) {
            CDeviceDiscoveryProgress callback(progress);
            CDeviceDiscovery discovery(&callback);
            status = RunStep(discovery, steps.front(), target);
        } else {
            // A directed search: one stage for each address.
            QVUtils::CProgressAggregator stages(progress, static_cast<unsigned long>(steps.size()));
            CDeviceDiscoveryProgress callback(&stages);
            CDeviceDiscovery discovery(&callback);
            for (size_t i = 0; status != 0 && i < steps.size(); ++i) {
                if (i > 0 && !stages.StepNext(0)) {
                    status = DM_E_CANCELLED;
                    break;
                }
                status = RunStep(discovery, steps[i], target);
            }
        }
    } catch (const std::bad_alloc&) {
        status = DM_E_OUT_OF_MEMORY;
    }
    logScope.m_errorCode = status;
    return status;
}

}  // namespace QVDeviceManager
