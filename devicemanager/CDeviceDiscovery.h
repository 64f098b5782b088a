#pragma once

#include <string>

#include "devicemanager/CDiscoveryClient.h"
#include "devicemanager/IDeviceDiscoveryCallback.h"

namespace QVDeviceManager {

class CNetworkDevice;
class CNetworkDevices;

// One search for network devices: it fills either one given device (the
// one whose GUID it has, or any that answers when the GUID is empty) or a
// collection, and tells an optional callback. The object must outlive the
// search; it may serve one search after another.
class CDeviceDiscovery : public CDiscoveryClient {
public:
    explicit CDeviceDiscovery(IDeviceDiscoveryCallback* callback) : m_pCallback(callback) {}

    void Add(QVDiscovery::IDiscoveredDevice* device, uintptr_t context) override;
    void Remove(QVDiscovery::IDiscoveredDevice* device, uintptr_t context) override;
    void SearchComplete(uintptr_t context) override;
    void SearchFailed(unsigned long status, uintptr_t context) override;
    bool SearchProgress(unsigned char percent, uintptr_t context) override;
    ~CDeviceDiscovery() override = default;

    // A bare identifier is searched as "uuid:" and the identifier, the form
    // a device sends as its endpoint address.
    virtual unsigned long SearchById(const wchar_t* id, CNetworkDevice* device);
    virtual unsigned long SearchByAddress(const wchar_t* address, CNetworkDevice* device);
    // A null type searches for the family's devices.
    virtual unsigned long SearchByType(const wchar_t* type, CNetworkDevices* collection);

    // The identifier as SearchById sends it.
    static std::wstring SearchIdentifier(const wchar_t* id);

private:
    // The three searches, each on the server made for it; the result is the
    // search's status as it stands afterwards.
    class CSearchById : public CSearchFunction {
    public:
        CSearchById(CDeviceDiscovery* owner, const std::wstring& id) : m_pOwner(owner), m_id(id) {}
        unsigned long operator()(QVDiscovery::IDiscoveryServer* server) override;

    private:
        CDeviceDiscovery* m_pOwner;
        std::wstring m_id;
    };
    class CSearchByAddress : public CSearchFunction {
    public:
        CSearchByAddress(CDeviceDiscovery* owner, const wchar_t* address) : m_pOwner(owner), m_address(address) {}
        unsigned long operator()(QVDiscovery::IDiscoveryServer* server) override;

    private:
        CDeviceDiscovery* m_pOwner;
        std::wstring m_address;
    };
    class CSearchByType : public CSearchFunction {
    public:
        CSearchByType(CDeviceDiscovery* owner, const wchar_t* type) : m_pOwner(owner), m_pType(type) {}
        unsigned long operator()(QVDiscovery::IDiscoveryServer* server) override;

    private:
        CDeviceDiscovery* m_pOwner;
        const wchar_t* m_pType;
    };

    // The status after a server's search gave `error`.
    unsigned long Searched(unsigned long error, const wchar_t* failure);
    void Target(CNetworkDevice* device, CNetworkDevices* collection);
    void Finish();

    IDeviceDiscoveryCallback* m_pCallback;
    CNetworkDevice* m_pTargetDevice = nullptr;
    CNetworkDevices* m_pTargetCollection = nullptr;
    unsigned long m_status = 0;
};

}  // namespace QVDeviceManager
