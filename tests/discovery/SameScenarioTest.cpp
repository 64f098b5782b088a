// One table of searches run against both servers: each must give the same
// client calls and the same records. The own server's directed search goes
// to a device's web server on loopback; the system server's search goes to
// the provider double (ProviderDouble.h), which answers from the same row
// with the same vendor extension in the provider's XML, as a device's
// ProbeMatches would reach the platform's provider.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "discovery/CDiscoveryServerWSD.h"
#include "discovery/CDiscoveryServerXpWSD.h"
#include "discovery/CWSDSession.h"
#include "discovery/DeviceRecord.h"
#include "discovery/DiscoveryClients.h"
#include "discovery/DiscoveryStatus.h"
#include "discovery/HttpDevicePeer.h"
#include "discovery/ProviderDouble.h"
#include "discovery/WSDMessages.h"
#include "doubles/ApiOverride.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"

using namespace QVDiscovery;
using namespace discoverytest;

namespace {

// A child of the vendor extension, named as in the devices' schema.
struct Field {
    const char* name;
    const char* value;  // UTF-8
};

struct Scenario {
    const char* name;
    // The device's loopback address, searched by address.
    const char* address;
    // False: nothing answers there.
    bool answers;
    const char* endpoint;
    std::vector<Field> extension;
    unsigned long status;
    std::vector<std::wstring> calls;
    std::vector<std::wstring> records;
};

const std::vector<Scenario>& Scenarios()
{
    static const std::vector<Scenario> table = {
        {"EveryField", "127.0.18.80", true, "urn:uuid:same-80",
         {{"HardwareAddress", "00:11:22:33:44:80"}, {"UUID", "uuid:same-80"}, {"IPv4Address", "127.0.18.80"},
          {"Hostname", "zq-b\xc3\xbcro"}, {"DeviceId", "MFG:ACME;MDL:Laser 5;CMD:PCL;"},
          {"SerialNumber", "SN0080"}, {"Services", "Print9100 RestScan  Fax"}, {"AdapterType", "WifiEmbedded"}},
         DISCOVERY_OK,
         {L"add urn:uuid:same-80", L"complete"},
         {L"urn:uuid:same-80|00:11:22:33:44:80|zq-b\u00fcro|127.0.18.80|ACME|Laser 5|SN0080|35|2"}},
        {"SimAddressWins", "127.0.18.81", true, "urn:uuid:same-81",
         {{"UUID", "uuid:same-81"}, {"IPv4Address", "127.0.18.81"}, {"SimAddress", "203.0.113.81"}},
         DISCOVERY_OK,
         {L"add urn:uuid:same-81", L"complete"},
         {L"urn:uuid:same-81|||203.0.113.81||||0|0"}},
        {"LongKeysAndLowerCaseTokens", "127.0.18.82", true, "urn:uuid:same-82",
         {{"UUID", "uuid:same-82"}, {"IPv4Address", "127.0.18.82"},
          {"DeviceId", "MANUFACTURER:ACME;MODEL:Laser 5;"}, {"Services", "print9100 EWS"},
          {"AdapterType", "ethernet"}},
         DISCOVERY_OK,
         {L"add urn:uuid:same-82", L"complete"},
         {L"urn:uuid:same-82|||127.0.18.82||||8|1"}},
        {"EmptyEndpointTakesTheUuid", "127.0.18.83", true, "",
         {{"UUID", "uuid:same-83"}, {"IPv4Address", "127.0.18.83"}, {"Hostname", "zq-83"}},
         DISCOVERY_OK,
         {L"add uuid:same-83", L"complete"},
         {L"uuid:same-83||zq-83|127.0.18.83||||0|0"}},
        {"NobodyAtTheAddress", "127.0.18.84", false, "", {}, DISCOVERY_E_NETWORK, {L"failed 13"}, {}},
    };
    return table;
}

std::wstring Wide(const char* utf8)
{
    const int size = ::MultiByteToWideChar(CP_UTF8, 0, utf8, -1, nullptr, 0);
    std::wstring wide(size, L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, utf8, -1, &wide[0], size);
    wide.resize(size - 1);
    return wide;
}

// The row's vendor extension as a device writes it.
std::string ExtensionXml(const Scenario& row)
{
    std::string xml = "<v:VendorExtension>";
    for (const Field& field : row.extension) {
        const std::string name = field.name;
        const bool pwg = name == "DeviceId" || name == "SerialNumber" || name == "Services" || name == "AdapterType";
        const std::string tag = (pwg ? "p:" : "x:") + name;
        xml += "<" + tag + ">" + field.value + "</" + tag + ">";
    }
    return xml + "</v:VendorExtension>";
}

// The client of both runs: calls and the records of added devices.
class Recorder : public RecordingClient {
public:
    void Add(IDiscoveredDevice* device, uintptr_t context) override
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            records.push_back(Describe(*device));
        }
        RecordingClient::Add(device, context);
    }
    std::vector<std::wstring> Records()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return records;
    }

private:
    std::mutex m_mutex;
    std::vector<std::wstring> records;
};

enum class Server { Own, System };

struct Outcome {
    unsigned long status = 0;
    std::vector<std::wstring> calls;
    std::vector<std::wstring> records;
};

Outcome RunOwn(const Scenario& row)
{
    CDiscoveryServerXpWSD<CWSDSession> server;
    Recorder client;
    server.RegisterClient(&client);
    std::unique_ptr<wsdtest::HttpDevicePeer> web;
    if (row.answers) {
        web.reset(new wsdtest::HttpDevicePeer(row.address, [&row](const std::string& request) {
            using namespace wsdtest;
            return HttpReply(Incoming(MessageIdHeader(std::string("uuid:reply-") + row.address)
                                          + RelatesToHeader(MessageIdOf(request)) + ActionHeader("ProbeMatches"),
                                      "<d:ProbeMatches><d:ProbeMatch>" + Children(row.endpoint, ExtensionXml(row))
                                          + "</d:ProbeMatch></d:ProbeMatches>"));
        }));
        EXPECT_TRUE(web->Listening()) << "the device's web server could not listen on " << row.address << ":80";
    }
    Outcome outcome;
    outcome.status = server.SearchByAddress(Wide(row.address).c_str(), 0);
    outcome.calls = client.Calls();
    outcome.records = client.Records();
    return outcome;
}

Outcome RunSystem(const Scenario& row)
{
    wsdprovider::RedirectedWsdapi kernel{wsdprovider::kStandInName};
    doubles::ApiOverride<QVWinApi::IKernelApi> swap{g_pKernelApi, kernel};
    wsdprovider::StandIn standIn;
    EXPECT_TRUE(standIn.Ready()) << "orvwsdapi.dll, the stand-in provider, is not beside the test program";
    wsdprovider::XmlTree tree;
    WSDXML_ELEMENT* body = tree.Element(L"VendorExtension");
    for (const Field& field : row.extension) {
        tree.Field(body, Wide(field.name).c_str(), Wide(field.value).c_str());
    }
    const std::wstring endpoint = Wide(row.endpoint);
    wsdprovider::ProviderScript script;
    if (row.answers) {
        // The match comes from the address the provider was sent to.
        script.notifications = {[&](IWSDiscoveryProviderNotify* sink, const std::wstring& address) {
            wsdprovider::FakeService match(endpoint.c_str(), address.c_str(), body);
            sink->Add(&match);
        }};
    } else {
        script.notifications = {wsdprovider::Failed(HRESULT_FROM_WIN32(WSAECONNREFUSED))};
    }
    wsdprovider::FakeProvider provider{script};
    standIn.Answer(&provider, S_OK);
    Outcome outcome;
    {
        CDiscoveryServerWSD server;
        Recorder client;
        server.RegisterClient(&client);
        EXPECT_TRUE(server.LoadWSDLibrary());
        outcome.status = server.SearchByAddress(Wide(row.address).c_str(), 0);
        outcome.calls = client.Calls();
        outcome.records = client.Records();
    }
    standIn.Answer(nullptr, E_NOTIMPL);
    return outcome;
}

struct SameScenario : ::testing::TestWithParam<std::tuple<Server, size_t>> {
    ~SameScenario() override
    {
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"same-scenario"};
};

}  // namespace

TEST_P(SameScenario, GivesTheRowsCallsAndRecords)
{
    const Scenario& row = Scenarios().at(std::get<1>(GetParam()));
    const Outcome outcome = std::get<0>(GetParam()) == Server::Own ? RunOwn(row) : RunSystem(row);
    EXPECT_EQ(row.status, outcome.status);
    EXPECT_EQ(row.calls, outcome.calls);
    EXPECT_EQ(row.records, outcome.records);
}

INSTANTIATE_TEST_SUITE_P(BothServers, SameScenario,
                         ::testing::Combine(::testing::Values(Server::Own, Server::System),
                                            ::testing::Range<size_t>(0, Scenarios().size())),
                         [](const ::testing::TestParamInfo<SameScenario::ParamType>& info) {
                             return std::string(std::get<0>(info.param) == Server::Own ? "Own_" : "System_")
                                 + Scenarios().at(std::get<1>(info.param)).name;
                         });
