#pragma once

#include <cstdint>

#include "discovery/IDiscoveryClient.h"

namespace QVDiscovery {

// Three searches, each blocking until it has ended and calling the
// registered clients from other threads meanwhile. Operations in slot
// order, the destructor last.
class IDiscoveryServer {
public:
    virtual unsigned long RegisterClient(IDiscoveryClient* client) = 0;
    virtual unsigned long UnregisterClient(IDiscoveryClient* client) = 0;
    virtual unsigned long SearchById(const wchar_t* id, uintptr_t context) = 0;
    virtual unsigned long SearchByAddress(const wchar_t* address, uintptr_t context) = 0;
    // A null type list searches for the family's devices.
    virtual unsigned long SearchByType(const wchar_t* types, uintptr_t context) = 0;
    virtual ~IDiscoveryServer() = default;
};

}  // namespace QVDiscovery
