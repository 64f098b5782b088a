// Redirection: a 301, 302 or 307 handed back through SetHeaders is followed
// on a new connection to the host of its Location, with the URI rewritten,
// and the client's own connection is put back afterwards.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "http/ScriptedDevice.h"
#include "iostack/IOStatus.h"

using namespace QVIOStack;
using doubles::MockDeviceConnection;
using http_test::HeadersInTurn;
using http_test::RecordingConnection;
using http_test::Recording;
using http_test::ScriptedReadClient;
using peers::LoopbackPeer;
using ::testing::_;
using ::testing::NiceMock;
using ::testing::Return;

namespace {

const std::string kOk = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\n";

std::string Redirect(unsigned long status, const std::string& location)
{
    return "HTTP/1.1 " + std::to_string(status) + " Moved\r\nLocation: " + location + "\r\n\r\n";
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
class RedirectingClient : public ScriptedReadClient {
public:
    using ScriptedReadClient::ScriptedReadClient;

    IDeviceConnection* CreateRedirectedNetworkConnection(bool secure, const wchar_t* serviceAddress) override
    {
        targets.push_back({secure, serviceAddress ? serviceAddress : L"(null)"});
        if (probe) {
            IDeviceConnection* real = CHTTPClient::CreateRedirectedNetworkConnection(secure, serviceAddress);
            if (real != nullptr) {
                probedNetwork = dynamic_cast<CIONetwork*>(real) != nullptr && !real->IsHTTPCapable();
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
    std::wstring probedServiceAddress;
};

struct Redirection : ::testing::Test {
    void SetUp() override
    {
        connection = RecordingConnection(L"10.0.0.5", L"80", &writes);
        target = RecordingConnection(L"10.0.0.1", L"8080", &targetWrites, &targetDestroyed);
        params.SetURI(L"/a");
    }
    void TearDown() override
    {
        client.reset();
        connection->Dispose();
        if (!targetDestroyed) {
            target->Dispose();
        }
    }
    RedirectingClient& Client(std::vector<std::string> answers, bool withTarget = true)
    {
        client = std::make_unique<RedirectingClient>(connection, HeadersInTurn(std::move(answers)));
        if (withTarget) {
            client->connections.push_back(target);
        }
        return *client;
    }

    std::vector<std::string> writes;
    std::vector<std::string> targetWrites;
    bool targetDestroyed = false;
    NiceMock<MockDeviceConnection>* connection = nullptr;
    NiceMock<MockDeviceConnection>* target = nullptr;
    std::unique_ptr<RedirectingClient> client;
    CHTTPNavigateParams params;
};

class AnySchemeText : public Redirection, public ::testing::WithParamInterface<const char*> {};

TEST_P(AnySchemeText, OtherThanHttpsGivesAPlainNetworkConnectionToHostAndPort)
{
    RedirectingClient& http = Client({Redirect(302, std::string(GetParam()) + "//10.0.0.1:8080/a/b"), kOk});
    http.probe = true;
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ((std::vector<Target>{{false, L"10.0.0.1:8080"}}), http.targets);
    EXPECT_TRUE(http.probedNetwork);
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
    RedirectingClient& http = Client({Redirect(301, "HTTPS://host"), kOk});
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ((std::vector<Target>{{true, L"host"}}), http.targets);
    EXPECT_EQ(L"host/a", std::wstring(params.GetURI()));
    EXPECT_EQ(std::vector<std::string>{"GET host/a HTTP/1.1\r\nHOST: 10.0.0.1:8080\r\n\r\n"}, targetWrites);
}

TEST_F(Redirection, RelativeLocationIsBadLocation)
{
    RedirectingClient& http = Client({Redirect(302, "/relative")});
    EXPECT_EQ(Error_BadLocation, http.Navigate(&params, nullptr));
    EXPECT_TRUE(http.targets.empty());
    EXPECT_EQ(1, http.reads);
    EXPECT_EQ(L"/a", std::wstring(params.GetURI()));
}

TEST_F(Redirection, AnOldURIWithoutSlashIsBadLocation)
{
    params.SetURI(L"index.html");
    RedirectingClient& http = Client({Redirect(307, "http://10.0.0.1:8080/b")});
    EXPECT_EQ(Error_BadLocation, http.Navigate(&params, nullptr));
    EXPECT_TRUE(http.targets.empty());
}

TEST_F(Redirection, Status303IsNotFollowedAndTheResponseStaysAsRead)
{
    RedirectingClient& http = Client({Redirect(303, "http://10.0.0.1:8080/b"), kOk});
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_TRUE(http.targets.empty());
    EXPECT_EQ(303u, http.GetStatusCode());
    EXPECT_EQ(L"http://10.0.0.1:8080/b", std::wstring(http.GetHeaderEntry(L"Location")));
    EXPECT_EQ(L"/a", std::wstring(params.GetURI()));
    EXPECT_EQ(1, http.reads);
}

TEST_F(Redirection, ARedirectWithoutLocationIsNoLocation)
{
    RedirectingClient& http = Client({"HTTP/1.1 302 Found\r\nServer: x\r\n\r\n"});
    EXPECT_EQ(Error_NoLocation, http.Navigate(&params, nullptr));
    EXPECT_TRUE(http.targets.empty());
}

class RedirectStatus : public Redirection, public ::testing::WithParamInterface<unsigned long> {};

TEST_P(RedirectStatus, IsFollowed)
{
    RedirectingClient& http = Client({Redirect(GetParam(), "http://10.0.0.1:8080/b"), kOk});
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(1u, http.targets.size());
    EXPECT_EQ(200u, http.GetStatusCode());
    EXPECT_EQ(2, http.reads);
}

INSTANTIATE_TEST_SUITE_P(Codes, RedirectStatus, ::testing::Values(301UL, 302UL, 307UL));

TEST_F(Redirection, NoConnectionForTheTargetLeavesTheResponseAsItIs)
{
    RedirectingClient& http = Client({Redirect(302, "https://10.0.0.1/b"), kOk}, false);
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ((std::vector<Target>{{true, L"10.0.0.1"}}), http.targets);
    EXPECT_EQ(302u, http.GetStatusCode());
    EXPECT_EQ(L"https://10.0.0.1/b", std::wstring(http.GetHeaderEntry(L"Location")));
    EXPECT_EQ(L"/a", std::wstring(params.GetURI()));
    EXPECT_EQ(1, http.reads);
}

TEST_F(Redirection, TheTargetIsOpenedClosedAndDisposedAndTheOwnConnectionPutBack)
{
    RedirectingClient& http = Client({Redirect(302, "http://10.0.0.1:8080/b"), kOk});
    EXPECT_CALL(*target, Open(_)).Times(1).WillOnce(Return(0));
    EXPECT_CALL(*target, Close()).Times(1).WillOnce(Return(0));
    EXPECT_CALL(*connection, Open(_)).Times(1).WillOnce(Return(0));
    EXPECT_CALL(*connection, Close()).Times(1).WillOnce(Return(0));
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ(connection, http.GetDeviceConnection());
    // Only the test's own reference is left.
    EXPECT_EQ(2u, target->AddRef());
    target->Dispose();
    target->Dispose();
    EXPECT_TRUE(targetDestroyed);
}

TEST_F(Redirection, AFailureAtTheTargetIsTheResult)
{
    RedirectingClient& http = Client({Redirect(302, "http://10.0.0.1:8080/b"), kOk});
    EXPECT_CALL(*target, Open(_)).WillOnce(Return(IOError_DeviceGone));
    EXPECT_EQ(Error_Device_Gone, http.Navigate(&params, nullptr));
    EXPECT_EQ(connection, http.GetDeviceConnection());
    EXPECT_TRUE(targetWrites.empty());
}

TEST_F(Redirection, NestedRedirectsFollowOneAnother)
{
    std::vector<std::string> thirdWrites;
    auto* third = RecordingConnection(L"10.0.0.2", nullptr, &thirdWrites);
    RedirectingClient& http
        = Client({Redirect(301, "http://10.0.0.1:8080/b"), Redirect(307, "http://10.0.0.2/c/d"), kOk});
    http.connections.push_back(third);
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ((std::vector<Target>{{false, L"10.0.0.1:8080"}, {false, L"10.0.0.2"}}), http.targets);
    EXPECT_EQ(std::vector<std::string>{"GET /b HTTP/1.1\r\nHOST: 10.0.0.1:8080\r\n\r\n"}, targetWrites);
    EXPECT_EQ(std::vector<std::string>{"GET /c/d HTTP/1.1\r\nHOST: 10.0.0.2\r\n\r\n"}, thirdWrites);
    EXPECT_EQ(L"/c/d", std::wstring(params.GetURI()));
    EXPECT_EQ(200u, http.GetStatusCode());
    EXPECT_EQ(connection, http.GetDeviceConnection());
    third->Dispose();
}

TEST_F(Redirection, AuthenticationAtTheTargetIsRetriedThere)
{
    RedirectingClient& http = Client({Redirect(302, "http://10.0.0.1:8080/b"),
                                      "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\n\r\n", kOk});
    EXPECT_EQ(0u, http.Navigate(&params, nullptr));
    EXPECT_EQ((std::vector<std::string>{"GET /b HTTP/1.1\r\nHOST: 10.0.0.1:8080\r\n\r\n",
                                        "GET /b HTTP/1.1\r\nAuthorization: Basic Og==\r\nHOST: 10.0.0.1:8080\r\n\r\n"}),
              targetWrites);
    EXPECT_EQ(200u, http.GetStatusCode());
    EXPECT_EQ(3, http.reads);
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

TEST(RedirectedConnection, SecureIsWhatTheConnectionFactoryMakesForHTTPS)
{
    CHTTPClient http;
    IDeviceConnection* factory = CreateIONetwork(true);
    IDeviceConnection* made = http.CreateRedirectedNetworkConnection(true, L"host");
    if (factory == nullptr) {
        EXPECT_EQ(nullptr, made);
        return;
    }
    delete factory;
    ASSERT_NE(nullptr, made);
    EXPECT_TRUE(made->IsHTTPCapable());
    EXPECT_EQ(L"host", std::wstring(made->GetServiceAddress()));
    made->Dispose();
}

TEST(RedirectOnTheWire, ATargetOnLoopbackGetsTheRequestOverTheClientsOwnConnection)
{
    Recording recording;
    LoopbackPeer peer(recording.Session());
    std::vector<std::string> writes;
    auto* connection = RecordingConnection(L"10.0.0.5", L"80", &writes);
    const std::string port = std::to_string(peer.Port());
    {
        ScriptedReadClient http(connection,
                                HeadersInTurn({Redirect(302, "http://127.0.0.1:" + port + "/a/b?x=1"), kOk}));
        CHTTPNavigateParams params;
        params.SetURI(L"/a");
        EXPECT_EQ(0u, http.Navigate(&params, nullptr));
        EXPECT_EQ(200u, http.GetStatusCode());
        EXPECT_EQ(connection, http.GetDeviceConnection());
        EXPECT_EQ(L"/a/b?x=1", std::wstring(params.GetURI()));
    }
    EXPECT_EQ("GET /a/b?x=1 HTTP/1.1\r\nHOST: 127.0.0.1:" + port + "\r\n\r\n", recording.Bytes());
    EXPECT_EQ(1, peer.Accepted());
    connection->Dispose();
}

}  // namespace
