#include "discovery/CAdapterAddresses.h"

#include <cstdlib>

#include "logging/LogTrace.h"
#include "winapi/IIPHelperApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDiscovery {

namespace {

// Unicast addresses only: no anycast, no multicast.
constexpr ULONG kFlags = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST;

}  // namespace

CAdapterAddresses::~CAdapterAddresses()
{
    Clear();
}

void CAdapterAddresses::Clear()
{
    std::free(m_pAddresses);
    m_pAddresses = nullptr;
}

bool CAdapterAddresses::Enum()
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CAdapterAddresses::Enum");
    Clear();
    ULONG size = 0;
    ULONG result = g_pIPHelperApi->GetAdaptersAddresses(AF_UNSPEC, kFlags, nullptr, nullptr, &size);
    if (result != NO_ERROR && result != ERROR_BUFFER_OVERFLOW) {
        QV_LOG_ERROR(L"GetAdaptersAddresses failed (%ld).\n", static_cast<long>(result));
        return false;
    }
    if (size == 0) {
        return true;
    }
    auto* buffer = static_cast<PIP_ADAPTER_ADDRESSES>(std::malloc(size));
    if (buffer == nullptr) {
        QV_LOG_ERROR(L"ERROR: Out of memory.\n");
        return false;
    }
    result = g_pIPHelperApi->GetAdaptersAddresses(AF_UNSPEC, kFlags, nullptr, buffer, &size);
    if (result != NO_ERROR) {
        QV_LOG_ERROR(L"GetAdaptersAddresses failed (%ld).\n", static_cast<long>(result));
        std::free(buffer);
        return false;
    }
    m_pAddresses = buffer;
    return true;
}

}  // namespace QVDiscovery
