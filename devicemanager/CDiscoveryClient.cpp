#include "devicemanager/CDiscoveryClient.h"

#include "devicemanager/DeviceManagerTypes.h"
#include "discovery/DiscoveryLib.h"
#include "discovery/DiscoveryStatus.h"
#include "logging/LogTrace.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

unsigned long CDiscoveryClient::MapStatus(unsigned long discoveryStatus)
{
    switch (discoveryStatus) {
    case QVDiscovery::DISCOVERY_E_EVENT_WAIT:
        return DM_E_FAILED;
    case QVDiscovery::DISCOVERY_E_WINSOCK:
    case QVDiscovery::DISCOVERY_E_NETWORK:
        return DM_E_NETWORK_UNAVAILABLE;
    case QVDiscovery::DISCOVERY_E_STOPPED:
        return DM_E_CANCELLED;
    case QVDiscovery::DISCOVERY_E_OUTOFMEMORY:
        return DM_E_OUT_OF_MEMORY;
    case QVDiscovery::DISCOVERY_E_INVALIDARG:
        return DM_E_INVALID_ARGUMENT;
    case 8:
        return DM_E_NO_INTERFACE;
    case QVDiscovery::DISCOVERY_E_NOT_FOUND:
        return DM_E_NO_DEVICE_RESPONDED;
    default:
        return DM_E_NOT_INITIALISED;
    }
}

unsigned long CDiscoveryClient::SearchForDevices(CSearchFunction& function)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDiscoveryClient::SearchForDevices");
    unsigned long error = QVDiscovery::InitDiscoveryLib();
    if (error != 0) {
        QV_LOG_ERROR(L"InitDiscoveryLib failed, err=%d", static_cast<int>(error));
        logScope.m_errorCode = MapStatus(error);
        return logScope.m_errorCode;
    }
    unsigned long status = 0;
    QVDiscovery::IDiscoveryServer* server = nullptr;
    error = QVDiscovery::CreateDiscoveryServer(0, &server);
    if (error != 0) {
        QV_LOG_ERROR(L"CreateDiscoveryServer failed, err=%d", static_cast<int>(error));
        status = MapStatus(error);
    } else {
        error = server->RegisterClient(this);
        if (error != 0) {
            QV_LOG_ERROR(L"IDiscoveryServer::RegisterClient failed, err=%d", static_cast<int>(error));
            status = MapStatus(error);
        } else {
            status = function(server);
            error = server->UnregisterClient(this);
            if (error != 0) {
                QV_LOG_ERROR(L"IDiscoveryServer::UnregisterClient failed, err=%d", static_cast<int>(error));
            }
        }
        error = QVDiscovery::DestroyDiscoveryServer(server);
        if (error != 0) {
            QV_LOG_ERROR(L"DestroyDiscoveryServer failed, err=%d", static_cast<int>(error));
        }
    }
    error = QVDiscovery::TermDiscoveryLib();
    if (error != 0) {
        QV_LOG_ERROR(L"TermDiscoveryLib failed, err=%d", static_cast<int>(error));
    }
    logScope.m_errorCode = status;
    return status;
}

}  // namespace QVDeviceManager
