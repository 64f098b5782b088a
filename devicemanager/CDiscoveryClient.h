#pragma once

#include "discovery/IDiscoveryClient.h"
#include "discovery/IDiscoveryServer.h"

namespace QVDeviceManager {

// A client of the discovery library that runs one search at a time, with
// the library's set-up and take-down around it: nothing stays behind.
class CDiscoveryClient : public QVDiscovery::IDiscoveryClient {
public:
    // One search on a server made for it; gives a device manager status.
    class CSearchFunction {
    public:
        virtual unsigned long operator()(QVDiscovery::IDiscoveryServer* server) = 0;

    protected:
        ~CSearchFunction() = default;
    };

    ~CDiscoveryClient() override = default;

    // The device manager's status for a discovery status.
    static unsigned long MapStatus(unsigned long discoveryStatus);

protected:
    unsigned long SearchForDevices(CSearchFunction& function);
};

}  // namespace QVDeviceManager
