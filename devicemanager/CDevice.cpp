#include "devicemanager/CDevice.h"

namespace QVDeviceManager {

CDevice::~CDevice()
{
    ClearFunctions();
}

void CDevice::Reset()
{
    m_modelName.clear();
    m_serialNumber.clear();
    m_containerID.clear();
    m_bHasBadDevNode = false;
    ClearFunctions();
}

void CDevice::ClearFunctions()
{
    for (IDeviceFunction*& function : m_pFunctions) {
        delete function;
        function = nullptr;
    }
}

bool CDevice::HasFunctions()
{
    for (IDeviceFunction* function : m_pFunctions) {
        if (function != nullptr) {
            return true;
        }
    }
    return false;
}

}  // namespace QVDeviceManager
