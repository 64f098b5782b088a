// A network device's record file as a user, an installer or a cut-short
// save leaves it, loaded by CNetworkDevice::InitFromFile (through the
// platform's profile functions): raw files of any bytes, and records whose
// keys, truth values, network types, addresses and configuration port the
// target picks. What the object loads must equal a model of the record's
// rules over the platform's own readings of the same file.
#include <windows.h>

#include <memory>
#include <string>

#include "devicemanager/CNetworkDevice.h"
#include "devicemanager/DeviceManagerTypes.h"
#include "devicemanager/IDeviceFunction.h"
#include "fuzz/FuzzInput.h"
#include "fuzz/FuzzTarget.h"
#include "fuzz/TurnFiles.h"

namespace {

using fuzz::Check;
using fuzz::FuzzInput;
using namespace QVDeviceManager;

std::unique_ptr<fuzz::TurnFiles> g_files;

const wchar_t* const kRequired[] = {L"SerialNumber", L"ModelName", L"GUID", L"MAC", L"HostName",
                                    L"IPAddress", L"OffSubNet", L"MulticastEnabled", L"DefaultToSearchByIP"};

// The platform's reading of a key; empty when it is missing.
std::wstring Reading(const std::wstring& file, const wchar_t* section, const wchar_t* key)
{
    std::wstring value(32768, L'\0');
    const DWORD length = GetPrivateProfileStringW(section, key, L"", &value[0], static_cast<DWORD>(value.size()),
                                                  file.c_str());
    value.resize(length);
    return value;
}

unsigned long NetworkTypeOf(const std::wstring& text)
{
    return text == L"Ethernet" ? 1 : text == L"Wireless" ? 2 : 0;
}

class LoadedDevice : public CNetworkDevice {
public:
    std::wstring ConfigAddress(bool* present)
    {
        IDeviceFunction* config = nullptr;
        *present = GetFunction(FUNCTION_TYPE_CONFIG, &config) == 0 && config != nullptr;
        return *present ? config->GetAddress() : L"";
    }
};

uint32_t Load(const std::wstring& file)
{
    LoadedDevice device;
    const unsigned long status = device.InitFromFile(file, nullptr, nullptr);
    bool whole = true;
    for (const wchar_t* key : kRequired) {
        whole = whole && !Reading(file, L"DeviceInfo", key).empty();
    }
    Check(status == (whole ? 0 : DM_E_NOT_FOUND),
          "InitFromFile gave " + std::to_string(status) + " for a record " + (whole ? "with" : "without") +
              " every required key");
    if (!whole) {
        return 0;
    }
    Check(device.GetSerialNumber() == Reading(file, L"DeviceInfo", L"SerialNumber"), "the serial number differs");
    Check(device.GetModelName() == Reading(file, L"DeviceInfo", L"ModelName"), "the model name differs");
    Check(device.GetGUID() == Reading(file, L"DeviceInfo", L"GUID"), "the GUID differs");
    Check(device.GetMAC() == Reading(file, L"DeviceInfo", L"MAC"), "the MAC differs");
    Check(device.GetHostName() == Reading(file, L"DeviceInfo", L"HostName"), "the host name differs");
    const std::wstring ip = Reading(file, L"DeviceInfo", L"IPAddress");
    Check(device.GetIPAddress() == ip, "the IP address differs");
    Check(device.GetMulticastEnabled() == fuzz::ReadsAsTrue(Reading(file, L"DeviceInfo", L"MulticastEnabled")),
          "multicast differs");
    Check(device.GetDefaultToSearchByIP() == fuzz::ReadsAsTrue(Reading(file, L"DeviceInfo", L"DefaultToSearchByIP")),
          "search by IP differs");
    const unsigned long type = NetworkTypeOf(Reading(file, L"DeviceInfo", L"NetworkType"));
    Check(device.GetNetworkType() == type, "the network type differs");
    const std::wstring port = Reading(file, L"ConfigInfo", L"PortNumber");
    bool config = false;
    const std::wstring address = device.ConfigAddress(&config);
    Check(config == !port.empty(), "a configuration function without a port, or none with one");
    // An IPv4 address or dotted name without a port of its own takes the
    // configuration port.
    if (config && ip.find(L'.') != std::wstring::npos && ip.find_first_of(L":[") == std::wstring::npos) {
        Check(address == ip + L":" + port, "the configuration function's address is not address:port");
    }
    return 1 + type * 2 + (config ? 8 : 0);
}

// A line's text without line ends.
std::string Value(FuzzInput& in, size_t max)
{
    std::string text = in.Text(max);
    for (char& c : text) {
        c = c == '\r' || c == '\n' ? 'x' : c;
    }
    return text;
}

std::string Pick(FuzzInput& in, std::initializer_list<const char*> choices)
{
    const uint8_t chosen = in.Byte();
    return chosen < choices.size() ? choices.begin()[chosen] : Value(in, 40);
}

uint32_t RunStructured(FuzzInput& in)
{
    const char* keys[] = {"SerialNumber", "ModelName", "GUID", "MAC", "HostName"};
    std::string record = "[DeviceInfo]\r\n";
    for (const char* key : keys) {
        // A key left out now and then, or given empty.
        if (in.Byte() % 8 != 0) {
            record += std::string(key) + "=" + Value(in, 48) + "\r\n";
        }
    }
    record += "IPAddress=" + Pick(in, {"10.0.0.5", "10.0.0.5:9100", "[fe80::1]:80", "fe80::1", "printer", ""}) + "\r\n";
    record += "NetworkType=" + Pick(in, {"Ethernet", "Wireless", "ethernet", "Unknown", ""}) + "\r\n";
    for (const char* key : {"OffSubNet", "MulticastEnabled", "DefaultToSearchByIP"}) {
        record += std::string(key) + "=" + Pick(in, {"true", "TRUE", "false", "1", "tRuE", "", "true "}) + "\r\n";
    }
    if (in.Byte() % 2 == 0) {
        record += "[ConfigInfo]\r\nPortNumber=" + Pick(in, {"8080", "80", "", "0"}) + "\r\n";
    }
    return Load(g_files->Write(record + in.Rest())) | 0x100;
}

uint32_t RunRecord(const unsigned char* data, size_t size)
{
    FuzzInput in(data, size);
    return in.Byte() & 1 ? RunStructured(in) : Load(g_files->Write(in.Rest()));
}

const fuzz::TargetRegistration kRegistration{{
    "network_record",
    {fuzz::CorpusFolder("network_record")},
    {"[DeviceInfo]", "[ConfigInfo]", "[PrinterInfo]", "SerialNumber=", "HostName=", "IPAddress=", "NetworkType=",
     "OffSubNet=", "MulticastEnabled=", "DefaultToSearchByIP=", "PortNumber=", "DeviceInstanceId=", "true", "TRUE",
     "Ethernet", "Wireless", "\r\n", "=", "[", "]", ":", "."},
    8192,
    30000,
    0,
    [] { g_files = std::make_unique<fuzz::TurnFiles>(L"orvane-fuzz-record", L"record-"); },
    [] { g_files.reset(); },
    RunRecord,
}};

}  // namespace
