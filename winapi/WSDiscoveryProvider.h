#pragma once

// The platform's WS-Discovery provider ("wsdapi.dll"): its interfaces and
// XML nodes as the toolchain declares them, which match the platform's
// layouts. The discovery header uses the configuration type of the base
// header without including it, so the base comes first, and the base names
// the socket address type that Winsock's header, included first, defines;
// the shared types header has no include guard and is read through the
// discovery header only, once.
#include <winsock2.h>
#include <windows.h>
#include <wsdbase.h>
#include <wsddisco.h>

namespace QVWinApi {

// The provider's creation function, found at run time in "wsdapi.dll".
typedef HRESULT(WINAPI* PFN_WSDCreateDiscoveryProvider)(IWSDXMLContext* pContext,
                                                        IWSDiscoveryProvider** ppProvider);

}  // namespace QVWinApi
