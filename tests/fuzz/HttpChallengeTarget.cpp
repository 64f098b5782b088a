// What a device says to make the client come again: a WWW-Authenticate
// challenge on a 401 (the scheme, realm, nonce and opaque learned, and the
// retry's Authorization), and a redirect's Location (the new connection's
// address and security, and the URI asked there). Each is checked against
// a plain model of the client's documented parsing.
#include <algorithm>
#include <cwctype>
#include <map>
#include <string>

#include "fuzz/FuzzInput.h"
#include "fuzz/FuzzTarget.h"
#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "http/HTTPTestSupport.h"

namespace {

using fuzz::Check;
using fuzz::FuzzInput;
using http_test::ScriptedDevice;
using QVIOStack::CHTTPClient;
using QVIOStack::CHTTPNavigateParams;
using QVIOStack::IDeviceConnection;

const char kOk[] = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";

// Printable text, so that the model needs no code page.
std::string Printable(FuzzInput& in, size_t max)
{
    std::string text = in.Text(max);
    for (char& c : text) {
        if (c < 0x20 || c > 0x7E) {
            c = static_cast<char>(0x20 + static_cast<unsigned char>(c) % 0x5F);
        }
    }
    return text;
}

std::wstring Wide(const std::string& text)
{
    return std::wstring(text.begin(), text.end());
}

std::wstring Lower(std::wstring text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](wchar_t c) { return static_cast<wchar_t>(std::towlower(c)); });
    return text;
}

std::wstring Text(const wchar_t* text)
{
    return text ? text : L"";
}

// What the client learns from a challenge.
struct Learned {
    unsigned long scheme = 0;
    std::wstring realm, nonce, opaque;
};

Learned ModelChallenge(const std::wstring& text)
{
    Learned learned;
    const size_t blank = text.find(L' ');
    if (blank == std::wstring::npos) {
        return learned;
    }
    const std::wstring scheme = Lower(text.substr(0, blank));
    if (scheme == L"basic") {
        learned.scheme = 1;
        return learned;
    }
    if (scheme != L"digest") {
        return learned;
    }
    std::map<std::wstring, std::wstring> entries;
    size_t at = text.find_first_not_of(L' ', blank);
    while (at != std::wstring::npos) {
        const size_t equals = text.find(L'=', at);
        if (equals == std::wstring::npos) {
            break;
        }
        const size_t comma = text.find(L',', equals);
        std::wstring value = comma == std::wstring::npos ? text.substr(equals + 1)
                                                         : text.substr(equals + 1, comma - equals - 1);
        value.erase(std::remove(value.begin(), value.end(), L'"'), value.end());
        entries[Lower(text.substr(at, equals - at))] = value;
        at = comma == std::wstring::npos ? comma : text.find_first_not_of(L' ', comma + 1);
    }
    const std::wstring qop = entries[L"qop"];
    learned.scheme = qop == L"auth" || qop.find(L"auth,") != std::wstring::npos ? 3
        : qop.find(L"auth-int") != std::wstring::npos                          ? 4
                                                                               : 2;
    learned.realm = entries[L"realm"];
    learned.nonce = entries[L"nonce"];
    learned.opaque = entries[L"opaque"];
    return learned;
}

uint32_t RunChallenge(FuzzInput& in)
{
    const std::string challenge = Printable(in, 1000);
    ScriptedDevice device;
    device.Answer("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: " + challenge + "\r\nContent-Length: 0\r\n\r\n");
    device.defaultAnswer = kOk;
    CHTTPNavigateParams params;
    params.SetURI(L"/secured");
    CHTTPClient client(&device.Connection());
    client.SetUserName(L"user");
    client.SetPassword(L"secret");
    const unsigned long status = client.Navigate(&params, nullptr);
    Check(status == 0, "Navigate gave " + std::to_string(status));

    const Learned expected = ModelChallenge(Wide(challenge));
    Check(params.GetAuthScheme() == expected.scheme, "scheme " + std::to_string(params.GetAuthScheme())
                                                         + " where the model has " + std::to_string(expected.scheme));
    if (expected.scheme >= 2) {
        Check(Text(params.GetRealm()) == expected.realm, "realm differs from the model");
        Check(Text(params.GetNonce()) == expected.nonce, "nonce differs from the model");
        Check(Text(params.GetOpaque()) == expected.opaque, "opaque differs from the model");
    }
    Check(device.requests.size() == (expected.scheme == 0 ? 1u : 2u), "a retry where none was due, or none");
    if (expected.scheme >= 2) {
        const std::string start = "Authorization: Digest username=\"user\", realm=\"";
        Check(device.requests.back().find(start) != std::string::npos, "the retry has no Digest Authorization");
        Check(client.GetStatusCode() == 200, "the retry's answer was not read");
    } else if (expected.scheme == 1) {
        Check(device.requests.back().find("Authorization: Basic dXNlcjpzZWNyZXQ=\r\n") != std::string::npos,
              "the retry has no Basic Authorization");
    }
    return expected.scheme;
}

// A client whose redirect target is a second scripted device; the real
// connection is still made for the address, then put aside.
class RedirectedClient : public CHTTPClient {
public:
    using CHTTPClient::CHTTPClient;

    IDeviceConnection* CreateRedirectedNetworkConnection(bool isSecure, const wchar_t* serviceAddress) override
    {
        ++made;
        secure = isSecure;
        host = serviceAddress ? serviceAddress : L"(null)";
        IDeviceConnection* real = CHTTPClient::CreateRedirectedNetworkConnection(isSecure, serviceAddress);
        if (real == nullptr) {
            return nullptr;
        }
        real->Dispose();
        target.defaultAnswer = kOk;
        target.Connection().AddRef();
        return &target.Connection();
    }

    int made = 0;
    bool secure = false;
    std::wstring host;
    ScriptedDevice target;
};

uint32_t RunRedirect(FuzzInput& in)
{
    static const unsigned long kStatuses[] = {301, 302, 307, 303};
    const unsigned long code = kStatuses[in.Byte() % 4];
    const std::string uri = Printable(in, 60);
    const std::string location = Printable(in, 1000);
    ScriptedDevice device;
    device.Answer("HTTP/1.1 " + std::to_string(code) + " Moved\r\nLocation: " + location
                  + "\r\nContent-Length: 0\r\n\r\n");
    CHTTPNavigateParams params;
    params.SetURI(uri.empty() ? L"/" : Wide(uri).c_str());
    const std::wstring oldUri = Text(params.GetURI());
    RedirectedClient client(&device.Connection());
    const unsigned long status = client.Navigate(&params, nullptr);

    const std::wstring where = Wide(location);
    const size_t slashes = where.find(L"//");
    if (code == 303) {
        Check(status == 0 && client.made == 0 && client.GetStatusCode() == 303, "a 303 was followed");
        return 0;
    }
    if (oldUri.find(L'/') == std::wstring::npos || slashes == std::wstring::npos) {
        Check(status == QVIOStack::Error_BadLocation && client.made == 0, "a relative Location was not refused");
        return 1;
    }
    const std::wstring rest = where.substr(slashes + 2);
    const size_t pathStart = rest.find(L'/');
    const std::wstring host = rest.substr(0, pathStart);
    std::wstring path = pathStart == std::wstring::npos ? rest : rest.substr(pathStart);
    if (path.find(L'/') == std::wstring::npos) {
        path += oldUri.substr(oldUri.find(L'/'));
    }
    Check(client.made == 1 && client.host == host, "the new connection's address differs from the model");
    Check(client.secure == (Lower(where.substr(0, slashes)) == L"https:"), "security differs from the model");
    if (client.target.requests.empty()) {
        // No connection could be made for the address: the 30x stays.
        Check(status == 0 && client.GetStatusCode() == code, "an unusable address changed the response");
        return 2;
    }
    Check(status == 0 && client.GetStatusCode() == 200, "the redirect's answer was not read");
    Check(Text(params.GetURI()) == path, "the URI asked differs from the model");
    return 3;
}

uint32_t RunChallengeOrRedirect(const unsigned char* data, size_t size)
{
    FuzzInput in(data, size);
    return in.Byte() & 1 ? 16 + RunRedirect(in) : RunChallenge(in);
}

const fuzz::TargetRegistration kRegistration{{
    "http_challenge",
    {fuzz::CorpusFolder("http_challenge")},
    {"Digest ", "Basic ", "digest ", "realm=", "nonce=", "opaque=", "qop=", "\"auth,auth-int\"", "auth-int",
     "auth", "stale=true", "algorithm=MD5-sess", "http://", "https://", "HTTPS://", "//", "/", ":8080",
     "10.0.0.1", "[fe80::1]", ", ", "="},
    2048,
    30000,
    0,
    nullptr,
    nullptr,
    RunChallengeOrRedirect,
}};

}  // namespace
