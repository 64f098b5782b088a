// A system without the WS-Discovery provider. These tests run in
// discovery_no_wsdapi (no-wsdapi.sh), where "wsdapi.dll" is made
// unloadable for the test program; the other entry leaves them out.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "discovery/CDiscoveryServerWSD.h"
#include "discovery/CDiscoveryServerXpWSD.h"
#include "discovery/CWSDSession.h"
#include "discovery/DiscoveryClients.h"
#include "discovery/DiscoveryLib.h"
#include "discovery/DiscoveryStatus.h"
#include "discovery/HttpDevicePeer.h"
#include "discovery/WSDMessages.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"

using namespace QVDiscovery;
using namespace discoverytest;
using namespace wsdtest;

namespace {

struct WithoutWsdapi : ::testing::Test {
    ~WithoutWsdapi() override
    {
        while (TermDiscoveryLib() == DISCOVERY_OK) {
        }
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"without-wsdapi"};
};

}  // namespace

TEST_F(WithoutWsdapi, TheLibraryDoesNotLoad)
{
    const HMODULE module = ::LoadLibraryW(L"wsdapi.dll");
    const DWORD error = ::GetLastError();
    EXPECT_EQ(nullptr, module) << "wsdapi.dll loads: run these tests through no-wsdapi.sh";
    EXPECT_EQ(static_cast<DWORD>(ERROR_MOD_NOT_FOUND), error);
}

TEST_F(WithoutWsdapi, TheOwnServerIsChosenAndFindsADeviceByAddress)
{
    ASSERT_EQ(DISCOVERY_OK, InitDiscoveryLib());
    IDiscoveryServer* server = nullptr;
    ASSERT_EQ(DISCOVERY_OK, CreateDiscoveryServer(0, &server));
    EXPECT_NE(nullptr, dynamic_cast<CDiscoveryServerXpWSD<CWSDSession>*>(server));
    EXPECT_EQ(1u, log.Count(L"(##) Unable to LoadLibrary \"wsdapi.dll\", GetLastError=(126)"));
    RecordingClient client;
    ASSERT_EQ(DISCOVERY_OK, server->RegisterClient(&client));
    HttpDevicePeer web("127.0.18.64", [](const std::string& request) {
        return HttpReply(Incoming(MessageIdHeader("uuid:reply-64") + RelatesToHeader(MessageIdOf(request))
                                      + ActionHeader("ProbeMatches"),
                                  "<d:ProbeMatches><d:ProbeMatch>"
                                      + Children("urn:uuid:own-64", Extension("uuid:own-64"))
                                      + "</d:ProbeMatch></d:ProbeMatches>"));
    });
    ASSERT_TRUE(web.Listening());
    EXPECT_EQ(DISCOVERY_OK, server->SearchByAddress(L"127.0.18.64", 0));
    EXPECT_EQ((std::vector<std::wstring>{L"add urn:uuid:own-64", L"complete"}), client.Calls());
    std::wstring missing;
    EXPECT_TRUE(log.InOrder({L"(->) QVDiscovery::CreateDiscoveryServer", L"(->) CDiscoveryServerWSD::LoadWSDLibrary",
                             L"(##) Unable to LoadLibrary \"wsdapi.dll\", GetLastError=(126)",
                             L"(->) CDiscoveryServerXpWSD::MainDiscoveryThreadProc"},
                            &missing))
        << "missing: " << std::string(missing.begin(), missing.end());
    EXPECT_EQ(0u, log.Count(L"(->) CDiscoveryServerWSD::MainDiscoveryThreadProc"));
    EXPECT_EQ(DISCOVERY_OK, server->UnregisterClient(&client));
    EXPECT_EQ(DISCOVERY_OK, DestroyDiscoveryServer(server));
}
