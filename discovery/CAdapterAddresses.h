#pragma once

#include <winsock2.h>
#include <windows.h>
#include <iphlpapi.h>

namespace QVDiscovery {

// One snapshot of the machine's adapters and their unicast addresses.
class CAdapterAddresses {
public:
    CAdapterAddresses() = default;
    virtual ~CAdapterAddresses();
    CAdapterAddresses(const CAdapterAddresses&) = delete;
    CAdapterAddresses& operator=(const CAdapterAddresses&) = delete;

    // Replaces the snapshot; true with no snapshot when there is no adapter.
    bool Enum();
    PIP_ADAPTER_ADDRESSES GetFirst() const { return m_pAddresses; }
    void Clear();

private:
    PIP_ADAPTER_ADDRESSES m_pAddresses = nullptr;
};

}  // namespace QVDiscovery
