// orvane-devsim.exe discoverable on a loopback address of its own: the
// library's directed search through orvane.exe, and the simulator's
// datagrams to and from the group, which on loopback stay on this machine.
#include <gtest/gtest.h>

#include <winsock2.h>
#include <ws2tcpip.h>

#include <string>

#include "common/Text.h"
#include "peers/LoopbackPeer.h"
#include "tools/ChildProcess.h"
#include "tools/DevsimProcess.h"

using toolstest::DevsimProcess;
using toolstest::RunTool;

namespace {

const char kDirected[] = "/StableWSDiscoveryEndpoint/schemas-xmlsoap-org_ws_2005_04_discovery";

// A loopback address of this test's own (port 80 of it is the simulator's).
std::string OwnLoopbackAddress()
{
    return tools::Text::Narrow(toolstest::RandomLoopbackAddress(91));
}

std::wstring Wide(const std::string& text)
{
    return tools::Text::Wide(text);
}

// A UDP socket on loopback that sends to the group through 127.0.0.1 and,
// joined, hears the group there; replies come to its own port.
class GroupSocket {
public:
    explicit GroupSocket(bool joinOnPort3702)
    {
        peers::EnsureWinsock();
        m_socket = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
        sockaddr_in local{};
        local.sin_family = AF_INET;
        local.sin_port = htons(joinOnPort3702 ? 3702 : 0);
        const BOOL reuse = TRUE;
        setsockopt(m_socket, SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&reuse), sizeof(reuse));
        m_ok = bind(m_socket, reinterpret_cast<sockaddr*>(&local), sizeof(local)) == 0;
        in_addr loopback{};
        inet_pton(AF_INET, "127.0.0.1", &loopback);
        m_ok = m_ok && setsockopt(m_socket, IPPROTO_IP, IP_MULTICAST_IF, reinterpret_cast<const char*>(&loopback),
                                  sizeof(loopback)) == 0;
        if (joinOnPort3702) {
            ip_mreq membership{};
            inet_pton(AF_INET, "239.255.255.250", &membership.imr_multiaddr);
            membership.imr_interface = loopback;
            m_ok = m_ok && setsockopt(m_socket, IPPROTO_IP, IP_ADD_MEMBERSHIP,
                                      reinterpret_cast<const char*>(&membership), sizeof(membership)) == 0;
        }
    }
    ~GroupSocket() { closesocket(m_socket); }

    bool Ok() const { return m_ok; }
    // The port the socket sends from, as the simulator's log names it.
    std::string Port() const
    {
        sockaddr_in local{};
        int length = sizeof(local);
        getsockname(m_socket, reinterpret_cast<sockaddr*>(&local), &length);
        return std::to_string(ntohs(local.sin_port));
    }

    bool SendToGroup(const std::string& message)
    {
        sockaddr_in group{};
        group.sin_family = AF_INET;
        group.sin_port = htons(3702);
        inet_pton(AF_INET, "239.255.255.250", &group.sin_addr);
        return sendto(m_socket, message.data(), static_cast<int>(message.size()), 0,
                      reinterpret_cast<sockaddr*>(&group), sizeof(group)) == static_cast<int>(message.size());
    }

    // The next datagram that holds `text`, others passed over (other
    // simulators may be on loopback); empty after `ms`.
    std::string ReceiveWith(const std::string& text, DWORD ms = 10000)
    {
        const ULONGLONG deadline = GetTickCount64() + ms;
        static char buffer[65536];
        while (GetTickCount64() < deadline) {
            fd_set readable;
            FD_ZERO(&readable);
            FD_SET(m_socket, &readable);
            timeval slice{0, 50000};
            if (select(0, &readable, nullptr, nullptr, &slice) != 1) {
                continue;
            }
            const int got = recv(m_socket, buffer, sizeof(buffer), 0);
            if (got > 0 && std::string(buffer, static_cast<size_t>(got)).find(text) != std::string::npos) {
                return std::string(buffer, static_cast<size_t>(got));
            }
        }
        return std::string();
    }

private:
    SOCKET m_socket = INVALID_SOCKET;
    bool m_ok = false;
};

std::string Request(const char* body, const std::string& messageId)
{
    return "<?xml version=\"1.0\"?><s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\""
           " xmlns:a=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\""
           " xmlns:d=\"http://schemas.xmlsoap.org/ws/2005/04/discovery\""
           " xmlns:v=\"http://schemas.zq.com/schemas/imaging/con/discovery/2006/09/19\"><s:Header>"
           "<a:MessageID>" + messageId + "</a:MessageID></s:Header><s:Body>" + body + "</s:Body></s:Envelope>";
}

// A log line with the peer's port written "P".
std::string WithoutPort(std::string line)
{
    const size_t from = line.find(" from ");
    if (from == std::string::npos) {
        return line;
    }
    const size_t colon = line.find(':', line.find(']', from) == std::string::npos ? from : line.find(']', from));
    const size_t end = line.find_first_not_of("0123456789", colon + 1);
    return line.substr(0, colon + 1) + "P" + line.substr(end);
}

// The simulator's log lines that begin with one of the prefixes, once
// `count` of them are there or 10 s have passed.
std::vector<std::string> WaitForLines(toolstest::ChildProcess& process, const std::vector<std::string>& prefixes,
                                      size_t count)
{
    const ULONGLONG deadline = GetTickCount64() + 10000;
    for (;;) {
        std::vector<std::string> lines;
        for (const std::string& line : process.OutputLines()) {
            for (const std::string& prefix : prefixes) {
                if (line.rfind(prefix, 0) == 0) {
                    lines.push_back(WithoutPort(line));
                }
            }
        }
        if (lines.size() >= count || GetTickCount64() >= deadline) {
            return lines;
        }
        Sleep(20);
    }
}

class DevsimDiscovery : public ::testing::Test {
protected:
    void SetUp() override
    {
        // Another address for each attempt: one may be another run's.
        m_devsim = std::make_unique<DevsimProcess>([this] {
            m_address = OwnLoopbackAddress();
            return std::vector<std::wstring>{
                L"--bind", Wide(m_address), L"--wsd", L"--uuid", L"0d5e7a11-1111-4222-8333-" + Wide(Suffix()),
                L"--host-name", L"demo-printer", L"--hardware-address", L"02:00:00:00:00:07", L"--serial-number",
                L"ORV-7", L"--device-id", L"MFG:Orvane;MDL:Virtual 7;", L"--services", L"Print9100 EWS Fax",
                L"--adapter-type", L"WifiAccessory"};
        });
        ASSERT_TRUE(m_devsim->Running()) << "orvane-devsim did not start on " << m_address
                                         << " (port 80 needs root): " << m_devsim->Process().Output()
                                         << m_devsim->Failures();
    }

    // The last 12 hex digits of the identity: the address's numbers.
    std::string Suffix() const
    {
        unsigned a = 0, b = 0, c = 0, d = 0;
        sscanf(m_address.c_str(), "%u.%u.%u.%u", &a, &b, &c, &d);
        char text[16];
        snprintf(text, sizeof(text), "%04x%04x%04x", b, c, d);
        return text;
    }
    std::string Endpoint() const { return "urn:uuid:0d5e7a11-1111-4222-8333-" + Suffix(); }

    std::string m_address;
    std::unique_ptr<DevsimProcess> m_devsim;
};

TEST_F(DevsimDiscovery, OrvaneDiscoverFindsItByAddressWithEveryValueItAnnounces)
{
    // A system without the provider, where the library's own server
    // searches: ctest runs this binary with "wsdapi.dll" unloadable, which
    // orvane.exe inherits.
    const HMODULE provider = LoadLibraryW(L"wsdapi.dll");
    ASSERT_EQ(nullptr, provider) << "wsdapi.dll loads: run with ORVANE_DLL_OVERRIDES=wsdapi=d (ctest sets it)";
    const toolstest::RunResult result = RunTool(L"orvane.exe", {L"discover", L"--address", Wide(m_address), L"--json"});

    EXPECT_EQ(0, result.exitCode);
    ASSERT_EQ(2u, result.out.size()) << ::testing::PrintToString(result.err);
    EXPECT_EQ("{\"event\": \"add\", \"id\": \"" + Endpoint()
                  + "\", \"hardwareAddress\": \"02:00:00:00:00:07\", \"hostName\": \"demo-printer\", \"ipAddress\": \""
                  + m_address
                  + "\", \"manufacturer\": \"Orvane\", \"model\": \"Virtual 7\", \"serialNumber\": \"ORV-7\", "
                    "\"services\": 41, \"adapterType\": 2}",
              result.out[0]);
    EXPECT_EQ("{\"event\": \"complete\"}", result.out[1]);
    EXPECT_EQ((std::vector<std::string>{std::string("http POST ") + kDirected
                                        + " from 127.0.0.1:P: 200 (1165 bytes of body)"}),
              WaitForLines(m_devsim->Process(), {"http POST "}, 1));
}

TEST_F(DevsimDiscovery, AnswersAProbeOfItsTypesAndAResolveForItsEndpointFromTheGroup)
{
    GroupSocket client(false);
    ASSERT_TRUE(client.Ok()) << WSAGetLastError();
    ASSERT_TRUE(client.SendToGroup(Request("<d:Probe><d:Types>v:zqDevice</d:Types></d:Probe>", "urn:uuid:p-1")));
    const std::string matches = client.ReceiveWith(Endpoint());
    EXPECT_NE(std::string::npos, matches.find("<wsa:RelatesTo>urn:uuid:p-1</wsa:RelatesTo>")) << matches;
    EXPECT_NE(std::string::npos, matches.find("<wsd:ProbeMatches><wsd:ProbeMatch><wsa:EndpointReference>"
                                              "<wsa:Address>" + Endpoint() + "</wsa:Address>"));
    EXPECT_NE(std::string::npos, matches.find("<dd:IPv4Address>" + m_address + "</dd:IPv4Address>"));

    ASSERT_TRUE(client.SendToGroup(Request(("<d:Resolve><a:EndpointReference><a:Address>" + Endpoint()
                                            + "</a:Address></a:EndpointReference></d:Resolve>").c_str(),
                                           "urn:uuid:r-1")));
    const std::string resolved = client.ReceiveWith(Endpoint());
    EXPECT_NE(std::string::npos, resolved.find("<wsa:RelatesTo>urn:uuid:r-1</wsa:RelatesTo>")) << resolved;
    EXPECT_NE(std::string::npos, resolved.find("<wsd:ResolveMatches><wsd:ResolveMatch>"));

    // Another type, another endpoint: no answer, and the log says why.
    ASSERT_TRUE(client.SendToGroup(Request("<d:Probe><d:Types>v:Scanner</d:Types></d:Probe>", "urn:uuid:p-2")));
    ASSERT_TRUE(client.SendToGroup(Request("<d:Resolve><a:EndpointReference><a:Address>urn:uuid:other</a:Address>"
                                           "</a:EndpointReference></d:Resolve>", "urn:uuid:r-2")));
    // Only this client's requests: other runs on this machine probe the
    // group on loopback too.
    const std::string from = " from 127.0.0.1:" + client.Port() + ":";
    const std::vector<std::string> answers =
        WaitForLines(m_devsim->Process(), {"wsd Probe" + from, "wsd Resolve" + from}, 4);
    EXPECT_EQ((std::vector<std::string>{"wsd Probe from 127.0.0.1:P: ProbeMatches sent",
                                        "wsd Resolve from 127.0.0.1:P: ResolveMatches sent",
                                        "wsd Probe from 127.0.0.1:P: no match",
                                        "wsd Resolve from 127.0.0.1:P: not this device"}),
              answers);
}

}  // namespace

namespace {

TEST(DevsimAnnouncements, HelloAtTheStartAndByeAtAStopByItsTimeLimit)
{
    // Joined before the simulator starts, on the port the simulators share.
    GroupSocket listener(true);
    ASSERT_TRUE(listener.Ok()) << WSAGetLastError();
    std::string address;
    // An identity of this run's: runs in other prefixes announce on
    // loopback too.
    const std::string endpoint = "urn:uuid:0d5e7a11-2222-4222-8333-" + tools::Text::Narrow(toolstest::RandomToken()) + "0abc";
    DevsimProcess devsim([&address, &endpoint] {
        address = OwnLoopbackAddress();
        return std::vector<std::wstring>{L"--bind", Wide(address), L"--wsd", L"--uuid", Wide(endpoint.substr(9)),
                                         L"--seconds", L"3"};
    });
    ASSERT_TRUE(devsim.Running()) << devsim.Process().Output() << devsim.Failures();
    const std::string hello = listener.ReceiveWith(endpoint);
    EXPECT_NE(std::string::npos, hello.find("<wsa:Action>http://schemas.xmlsoap.org/ws/2005/04/discovery/Hello"
                                            "</wsa:Action>")) << hello;
    EXPECT_NE(std::string::npos, hello.find("<wsd:Hello><wsa:EndpointReference><wsa:Address>" + endpoint));
    const std::string bye = listener.ReceiveWith(endpoint);
    EXPECT_NE(std::string::npos, bye.find("<wsa:Action>http://schemas.xmlsoap.org/ws/2005/04/discovery/Bye"
                                          "</wsa:Action>")) << bye;
    EXPECT_NE(std::string::npos, bye.find("<wsd:Bye><wsa:EndpointReference><wsa:Address>" + endpoint));
    EXPECT_EQ(0, devsim.Process().Wait());
    const std::vector<std::string> lines = devsim.Process().OutputLines();
    EXPECT_EQ((std::vector<std::string>{"stopping: time limit",
                                        "wsd Bye sent to 239.255.255.250:3702 on " + address, "stopped"}),
              std::vector<std::string>(lines.end() - std::min<size_t>(3, lines.size()), lines.end()));
    EXPECT_EQ("wsd Hello sent to 239.255.255.250:3702 on " + address, lines.size() > 3 ? lines[3] : "");
}

}  // namespace

namespace {

TEST(DevsimDiscoveryStart, PortEightyTakenEndsTheStartWithExitCodeOne)
{
    peers::EnsureWinsock();
    const std::string address = OwnLoopbackAddress();
    const SOCKET holder = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in port{};
    port.sin_family = AF_INET;
    port.sin_port = htons(80);
    inet_pton(AF_INET, address.c_str(), &port.sin_addr);
    ASSERT_EQ(0, bind(holder, reinterpret_cast<sockaddr*>(&port), sizeof(port))) << WSAGetLastError();
    ASSERT_EQ(0, listen(holder, 1));
    // The jobs folder is made before the ports are opened: one of the test's.
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    const std::wstring jobs = temp + std::wstring(L"devsim-port80-") + std::to_wstring(GetCurrentProcessId());
    const toolstest::RunResult result =
        RunTool(L"orvane-devsim.exe", {L"--bind", Wide(address), L"--job-port", L"0", L"--http-port", L"0",
                                       L"--jobs", jobs, L"--wsd"});
    closesocket(holder);
    RemoveDirectoryW(jobs.c_str());
    EXPECT_EQ(1, result.exitCode);
    ASSERT_EQ(1u, result.err.size());
    EXPECT_EQ("orvane-devsim: cannot listen on " + address + ":80: error 10048",
              result.err[0].substr(0, result.err[0].find(" (")));
}

}  // namespace
