// The exported creation functions of the library.
#include "api/AddressFactory.h"

namespace Orvane {

Address* CreateAddressFromIPAddress(const wchar_t* address)
{
    return AddressFactory::CreateFromIPAddress(address);
}

}  // namespace Orvane
