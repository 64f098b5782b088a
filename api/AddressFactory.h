#pragma once

#include "orvane64.h"

namespace Orvane {

// Makes the Address behind a name given by a host. Every address comes with
// one reference.
class AddressFactory {
public:
    static Address* CreateFromIPAddress(const wchar_t* address);
};

}  // namespace Orvane
