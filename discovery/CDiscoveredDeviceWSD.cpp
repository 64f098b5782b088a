#include "discovery/CDiscoveredDeviceWSD.h"

#include <wchar.h>

#include <new>

#include "discovery/CAdapterTypeParser.h"
#include "discovery/CDeviceAddressParser.h"
#include "discovery/CDeviceIdParser.h"
#include "discovery/CDeviceServicesParser.h"
#include "winapi/WSDiscoveryProvider.h"

namespace QVDiscovery {

namespace {

const wchar_t* OrEmpty(const wchar_t* text)
{
    return text != nullptr ? text : L"";
}

// The text of an element whose first child is a text node, else null.
const WSDXML_TEXT* TextOf(const WSDXML_NODE& node)
{
    if (node.Type != WSDXML_NODE::ElementType) {
        return nullptr;
    }
    const WSDXML_NODE* first = reinterpret_cast<const WSDXML_ELEMENT&>(node).FirstChild;
    if (first == nullptr || first->Type != WSDXML_NODE::TextType) {
        return nullptr;
    }
    return reinterpret_cast<const WSDXML_TEXT*>(first);
}

}  // namespace

CDiscoveredDeviceWSD::CDiscoveredDeviceWSD(const _WSDXML_ELEMENT* body, const wchar_t* remoteAddress,
                                           const wchar_t* endpointAddress)
{
    try {
        if (remoteAddress != nullptr) {
            m_ipAddress = CDeviceAddressParser(remoteAddress).GetAddress();
        }
        if (endpointAddress != nullptr) {
            m_id = endpointAddress;
        }
        if (body == nullptr) {
            return;
        }
        std::wstring simAddress;
        bool hasSimAddress = false;
        for (const WSDXML_NODE* child = body->FirstChild; child != nullptr; child = child->Next) {
            const WSDXML_TEXT* text = TextOf(*child);
            const WSDXML_NAME* name = reinterpret_cast<const WSDXML_ELEMENT*>(child)->Name;
            if (text == nullptr || name == nullptr || name->LocalName == nullptr) {
                continue;
            }
            if (_wcsicmp(name->LocalName, L"SimAddress") == 0) {
                simAddress = OrEmpty(text->Text);
                hasSimAddress = true;
            } else {
                Take(name->LocalName, OrEmpty(text->Text));
            }
        }
        if (hasSimAddress) {
            m_ipAddress = simAddress;
        }
    } catch (const std::bad_alloc&) {
        // The record stays as far as it got.
    }
}

void CDiscoveredDeviceWSD::Take(const wchar_t* localName, const wchar_t* text)
{
    const auto is = [localName](const wchar_t* name) { return _wcsicmp(localName, name) == 0; };
    if (is(L"UUID")) {
        if (m_id.empty()) {
            m_id = text;
        }
    } else if (is(L"HardwareAddress")) {
        m_hardwareAddress = text;
    } else if (is(L"HostName")) {
        m_hostName = text;
    } else if (is(L"SerialNumber")) {
        m_serialNumber = text;
    } else if (is(L"Ipv4Address")) {
        if (m_ipAddress.empty()) {
            m_ipAddress = text;
        }
    } else if (is(L"Services")) {
        m_services = CDeviceServicesParser(text).m_services;
    } else if (is(L"DeviceId")) {
        const CDeviceIdParser deviceId(text);
        m_manufacturer = deviceId.GetValue(L"MFG");
        m_model = deviceId.GetValue(L"MDL");
    } else if (is(L"AdapterType")) {
        m_adapterType = CAdapterTypeParser(text).m_type;
    }
}

}  // namespace QVDiscovery
