#include "discovery/CMessageId.h"

#include <rpc.h>

namespace QVDiscovery {

bool CMessageId::Create(std::string& id)
{
    UUID uuid;
    // RPC_S_UUID_LOCAL_ONLY fails too: such an identifier is not unique.
    if (::UuidCreate(&uuid) != RPC_S_OK) {
        return false;
    }
    RPC_CSTR text = nullptr;
    if (::UuidToStringA(&uuid, &text) != RPC_S_OK) {
        return false;
    }
    id = "uuid:";
    id += reinterpret_cast<const char*>(text);
    ::RpcStringFreeA(&text);
    return true;
}

}  // namespace QVDiscovery
