#pragma once

// WS-Discovery messages as the test writes them by hand: what the library
// must send, byte for byte, and what devices and other peers send to it,
// with prefixes and envelopes of their own.
#include <string>

namespace wsdtest {

constexpr const char* kVendorHost = "http://schemas.zq.com";

// The envelope's opening: all nine namespaces, in the library's order.
inline std::string EnvelopeOpen()
{
    return std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                       "<SOAP-ENV:Envelope"
                       " xmlns:SOAP-ENV=\"http://www.w3.org/2003/05/soap-envelope\""
                       " xmlns:SOAP-ENC=\"http://www.w3.org/2003/05/soap-encoding\""
                       " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
                       " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\""
                       " xmlns:wsa=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\""
                       " xmlns:pwg=\"")
        + kVendorHost + "/schemas/imaging/con/pwg/sm/1.0\" xmlns:dd=\"" + kVendorHost
        + "/schemas/imaging/con/dictionaries/1.0\" xmlns:zqd=\"" + kVendorHost
        + "/schemas/imaging/con/discovery/2006/09/19\""
          " xmlns:wsd=\"http://schemas.xmlsoap.org/ws/2005/04/discovery\">";
}

inline std::string RequestHeader(const std::string& id, const char* action)
{
    return "<SOAP-ENV:Header>"
           "<wsa:MessageID SOAP-ENV:mustUnderstand=\"true\">" + id + "</wsa:MessageID>"
           "<wsa:ReplyTo SOAP-ENV:mustUnderstand=\"true\"><wsa:Address>"
           "http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous</wsa:Address></wsa:ReplyTo>"
           "<wsa:To SOAP-ENV:mustUnderstand=\"true\">urn:schemas-xmlsoap-org:ws:2005:04:discovery</wsa:To>"
           "<wsa:Action SOAP-ENV:mustUnderstand=\"true\">http://schemas.xmlsoap.org/ws/2005/04/discovery/"
        + action + "</wsa:Action></SOAP-ENV:Header>";
}

// A Probe to a group with this type list, or (null) a directed one.
inline std::string ExpectedProbe(const std::string& id, const char* types)
{
    const std::string body = types ? std::string("<wsd:Probe><wsd:Types>") + types + "</wsd:Types></wsd:Probe>"
                                   : std::string("<wsd:Probe></wsd:Probe>");
    return EnvelopeOpen() + RequestHeader(id, "Probe") + "<SOAP-ENV:Body>" + body
        + "</SOAP-ENV:Body></SOAP-ENV:Envelope>\r\n";
}

inline std::string ExpectedResolve(const std::string& id, const std::string& device)
{
    return EnvelopeOpen() + RequestHeader(id, "Resolve")
        + "<SOAP-ENV:Body><wsd:Resolve><wsa:EndpointReference><wsa:Address>" + device
        + "</wsa:Address></wsa:EndpointReference></wsd:Resolve></SOAP-ENV:Body></SOAP-ENV:Envelope>\r\n";
}

// Incoming: prefixes s (envelope), a (addressing), d (discovery), and for
// the vendor v (discovery), x (dictionaries), p (pwg).
enum class Soap { V12, V11 };

inline std::string Incoming(const std::string& header, const std::string& body, Soap soap = Soap::V12)
{
    const std::string envelope = soap == Soap::V12 ? "http://www.w3.org/2003/05/soap-envelope"
                                                   : "http://schemas.xmlsoap.org/soap/envelope/";
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<s:Envelope xmlns:s=\"" + envelope
        + "\" xmlns:a=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\""
          " xmlns:d=\"http://schemas.xmlsoap.org/ws/2005/04/discovery\" xmlns:v=\""
        + kVendorHost + "/schemas/imaging/con/discovery/2006/09/19\" xmlns:x=\"" + kVendorHost
        + "/schemas/imaging/con/dictionaries/1.0\" xmlns:p=\"" + kVendorHost
        + "/schemas/imaging/con/pwg/sm/1.0\">"
        + (header.empty() ? std::string() : "<s:Header>" + header + "</s:Header>") + "<s:Body>" + body
        + "</s:Body></s:Envelope>";
}

inline std::string MessageIdHeader(const std::string& id)
{
    return "<a:MessageID>" + id + "</a:MessageID>";
}

inline std::string RelatesToHeader(const std::string& id)
{
    return "<a:RelatesTo>" + id + "</a:RelatesTo>";
}

inline std::string ActionHeader(const char* action)
{
    return std::string("<a:Action>http://schemas.xmlsoap.org/ws/2005/04/discovery/") + action + "</a:Action>";
}

inline std::string Extension(const std::string& uuid)
{
    return "<v:VendorExtension><x:HardwareAddress>00:11:22:33:44:55</x:HardwareAddress>"
           "<x:UUID>" + uuid + "</x:UUID><x:IPv4Address>10.0.0.7</x:IPv4Address>"
           "<x:IPv6Address><item>fe80::7</item><item>fd00::7</item></x:IPv6Address>"
           "<x:Hostname>zq-printer</x:Hostname><p:DeviceId>MFG:ZQ;MDL:QV1;</p:DeviceId>"
           "<p:SerialNumber>SN0001</p:SerialNumber><p:Services>print scan</p:Services>"
           "<p:AdapterType>wired</p:AdapterType></v:VendorExtension>";
}

// The children of Hello, Bye, ProbeMatch and ResolveMatch.
inline std::string Children(const std::string& endpoint, const std::string& extension,
                                const char* metadataVersion = "1")
{
    return "<a:EndpointReference><a:Address>" + endpoint + "</a:Address></a:EndpointReference>"
           "<d:Types>v:zqDevice</d:Types><d:XAddrs>http://10.0.0.7:80/wsd</d:XAddrs>"
        + (metadataVersion ? std::string("<d:MetadataVersion>") + metadataVersion + "</d:MetadataVersion>"
                           : std::string())
        + extension;
}

}  // namespace wsdtest
