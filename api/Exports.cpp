// The exported creation functions of the library.
#include "api/AddressFactory.h"
#include "logging/LogTrace.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

Address* CreateAddressFromIPAddress(const wchar_t* address)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::CreateAddressFromIPAddress");
    return AddressFactory::CreateFromIPAddress(address);
}

Address* CreateAddressFromPortName(const wchar_t* portName)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::CreateAddressFromPortName");
    return AddressFactory::CreateFromPortName(portName);
}

Address* CreateAddressFromQueueName(const wchar_t* queueName)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::CreateAddressFromQueueName");
    return AddressFactory::CreateFromQueueName(queueName);
}

}  // namespace Orvane
