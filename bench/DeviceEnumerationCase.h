#pragma once

#include "BenchCase.h"
#include "DescribedDevices.h"

namespace bench {

// All USB devices with their functions, through CUSBDevices, on the
// described tree: with the node cache emptied before each enumeration
// (cold) or kept from the one before (warm). End prints the calls each
// enumeration made at the configuration manager's seam:
// "seam <id> <calls per enumeration> <readings of the whole tree per enumeration>".
class DeviceEnumerationCase : public BenchCase {
public:
    DeviceEnumerationCase(const std::string& id, DescribedDevices* devices, bool cold, unsigned long expected);

    bool Begin() override;
    unsigned long long Step() override;
    void End() override;

private:
    DescribedDevices* m_pDevices;
    bool m_bCold;
    unsigned long m_ulExpected;
    unsigned long m_ulSteps = 0;
    long m_lCalls = 0;
    long m_lTreeLists = 0;
};

}  // namespace bench
