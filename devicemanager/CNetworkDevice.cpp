#include "devicemanager/CNetworkDevice.h"

#include <cwchar>
#include <new>

#include "devicemanager/CDeviceFunction.h"
#include "logging/LogTrace.h"
#include "utils/CNetworkUtils.h"
#include "utils/CProgressAggregator.h"
#include "utils/CSxSConfig.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

namespace {

constexpr unsigned long kRefreshPhase = 4;

bool IsEmpty(const wchar_t* text)
{
    return text == nullptr || *text == L'\0';
}

}  // namespace

void CNetworkDevice::DestroyFunction(FUNCTION_TYPE type)
{
    delete m_pFunctions[type];
    m_pFunctions[type] = nullptr;
}

IDeviceFunction* CNetworkDevice::MakeFunction(FUNCTION_TYPE type)
{
    if (m_pFunctions[type] == nullptr) {
        m_pFunctions[type] = new CDeviceFunction(type);
    }
    return m_pFunctions[type];
}

void CNetworkDevice::Reset()
{
    m_bOnline = false;
    m_strGUID.clear();
    m_strMAC.clear();
    m_strHostName.clear();
    m_strIPAddress.clear();
    m_ulNetworkType = 0;
    m_bOffSubNet = false;
    m_bMulticastEnabled = true;
    m_strPrinterInstance.clear();
    m_strPrinterPort.clear();
    m_strFaxInstance.clear();
    m_strFaxPort.clear();
    m_strScannerInstance.clear();
    m_strConfigPort.clear();
    CDevice::Reset();
}

unsigned long CNetworkDevice::Init(const CDevNode&, QVUtils::IProgress*)
{
    return DM_E_NOT_SUPPORTED;
}

void CNetworkDevice::FillFrom(const QVDiscovery::IDiscoveredDevice& discovered)
{
    m_serialNumber = discovered.GetSerialNumber();
    if (*discovered.GetManufacturer() != L'\0' && *discovered.GetModel() != L'\0') {
        m_modelName = std::wstring(discovered.GetManufacturer()) + L" " + discovered.GetModel();
    }
    m_strGUID = discovered.GetId();
    m_strMAC = discovered.GetHardwareAddress();
    m_strHostName = discovered.GetHostName();
    m_strIPAddress = discovered.GetIPAddress();
    m_bOffSubNet = !QVUtils::CNetworkUtils::IsOnSubnet(m_strIPAddress.c_str());
    const unsigned long adapter = discovered.GetAdapterType();
    m_ulNetworkType = adapter == QVDiscovery::kAdapterWired || adapter == QVDiscovery::kAdapterWireless ? adapter : 0;
    const unsigned long services = discovered.GetServices();
    const struct {
        FUNCTION_TYPE type;
        bool present;
    } functions[] = {
        {FUNCTION_TYPE_PRINT, (services & QVDiscovery::kServicePrint9100) != 0 || services == 0},
        {FUNCTION_TYPE_SCAN, (services & QVDiscovery::kServiceRestScan) != 0},
        {FUNCTION_TYPE_CONFIG, (services & QVDiscovery::kServiceDSD) != 0 || services == 0},
        {FUNCTION_TYPE_FAX, (services & QVDiscovery::kServiceFax) != 0},
    };
    for (const auto& function : functions) {
        if (function.present) {
            MakeFunction(function.type)->Init(L"", L"", m_strIPAddress.c_str());
        }
    }
}

unsigned long CNetworkDevice::InitFromFile(const std::wstring& path, const QVDiscovery::IDiscoveredDevice* discovered,
                                           QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::InitFromFile", L"%s",
                           path.c_str());
    unsigned long status = 0;
    try {
        QVUtils::CProgressAggregator aggregator(progress, 1);
        Reset();
        if (!m_pIniFile->SetFileName(path)) {
            status = DM_E_INVALID_ARGUMENT;
        } else if (!aggregator.Step(0)) {
            status = DM_E_CANCELLED;
        } else if (!LoadDeviceInfo()) {
            if (discovered == nullptr) {
                status = DM_E_NOT_FOUND;
            } else {
                FillFrom(*discovered);
            }
        } else {
            if (discovered != nullptr) {
                m_strIPAddress = discovered->GetIPAddress();
                m_bOffSubNet = !QVUtils::CNetworkUtils::IsOnSubnet(m_strIPAddress.c_str());
                m_strHostName = discovered->GetHostName();
                const unsigned long adapter = discovered->GetAdapterType();
                m_ulNetworkType = adapter == QVDiscovery::kAdapterWired || adapter == QVDiscovery::kAdapterWireless
                                      ? adapter
                                      : 0;
            }
            if (LoadPrinterInfo()) {
                QV_LOG_LINE(QVLogging::kCategoryDebug, L"LoadPrinterInfo succeeded");
            }
            if (LoadFaxInfo()) {
                QV_LOG_LINE(QVLogging::kCategoryDebug, L"LoadFaxInfo succeeded");
            }
            if (LoadScannerInfo()) {
                QV_LOG_LINE(QVLogging::kCategoryDebug, L"LoadScannerInfo succeeded");
            }
            if (LoadConfigInfo()) {
                QV_LOG_LINE(QVLogging::kCategoryDebug, L"LoadConfigInfo succeeded");
            }
        }
        if (status == 0) {
            m_bOnline = discovered != nullptr;
            const std::wstring model = QVUtils::CSxSConfig::GetModelName();
            if (!model.empty() && _wcsicmp(model.c_str(), m_modelName.c_str()) != 0) {
                status = DM_E_WRONG_USB_ID;
            } else if (!aggregator.StepNext(0)) {
                status = DM_E_CANCELLED;
            }
        }
    } catch (const std::bad_alloc&) {
        status = DM_E_OUT_OF_MEMORY;
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CNetworkDevice::Init(const QVDiscovery::IDiscoveredDevice* discovered, QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::Init");
    if (discovered == nullptr || IsEmpty(discovered->GetId())) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    QV_LOG_INFO(0, L"Serial number: %s", discovered->GetSerialNumber());
    // An empty serial number makes the record ".ini": the collection is the
    // layer that refuses such a device.
    unsigned long status = 0;
    try {
        status = InitFromFile(RecordPath(discovered->GetSerialNumber()), discovered, progress);
    } catch (const std::bad_alloc&) {
        status = DM_E_OUT_OF_MEMORY;
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CNetworkDevice::Init(const CNetworkDevice& other)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::Init");
    try {
        m_serialNumber = other.m_serialNumber;
        m_modelName = other.m_modelName;
        m_strGUID = other.m_strGUID;
        m_strMAC = other.m_strMAC;
        m_strHostName = other.m_strHostName;
        m_strIPAddress = other.m_strIPAddress;
        m_bOffSubNet = other.m_bOffSubNet;
        m_bRediscoveredByPort = other.m_bRediscoveredByPort;
        m_ulNetworkType = other.m_ulNetworkType;
        ClearFunctions();
        for (FUNCTION_TYPE type : {FUNCTION_TYPE_PRINT, FUNCTION_TYPE_SCAN, FUNCTION_TYPE_CONFIG, FUNCTION_TYPE_FAX}) {
            if (other.m_pFunctions[type] != nullptr) {
                MakeFunction(type)->Init(L"", L"", m_strIPAddress.c_str());
            }
        }
        m_bOnline = true;
    } catch (const std::bad_alloc&) {
        logScope.m_errorCode = DM_E_OUT_OF_MEMORY;
        return DM_E_OUT_OF_MEMORY;
    }
    return 0;
}

unsigned long CNetworkDevice::Init(const wchar_t* id, QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::Init", L"%s",
                           id ? id : L"");
    if (IsEmpty(id)) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    unsigned long status = 0;
    try {
        status = InitFromFile(RecordPath(id), nullptr, progress);
        if (status != 0) {
            const unsigned long byPort = InitFromPort(id, progress);
            status = byPort == DM_E_NOT_FOUND ? status : byPort;
        }
    } catch (const std::bad_alloc&) {
        status = DM_E_OUT_OF_MEMORY;
    }
    logScope.m_errorCode = status;
    return status;
}

std::vector<SearchStep> CNetworkDevice::RefreshSearch() const
{
    if (!m_bOffSubNet && m_bMulticastEnabled && !m_bRediscoveredByPort) {
        return {{SearchStep::ById, m_strGUID}};
    }
    if (m_bDefaultToSearchByIP) {
        return {{SearchStep::ByAddress, m_strIPAddress}, {SearchStep::ByHostName, m_strHostName}};
    }
    return {{SearchStep::ByHostName, m_strHostName}, {SearchStep::ByAddress, m_strIPAddress}};
}

unsigned long CNetworkDevice::Refresh(QVUtils::IProgress* progress)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::Refresh");
    unsigned long status = 0;
    try {
        QVUtils::CProgressAggregator aggregator(progress, 1);
        if (!aggregator.Step(kRefreshPhase)) {
            logScope.m_errorCode = DM_E_CANCELLED;
            return DM_E_CANCELLED;
        }
        status = Search(RefreshSearch(), *this, &aggregator);
        if (status != 0 && IsInstalled()) {
            const std::wstring serial = m_serialNumber;
            Init(serial.c_str(), progress);
            m_bOnline = false;
        }
    } catch (const std::bad_alloc&) {
        status = DM_E_OUT_OF_MEMORY;
    }
    logScope.m_errorCode = status;
    return status;
}

unsigned long CNetworkDevice::SaveAndReload()
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::SaveAndReload");
    if (!IsInstalled()) {
        return 0;
    }
    m_pIniFile->SetFileName(RecordPath(m_serialNumber));
    if (!SaveDeviceInfo()) {
        QV_LOG_ERROR(L"SaveDeviceInfo failed");
        logScope.m_errorCode = DM_E_FAILED;
        return DM_E_FAILED;
    }
    const std::wstring serial = m_serialNumber;
    logScope.m_errorCode = Init(serial.c_str(), nullptr);
    return logScope.m_errorCode;
}

unsigned long CNetworkDevice::SetIPAddress(const wchar_t* address)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::SetIPAddress", L"%s",
                           address ? address : L"");
    if (IsEmpty(address)) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    m_strIPAddress = address;
    m_bOffSubNet = !QVUtils::CNetworkUtils::IsOnSubnet(address);
    logScope.m_errorCode = SaveAndReload();
    return logScope.m_errorCode;
}

unsigned long CNetworkDevice::SetHostName(const wchar_t* hostName)
{
    QV_LOG_FUNCTION_PARAMS(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::SetHostName", L"%s",
                           hostName ? hostName : L"");
    if (IsEmpty(hostName)) {
        logScope.m_errorCode = DM_E_INVALID_ARGUMENT;
        return DM_E_INVALID_ARGUMENT;
    }
    m_strHostName = hostName;
    logScope.m_errorCode = SaveAndReload();
    return logScope.m_errorCode;
}

void CNetworkDevice::SetMulticastEnabled(bool enabled)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::SetMulticastEnabled");
    m_bMulticastEnabled = enabled;
    if (!IsInstalled()) {
        return;
    }
    m_pIniFile->SetFileName(RecordPath(m_serialNumber));
    if (SaveDeviceInfo()) {
        QV_LOG_INFO(0, L"SetMulticastEnabled -- SavedDeviceInfo");
    } else {
        QV_LOG_ERROR(L"SetMulticastEnabled -- SaveDeviceInfo failed");
    }
}

}  // namespace QVDeviceManager
