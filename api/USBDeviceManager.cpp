#include "api/USBDeviceManager.h"

#include "devicemanager/DeviceManagerLib.h"
#include "logging/LogTrace.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

using namespace QVDeviceManager;

USBDeviceManager::USBDeviceManager()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::USBDeviceManager::USBDeviceManager");
    if (InitDeviceManagerLib() != 0) {
        return;
    }
    IDeviceManager* manager = nullptr;
    unsigned long status = 0;
    try {
        status = OpenDeviceManager(&manager);
    } catch (...) {
        status = logScope.m_errorCode = E_FAIL;
    }
    if (status == 0) {
        m_pManager = manager;
    }
}

USBDeviceManager::~USBDeviceManager()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::USBDeviceManager::~USBDeviceManager");
    try {
        CloseDeviceManager(m_pManager);
    } catch (...) {
        logScope.m_errorCode = E_FAIL;
    }
    TermDeviceManagerLib();
}

IDevice* USBDeviceManager::OpenUSBDeviceByQueue(const wchar_t* name)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::USBDeviceManager::OpenUSBDeviceByQueue");
    IDevice* device = nullptr;
    logScope.m_errorCode = m_pManager->OpenDevice(name, FUNCTION_TYPE_PRINT, &device, nullptr);
    return logScope.m_errorCode == 0 ? device : nullptr;
}

IDevice* USBDeviceManager::OpenUSBDeviceByPort(const wchar_t* name)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::USBDeviceManager::OpenUSBDeviceByPort");
    IDevice* device = nullptr;
    logScope.m_errorCode = m_pManager->OpenDevice(name, CONNECTION_TYPE_USB, &device, nullptr);
    return logScope.m_errorCode == 0 ? device : nullptr;
}

IDevice* USBDeviceManager::OpenDot4Device(const wchar_t* name)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::USBDeviceManager::OpenDot4Device");
    IDevice* device = nullptr;
    logScope.m_errorCode = m_pManager->OpenDevice(name, FUNCTION_TYPE_PRINT, &device, nullptr);
    return logScope.m_errorCode == 0 ? device : nullptr;
}

unsigned long USBDeviceManager::CloseDevice(IDevice* device)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::USBDeviceManager::CloseDevice");
    return logScope.m_errorCode = m_pManager->CloseDevice(device);
}

}  // namespace Orvane
