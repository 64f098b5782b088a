#pragma once

#include <cstdint>

#include "discovery/IDiscoveredDevice.h"

namespace QVDiscovery {

// What a search calls back. A device is valid during the call only.
// Operations in slot order, the destructor last.
class IDiscoveryClient {
public:
    virtual void Add(IDiscoveredDevice* device, uintptr_t context) = 0;
    virtual void Remove(IDiscoveredDevice* device, uintptr_t context) = 0;
    virtual void SearchComplete(uintptr_t context) = 0;
    virtual void SearchFailed(unsigned long status, uintptr_t context) = 0;
    // False asks the search to stop.
    virtual bool SearchProgress(unsigned char percent, uintptr_t context) = 0;
    virtual ~IDiscoveryClient() = default;
};

}  // namespace QVDiscovery
