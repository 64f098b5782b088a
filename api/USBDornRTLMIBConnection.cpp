#include "api/USBDornRTLMIBConnection.h"

namespace Orvane {

void USBDornRTLMIBConnection::Initialize(const wchar_t* port)
{
    InitializePortName(port);
}

}  // namespace Orvane
