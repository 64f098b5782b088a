#include "devicemanager/CDeviceFunction.h"

namespace QVDeviceManager {

void CDeviceFunction::Init(const wchar_t* friendlyName, const wchar_t* driverName, const wchar_t* address)
{
    m_friendlyName = friendlyName ? friendlyName : L"";
    m_driverName = driverName ? driverName : L"";
    m_address = address ? address : L"";
}

void CDeviceFunction::Clear()
{
    m_friendlyName.clear();
    m_driverName.clear();
    m_address.clear();
}

}  // namespace QVDeviceManager
