// Redirection: a 301, 302 or 307 is followed on a new connection to the
// host of its Location, with the URI rewritten, and the client's own
// connection is put back afterwards.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "http/HTTPTestSupport.h"
#include "iostack/IOStatus.h"

using namespace QVIOStack;
using http_test::ObservedClient;
using http_test::Recording;
using http_test::ScriptedDevice;
using peers::LoopbackPeer;
using ::testing::_;
using ::testing::Return;

namespace {

const std::string kOk = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 0\r\n\r\n";

std::string Redirect(unsigned long status, const std::string& location)
{
    return "HTTP/1.1 " + std::to_string(status) + " Moved\r\nLocation: " + location
        + "\r\nContent-Length: 0\r\n\r\n";
}

// A device at `address` and `port` that answers 200 unless told otherwise.
void Place(ScriptedDevice& device, const wchar_t* address, const wchar_t* port)
{
    device.defaultAnswer = kOk;
    ON_CALL(device.Connection(), GetAddress()).WillByDefault(Return(address));
    ON_CALL(device.Connection(), GetPort()).WillByDefault(Return(port));
}

struct Target {
    bool secure;
    std::wstring serviceAddress;
    bool operator==(const Target& other) const
    {
        return secure == other.secure && serviceAddress == other.serviceAddress;
    }
};

// A client whose redirect targets are scripted connections, handed out in
// turn; it notes what it was asked for. With `probe` set it also makes the
// product's own connection for the target and notes what that is.
class RedirectingClient : public ObservedClient {
public:
    using ObservedClient::ObservedClient;

    IDeviceConnection* CreateRedirectedNetworkConnection(bool secure, const wchar_t* serviceAddress) override
    {
        targets.push_back({secure, serviceAddress ? serviceAddress : L"(null)"});
        if (probe) {
            IDeviceConnection* real = CHTTPClient::CreateRedirectedNetworkConnection(secure, serviceAddress);
            if (real != nullptr) {
                probedNetwork = dynamic_cast<CIONetwork*>(real) != nullptr;
                probedHTTPCapable = real->IsHTTPCapable();
                probedServiceAddress = real->GetServiceAddress();
                real->Dispose();
            }
        }
        if (connections.empty()) {
            return nullptr;
        }
        IDeviceConnection* next = connections.front();
        connections.erase(connections.begin());
        next->AddRef();
        return next;
    }

    std::vector<IDeviceConnection*> connections;
    std::vector<Target> targets;
    bool probe = false;
    bool probedNetwork = false;
    bool probedHTTPCapable = false;
    std::wstring probedServiceAddress;
};

struct Redirection : ::testing::Test {
    Redirection()
    {
        Place(device, L"10.0.0.5", L"80");
        Place(target, L"10.0.0.1", L"8080");
        params.SetURI(L"/a");
    }
    RedirectingClient& Client(bool withTarget = true)
    {
        client = std::make_unique<RedirectingClient>(&device.Connection());
        if (withTarget) {
            client->connections.push_back(&target.Connection());
        }
        return *client;
    }

    ScriptedDevice device;
    ScriptedDevice target;
    std::vector<std::string>& writes = device.requests;
    std::vector<std::string>& targetWrites = target.requests;
    std::unique_ptr<RedirectingClient> client;
    CHTTPNavigateParams params;
};

class AnySchemeText : public Redirection, public ::testing::WithParamInterface<const char*> {};

TEST_P(AnySchemeText, OtherThanHttpsGivesAPlainNetworkConnectionToHostAndPort)
{
    device.Answer(Redirect(302, std::string(GetParam()) + "//10.0.0.1:8080/a/b"));
    RedirectingClient& http = Client();
    http.probe = true;
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ((std::vector<Target>{{false, L"10.0.0.1:8080"}}), http.targets);
    EXPECT_TRUE(http.probedNetwork);
    EXPECT_FALSE(http.probedHTTPCapable);
    EXPECT_EQ(L"10.0.0.1:8080", http.probedServiceAddress);
    EXPECT_EQ(L"/a/b", std::wstring(params.GetURI()));
    EXPECT_EQ(std::vector<std::string>{"GET /a HTTP/1.1\r\nHOST: 10.0.0.5:80\r\n\r\n"}, writes);
    EXPECT_EQ(std::vector<std::string>{"GET /a/b HTTP/1.1\r\nHOST: 10.0.0.1:8080\r\n\r\n"}, targetWrites);
    EXPECT_EQ(200u, http.GetStatusCode());
    EXPECT_EQ(L"text/plain", std::wstring(http.GetContentType()));
}

INSTANTIATE_TEST_SUITE_P(Texts, AnySchemeText, ::testing::Values("http:", "HTTP:", "ftp:", "https", "x"));

TEST_F(Redirection, HttpsWithoutPathGoesSecureToTheHostWithTheOldURIBehindIt)
{
    device.Answer(Redirect(301, "HTTPS://host"));
    RedirectingClient& http = Client();
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ((std::vector<Target>{{true, L"host"}}), http.targets);
    EXPECT_EQ(L"host/a", std::wstring(params.GetURI()));
    EXPECT_EQ(std::vector<std::string>{"GET host/a HTTP/1.1\r\nHOST: 10.0.0.1:8080\r\n\r\n"}, targetWrites);
}

TEST_F(Redirection, RelativeLocationIsBadLocation)
{
    device.Answer(Redirect(302, "/relative"));
    RedirectingClient& http = Client();
    EXPECT_EQ(Error_BadLocation, http.Navigate(&params, nullptr));
    EXPECT_TRUE(http.targets.empty());
    EXPECT_EQ(1, http.reads);
    EXPECT_EQ(L"/a", std::wstring(params.GetURI()));
}

TEST_F(Redirection, AnOldURIWithoutSlashIsBadLocation)
{
    params.SetURI(L"index.html");
    device.Answer(Redirect(307, "http://10.0.0.1:8080/b"));
    RedirectingClient& http = Client();
    EXPECT_EQ(Error_BadLocation, http.Navigate(&params, nullptr));
    EXPECT_TRUE(http.targets.empty());
}

TEST_F(Redirection, Status303IsNotFollowedAndTheResponseStaysAsRead)
{
    device.Answer(Redirect(303, "http://10.0.0.1:8080/b"));
    RedirectingClient& http = Client();
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_TRUE(http.targets.empty());
    EXPECT_EQ(303u, http.GetStatusCode());
    EXPECT_EQ(L"http://10.0.0.1:8080/b", std::wstring(http.GetHeaderEntry(L"Location")));
    EXPECT_EQ(L"/a", std::wstring(params.GetURI()));
    EXPECT_EQ(1, http.reads);
}

TEST_F(Redirection, ARedirectWithoutLocationIsNoLocation)
{
    device.Answer("HTTP/1.1 302 Found\r\nServer: x\r\nContent-Length: 0\r\n\r\n");
    RedirectingClient& http = Client();
    EXPECT_EQ(Error_NoLocation, http.Navigate(&params, nullptr));
    EXPECT_TRUE(http.targets.empty());
}

class RedirectStatus : public Redirection, public ::testing::WithParamInterface<unsigned long> {};

TEST_P(RedirectStatus, IsFollowed)
{
    device.Answer(Redirect(GetParam(), "http://10.0.0.1:8080/b"));
    RedirectingClient& http = Client();
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(1u, http.targets.size());
    EXPECT_EQ(200u, http.GetStatusCode());
    EXPECT_EQ(2, http.reads);
}

INSTANTIATE_TEST_SUITE_P(Codes, RedirectStatus, ::testing::Values(301UL, 302UL, 307UL));

TEST_F(Redirection, NoConnectionForTheTargetLeavesTheResponseAsItIs)
{
    device.Answer(Redirect(302, "https://10.0.0.1/b"));
    RedirectingClient& http = Client(false);
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ((std::vector<Target>{{true, L"10.0.0.1"}}), http.targets);
    EXPECT_EQ(302u, http.GetStatusCode());
    EXPECT_EQ(L"https://10.0.0.1/b", std::wstring(http.GetHeaderEntry(L"Location")));
    EXPECT_EQ(L"/a", std::wstring(params.GetURI()));
    EXPECT_EQ(1, http.reads);
}

TEST_F(Redirection, TheTargetIsOpenedClosedAndDisposedAndTheOwnConnectionPutBack)
{
    device.Answer(Redirect(302, "http://10.0.0.1:8080/b"));
    RedirectingClient& http = Client();
    EXPECT_CALL(target.Connection(), Open(_)).Times(1).WillOnce(Return(0));
    EXPECT_CALL(target.Connection(), Close()).Times(1).WillOnce(Return(0));
    EXPECT_CALL(device.Connection(), Open(_)).Times(1).WillOnce(Return(0));
    EXPECT_CALL(device.Connection(), Close()).Times(1).WillOnce(Return(0));
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(&device.Connection(), http.GetDeviceConnection());
    // Only the scripted device's own reference is left.
    EXPECT_EQ(2u, target.Connection().AddRef());
    target.Connection().Dispose();
    EXPECT_EQ((std::vector<unsigned long>{302, 200}), http.statusCodes);
}

TEST_F(Redirection, AFailureAtTheTargetIsTheResult)
{
    device.Answer(Redirect(302, "http://10.0.0.1:8080/b"));
    RedirectingClient& http = Client();
    EXPECT_CALL(target.Connection(), Open(_)).WillOnce(Return(IOError_DeviceGone));
    EXPECT_EQ(Error_Device_Gone, http.Navigate(&params, nullptr));
    EXPECT_EQ(&device.Connection(), http.GetDeviceConnection());
    EXPECT_TRUE(targetWrites.empty());
}

TEST_F(Redirection, NestedRedirectsFollowOneAnother)
{
    ScriptedDevice third;
    Place(third, L"10.0.0.2", nullptr);
    device.Answer(Redirect(301, "http://10.0.0.1:8080/b"));
    target.Answer(Redirect(307, "http://10.0.0.2/c/d"));
    RedirectingClient& http = Client();
    http.connections.push_back(&third.Connection());
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ((std::vector<Target>{{false, L"10.0.0.1:8080"}, {false, L"10.0.0.2"}}), http.targets);
    EXPECT_EQ(std::vector<std::string>{"GET /b HTTP/1.1\r\nHOST: 10.0.0.1:8080\r\n\r\n"}, targetWrites);
    EXPECT_EQ(std::vector<std::string>{"GET /c/d HTTP/1.1\r\nHOST: 10.0.0.2\r\n\r\n"}, third.requests);
    EXPECT_EQ(L"/c/d", std::wstring(params.GetURI()));
    EXPECT_EQ((std::vector<unsigned long>{301, 307, 200}), http.statusCodes);
    EXPECT_EQ(200u, http.GetStatusCode());
    EXPECT_EQ(&device.Connection(), http.GetDeviceConnection());
}

TEST_F(Redirection, AuthenticationAtTheTargetIsRetriedThere)
{
    device.Answer(Redirect(302, "http://10.0.0.1:8080/b"));
    target.Answer("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\nContent-Length: 0\r\n\r\n");
    RedirectingClient& http = Client();
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ((std::vector<std::string>{"GET /b HTTP/1.1\r\nHOST: 10.0.0.1:8080\r\n\r\n",
                                        "GET /b HTTP/1.1\r\nAuthorization: Basic Og==\r\nHOST: 10.0.0.1:8080\r\n\r\n"}),
              targetWrites);
    EXPECT_EQ((std::vector<unsigned long>{302, 401, 200}), http.statusCodes);
    EXPECT_EQ(200u, http.GetStatusCode());
}

TEST(RedirectedConnection, PlainIsANetworkConnectionWithTheServiceAddressAndOneReference)
{
    CHTTPClient http;
    IDeviceConnection* made = http.CreateRedirectedNetworkConnection(false, L"10.0.0.1:8080");
    ASSERT_NE(nullptr, made);
    EXPECT_NE(nullptr, dynamic_cast<CIONetwork*>(made));
    EXPECT_FALSE(made->IsHTTPCapable());
    EXPECT_EQ(L"10.0.0.1:8080", std::wstring(made->GetServiceAddress()));
    EXPECT_EQ(L"10.0.0.1", std::wstring(made->GetAddress()));
    EXPECT_EQ(L"8080", std::wstring(made->GetPort()));
    EXPECT_EQ(2u, made->AddRef());
    made->Dispose();
    made->Dispose();
}

TEST(RedirectedConnection, AnAddressThatDoesNotInitializeGivesNull)
{
    CHTTPClient http;
    EXPECT_EQ(nullptr, http.CreateRedirectedNetworkConnection(false, L""));
    EXPECT_EQ(nullptr, http.CreateRedirectedNetworkConnection(false, nullptr));
}

TEST(RedirectedConnection, SecureIsATLSConnectionThatDoesHTTPItself)
{
    CHTTPClient http;
    IDeviceConnection* made = http.CreateRedirectedNetworkConnection(true, L"printer.example");
    ASSERT_NE(nullptr, made);
    EXPECT_NE(nullptr, dynamic_cast<CIONetwork*>(made));
    EXPECT_TRUE(made->IsHTTPCapable());
    EXPECT_EQ(L"printer.example", std::wstring(made->GetServiceAddress()));
    EXPECT_EQ(L"443", std::wstring(made->GetPort()));
    made->Dispose();
}

TEST(RedirectedConnection, AHostTheAddressRuleRefusesGivesNoConnection)
{
    // A name with neither "." nor ":" is not a device address.
    CHTTPClient http;
    EXPECT_EQ(nullptr, http.CreateRedirectedNetworkConnection(true, L"host"));
    EXPECT_EQ(nullptr, http.CreateRedirectedNetworkConnection(false, L"host"));
}

TEST(RedirectOnTheWire, ATargetOnLoopbackGetsTheRequestOverTheClientsOwnConnection)
{
    Recording recording;
    LoopbackPeer peer(recording.Session());
    const std::string port = std::to_string(peer.Port());
    ScriptedDevice device;
    device.Answer(Redirect(302, "http://127.0.0.1:" + port + "/a/b?x=1"));
    {
        ObservedClient http(&device.Connection());
        CHTTPNavigateParams params;
        params.SetURI(L"/a");
        EXPECT_EQ(0u, http.Navigate(&params, nullptr));
        EXPECT_EQ((std::vector<unsigned long>{302, 200}), http.statusCodes);
        EXPECT_EQ(&device.Connection(), http.GetDeviceConnection());
        EXPECT_EQ(L"/a/b?x=1", std::wstring(params.GetURI()));
    }
    EXPECT_EQ("GET /a/b?x=1 HTTP/1.1\r\nHOST: 127.0.0.1:" + port + "\r\n\r\n", recording.Bytes());
    EXPECT_EQ(1, peer.Accepted());
    EXPECT_EQ(std::vector<std::string>{"GET /a HTTP/1.1\r\nHOST: 10.0.0.5:80\r\n\r\n"}, device.requests);
}

}  // namespace
