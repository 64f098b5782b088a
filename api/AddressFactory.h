#pragma once

#include <memory>

#include "orvane64.h"

namespace Orvane {

class IResolver;
class IUSBDeviceManager;

// Makes the Address behind a name given by a host: an IP address, a print
// port or a print queue. A factory lives for one call and asks its own
// resolver what stands behind a port or queue. Every address comes with one
// reference.
class AddressFactory {
public:
    explicit AddressFactory(std::shared_ptr<IResolver> resolver);
    AddressFactory(const AddressFactory&) = delete;
    AddressFactory& operator=(const AddressFactory&) = delete;

    static Address* CreateFromIPAddress(const wchar_t* address);
    static Address* CreateFromPortName(const wchar_t* portName);
    static Address* CreateFromQueueName(const wchar_t* queueName);

    virtual Address* CreatePortAddress(const wchar_t* portName);
    virtual Address* CreateQueueAddress(const wchar_t* queueName);
    virtual Address* CreateIPAddress(const wchar_t* address);
    // Take over `manager`, which is deleted when no address is made.
    virtual Address* CreateUSBAddress(const wchar_t* queueName, const wchar_t* portName, IUSBDeviceManager* manager);
    virtual Address* CreateDot4Address(const wchar_t* queueName, const wchar_t* portName, IUSBDeviceManager* manager);
    virtual IUSBDeviceManager* CreateUSBDeviceManager();

protected:
    // The creator deletes the factory and its resolver.
    ~AddressFactory() = default;

private:
    // The resolver's connection type of `name`; false when the search or
    // the question failed.
    bool ConnectionTypeOf(const wchar_t* name, unsigned long resolveType, unsigned long* type);
    // The address of the resolver's TCP/IP result; null if it has none.
    Address* CreateResolvedIPAddress();

    std::shared_ptr<IResolver> m_pResolver;
};

}  // namespace Orvane
