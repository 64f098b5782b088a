#pragma once

#include "WSDH.h"

namespace QVDiscovery {

// The namespace table of every message: declared in this order on each
// outgoing envelope, and matched by namespace (or pattern) on input.
extern struct Namespace g_WSDNamespaces[];

}  // namespace QVDiscovery
