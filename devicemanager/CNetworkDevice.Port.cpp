// A network device named by a port: the standard TCP/IP port's key, or the
// family's discovery monitor asked through the port's transceive channel.
#include <windows.h>

#include <cwchar>
#include <memory>

#include "devicemanager/CNetworkDevice.h"
#include "devicemanager/CRegUtil.h"
#include "logging/LogTrace.h"
#include "resolver/ResolverUtils.h"
#include "utils/CNetworkUtils.h"
#include "winapi/ISpoolerApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

namespace {

const wchar_t kStandardPorts[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\ZQ Standard TCP/IP Port\\Ports\\";
constexpr size_t kPortNameChars = 64;

// The platform's CONFIG_INFO_DATA_1.
struct ConfigInfoData1 {
    BYTE Reserved[128];
    DWORD dwVersion;
};

bool SendCommand(HANDLE xcv, const wchar_t* command, void* input, DWORD inputBytes, void* output, DWORD outputBytes)
{
    DWORD needed = 0;
    DWORD status = ERROR_INVALID_FUNCTION;
    return g_pSpoolerApi->XcvDataW(xcv, command, static_cast<BYTE*>(input), inputBytes, static_cast<BYTE*>(output),
                                   outputBytes, &needed, &status)
        && status == ERROR_SUCCESS;
}

}  // namespace

void CNetworkDevice::AskMonitor(const wchar_t* port, std::wstring& ipAddress, std::wstring& hostName)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::AskMonitor");
    QV_LOG_INFO(0, L"Try XcvPort on %s", port);
    std::wstring name = std::wstring(L",XcvPort ") + port;
    HANDLE xcv = nullptr;
    if (!g_pSpoolerApi->OpenPrinterW(&name[0], &xcv, nullptr)) {
        logScope.m_errorCode = ::GetLastError();
        return;
    }
    QV_LOG_INFO(0, L"OpenPrinter to XcvPort succeeded");
    DWORD discovery = 0;
    if (SendCommand(xcv, L"IsZQDiscoPort", nullptr, 0, &discovery, sizeof discovery) && discovery == 1) {
        QV_LOG_INFO(0, L"%s is an ZQ discovery port", port);
        ConfigInfoData1 config = {};
        config.dwVersion = 1;
        auto data = std::make_unique<Orvane::PortData1>();
        *data = {};
        wcsncpy(data->sztPortName, port, kPortNameChars - 1);
        if (SendCommand(xcv, L"GetConfigInfo", &config, sizeof config, data.get(), sizeof *data)) {
            QV_LOG_INFO(0, L"XcvData GetConfigInfo succeeded");
            data->sztIPAddress[_countof(data->sztIPAddress) - 1] = L'\0';
            data->sztHostAddress[_countof(data->sztHostAddress) - 1] = L'\0';
            if (data->sztIPAddress[0] != L'\0') {
                ipAddress = data->sztIPAddress;
            }
            if (data->sztHostAddress[0] != L'\0') {
                hostName = data->sztHostAddress;
            }
        }
    }
    g_pSpoolerApi->ClosePrinter(xcv);
}

unsigned long CNetworkDevice::InitFromPort(const wchar_t* port, QVUtils::IProgress*)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CNetworkDevice::InitFromPort");
    const std::wstring key = kStandardPorts + std::wstring(port);
    std::wstring hostName;
    std::wstring ipAddress;
    CRegUtil::GetValue(HKEY_LOCAL_MACHINE, key.c_str(), L"HostName", hostName);
    CRegUtil::GetValue(HKEY_LOCAL_MACHINE, key.c_str(), L"IPAddress", ipAddress);
    if (hostName.empty() && ipAddress.empty()) {
        AskMonitor(port, ipAddress, hostName);
    }
    if (!hostName.empty() && ipAddress.empty()) {
        std::vector<std::wstring> ipv6;
        std::wstring ipv4;
        if (QVUtils::CNetworkUtils::GetIpAddrByHost(hostName.c_str(), ipv4, ipv6)) {
            ipAddress = !ipv4.empty() ? ipv4 : ipv6.empty() ? L"" : ipv6.front();
            QV_LOG_INFO(0, L"DNS lookup: %s to %s", hostName.c_str(), ipAddress.c_str());
        }
    }
    QV_LOG_INFO(0, L"Resolved IP address: %s", ipAddress.c_str());
    if (ipAddress.empty()) {
        logScope.m_errorCode = DM_E_NOT_FOUND;
        return DM_E_NOT_FOUND;
    }
    auto found = std::make_unique<CNetworkDevice>();
    const unsigned long status = Search({{SearchStep::ByAddress, ipAddress}}, *found, nullptr);
    if (status == 0) {
        QV_LOG_INFO(0, L"Rediscovered device by address.");
        Init(*found);
        m_serialNumber = port;
        m_bRediscoveredByPort = true;
    }
    logScope.m_errorCode = status;
    return status;
}

}  // namespace QVDeviceManager
