#include "discovery/WSDNamespaces.h"

#include "discovery/WSDConstants.h"

namespace QVDiscovery {

// gSOAP 2.8 no longer takes a SOAP 1.1 envelope for the SOAP 1.2 one of its
// own accord: the input pattern of the envelope's row admits both, and
// gSOAP then reads (and would answer) in SOAP 1.1.
struct Namespace g_WSDNamespaces[] = {
    {"SOAP-ENV", "http://www.w3.org/2003/05/soap-envelope", "http://*soap*envelope*", nullptr},
    {"SOAP-ENC", "http://www.w3.org/2003/05/soap-encoding", "http://www.w3.org/*/soap-encoding", nullptr},
    {"xsi", "http://www.w3.org/2001/XMLSchema-instance", "http://www.w3.org/*/XMLSchema-instance", nullptr},
    {"xsd", "http://www.w3.org/2001/XMLSchema", "http://www.w3.org/*/XMLSchema", nullptr},
    {"wsa", "http://schemas.xmlsoap.org/ws/2004/08/addressing", nullptr, nullptr},
    {"pwg", QV_WSD_VENDOR_SCHEMA_HOST "/schemas/imaging/con/pwg/sm/1.0", nullptr, nullptr},
    {"dd", QV_WSD_VENDOR_SCHEMA_HOST "/schemas/imaging/con/dictionaries/1.0", nullptr, nullptr},
    {"zqd", QV_WSD_VENDOR_SCHEMA_HOST "/schemas/imaging/con/discovery/2006/09/19", nullptr, nullptr},
    {"wsd", "http://schemas.xmlsoap.org/ws/2005/04/discovery", nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr},
};

}  // namespace QVDiscovery
