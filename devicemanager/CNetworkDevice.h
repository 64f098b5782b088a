#pragma once

#include <windows.h>
#include <setupapi.h>

#include <string>
#include <vector>

#include "devicemanager/CDeviceT.h"
#include "utils/CProgressAggregator.h"
#include "discovery/IDiscoveredDevice.h"
#include "utils/CIniFile.h"

namespace QVDeviceManager {

// One step of a search for a network device: by the identifier (the one
// multicast search), or directed at an IP address or a host name.
struct SearchStep {
    enum Kind { ById, ByAddress, ByHostName };
    Kind kind;
    std::wstring target;
};

// A network device: its record file in the "NetworkDevices" folder of the
// data directory, named after the serial number, united with what a
// discovery said of the device last.
class CNetworkDevice : public CDeviceT<INetworkDevice> {
public:
    // The callback of a search that only reports progress.
    class CDeviceDiscoveryProgress;

    CNetworkDevice() = default;
    ~CNetworkDevice() override = default;

    // A serial number (the device's record), or a port name of the family's
    // monitor.
    unsigned long Init(const wchar_t* id, QVUtils::IProgress* progress) override;
    void Reset() override;
    // A network device has no node: DM_E_NOT_SUPPORTED.
    unsigned long Init(const CDevNode& devNode, QVUtils::IProgress* progress) override;
    // Takes the identity and addresses of the other device, and a function
    // with empty names for each of its functions.
    virtual unsigned long Init(const CNetworkDevice& other);
    // The record of the discovered device's serial number, filled from the
    // device itself when there is none.
    virtual unsigned long Init(const QVDiscovery::IDiscoveredDevice* discovered, QVUtils::IProgress* progress);
    virtual unsigned long InitFromFile(const std::wstring& path, const QVDiscovery::IDiscoveredDevice* discovered,
                                       QVUtils::IProgress* progress);
    virtual void SetOnline(bool online) { m_bOnline = online; }

    bool IsInstalled() override;
    bool IsOnline() override { return m_bOnline; }
    CONNECTION_TYPE GetConnectionType() override { return CONNECTION_TYPE_NETWORK; }
    unsigned long Refresh(QVUtils::IProgress* progress) override;
    // Makes the device's functions devices of the system: root-enumerated
    // nodes, ports of the discovery monitor and the record. All or nothing.
    unsigned long Install(QVUtils::IProgress* progress) override;
    unsigned long Uninstall(QVUtils::IProgress* progress) override;
    // `force` goes on past a failing step as if it had worked.
    unsigned long Uninstall(QVUtils::IProgress* progress, bool force);

    const std::wstring& GetIPAddress() override { return m_strIPAddress; }
    const std::wstring& GetHostName() override { return m_strHostName; }
    const std::wstring& GetGUID() override { return m_strGUID; }
    const std::wstring& GetMAC() override { return m_strMAC; }
    unsigned long GetNetworkType() override { return m_ulNetworkType; }
    unsigned long SetIPAddress(const wchar_t* address) override;
    unsigned long SetHostName(const wchar_t* hostName) override;
    void SetMulticastEnabled(bool enabled) override;
    bool GetMulticastEnabled() override { return m_bMulticastEnabled; }
    void SetDefaultToSearchByIP(bool byIP) override { m_bDefaultToSearchByIP = byIP; }
    bool GetDefaultToSearchByIP() override { return m_bDefaultToSearchByIP; }

    // What Refresh searches for, in order: directed at the addresses when
    // the device is off the subnet, multicast is off or the device came
    // from a port; by identifier otherwise.
    std::vector<SearchStep> RefreshSearch() const;

    // The model name without a first word "ZQ" and with "_" for blanks.
    static std::wstring ModelIdentifier(const std::wstring& modelName);

    // The folder of the records, worked out once.
    static const std::wstring& RecordFolder();
    static std::wstring RecordPath(const std::wstring& serialNumber);

protected:
    // Reads and writes the record through `ini` instead of the device's own
    // file object; the caller keeps it alive.
    explicit CNetworkDevice(QVUtils::IIniFile* ini) : m_pIniFile(ini) {}

    bool LoadDeviceInfo();
    bool SaveDeviceInfo();
    bool LoadPrinterInfo();
    bool LoadFaxInfo();
    bool LoadScannerInfo();
    bool LoadConfigInfo();

private:
    // Writes the parameters of a node just made: DM_E_FAILED on failure.
    typedef unsigned long (CNetworkDevice::*ParameterStep)(HDEVINFO set, PSP_DEVINFO_DATA node);
    struct Service {
        const wchar_t* className;
        const GUID* classGuid;
        const wchar_t* word;
        ParameterStep parameters;
    };

    unsigned long InstallPrint(const std::wstring& model, QVUtils::IProgress* progress);
    unsigned long InstallFax(const std::wstring& model, QVUtils::IProgress* progress);
    unsigned long InstallScan(const std::wstring& model, QVUtils::IProgress* progress);
    unsigned long InstallConfig();
    // Installs one node and keeps its instance after the record's section.
    unsigned long InstallNode(const Service& service, const std::wstring& model, const wchar_t* section,
                              std::wstring& instance, QVUtils::IProgress* progress);
    unsigned long InstallService(const Service& service, const std::wstring& model, std::wstring& instance,
                                 QVUtils::IProgress* progress);
    unsigned long RunClassInstallers(HDEVINFO set, PSP_DEVINFO_DATA node, bool& reboot,
                                     QVUtils::CProgressAggregator& aggregator);
    unsigned long SetPrinterParams(HDEVINFO set, PSP_DEVINFO_DATA node);
    unsigned long SetFaxParams(HDEVINFO set, PSP_DEVINFO_DATA node);
    unsigned long SetScannerParams(HDEVINFO set, PSP_DEVINFO_DATA node);
    unsigned long WritePortName(HDEVINFO set, PSP_DEVINFO_DATA node, const std::wstring& port);
    unsigned long CreatePrinterPort(const std::wstring& portName);
    unsigned long DeletePrinterPort(const std::wstring& portName);
    unsigned long SetPrinterContainerID(const std::wstring& printerName);
    unsigned long UninstallPrint(QVUtils::IProgress* progress, bool force);
    unsigned long UninstallFax(QVUtils::IProgress* progress, bool force);
    unsigned long UninstallScan(QVUtils::IProgress* progress, bool force);
    unsigned long UninstallConfig();
    unsigned long UninstallService(const std::wstring& instance, QVUtils::IProgress* progress);
    // The step of a print or fax queue's driver on uninstall.
    unsigned long UninstallDriver(FUNCTION_TYPE type, bool force, bool& reboot);

    // One key of the record and its text.
    struct RecordValue {
        const wchar_t* section;
        const wchar_t* key;
        std::wstring text;
    };
    std::vector<RecordValue> KeptValues() const;
    // True when each key of the record's file reads as its text.
    bool ReadsBack(const std::vector<RecordValue>& values) const;
    bool LoadQueueInfo(const wchar_t* section, FUNCTION_TYPE type, std::wstring& instance, std::wstring& port);
    void SetContainerID();
    void FillFrom(const QVDiscovery::IDiscoveredDevice& discovered);
    void DestroyFunction(FUNCTION_TYPE type);
    IDeviceFunction* MakeFunction(FUNCTION_TYPE type);
    unsigned long InitFromPort(const wchar_t* port, QVUtils::IProgress* progress);
    void AskMonitor(const wchar_t* port, std::wstring& ipAddress, std::wstring& hostName);
    // Runs the steps in order into `target` until one finds the device;
    // without progress the search has no callback.
    unsigned long Search(const std::vector<SearchStep>& steps, CNetworkDevice& target, QVUtils::IProgress* progress);
    // Saves an installed device's record and reads it back.
    unsigned long SaveAndReload();

    QVUtils::CIniFile m_iniFile;
    QVUtils::IIniFile* m_pIniFile = &m_iniFile;
    bool m_bOnline = false;
    std::wstring m_strGUID;
    std::wstring m_strMAC;
    std::wstring m_strHostName;
    std::wstring m_strIPAddress;
    unsigned long m_ulNetworkType = 0;
    bool m_bOffSubNet = false;
    bool m_bMulticastEnabled = true;
    bool m_bDefaultToSearchByIP = true;
    bool m_bRediscoveredByPort = false;
    std::wstring m_strPrinterInstance;
    std::wstring m_strPrinterPort;
    std::wstring m_strFaxInstance;
    std::wstring m_strFaxPort;
    std::wstring m_strScannerInstance;
    std::wstring m_strConfigPort;
};

}  // namespace QVDeviceManager
