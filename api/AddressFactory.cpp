#include "api/AddressFactory.h"

#include <new>

#include "api/QVNetAddress.h"
#include "logging/LogTrace.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

Address* AddressFactory::CreateFromIPAddress(const wchar_t* address)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::AddressFactory::CreateFromIPAddress");
    try {
        QVNetAddress* result = new QVNetAddress(address);
        result->AddRef();
        return result;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace Orvane
