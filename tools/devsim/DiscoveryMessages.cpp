#include "devsim/DiscoveryMessages.h"

#include <windows.h>
#include <rpc.h>

#include <sstream>

#include "devsim/DiscoveryNamespaces.h"

namespace devsim {

namespace {

const char kActionBase[] = "http://schemas.xmlsoap.org/ws/2005/04/discovery/";
const char kDiscoveryTo[] = "urn:schemas-xmlsoap-org:ws:2005:04:discovery";
const char kAnonymous[] = "http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous";

std::string NewMessageId()
{
    UUID uuid;
    UuidCreate(&uuid);
    char text[40];
    std::snprintf(text, sizeof(text), "%08lx-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                  static_cast<unsigned long>(uuid.Data1), uuid.Data2, uuid.Data3, uuid.Data4[0], uuid.Data4[1],
                  uuid.Data4[2], uuid.Data4[3], uuid.Data4[4], uuid.Data4[5], uuid.Data4[6], uuid.Data4[7]);
    return std::string("urn:uuid:") + text;
}

std::string Element(const char* name, const std::string& text)
{
    return text.empty() ? std::string()
                        : std::string("<") + name + ">" + DiscoveryMessages::Escape(text) + "</" + name + ">";
}

}  // namespace

DiscoveryMessages::DiscoveryMessages(DiscoveryIdentity identity, unsigned long instanceId)
    : m_identity(std::move(identity)), m_instanceId(instanceId)
{
    std::string ignored;
    ResolveTypes(m_identity.types, &m_types, &ignored);
}

bool DiscoveryMessages::ResolveTypes(const std::string& types, std::vector<DiscoveryRequest::QName>* out,
                                     std::string* error)
{
    out->clear();
    std::istringstream names(types);
    for (std::string name; names >> name;) {
        const size_t colon = name.find(':');
        const std::string prefix = colon == std::string::npos ? std::string() : name.substr(0, colon);
        bool known = false;
        for (const auto& entry : DiscoveryPrefixes()) {
            if (entry.first == prefix && colon + 1 < name.size()) {
                out->emplace_back(entry.second, name.substr(colon + 1));
                known = true;
            }
        }
        if (!known) {
            *error = "type '" + name + "' has none of the prefixes zqd, dd, pwg, wsd, wsa";
            return false;
        }
    }
    return true;
}

std::string DiscoveryMessages::Escape(const std::string& text)
{
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        default: out += c;
        }
    }
    return out;
}

std::string DiscoveryMessages::Envelope(const char* action, const char* to, const std::string& relatesTo,
                                        const std::string& body)
{
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SOAP-ENV:Envelope";
    for (const auto& entry : DiscoveryPrefixes()) {
        text += " xmlns:" + entry.first + "=\"" + entry.second + "\"";
    }
    text += "><SOAP-ENV:Header><wsa:MessageID>" + NewMessageId() + "</wsa:MessageID>";
    if (!relatesTo.empty()) {
        text += "<wsa:RelatesTo>" + Escape(relatesTo) + "</wsa:RelatesTo>";
    }
    text += std::string("<wsa:To>") + to + "</wsa:To><wsa:Action>" + kActionBase + action + "</wsa:Action>"
            + "<wsd:AppSequence InstanceId=\"" + std::to_string(m_instanceId) + "\" MessageNumber=\""
            + std::to_string(++m_messageNumber) + "\"/></SOAP-ENV:Header><SOAP-ENV:Body>" + body
            + "</SOAP-ENV:Body></SOAP-ENV:Envelope>";
    return text;
}

std::string DiscoveryMessages::Extension() const
{
    std::string ipv6;
    for (const std::string& address : m_identity.ipv6) {
        ipv6 += Element("item", address);
    }
    return "<zqd:VendorExtension>" + Element("dd:HardwareAddress", m_identity.hardwareAddress)
        + Element("dd:UUID", m_identity.uuid) + Element("dd:IPv4Address", m_identity.ipv4)
        + (ipv6.empty() ? std::string() : "<dd:IPv6Address>" + ipv6 + "</dd:IPv6Address>")
        + Element("dd:Hostname", m_identity.hostName) + Element("pwg:DeviceId", m_identity.deviceId)
        + Element("pwg:SerialNumber", m_identity.serialNumber) + Element("pwg:Services", m_identity.services)
        + Element("pwg:AdapterType", m_identity.adapterType) + "</zqd:VendorExtension>";
}

std::string DiscoveryMessages::Children(bool bye) const
{
    std::string addresses;
    if (!m_identity.ipv4.empty()) {
        addresses = "http://" + m_identity.ipv4 + kDirectedPath;
    }
    for (const std::string& address : m_identity.ipv6) {
        addresses += (addresses.empty() ? "http://[" : " http://[") + address + "]" + kDirectedPath;
    }
    return "<wsa:EndpointReference><wsa:Address>" + Escape(m_identity.Endpoint())
        + "</wsa:Address></wsa:EndpointReference>" + Element("wsd:Types", m_identity.types)
        + Element("wsd:XAddrs", addresses) + (bye ? "" : "<wsd:MetadataVersion>1</wsd:MetadataVersion>")
        + Extension();
}

std::string DiscoveryMessages::Hello()
{
    return Envelope("Hello", kDiscoveryTo, std::string(), "<wsd:Hello>" + Children(false) + "</wsd:Hello>");
}

std::string DiscoveryMessages::Bye()
{
    return Envelope("Bye", kDiscoveryTo, std::string(), "<wsd:Bye>" + Children(true) + "</wsd:Bye>");
}

std::string DiscoveryMessages::ProbeMatches(const std::string& relatesTo)
{
    return Envelope("ProbeMatches", kAnonymous, relatesTo,
                    "<wsd:ProbeMatches><wsd:ProbeMatch>" + Children(false) + "</wsd:ProbeMatch></wsd:ProbeMatches>");
}

std::string DiscoveryMessages::ResolveMatches(const std::string& relatesTo)
{
    return Envelope("ResolveMatches", kAnonymous, relatesTo,
                    "<wsd:ResolveMatches><wsd:ResolveMatch>" + Children(false)
                        + "</wsd:ResolveMatch></wsd:ResolveMatches>");
}

}  // namespace devsim
