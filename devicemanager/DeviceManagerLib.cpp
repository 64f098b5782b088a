#include "devicemanager/DeviceManagerLib.h"

#include <memory>
#include <new>
#include <set>

#include "devicemanager/CDevNodeCache.h"
#include "devicemanager/CDeviceManager.h"
#include "logging/LogTrace.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

namespace {

// The library's state; the callers keep to one thread at a time.
long g_lUseCount = 0;
CDevNodeCache* g_pCache = nullptr;
std::set<IDeviceManager*> g_managers;

}  // namespace

CDevNodeCache* DeviceManagerCache()
{
    return g_pCache;
}

unsigned long InitDeviceManagerLib()
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::InitDeviceManagerLib");
    if (g_lUseCount == 0) {
        g_pCache = new (std::nothrow) CDevNodeCache();
        if (g_pCache == nullptr) {
            logScope.m_errorCode = DM_E_OUT_OF_MEMORY;
            return DM_E_OUT_OF_MEMORY;
        }
        CDevNodeCache::SetGlobal(g_pCache);
    }
    ++g_lUseCount;
    return 0;
}

unsigned long TermDeviceManagerLib()
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::TermDeviceManagerLib");
    if (g_lUseCount == 0) {
        logScope.m_errorCode = DM_E_NOT_INITIALISED;
        return DM_E_NOT_INITIALISED;
    }
    if (--g_lUseCount == 0) {
        for (IDeviceManager* manager : g_managers) {
            delete manager;
        }
        g_managers.clear();
        CDevNodeCache::SetGlobal(nullptr);
        delete g_pCache;
        g_pCache = nullptr;
    }
    return 0;
}

unsigned long OpenDeviceManager(IDeviceManager** manager)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::OpenDeviceManager");
    unsigned long status = 0;
    if (g_lUseCount <= 0) {
        status = DM_E_NOT_INITIALISED;
    } else if (manager == nullptr) {
        status = DM_E_INVALID_ARGUMENT;
    } else {
        try {
            auto made = std::make_unique<CDeviceManager>();
            g_managers.insert(made.get());
            *manager = made.release();
        } catch (const std::bad_alloc&) {
            status = DM_E_OUT_OF_MEMORY;
        }
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CloseDeviceManager(IDeviceManager* manager)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CloseDeviceManager");
    if (g_lUseCount <= 0) {
        logScope.m_errorCode = DM_E_NOT_INITIALISED;
        return DM_E_NOT_INITIALISED;
    }
    const auto found = g_managers.find(manager);
    if (found == g_managers.end()) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    g_managers.erase(found);
    delete manager;
    return 0;
}

}  // namespace QVDeviceManager
