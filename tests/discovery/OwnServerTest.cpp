// The library's own server: its adapter walk and thread bookkeeping with
// adapters from a double of the IP helper (what this machine cannot be made
// to show: 16 addresses, tunnels, 802.11, tentative addresses), and the
// directed search by address against a device's web server on loopback.
// Searches by type and identifier send multicast and run between network
// namespaces (tests/wsdnetns).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "discovery/AdapterListDouble.h"
#include "discovery/CDiscoveryServerWSD.h"
#include "discovery/CDiscoveryServerXpWSD.h"
#include "discovery/CWSDSession.h"
#include "discovery/DiscoveryClients.h"
#include "discovery/DiscoveryLib.h"
#include "discovery/DiscoveryStatus.h"
#include "discovery/HttpDevicePeer.h"
#include "discovery/WSDMessages.h"
#include "doubles/ApiOverride.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"
#include "winapi/CKernelApi.h"

using namespace QVDiscovery;
using namespace discoverytest;
using namespace wsdtest;

namespace {

using OwnServer = CDiscoveryServerXpWSD<CWSDSession>;

// The own server with each address's search replaced: it writes down the
// address and answers with the result the test chose for it.
class WalkingServer : public OwnServer {
public:
    unsigned long DiscoveryThreadProc(DiscoveryThreadArgs& args) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        addresses.push_back(args.localAddress);
        if (deliver) {
            args.addQueue->QueueEvent(NamedDevice(L"urn:uuid:twice"), args.request.context);
        }
        const auto found = results.find(args.localAddress);
        return found != results.end() ? found->second : DISCOVERY_E_STOPPED;
    }
    std::vector<std::string> Addresses()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return addresses;
    }

    std::map<std::string, unsigned long> results;
    bool deliver = false;

private:
    std::mutex m_mutex;
    std::vector<std::string> addresses;
};

// The main discovery procedure called directly, with a search's block.
struct MainProc {
    MainProc(CDiscoveryServer& server, unsigned long type)
    {
        args.server = &server;
        args.stopEvent = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
        args.request.type = type;
        args.addQueue = &adds;
        args.removeQueue = &removes;
        adds.GetEventHandle();
        removes.GetEventHandle();
    }
    ~MainProc() { ::CloseHandle(args.stopEvent); }
    bool Stopped() const { return ::WaitForSingleObject(args.stopEvent, 0) == WAIT_OBJECT_0; }

    CDiscoveryServer::CAddEventQueue adds;
    CDiscoveryServer::CRemoveEventQueue removes;
    DiscoveryThreadArgs args;
};

struct OwnServerWalk : ::testing::Test {
    ~OwnServerWalk() override
    {
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"own-server-walk", 0x30000EF0};
    AdapterListDouble helper;
    doubles::ApiOverride<QVWinApi::IIPHelperApi> swap{g_pIPHelperApi, helper};
    WalkingServer server;
};

FakeAdapter Adapter(IFTYPE type, IF_OPER_STATUS status, std::vector<std::pair<std::string, IP_DAD_STATE>> addresses)
{
    FakeAdapter adapter;
    adapter.type = type;
    adapter.operStatus = status;
    adapter.addresses = std::move(addresses);
    return adapter;
}

constexpr IFTYPE kTunnel = IF_TYPE_TUNNEL;

}  // namespace

TEST_F(OwnServerWalk, NoUsableAdapterGivesNetworkAtOnce)
{
    helper.adapters = {Adapter(IF_TYPE_ETHERNET_CSMACD, IfOperStatusDown, {{"192.0.2.1", IpDadStatePreferred}}),
                       Adapter(IF_TYPE_SOFTWARE_LOOPBACK, IfOperStatusUp, {{"127.0.0.1", IpDadStatePreferred}}),
                       Adapter(kTunnel, IfOperStatusUp, {{"192.0.2.2", IpDadStatePreferred}})};
    MainProc main(server, DISCOVERY_SEARCH_BY_TYPE);
    EXPECT_EQ(DISCOVERY_E_NETWORK, server.MainDiscoveryThreadProc(main.args));
    EXPECT_TRUE(server.Addresses().empty());
}

TEST_F(OwnServerWalk, NoAdapterAtAllGivesNetwork)
{
    MainProc main(server, DISCOVERY_SEARCH_BY_ID);
    EXPECT_EQ(DISCOVERY_E_NETWORK, server.MainDiscoveryThreadProc(main.args));
}

TEST_F(OwnServerWalk, DownLoopbackTunnelAndTentativeAddressesAreSkipped)
{
    helper.adapters = {Adapter(IF_TYPE_ETHERNET_CSMACD, IfOperStatusDown, {{"192.0.2.1", IpDadStatePreferred}}),
                       Adapter(IF_TYPE_SOFTWARE_LOOPBACK, IfOperStatusUp, {{"127.0.0.1", IpDadStatePreferred}}),
                       Adapter(kTunnel, IfOperStatusUp, {{"192.0.2.2", IpDadStatePreferred}}),
                       Adapter(IF_TYPE_ETHERNET_CSMACD, IfOperStatusUp,
                               {{"192.0.2.3", IpDadStateTentative}, {"192.0.2.4", IpDadStatePreferred},
                                {"192.0.2.5", IpDadStateDeprecated}})};
    MainProc main(server, DISCOVERY_SEARCH_BY_TYPE);
    EXPECT_EQ(DISCOVERY_E_STOPPED, server.MainDiscoveryThreadProc(main.args));
    EXPECT_EQ(std::vector<std::string>{"192.0.2.4"}, server.Addresses());
}

TEST_F(OwnServerWalk, SixteenthAddressFindsNoThreadAndIsLogged)
{
    FakeAdapter wireless = Adapter(IF_TYPE_IEEE80211, IfOperStatusUp, {});
    for (int i = 1; i <= 16; ++i) {
        wireless.addresses.push_back({"198.51.100." + std::to_string(i), IpDadStatePreferred});
    }
    helper.adapters = {wireless, Adapter(IF_TYPE_ETHERNET_CSMACD, IfOperStatusUp, {{"192.0.2.9", IpDadStatePreferred}})};
    MainProc main(server, DISCOVERY_SEARCH_BY_TYPE);
    server.MainDiscoveryThreadProc(main.args);
    std::vector<std::string> addresses = server.Addresses();
    std::sort(addresses.begin(), addresses.end());
    std::vector<std::string> expected;
    for (int i = 1; i <= 15; ++i) {
        expected.push_back("198.51.100." + std::to_string(i));
    }
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(expected, addresses);
    EXPECT_EQ(1u, log.Count(L"(WN) Reached maximum discovery threads allowed (15)"));
}

TEST_F(OwnServerWalk, IPv4AndIPv6AddressesGetAThreadEach)
{
    helper.adapters = {Adapter(IF_TYPE_ETHERNET_CSMACD, IfOperStatusUp,
                               {{"192.0.2.7", IpDadStatePreferred}, {"2001:db8::7", IpDadStatePreferred}})};
    MainProc main(server, DISCOVERY_SEARCH_BY_TYPE);
    server.MainDiscoveryThreadProc(main.args);
    std::vector<std::string> addresses = server.Addresses();
    std::sort(addresses.begin(), addresses.end());
    EXPECT_EQ((std::vector<std::string>{"192.0.2.7", "2001:db8::7"}), addresses);
    EXPECT_EQ(1u, log.Count(L"(DB) Discovery thread for adapter (2001:db8::7) has started"));
    EXPECT_EQ(1u, log.Count(L"(DB) Event thread or adapter (2001:db8::7) has stopped"));
}

TEST_F(OwnServerWalk, AddressThatGetnameinfoCannotWriteIsLoggedAndSkipped)
{
    helper.adapters = {Adapter(IF_TYPE_ETHERNET_CSMACD, IfOperStatusUp,
                               {{kNoFamily, IpDadStatePreferred}, {"192.0.2.8", IpDadStatePreferred}})};
    MainProc main(server, DISCOVERY_SEARCH_BY_TYPE);
    server.MainDiscoveryThreadProc(main.args);
    EXPECT_EQ(std::vector<std::string>{"192.0.2.8"}, server.Addresses());
    EXPECT_EQ(1u, log.Count(L"(##) getnameinfo failed, err=10047"));
}

TEST_F(OwnServerWalk, FailedEnumerationIsLoggedAndGivesNetwork)
{
    helper.failure = ERROR_NOT_SUPPORTED;
    MainProc main(server, DISCOVERY_SEARCH_BY_TYPE);
    EXPECT_EQ(DISCOVERY_E_NETWORK, server.MainDiscoveryThreadProc(main.args));
    EXPECT_EQ(1u, log.Count(L"(##) GetAdaptersAddresses failed (50).\n"));
    bool logged = false;
    for (const std::wstring& line : log.Lines()) {
        logged = logged || line.rfind(L"(##) CAdapterAddresses.Enum failed, err=", 0) == 0;
    }
    EXPECT_TRUE(logged);
}

TEST_F(OwnServerWalk, SearchByTypeWaitsForAllAndTakesAnySuccess)
{
    helper.adapters = {Adapter(IF_TYPE_ETHERNET_CSMACD, IfOperStatusUp,
                               {{"192.0.2.1", IpDadStatePreferred}, {"192.0.2.2", IpDadStatePreferred},
                                {"192.0.2.3", IpDadStatePreferred}})};
    server.results = {{"192.0.2.1", DISCOVERY_E_NETWORK}, {"192.0.2.2", DISCOVERY_OK},
                      {"192.0.2.3", DISCOVERY_E_NETWORK}};
    MainProc main(server, DISCOVERY_SEARCH_BY_TYPE);
    EXPECT_EQ(DISCOVERY_OK, server.MainDiscoveryThreadProc(main.args));
    EXPECT_EQ(3u, server.Addresses().size());
    EXPECT_FALSE(main.Stopped());
}

TEST_F(OwnServerWalk, SearchByTypeWithoutSuccessGivesTheLastResult)
{
    helper.adapters = {Adapter(IF_TYPE_ETHERNET_CSMACD, IfOperStatusUp,
                               {{"192.0.2.1", IpDadStatePreferred}, {"192.0.2.2", IpDadStatePreferred}})};
    server.results = {{"192.0.2.1", DISCOVERY_E_NETWORK}, {"192.0.2.2", DISCOVERY_E_INTERNAL}};
    MainProc main(server, DISCOVERY_SEARCH_BY_TYPE);
    EXPECT_EQ(DISCOVERY_E_INTERNAL, server.MainDiscoveryThreadProc(main.args));
}

TEST_F(OwnServerWalk, SearchByIdEndsWithTheFirstFindAndStopsTheRest)
{
    helper.adapters = {Adapter(IF_TYPE_ETHERNET_CSMACD, IfOperStatusUp,
                               {{"192.0.2.1", IpDadStatePreferred}, {"192.0.2.2", IpDadStatePreferred}})};
    server.results = {{"192.0.2.2", DISCOVERY_OK}};
    // The other address's search waits for the stop event.
    class Waiting : public WalkingServer {
    public:
        unsigned long DiscoveryThreadProc(DiscoveryThreadArgs& args) override
        {
            const unsigned long result = WalkingServer::DiscoveryThreadProc(args);
            if (result != DISCOVERY_OK) {
                ::WaitForSingleObject(args.stopEvent, INFINITE);
            }
            return result;
        }
    } waiting;
    waiting.results = server.results;
    MainProc main(waiting, DISCOVERY_SEARCH_BY_ID);
    EXPECT_EQ(DISCOVERY_OK, waiting.MainDiscoveryThreadProc(main.args));
    EXPECT_TRUE(main.Stopped());
}

TEST_F(OwnServerWalk, DeviceOnTwoAdaptersIsDeliveredTwice)
{
    helper.adapters = {Adapter(IF_TYPE_ETHERNET_CSMACD, IfOperStatusUp, {{"192.0.2.1", IpDadStatePreferred}}),
                       Adapter(IF_TYPE_IEEE80211, IfOperStatusUp, {{"198.51.100.1", IpDadStatePreferred}})};
    server.deliver = true;
    RecordingClient client;
    ASSERT_EQ(DISCOVERY_OK, server.RegisterClient(&client));
    EXPECT_EQ(DISCOVERY_OK, server.SearchByType(nullptr, 0));
    EXPECT_EQ((std::vector<std::wstring>{L"add urn:uuid:twice", L"add urn:uuid:twice", L"complete"}),
              client.Calls());
}

TEST(OwnServer, SearchTimeouts)
{
    OwnServer server;
    EXPECT_EQ(12u, server.GetSearchTimeout(DISCOVERY_SEARCH_BY_ID));
    EXPECT_EQ(7u, server.GetSearchTimeout(DISCOVERY_SEARCH_BY_ADDRESS));
    EXPECT_EQ(12u, server.GetSearchTimeout(DISCOVERY_SEARCH_BY_TYPE));
    EXPECT_EQ(12u, server.GetSearchTimeout(9));
}

TEST(OwnServer, UnknownSearchTypeIsAnInvalidArgument)
{
    OwnServer server;
    DiscoveryThreadArgs args;
    args.request.type = 9;
    EXPECT_EQ(DISCOVERY_E_INVALIDARG, server.DiscoveryThreadProc(args));
}

namespace {

std::string ProbeMatchesFor(const std::string& request, const std::string& endpoint, const std::string& uuid)
{
    return HttpReply(Incoming(MessageIdHeader("uuid:reply-" + uuid) + RelatesToHeader(MessageIdOf(request))
                                  + ActionHeader("ProbeMatches"),
                              "<d:ProbeMatches><d:ProbeMatch>" + Children(endpoint, Extension(uuid))
                                  + "</d:ProbeMatch></d:ProbeMatches>"));
}

struct OwnServerDirected : ::testing::Test {
    OwnServerDirected() { EXPECT_EQ(DISCOVERY_OK, server.RegisterClient(&client)); }
    ~OwnServerDirected() override
    {
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"own-server-directed", 0x30000EF0};
    OwnServer server;
    RecordingClient client;
    // Keeps the device's record as the client saw it.
    struct Keeper : RecordingClient {
        void Add(IDiscoveredDevice* device, uintptr_t context) override
        {
            RecordingClient::Add(device, context);
            ip = device->GetIPAddress();
            host = device->GetHostName();
        }
        std::wstring ip;
        std::wstring host;
    } keeper;
};

}  // namespace

TEST_F(OwnServerDirected, SearchByAddressFindsTheDeviceOverHttp)
{
    ASSERT_EQ(DISCOVERY_OK, server.RegisterClient(&keeper));
    HttpDevicePeer web("127.0.18.60", [](const std::string& request) {
        return ProbeMatchesFor(request, "urn:uuid:direct-4", "uuid:direct-4");
    });
    ASSERT_TRUE(web.Listening());
    EXPECT_EQ(DISCOVERY_OK, server.SearchByAddress(L"127.0.18.60", 5));
    EXPECT_EQ((std::vector<std::wstring>{L"add urn:uuid:direct-4", L"complete"}), client.Calls());
    EXPECT_EQ(L"10.0.0.7", keeper.ip);
    EXPECT_EQ(L"zq-printer", keeper.host);
    EXPECT_NE(std::string::npos, web.Request().find("Host: 127.0.18.60\r\n"));
}

TEST_F(OwnServerDirected, NothingListeningFailsWithNetwork)
{
    EXPECT_EQ(DISCOVERY_E_NETWORK, server.SearchByAddress(L"127.0.18.61", 0));
    EXPECT_EQ(std::vector<std::wstring>{L"failed 13"}, client.Calls());
    EXPECT_EQ(1u, log.Count(L"(##) WSDSession.SendProbe(, 127.0.18.61) failed"));
}

// Unlike the multicast searches, the directed one does not pass over a
// reply it cannot use.
TEST_F(OwnServerDirected, ReplyThatIsNotAMatchFailsTheSearch)
{
    HttpDevicePeer web("127.0.18.62", [](const std::string&) { return HttpReply("<not-soap/>"); });
    ASSERT_TRUE(web.Listening());
    EXPECT_EQ(DISCOVERY_E_INTERNAL, server.SearchByAddress(L"127.0.18.62", 0));
    EXPECT_EQ(std::vector<std::wstring>{L"failed 12"}, client.Calls());
}

// The one test of the own server that waits out its time limit: 7 seconds.
TEST_F(OwnServerDirected, DeviceThatNeverAnswersEndsAtTheTimeLimit)
{
    HttpDevicePeer web("127.0.18.63", [](const std::string&) { return std::string(); }, true);
    ASSERT_TRUE(web.Listening());
    EXPECT_EQ(DISCOVERY_E_NOT_FOUND, server.SearchByAddress(L"127.0.18.63", 0));
    EXPECT_EQ(std::vector<std::wstring>{L"failed 11"}, client.Calls());
    EXPECT_EQ(100, client.Percents().back());
}

namespace {

// LoadLibraryW that finds no "wsdapi.dll", as on a system without the
// provider; Wine's loads in this prefix.
class NoWsdapi : public QVWinApi::CKernelApi {
public:
    HMODULE LoadLibraryW(LPCWSTR name) override
    {
        if (_wcsicmp(name, L"wsdapi.dll") == 0) {
            ++asked;
            ::SetLastError(ERROR_MOD_NOT_FOUND);
            return nullptr;
        }
        return QVWinApi::CKernelApi::LoadLibraryW(name);
    }
    int asked = 0;
};

// Counts destructions of the own server.
struct CreateDestroy : ::testing::Test {
    ~CreateDestroy() override
    {
        while (TermDiscoveryLib() == DISCOVERY_OK) {
        }
    }
    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"create-destroy"};
    NoWsdapi kernel;
};

}  // namespace

TEST_F(CreateDestroy, WithoutTheProviderTheOwnServerIsMade)
{
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    IDiscoveryServer* server = nullptr;
    EXPECT_EQ(DISCOVERY_E_INTERNAL, CreateDiscoveryServer(0, &server));
    ASSERT_EQ(DISCOVERY_OK, InitDiscoveryLib());
    EXPECT_EQ(DISCOVERY_E_INVALIDARG, CreateDiscoveryServer(0, nullptr));
    ASSERT_EQ(DISCOVERY_OK, CreateDiscoveryServer(0, &server));
    EXPECT_EQ(1, kernel.asked);
    EXPECT_NE(nullptr, dynamic_cast<OwnServer*>(server));
    EXPECT_EQ(DISCOVERY_OK, DestroyDiscoveryServer(server));
    EXPECT_EQ(DISCOVERY_E_INVALIDARG, DestroyDiscoveryServer(server));
    EXPECT_EQ(DISCOVERY_OK, TermDiscoveryLib());
    EXPECT_EQ(DISCOVERY_E_INTERNAL, DestroyDiscoveryServer(server));
}

TEST_F(CreateDestroy, TermWithServersLeftDeletesThem)
{
    doubles::ApiOverride<QVWinApi::IKernelApi> swap(g_pKernelApi, kernel);
    ASSERT_EQ(DISCOVERY_OK, InitDiscoveryLib());
    IDiscoveryServer* first = nullptr;
    IDiscoveryServer* second = nullptr;
    ASSERT_EQ(DISCOVERY_OK, CreateDiscoveryServer(0, &first));
    ASSERT_EQ(DISCOVERY_OK, CreateDiscoveryServer(0, &second));
    // Each choice made and let go a server on the system's provider first.
    EXPECT_EQ(2u, log.Count(L"(->) CDiscoveryServer::~CDiscoveryServer"));
    EXPECT_EQ(DISCOVERY_OK, TermDiscoveryLib());
    EXPECT_EQ(4u, log.Count(L"(->) CDiscoveryServer::~CDiscoveryServer"));
    ASSERT_EQ(DISCOVERY_OK, InitDiscoveryLib());
    EXPECT_EQ(DISCOVERY_E_INVALIDARG, DestroyDiscoveryServer(first));
    EXPECT_EQ(DISCOVERY_OK, TermDiscoveryLib());
}

TEST_F(CreateDestroy, WineProviderIsFoundSoTheSystemServerIsChosen)
{
    ASSERT_EQ(DISCOVERY_OK, InitDiscoveryLib());
    IDiscoveryServer* server = nullptr;
    ASSERT_EQ(DISCOVERY_OK, CreateDiscoveryServer(0, &server));
    EXPECT_NE(nullptr, dynamic_cast<CDiscoveryServerWSD*>(server));
    EXPECT_EQ(nullptr, dynamic_cast<OwnServer*>(server));
    EXPECT_EQ(1u, log.Count(L"(->) CDiscoveryServerWSD::LoadWSDLibrary"));
    EXPECT_EQ(DISCOVERY_OK, DestroyDiscoveryServer(server));
    EXPECT_EQ(DISCOVERY_OK, TermDiscoveryLib());
}
