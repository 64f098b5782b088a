#include "api/AddressFactory.h"

#include <new>

#include "api/QVNetAddress.h"

namespace Orvane {

Address* AddressFactory::CreateFromIPAddress(const wchar_t* address)
{
    try {
        QVNetAddress* result = new QVNetAddress(address);
        result->AddRef();
        return result;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace Orvane
