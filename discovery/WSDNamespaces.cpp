#include "discovery/WSDNamespaces.h"

#include "discovery/WSDConstants.h"

namespace QVDiscovery {

struct Namespace g_WSDNamespaces[] = {
    {"SOAP-ENV", "http://www.w3.org/2003/05/soap-envelope", "http://www.w3.org/*/soap-envelope", nullptr},
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
