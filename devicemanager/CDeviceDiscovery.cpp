#include "devicemanager/CDeviceDiscovery.h"

#include <new>

#include "devicemanager/CNetworkDevice.h"
#include "devicemanager/CNetworkDevices.h"
#include "logging/LogTrace.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

namespace {

// The code of a search's progress, handed on to IProgress.
constexpr unsigned long kSearchProgressCode = 7;

bool IsEmpty(const wchar_t* text)
{
    return text == nullptr || *text == L'\0';
}

bool StartsWith(const std::wstring& text, const wchar_t* prefix)
{
    return text.compare(0, wcslen(prefix), prefix) == 0;
}

}  // namespace

std::wstring CDeviceDiscovery::SearchIdentifier(const wchar_t* id)
{
    std::wstring text = id;
    if (!StartsWith(text, L"urn:") && !StartsWith(text, L"uuid:")) {
        text.insert(0, L"uuid:");
    }
    return text;
}

void CDeviceDiscovery::Target(CNetworkDevice* device, CNetworkDevices* collection)
{
    m_pTargetDevice = device;
    m_pTargetCollection = collection;
    m_status = DM_E_NOT_FOUND;
}

unsigned long CDeviceDiscovery::SearchById(const wchar_t* id, CNetworkDevice* device)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceDiscovery::SearchById", L"%s",
                           id ? id : L"");
    if (IsEmpty(id) || device == nullptr) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    try {
        CSearchById search(this, SearchIdentifier(id));
        Target(device, nullptr);
        logScope.m_errorCode = SearchForDevices(search);
    } catch (const std::bad_alloc&) {
        logScope.m_errorCode = DM_E_OUT_OF_MEMORY;
    }
    return logScope.m_errorCode;
}

unsigned long CDeviceDiscovery::SearchByAddress(const wchar_t* address, CNetworkDevice* device)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceDiscovery::SearchByAddress", L"%s",
                           address ? address : L"");
    if (IsEmpty(address) || device == nullptr) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    try {
        CSearchByAddress search(this, address);
        Target(device, nullptr);
        logScope.m_errorCode = SearchForDevices(search);
    } catch (const std::bad_alloc&) {
        logScope.m_errorCode = DM_E_OUT_OF_MEMORY;
    }
    return logScope.m_errorCode;
}

unsigned long CDeviceDiscovery::SearchByType(const wchar_t* type, CNetworkDevices* collection)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceDiscovery::SearchByType", L"%s",
                           type ? type : L"(null)");
    if (collection == nullptr) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    try {
        CSearchByType search(this, type);
        Target(nullptr, collection);
        logScope.m_errorCode = SearchForDevices(search);
    } catch (const std::bad_alloc&) {
        logScope.m_errorCode = DM_E_OUT_OF_MEMORY;
    }
    return logScope.m_errorCode;
}

unsigned long CDeviceDiscovery::Searched(unsigned long error, const wchar_t* failure)
{
    if (error != 0) {
        QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceDiscovery::Searched");
        QV_LOG_ERROR(failure, static_cast<int>(error));
        m_status = MapStatus(error);
    }
    return m_status;
}

unsigned long CDeviceDiscovery::CSearchById::operator()(QVDiscovery::IDiscoveryServer* server)
{
    return m_pOwner->Searched(server->SearchById(m_id.c_str(), 0), L"IDiscoveryServer::SearchById failed, err=%d");
}

unsigned long CDeviceDiscovery::CSearchByAddress::operator()(QVDiscovery::IDiscoveryServer* server)
{
    return m_pOwner->Searched(server->SearchByAddress(m_address.c_str(), 0),
                              L"IDiscoveryServer::SearchByAddress failed, err=%d");
}

unsigned long CDeviceDiscovery::CSearchByType::operator()(QVDiscovery::IDiscoveryServer* server)
{
    return m_pOwner->Searched(server->SearchByType(m_pType, 0), L"IDiscoveryServer::SearchByType failed, err=%d");
}

void CDeviceDiscovery::Add(QVDiscovery::IDiscoveredDevice* device, uintptr_t)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceDiscovery::Add");
    if (device == nullptr) {
        return;
    }
    unsigned long status = DM_E_NOT_INITIALISED;
    IDevice* found = nullptr;
    if (m_pTargetDevice != nullptr) {
        const std::wstring& guid = m_pTargetDevice->GetGUID();
        // Exact comparison: an identifier in another case is another device.
        if (guid.empty() || guid == device->GetId()) {
            status = m_pTargetDevice->Init(device, nullptr);
            found = m_pTargetDevice;
        }
    } else if (m_pTargetCollection != nullptr) {
        CNetworkDevice* known = nullptr;
        if (m_pTargetCollection->FindDevice(device->GetSerialNumber(), &known) == 0) {
            QV_LOG_INFO(0, L"Ignoring a duplicate network device\n");
        } else {
            CNetworkDevice* added = nullptr;
            status = m_pTargetCollection->AddDevice(device, &added, nullptr);
            found = added;
        }
    }
    if (status == 0) {
        m_status = 0;
        if (m_pCallback != nullptr) {
            m_pCallback->OnAddDevice(found);
        }
    } else if (m_status != 0) {
        m_status = status;
    }
    logScope.m_errorCode = status;
}

void CDeviceDiscovery::Remove(QVDiscovery::IDiscoveredDevice* device, uintptr_t)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceDiscovery::Remove");
    if (device == nullptr) {
        return;
    }
    CNetworkDevice* gone = nullptr;
    if (m_pTargetDevice != nullptr) {
        const std::wstring& guid = m_pTargetDevice->GetGUID();
        if (!guid.empty() && guid != device->GetId()) {
            return;
        }
        gone = m_pTargetDevice;
    } else if (m_pTargetCollection != nullptr) {
        if (m_pTargetCollection->GetCount() == 0
            || m_pTargetCollection->FindDevice(device->GetSerialNumber(), &gone) != 0) {
            return;
        }
    } else {
        return;
    }
    // The device stays in the collection, offline.
    gone->SetOnline(false);
    if (m_pCallback != nullptr) {
        m_pCallback->OnRemoveDevice(gone);
    }
}

void CDeviceDiscovery::Finish()
{
    if (m_pCallback == nullptr) {
        return;
    }
    if (m_status == 0) {
        m_pCallback->OnSearchComplete(0);
    } else {
        m_pCallback->OnSearchFailed(m_status);
    }
}

void CDeviceDiscovery::SearchComplete(uintptr_t)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceDiscovery::SearchComplete");
    Finish();
}

void CDeviceDiscovery::SearchFailed(unsigned long status, uintptr_t)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDeviceDiscovery::SearchFailed");
    if (m_status != 0 && status != 0) {
        m_status = MapStatus(status);
    }
    Finish();
}

bool CDeviceDiscovery::SearchProgress(unsigned char percent, uintptr_t)
{
    return m_pCallback == nullptr || m_pCallback->OnSearchProgress(static_cast<double>(percent), kSearchProgressCode);
}

}  // namespace QVDeviceManager
