#pragma once

// Record files of network devices in the data directory of the prefix, as
// the tests write them by hand and read them back.
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "devicemanager/CNetworkDevice.h"
#include "discovery/CDiscoveredDevice.h"

namespace devicemanager_test {

// The endpoint address of the device whose record the safety tests and
// record-saver.exe write (the GUID of DeviceInfoLines).
inline constexpr wchar_t kRecordGuid[] = L"urn:uuid:0f8e6a52-3c1d-4b7a-9e21-5d6c7b8a9f01";

// A device as it announced itself.
class Announced : public QVDiscovery::CDiscoveredDevice {
public:
    Announced(const std::wstring& serial, const std::wstring& id, const std::wstring& ip,
              const std::wstring& host, unsigned long services = 1 | 16)
    {
        m_serialNumber = serial;
        m_id = id;
        m_ipAddress = ip;
        m_hostName = host;
        m_hardwareAddress = L"00:11:22:33:44:55";
        m_manufacturer = L"ZQ";
        m_model = L"Tamrik 500";
        m_services = services;
        m_adapterType = QVDiscovery::kAdapterWired;
    }
    void SetModel(const std::wstring& model) { m_model = model; }
    void SetAdapter(unsigned long type) { m_adapterType = type; }
    void SetHardwareAddress(const std::wstring& mac) { m_hardwareAddress = mac; }
};

// A network device whose record the test writes, as installing it does.
class RecordedDevice : public QVDeviceManager::CNetworkDevice {
public:
    RecordedDevice() = default;
    explicit RecordedDevice(QVUtils::IIniFile* ini) : CNetworkDevice(ini) {}
    using CNetworkDevice::SaveDeviceInfo;
};

inline std::wstring RecordPath(const std::wstring& serial)
{
    return QVDeviceManager::CNetworkDevice::RecordPath(serial);
}

// The file's bytes.
inline std::string ReadBytes(const std::wstring& path)
{
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

inline void WriteBytes(const std::wstring& path, const std::string& bytes)
{
    ::CreateDirectoryW(QVDeviceManager::CNetworkDevice::RecordFolder().c_str(), nullptr);
    std::ofstream(std::filesystem::path(path), std::ios::binary | std::ios::trunc) << bytes;
}

// The lines of an ANSI or UTF-8 file, without their ends ("\r\n" or "\n").
inline std::vector<std::string> ReadLines(const std::wstring& path)
{
    std::vector<std::string> lines;
    std::istringstream text(ReadBytes(path));
    for (std::string line; std::getline(text, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        lines.push_back(line);
    }
    return lines;
}

// A record's text, each line ended by "\r\n".
inline std::string RecordText(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\r\n";
    }
    return text;
}

// The lines of a whole record for the ten keys, in their order.
inline std::vector<std::string> DeviceInfoLines(const std::string& serial, const std::string& ip,
                                                const std::string& host, const std::string& offSubNet = "false",
                                                const std::string& multicast = "true",
                                                const std::string& byIP = "true")
{
    return {"[DeviceInfo]",
            "SerialNumber=" + serial,
            "ModelName=ZQ Tamrik 500",
            "GUID=urn:uuid:0f8e6a52-3c1d-4b7a-9e21-5d6c7b8a9f01",
            "MAC=00:11:22:33:44:55",
            "HostName=" + host,
            "IPAddress=" + ip,
            "NetworkType=Ethernet",
            "OffSubNet=" + offSubNet,
            "MulticastEnabled=" + multicast,
            "DefaultToSearchByIP=" + byIP};
}

}  // namespace devicemanager_test
