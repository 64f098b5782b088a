#include "DeviceEnumerationCase.h"

#include <cstdio>

#include "devicemanager/CDevNodeCache.h"
#include "devicemanager/CUSBDevices.h"

namespace bench {

DeviceEnumerationCase::DeviceEnumerationCase(const std::string& id, DescribedDevices* devices, bool cold,
                                             unsigned long expected)
    : BenchCase(id, Unit::NanosecondsPerOp), m_pDevices(devices), m_bCold(cold), m_ulExpected(expected)
{
}

bool DeviceEnumerationCase::Begin()
{
    m_ulSteps = 0;
    m_lCalls = 0;
    m_lTreeLists = 0;
    // A warm run starts on a cache that has read the tree.
    QVDeviceManager::CUSBDevices devices;
    return m_pDevices->Ready() && devices.GetInstalledDevices(nullptr) == 0;
}

unsigned long long DeviceEnumerationCase::Step()
{
    if (m_bCold) {
        QVDeviceManager::CDevNodeCache::Global().Invalidate();
    }
    doubles::DescribedSetupApi& api = m_pDevices->Api();
    const long calls = api.m_cmCalls + api.m_setupDiCalls;
    const long lists = api.m_allClassLists;
    QVDeviceManager::CUSBDevices devices;
    const bool found = devices.GetInstalledDevices(nullptr) == 0 && devices.GetCount() >= m_ulExpected;
    m_lCalls += api.m_cmCalls + api.m_setupDiCalls - calls;
    m_lTreeLists += api.m_allClassLists - lists;
    ++m_ulSteps;
    return found ? 1 : 0;
}

void DeviceEnumerationCase::End()
{
    if (m_ulSteps != 0) {
        std::printf("seam %s %.1f %.1f\n", Id().c_str(), static_cast<double>(m_lCalls) / m_ulSteps,
                    static_cast<double>(m_lTreeLists) / m_ulSteps);
        std::fflush(stdout);
    }
}

}  // namespace bench
