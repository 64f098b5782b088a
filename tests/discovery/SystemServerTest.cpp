// The server on the system's WS-Discovery provider. Wine's "wsdapi.dll"
// loads and exports the creation function, which answers E_NOTIMPL: a
// search through it shows what such a system gives. Everything the
// provider does beyond that comes from a double (ProviderDouble.h), which
// the library reaches as it reaches the platform's: through LoadLibraryW of
// "wsdapi.dll" (pointed at the stand-in DLL), GetProcAddress and a call of
// the function found.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "discovery/CDiscoveryServerWSD.h"
#include "discovery/CDiscoveryServerXpWSD.h"
#include "discovery/CWSDSession.h"
#include "discovery/DeviceRecord.h"
#include "discovery/DiscoveryClients.h"
#include "discovery/DiscoveryLib.h"
#include "discovery/DiscoveryStatus.h"
#include "discovery/ProviderDouble.h"
#include "doubles/ApiOverride.h"
#include "doubles/ModuleLogFile.h"
#include "doubles/VtableSlots.h"
#include "logging/LogModules.h"
#include "winapi/CComApi.h"

using namespace QVDiscovery;
using namespace discoverytest;
using namespace wsdprovider;

namespace {

using SystemServerType = CDiscoveryServerWSD;

const wchar_t kVendorType[] = L"{http://schemas.zq.com/schemas/imaging/con/discovery/2006/09/19}zqd:";
const wchar_t kDirected[] = L"/StableWSDiscoveryEndpoint/schemas-xmlsoap-org_ws_2005_04_discovery";

// A client that also keeps each added device's record.
class RecordKeeper : public RecordingClient {
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

// A device's vendor extension as the provider hands it over.
struct Extension {
    explicit Extension(const wchar_t* uuid, const wchar_t* ipv4 = L"192.0.2.20")
    {
        body = tree.Element(L"VendorExtension");
        tree.Field(body, L"HardwareAddress", L"00:11:22:33:44:66");
        tree.Field(body, L"UUID", uuid);
        tree.Field(body, L"IPv4Address", ipv4);
        tree.Field(body, L"Hostname", L"zq-office");
        tree.Field(body, L"DeviceId", L"MFG:ZQ;MDL:QV 9;");
        tree.Field(body, L"SerialNumber", L"SN0020");
        tree.Field(body, L"Services", L"Print9100 EWS");
        tree.Field(body, L"AdapterType", L"Ethernet");
    }
    XmlTree tree;
    WSDXML_ELEMENT* body;
};

// The main discovery procedure called directly, with a search's block.
struct MainProc {
    MainProc(CDiscoveryServer& server, unsigned long type, const wchar_t* target)
    {
        args.server = &server;
        args.stopEvent = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
        args.request.type = type;
        args.request.target = target;
        args.request.context = 7;
        args.addQueue = &adds;
        args.removeQueue = &removes;
        adds.GetEventHandle();
        removes.GetEventHandle();
    }
    ~MainProc() { ::CloseHandle(args.stopEvent); }

    CDiscoveryServer::CAddEventQueue adds;
    CDiscoveryServer::CRemoveEventQueue removes;
    DiscoveryThreadArgs args;
};

// The kernel of RedirectedWsdapi whose wait for one handle fails: Wine's
// waits do not fail on a valid event.
class FailingWait : public RedirectedWsdapi {
public:
    FailingWait() : RedirectedWsdapi(kStandInName) {}
    DWORD WaitForSingleObject(HANDLE handle, DWORD ms) override
    {
        if (handle == failFor) {
            ::SetLastError(ERROR_INVALID_HANDLE);
            return WAIT_FAILED;
        }
        return RedirectedWsdapi::WaitForSingleObject(handle, ms);
    }
    HANDLE failFor = nullptr;
};

// CoInitialize answering as on a thread already in the multithreaded
// apartment, which Wine's fresh threads never are; counts CoUninitialize.
class ApartmentTaken : public QVWinApi::CComApi {
public:
    HRESULT CoInitialize(LPVOID) override { return RPC_E_CHANGED_MODE; }
    void CoUninitialize() override { ++uninitialized; }
    std::atomic<int> uninitialized{0};
};

struct SystemServer : ::testing::Test {
    SystemServer() { EXPECT_EQ(DISCOVERY_OK, server.RegisterClient(&client)); }
    void SetUp() override
    {
        ASSERT_TRUE(standIn.Ready()) << "orvwsdapi.dll, the stand-in provider, is not beside the test program";
        standIn.Answer(&provider, S_OK);
        ASSERT_TRUE(server.LoadWSDLibrary());
    }
    ~SystemServer() override
    {
        standIn.Answer(nullptr, E_NOTIMPL);
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    // No line of the search's log is an error or a warning.
    bool Quiet() const
    {
        for (const std::wstring& line : log.Lines()) {
            if (line.rfind(L"(##) ", 0) == 0 || line.rfind(L"(WN) ", 0) == 0) {
                return false;
            }
        }
        return true;
    }

    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"system-server", 0x30000EF0};
    RedirectedWsdapi kernel{kStandInName};
    doubles::ApiOverride<QVWinApi::IKernelApi> swap{g_pKernelApi, kernel};
    StandIn standIn;
    ProviderScript script;
    FakeProvider provider{script};
    SystemServerType server;
    RecordKeeper client;
};

}  // namespace

TEST_F(SystemServer, SearchTimeouts)
{
    EXPECT_EQ(12u, server.GetSearchTimeout(DISCOVERY_SEARCH_BY_ID));
    EXPECT_EQ(22u, server.GetSearchTimeout(DISCOVERY_SEARCH_BY_ADDRESS));
    EXPECT_EQ(12u, server.GetSearchTimeout(DISCOVERY_SEARCH_BY_TYPE));
    EXPECT_EQ(12u, server.GetSearchTimeout(9));
}

TEST_F(SystemServer, TheLibraryIsLoadedOnceAndFreedWithTheServer)
{
    EXPECT_EQ(1, kernel.loads);
    {
        SystemServerType second;
        ASSERT_TRUE(second.LoadWSDLibrary());
        EXPECT_EQ(2, kernel.loads);
    }
    EXPECT_EQ(1, kernel.frees);
}

TEST_F(SystemServer, SearchByIdPassesTheIdentifierAndTheContextAsTag)
{
    Extension extension(L"uuid:dev-1");
    FakeService service(L"urn:uuid:dev-1", L"http://192.0.2.21:3702/x", extension.body);
    script.notifications = {AddOf(service)};
    EXPECT_EQ(DISCOVERY_OK, server.SearchById(L"urn:uuid:dev-1", 5));
    EXPECT_EQ((std::vector<std::wstring>{L"SetAddressFamily 1", L"Attach", L"SearchById urn:uuid:dev-1 tag=5",
                                         L"Detach"}),
              provider.Calls());
    EXPECT_EQ((std::vector<std::wstring>{L"add urn:uuid:dev-1", L"complete"}), client.Calls());
    EXPECT_EQ(std::vector<std::wstring>{L"urn:uuid:dev-1|00:11:22:33:44:66|zq-office|192.0.2.21|ZQ|QV 9|SN0020|9|1"},
              client.Records());
    for (uintptr_t context : client.contexts) {
        EXPECT_EQ(5u, context);
    }
    bool hadContext = true;
    EXPECT_EQ(1, standIn.Calls(&hadContext));
    EXPECT_FALSE(hadContext);
    EXPECT_EQ(RPC_E_CHANGED_MODE, provider.apartmentAtSearch);
    // What the server was given it released: the stand-in keeps its own.
    EXPECT_EQ(1u, provider.ExtraReferences());
}

TEST_F(SystemServer, SearchByAddressWrapsTheAddressInTheDirectedEndpoint)
{
    Extension extension(L"uuid:dev-2");
    FakeService service(L"urn:uuid:dev-2", (std::wstring(L"http://192.0.2.22") + kDirected).c_str(), extension.body);
    script.notifications = {AddOf(service)};
    EXPECT_EQ(DISCOVERY_OK, server.SearchByAddress(L"192.0.2.22", 6));
    EXPECT_EQ((std::vector<std::wstring>{L"SetAddressFamily 1", L"Attach",
                                         std::wstring(L"SearchByAddress http://192.0.2.22") + kDirected + L" tag=6",
                                         L"Detach"}),
              provider.Calls());
    EXPECT_EQ((std::vector<std::wstring>{L"add urn:uuid:dev-2", L"complete"}), client.Calls());
    EXPECT_EQ(std::vector<std::wstring>{L"urn:uuid:dev-2|00:11:22:33:44:66|zq-office|192.0.2.22|ZQ|QV 9|SN0020|9|1"},
              client.Records());
}

TEST_F(SystemServer, SearchByTypeWithNullTargetAsksForTheVendorsDeviceType)
{
    Extension extension(L"uuid:dev-3");
    FakeService hello(L"urn:uuid:dev-3", L"192.0.2.23", extension.body);
    script.notifications = {AddOf(hello), Complete()};
    EXPECT_EQ(DISCOVERY_OK, server.SearchByType(nullptr, 0));
    EXPECT_EQ((std::vector<std::wstring>{L"SetAddressFamily 1", L"Attach",
                                         std::wstring(L"SearchByType ") + kVendorType
                                             + L"zqDevice scopes=none matchBy=(null) tag=0",
                                         L"Detach"}),
              provider.Calls());
    EXPECT_EQ((std::vector<std::wstring>{L"add urn:uuid:dev-3", L"complete"}), client.Calls());
    EXPECT_TRUE(Quiet());
}

TEST_F(SystemServer, SearchByTypeTakesTheTargetAsABareLocalName)
{
    script.notifications = {Complete()};
    server.SearchByType(L"zqPrinter", 1);
    EXPECT_EQ(std::wstring(L"SearchByType ") + kVendorType + L"zqPrinter scopes=none matchBy=(null) tag=1",
              provider.Calls().at(2));
}

TEST_F(SystemServer, SearchByTypeWithAnEmptyTargetAsksForZqDevice)
{
    script.notifications = {Complete()};
    server.SearchByType(L"", 1);
    EXPECT_EQ(std::wstring(L"SearchByType ") + kVendorType + L"zqDevice scopes=none matchBy=(null) tag=1",
              provider.Calls().at(2));
}

TEST_F(SystemServer, ByeRemovesADeviceAndAByeOnlySearchIsNotFound)
{
    Extension extension(L"uuid:dev-4");
    FakeService bye(L"urn:uuid:dev-4", nullptr, extension.body);
    script.notifications = {RemoveOf(bye), Complete()};
    EXPECT_EQ(DISCOVERY_E_NOT_FOUND, server.SearchByType(nullptr, 0));
    EXPECT_EQ((std::vector<std::wstring>{L"remove urn:uuid:dev-4", L"failed 11"}), client.Calls());
}

TEST_F(SystemServer, HelloAndProbeMatchesAddAndAByeRemovesDuringOneSearchByType)
{
    Extension first(L"uuid:dev-5");
    Extension second(L"uuid:dev-6");
    FakeService hello(L"urn:uuid:dev-5", L"192.0.2.25", first.body);
    FakeService match(L"urn:uuid:dev-6", L"192.0.2.26", second.body);
    FakeService bye(L"urn:uuid:dev-5", nullptr, first.body);
    script.notifications = {AddOf(hello), AddOf(match), RemoveOf(bye), Complete()};
    EXPECT_EQ(DISCOVERY_OK, server.SearchByType(nullptr, 0));
    // The queues are served in their own orders: adds first when both wait.
    std::vector<std::wstring> calls = client.Calls();
    ASSERT_EQ(4u, calls.size());
    EXPECT_EQ(L"complete", calls.back());
    EXPECT_EQ(1, std::count(calls.begin(), calls.end(), L"add urn:uuid:dev-5"));
    EXPECT_EQ(1, std::count(calls.begin(), calls.end(), L"add urn:uuid:dev-6"));
    EXPECT_EQ(1, std::count(calls.begin(), calls.end(), L"remove urn:uuid:dev-5"));
    EXPECT_LT(std::find(calls.begin(), calls.end(), L"add urn:uuid:dev-5"),
              std::find(calls.begin(), calls.end(), L"add urn:uuid:dev-6"));
}

TEST_F(SystemServer, ProbeMatchesWithNamesInOtherCaseMissingTextsAndASimAddress)
{
    XmlTree tree;
    WSDXML_ELEMENT* body = tree.Element(L"vendorEXTENSION");
    tree.Field(body, L"hardwareaddress", L"00:11:22:33:44:77");
    tree.Element(L"HOSTNAME", body);
    WSDXML_ELEMENT* serial = tree.Element(L"serialnumber", body);
    tree.Element(L"Nested", serial);
    tree.Text(serial, L"never read");
    tree.Field(body, L"IPV4ADDRESS", L"192.0.2.27");
    tree.Field(body, L"deviceID", L"MFG:ZQ;MDL:QV 10;");
    tree.Field(body, L"SERVICES", L"RestScan CIFS");
    tree.Field(body, L"adapterTYPE", L"wifiaccessory");
    tree.Field(body, L"simADDRESS", L"203.0.113.27");
    FakeService match(L"urn:uuid:dev-7", nullptr, body);
    script.notifications = {AddOf(match), Complete()};
    EXPECT_EQ(DISCOVERY_OK, server.SearchByType(nullptr, 0));
    EXPECT_EQ(std::vector<std::wstring>{L"urn:uuid:dev-7|00:11:22:33:44:77||203.0.113.27|ZQ|QV 10||6|2"},
              client.Records());
}

TEST_F(SystemServer, ResolveMatchesEndsASearchByIdWithoutSearchComplete)
{
    Extension extension(L"uuid:dev-8");
    FakeService match(L"urn:uuid:dev-8", L"http://192.0.2.28:3702/x", extension.body);
    script.notifications = {AddOf(match)};
    MainProc main(server, DISCOVERY_SEARCH_BY_ID, L"urn:uuid:dev-8");
    // The first device ends the wait; without SearchComplete the provider's
    // side counts as stopped, and the core makes a success of the device.
    EXPECT_EQ(DISCOVERY_E_STOPPED, server.MainDiscoveryThreadProc(main.args));
    EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(main.args.stopEvent, 0));
    EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(main.adds.GetEventHandle(), 0));
}

TEST_F(SystemServer, RemoveDuringASearchByIdDoesNotEndIt)
{
    Extension extension(L"uuid:dev-9");
    FakeService bye(L"urn:uuid:dev-9", nullptr, extension.body);
    script.notifications = {RemoveOf(bye), Complete()};
    EXPECT_EQ(DISCOVERY_E_NOT_FOUND, server.SearchById(L"urn:uuid:dev-9", 0));
    EXPECT_EQ((std::vector<std::wstring>{L"remove urn:uuid:dev-9", L"failed 11"}), client.Calls());
}

TEST_F(SystemServer, SearchCompleteWithoutADeviceIsNotFound)
{
    script.notifications = {Complete()};
    MainProc main(server, DISCOVERY_SEARCH_BY_TYPE, nullptr);
    EXPECT_EQ(DISCOVERY_OK, server.MainDiscoveryThreadProc(main.args));
    EXPECT_EQ(DISCOVERY_E_NOT_FOUND, server.SearchByType(nullptr, 0));
    EXPECT_EQ(std::vector<std::wstring>{L"failed 11"}, client.Calls());
}

TEST_F(SystemServer, ProviderThatFailsAtOnceWithSFalseEndsEarlyAsNotFound)
{
    script.notifications = {Failed(S_FALSE)};
    // Only the provider's failure sets this stop event: the search ended of
    // itself, before any time limit.
    MainProc main(server, DISCOVERY_SEARCH_BY_TYPE, nullptr);
    EXPECT_EQ(DISCOVERY_E_STOPPED, server.MainDiscoveryThreadProc(main.args));
    EXPECT_EQ(DISCOVERY_E_NOT_FOUND, server.SearchByType(nullptr, 3));
    EXPECT_EQ(std::vector<std::wstring>{L"failed 11"}, client.Calls());
    EXPECT_TRUE(Quiet());
}

TEST_F(SystemServer, SearchFailedWithAnotherCodeIsNetwork)
{
    script.notifications = {Failed(HRESULT_FROM_WIN32(ERROR_NETWORK_UNREACHABLE))};
    MainProc main(server, DISCOVERY_SEARCH_BY_ID, L"urn:uuid:x");
    EXPECT_EQ(DISCOVERY_E_NETWORK, server.MainDiscoveryThreadProc(main.args));
    EXPECT_EQ(DISCOVERY_E_NETWORK, server.SearchById(L"urn:uuid:x", 0));
    EXPECT_EQ(std::vector<std::wstring>{L"failed 13"}, client.Calls());
}

TEST_F(SystemServer, SearchFailedAfterADeviceStillSucceeds)
{
    Extension extension(L"uuid:dev-10");
    FakeService hello(L"urn:uuid:dev-10", nullptr, extension.body);
    script.notifications = {AddOf(hello), Failed(E_FAIL)};
    EXPECT_EQ(DISCOVERY_OK, server.SearchByType(nullptr, 0));
    EXPECT_EQ((std::vector<std::wstring>{L"add urn:uuid:dev-10", L"complete"}), client.Calls());
}

TEST_F(SystemServer, AddForAServiceWithoutExtendedXmlIsPassedOverWithoutAWord)
{
    FakeService plain(L"urn:uuid:plain", L"192.0.2.30", nullptr);
    script.notifications = {AddOf(plain), Complete()};
    EXPECT_EQ(DISCOVERY_E_NOT_FOUND, server.SearchByType(nullptr, 0));
    EXPECT_EQ(std::vector<std::wstring>{L"failed 11"}, client.Calls());
    EXPECT_TRUE(Quiet());
}

TEST_F(SystemServer, ServiceWhoseGetterFailsIsPassedOver)
{
    Extension extension(L"uuid:dev-11");
    FakeService noRemote(L"urn:uuid:a", L"192.0.2.31", extension.body);
    noRemote.remoteResult = E_OUTOFMEMORY;
    FakeService noEndpoint(L"urn:uuid:b", L"192.0.2.31", extension.body);
    noEndpoint.endpointResult = E_OUTOFMEMORY;
    FakeService noXml(L"urn:uuid:c", L"192.0.2.31", extension.body);
    noXml.xmlResult = E_OUTOFMEMORY;
    FakeService good(L"urn:uuid:d", L"192.0.2.31", extension.body);
    script.notifications = {AddOf(noRemote), AddOf(noEndpoint), AddOf(noXml), AddOf(good), Complete()};
    EXPECT_EQ(DISCOVERY_OK, server.SearchByType(nullptr, 0));
    EXPECT_EQ((std::vector<std::wstring>{L"add urn:uuid:d", L"complete"}), client.Calls());
}

TEST_F(SystemServer, ServiceWithoutEndpointOrRemoteAddressTakesTheUuidAndIpv4Address)
{
    Extension extension(L"uuid:dev-12", L"192.0.2.32");
    FakeService bare(nullptr, nullptr, extension.body);
    script.notifications = {AddOf(bare), Complete()};
    EXPECT_EQ(DISCOVERY_OK, server.SearchByType(nullptr, 0));
    EXPECT_EQ(std::vector<std::wstring>{L"uuid:dev-12|00:11:22:33:44:66|zq-office|192.0.2.32|ZQ|QV 9|SN0020|9|1"},
              client.Records());
}

TEST_F(SystemServer, ClientThatStopsTheSearchEndsTheWait)
{
    client.onProgress = [](unsigned char) { return false; };
    EXPECT_EQ(DISCOVERY_E_NOT_FOUND, server.SearchByType(nullptr, 0));
    EXPECT_EQ(std::vector<std::wstring>{L"failed 11"}, client.Calls());
    EXPECT_EQ((std::vector<std::wstring>{L"SetAddressFamily 1", L"Attach",
                                         std::wstring(L"SearchByType ") + kVendorType
                                             + L"zqDevice scopes=none matchBy=(null) tag=0",
                                         L"Detach"}),
              provider.Calls());
}

TEST_F(SystemServer, CreationFailureIsLoggedAndInternal)
{
    standIn.Answer(&provider, E_ACCESSDENIED);
    EXPECT_EQ(DISCOVERY_E_INTERNAL, server.SearchById(L"urn:uuid:x", 0));
    EXPECT_EQ(std::vector<std::wstring>{L"failed 12"}, client.Calls());
    EXPECT_EQ(1u, log.Count(L"(##) WSDCreateDiscoveryProvider failed with (-2147024891)"));
    EXPECT_TRUE(provider.Calls().empty());
}

TEST_F(SystemServer, SetAddressFamilyFailureIsLoggedAndTheSearchGoesOn)
{
    script.setAddressFamily = E_INVALIDARG;
    Extension extension(L"uuid:dev-13");
    FakeService hello(L"urn:uuid:dev-13", nullptr, extension.body);
    script.notifications = {AddOf(hello), Complete()};
    EXPECT_EQ(DISCOVERY_OK, server.SearchByType(nullptr, 0));
    EXPECT_EQ((std::vector<std::wstring>{L"add urn:uuid:dev-13", L"complete"}), client.Calls());
    EXPECT_EQ(1u, log.Count(L"(WN) pIWSDiscoveryProvider->SetAddressFamily returned (-2147024809)"));
}

TEST_F(SystemServer, AttachFailureIsLoggedAndInternal)
{
    script.attach = E_FAIL;
    EXPECT_EQ(DISCOVERY_E_INTERNAL, server.SearchByType(nullptr, 0));
    EXPECT_EQ(std::vector<std::wstring>{L"failed 12"}, client.Calls());
    EXPECT_EQ((std::vector<std::wstring>{L"SetAddressFamily 1", L"Attach"}), provider.Calls());
    EXPECT_EQ(1u, provider.ExtraReferences());
    EXPECT_EQ(1u, log.Count(L"(##) Unable to Attach to DiscoveryProvider for Notifications (-2147467259)"));
}

TEST_F(SystemServer, FailedStartOfEachSearchIsLoggedAndNetwork)
{
    script.search = HRESULT_FROM_WIN32(ERROR_NETWORK_UNREACHABLE);
    EXPECT_EQ(DISCOVERY_E_NETWORK, server.SearchById(L"urn:uuid:x", 0));
    EXPECT_EQ(DISCOVERY_E_NETWORK, server.SearchByAddress(L"192.0.2.1", 0));
    EXPECT_EQ(DISCOVERY_E_NETWORK, server.SearchByType(nullptr, 0));
    EXPECT_EQ((std::vector<std::wstring>{L"failed 13", L"failed 13", L"failed 13"}), client.Calls());
    EXPECT_EQ(3u, log.Count(L"(##) pIWSDiscoveryProvider->Search* was either never called or returned (-2147023665)"));
    // Each attached provider is detached again.
    const std::vector<std::wstring> calls = provider.Calls();
    EXPECT_EQ(3, std::count(calls.begin(), calls.end(), L"Detach"));
    EXPECT_EQ(1u, provider.ExtraReferences());
}

TEST_F(SystemServer, UnknownSearchTypeStartsNothingAndLeavesEFail)
{
    MainProc main(server, 9, L"x");
    EXPECT_EQ(DISCOVERY_E_NETWORK, server.MainDiscoveryThreadProc(main.args));
    EXPECT_EQ((std::vector<std::wstring>{L"SetAddressFamily 1", L"Attach", L"Detach"}), provider.Calls());
    EXPECT_EQ(1u, log.Count(L"(##) pIWSDiscoveryProvider->Search* was either never called or returned (-2147467259)"));
}

TEST_F(SystemServer, DetachFailureIsLoggedAndChangesNothing)
{
    script.detach = E_UNEXPECTED;
    Extension extension(L"uuid:dev-14");
    FakeService hello(L"urn:uuid:dev-14", nullptr, extension.body);
    script.notifications = {AddOf(hello), Complete()};
    MainProc main(server, DISCOVERY_SEARCH_BY_TYPE, nullptr);
    EXPECT_EQ(DISCOVERY_OK, server.MainDiscoveryThreadProc(main.args));
    EXPECT_EQ(1u, log.Count(L"(WN) pIWSDiscoveryProvider->Detach() failed with (-2147418113)"));
}

TEST_F(SystemServer, ApartmentThatCannotBeEnteredIsNotLeft)
{
    ApartmentTaken com;
    doubles::ApiOverride<QVWinApi::IComApi> comSwap(g_pComApi, com);
    script.notifications = {Complete()};
    MainProc main(server, DISCOVERY_SEARCH_BY_TYPE, nullptr);
    EXPECT_EQ(DISCOVERY_OK, server.MainDiscoveryThreadProc(main.args));
    EXPECT_EQ(0, com.uninitialized);
}

TEST(SystemServerWait, FailedWaitIsLoggedAndInternal)
{
    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"system-server-wait"};
    FailingWait kernel;
    doubles::ApiOverride<QVWinApi::IKernelApi> swap{g_pKernelApi, kernel};
    StandIn standIn;
    ASSERT_TRUE(standIn.Ready());
    ProviderScript script;
    FakeProvider provider{script};
    standIn.Answer(&provider, S_OK);
    {
        SystemServerType server;
        MainProc main(server, DISCOVERY_SEARCH_BY_TYPE, nullptr);
        kernel.failFor = main.args.stopEvent;
        EXPECT_EQ(DISCOVERY_E_INTERNAL, server.MainDiscoveryThreadProc(main.args));
    }
    standIn.Answer(nullptr, E_NOTIMPL);
    EXPECT_EQ(1u, log.Count(L"(##) WaitForSingleObject failed!"));
    const std::vector<std::wstring> calls = provider.Calls();
    ASSERT_EQ(4u, calls.size());
    EXPECT_EQ(L"Detach", calls[3]);
}

TEST(SystemServerLoad, EntryPointMissingAtSearchTimeIsLoadedThen)
{
    RedirectedWsdapi kernel{kStandInName};
    doubles::ApiOverride<QVWinApi::IKernelApi> swap{g_pKernelApi, kernel};
    StandIn standIn;
    ASSERT_TRUE(standIn.Ready());
    ProviderScript script;
    script.notifications = {Complete()};
    FakeProvider provider{script};
    standIn.Answer(&provider, S_OK);
    {
        SystemServerType server;
        MainProc main(server, DISCOVERY_SEARCH_BY_TYPE, nullptr);
        EXPECT_EQ(DISCOVERY_OK, server.MainDiscoveryThreadProc(main.args));
        EXPECT_EQ(1, kernel.loads);
    }
    standIn.Answer(nullptr, E_NOTIMPL);
    EXPECT_EQ(1, kernel.frees);
}

TEST(SystemServerLoad, UnloadableLibraryIsLoggedAndASearchIsInternal)
{
    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"system-server-load"};
    RedirectedWsdapi kernel{L"C:\\windows\\system32\\orv-no-such-provider.dll"};
    doubles::ApiOverride<QVWinApi::IKernelApi> swap{g_pKernelApi, kernel};
    SystemServerType server;
    EXPECT_FALSE(server.LoadWSDLibrary());
    EXPECT_EQ(1u, log.Count(L"(##) Unable to LoadLibrary \"wsdapi.dll\", GetLastError=(126)"));
    MainProc main(server, DISCOVERY_SEARCH_BY_ID, L"urn:uuid:x");
    EXPECT_EQ(DISCOVERY_E_INTERNAL, server.MainDiscoveryThreadProc(main.args));
    EXPECT_EQ(2u, log.Count(L"(##) Unable to LoadLibrary \"wsdapi.dll\", GetLastError=(126)"));
}

TEST(SystemServerLoad, LibraryWithoutTheCreationFunctionIsLogged)
{
    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"system-server-proc"};
    RedirectedWsdapi kernel{L"kernel32.dll"};
    doubles::ApiOverride<QVWinApi::IKernelApi> swap{g_pKernelApi, kernel};
    {
        SystemServerType server;
        EXPECT_FALSE(server.LoadWSDLibrary());
    }
    EXPECT_EQ(1u, log.Count(L"(##) Unable to GetProcAddress(\"WSDCreateDiscoveryProvider\"), GetLastError=(127)"));
    EXPECT_EQ(1, kernel.frees);
}

TEST(SystemServerNotify, AnswersForItsTwoInterfacesOnlyAndOutlivesACountOfZero)
{
    CDiscoveryServer::CAddEventQueue adds;
    DiscoveryThreadArgs args;
    args.addQueue = &adds;
    SystemServerType::CDiscoveryNotifyClient notify(args);
    void* answer = nullptr;
    EXPECT_EQ(S_OK, notify.QueryInterface(IID_IUnknown, &answer));
    EXPECT_EQ(static_cast<IWSDiscoveryProviderNotify*>(&notify), answer);
    EXPECT_EQ(S_OK, notify.QueryInterface(__uuidof(IWSDiscoveryProviderNotify), &answer));
    EXPECT_EQ(static_cast<HRESULT>(0x80004002), notify.QueryInterface(__uuidof(IWSDiscoveryProvider), &answer));
    EXPECT_EQ(nullptr, answer);
    // Two references from the answers above, one from the start.
    EXPECT_EQ(2u, notify.Release());
    EXPECT_EQ(1u, notify.Release());
    EXPECT_EQ(0u, notify.Release());
    EXPECT_EQ(1u, notify.AddRef());
}

TEST(SystemServerNotify, OperationsInTheProvidersSlotOrderAndNoOther)
{
    using Notify = SystemServerType::CDiscoveryNotifyClient;
    using doubles::SlotOf;
    doubles::ExpectSlotRun<Notify>({SlotOf(&Notify::QueryInterface), SlotOf(&Notify::AddRef), SlotOf(&Notify::Release),
                                    SlotOf(&Notify::Add), SlotOf(&Notify::Remove), SlotOf(&Notify::SearchFailed),
                                    SlotOf(&Notify::SearchComplete)},
                                   0);
}

TEST(SystemServerNotify, OutcomeOfTheFlags)
{
    DiscoveryThreadArgs args;
    args.stopEvent = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    using Notify = SystemServerType::CDiscoveryNotifyClient;
    Notify none(args);
    EXPECT_EQ(DISCOVERY_E_STOPPED, none.Outcome());
    Notify complete(args);
    EXPECT_EQ(S_OK, complete.SearchComplete(nullptr));
    EXPECT_EQ(DISCOVERY_OK, complete.Outcome());
    Notify timedOut(args);
    EXPECT_EQ(S_OK, timedOut.SearchFailed(S_FALSE, nullptr));
    EXPECT_EQ(DISCOVERY_E_STOPPED, timedOut.Outcome());
    Notify failed(args);
    EXPECT_EQ(S_OK, failed.SearchFailed(E_FAIL, nullptr));
    EXPECT_EQ(DISCOVERY_E_NETWORK, failed.Outcome());
    Notify both(args);
    both.SearchComplete(nullptr);
    both.SearchFailed(E_FAIL, nullptr);
    EXPECT_EQ(DISCOVERY_E_NETWORK, both.Outcome());
    EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(args.stopEvent, 0));
    ::CloseHandle(args.stopEvent);
}

namespace {

struct Choice : ::testing::Test {
    ~Choice() override
    {
        while (TermDiscoveryLib() == DISCOVERY_OK) {
        }
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"server-choice"};
    RecordingClient client;
};

}  // namespace

TEST_F(Choice, AProviderWithTheCreationFunctionIsChosen)
{
    RedirectedWsdapi kernel{kStandInName};
    doubles::ApiOverride<QVWinApi::IKernelApi> swap{g_pKernelApi, kernel};
    ASSERT_EQ(DISCOVERY_OK, InitDiscoveryLib());
    IDiscoveryServer* server = nullptr;
    ASSERT_EQ(DISCOVERY_OK, CreateDiscoveryServer(0, &server));
    EXPECT_NE(nullptr, dynamic_cast<SystemServerType*>(server));
    EXPECT_EQ(DISCOVERY_OK, DestroyDiscoveryServer(server));
    EXPECT_EQ(1, kernel.frees);
}

TEST_F(Choice, ALibraryWithoutTheCreationFunctionGivesTheOwnServer)
{
    RedirectedWsdapi kernel{L"kernel32.dll"};
    doubles::ApiOverride<QVWinApi::IKernelApi> swap{g_pKernelApi, kernel};
    ASSERT_EQ(DISCOVERY_OK, InitDiscoveryLib());
    IDiscoveryServer* server = nullptr;
    ASSERT_EQ(DISCOVERY_OK, CreateDiscoveryServer(0, &server));
    EXPECT_NE(nullptr, dynamic_cast<CDiscoveryServerXpWSD<CWSDSession>*>(server));
    EXPECT_EQ(1u, log.Count(L"(##) Unable to GetProcAddress(\"WSDCreateDiscoveryProvider\"), GetLastError=(127)"));
    EXPECT_EQ(DISCOVERY_OK, DestroyDiscoveryServer(server));
}

// Wine's own provider: the library chooses it, and every search fails at
// the creation of the provider.
TEST_F(Choice, UnderWineTheSystemServerIsChosenAndItsSearchesFailAtCreation)
{
    ASSERT_EQ(DISCOVERY_OK, InitDiscoveryLib());
    IDiscoveryServer* server = nullptr;
    ASSERT_EQ(DISCOVERY_OK, CreateDiscoveryServer(0, &server));
    ASSERT_NE(nullptr, dynamic_cast<SystemServerType*>(server));
    ASSERT_EQ(DISCOVERY_OK, server->RegisterClient(&client));
    EXPECT_EQ(DISCOVERY_E_INTERNAL, server->SearchByType(nullptr, 4));
    EXPECT_EQ(DISCOVERY_E_INTERNAL, server->SearchById(L"urn:uuid:x", 4));
    EXPECT_EQ(DISCOVERY_E_INTERNAL, server->SearchByAddress(L"127.0.0.1", 4));
    EXPECT_EQ((std::vector<std::wstring>{L"failed 12", L"failed 12", L"failed 12"}), client.Calls());
    EXPECT_EQ(3u, log.Count(L"(##) WSDCreateDiscoveryProvider failed with (-2147467263)"));
    std::wstring missing;
    EXPECT_TRUE(log.InOrder({L"(->) QVDiscovery::CreateDiscoveryServer", L"(->) CDiscoveryServerWSD::LoadWSDLibrary",
                             L"(->) CDiscoveryServerWSD::MainDiscoveryThreadProc",
                             L"(##) WSDCreateDiscoveryProvider failed with (-2147467263)"},
                            &missing))
        << "missing: " << std::string(missing.begin(), missing.end());
    EXPECT_EQ(DISCOVERY_OK, server->UnregisterClient(&client));
    EXPECT_EQ(DISCOVERY_OK, DestroyDiscoveryServer(server));
}
