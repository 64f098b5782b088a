#include "discovery/CDiscoveredDeviceXpWSD.h"

#include <new>

#include "WSDH.h"
#include "discovery/CAdapterTypeParser.h"
#include "discovery/CDeviceIdParser.h"
#include "discovery/CDeviceServicesParser.h"
#include "utils/StringUtils.h"

namespace QVDiscovery {

using StringUtils::Utf8ToWide;

CDiscoveredDeviceXpWSD::CDiscoveredDeviceXpWSD(const zqd__VendorExtensionType* extension,
                                               const char* endpointAddress, bool ipv6)
{
    try {
        m_id = Utf8ToWide(endpointAddress);
        if (extension == nullptr) {
            return;
        }
        if (m_id.empty()) {
            m_id = Utf8ToWide(extension->dd__UUID);
        }
        m_hardwareAddress = Utf8ToWide(extension->dd__HardwareAddress);
        m_hostName = Utf8ToWide(extension->dd__Hostname);
        if (!ipv6) {
            m_ipAddress = Utf8ToWide(extension->dd__IPv4Address);
        } else if (extension->dd__IPv6Address != nullptr && extension->dd__IPv6Address->__sizeitem > 0
                   && extension->dd__IPv6Address->item != nullptr) {
            m_ipAddress = Utf8ToWide(extension->dd__IPv6Address->item[0]);
        }
        m_serialNumber = Utf8ToWide(extension->pwg__SerialNumber);
        const CDeviceIdParser deviceId(Utf8ToWide(extension->pwg__DeviceId));
        m_manufacturer = deviceId.GetValue(L"MFG");
        m_model = deviceId.GetValue(L"MDL");
        if (extension->pwg__Services != nullptr) {
            m_services = CDeviceServicesParser(Utf8ToWide(extension->pwg__Services)).m_services;
        }
        if (extension->pwg__AdapterType != nullptr) {
            m_adapterType = CAdapterTypeParser(Utf8ToWide(extension->pwg__AdapterType)).m_type;
        }
        if (extension->dd__SimAddress != nullptr) {
            m_ipAddress = Utf8ToWide(extension->dd__SimAddress);
        }
    } catch (const std::bad_alloc&) {
        // The record stays as far as it got.
    }
}

}  // namespace QVDiscovery
