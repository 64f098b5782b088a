// mingw-w64's wsdtypes.h has no include guard, and the wsdapi headers
// include it several times: this one is read in its place, once.
#pragma once
#include_next <wsdtypes.h>
