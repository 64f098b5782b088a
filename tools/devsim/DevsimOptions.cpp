#include "devsim/DevsimOptions.h"

#include "common/ArgumentParser.h"
#include "common/Text.h"
#include "devsim/DiscoveryMessages.h"

namespace devsim {

bool DevsimOptions::Parse(const std::vector<std::wstring>& arguments, std::string* error)
{
    tools::ArgumentParser parser({L"--bind", L"--job-port", L"--http-port", L"--jobs", L"--idle", L"--user",
                                  L"--password", L"--seconds", L"--uuid", L"--types", L"--hardware-address",
                                  L"--host-name", L"--ipv4", L"--ipv6", L"--serial-number", L"--device-id",
                                  L"--services", L"--adapter-type"},
                                 {L"--help", L"--wsd"});
    unsigned long jobPortValue = 0;
    unsigned long httpPortValue = 0;
    const bool parsed = parser.Parse(arguments) && parser.Number(L"--job-port", jobPort, 0, 65535, &jobPortValue)
                        && parser.Number(L"--http-port", httpPort, 0, 65535, &httpPortValue)
                        && parser.Number(L"--idle", idleMs, 1, 3600000, &idleMs)
                        && parser.Number(L"--seconds", seconds, 0, 86400 * 365, &seconds);
    if (!parsed) {
        *error = parser.Error();
        return false;
    }
    if (!parser.Positional().empty()) {
        *error = "unexpected argument '" + tools::Text::Narrow(parser.Positional()[0]) + "'";
        return false;
    }
    help = parser.Has(L"--help");
    bind = tools::Text::Narrow(parser.Value(L"--bind", tools::Text::Wide(bind)));
    jobPort = static_cast<unsigned short>(jobPortValue);
    httpPort = static_cast<unsigned short>(httpPortValue);
    jobsFolder = parser.Value(L"--jobs", jobsFolder);
    user = tools::Text::Narrow(parser.Value(L"--user", tools::Text::Wide(user)));
    password = tools::Text::Narrow(parser.Value(L"--password", tools::Text::Wide(password)));
    wsd = parser.Has(L"--wsd");
    return ParseIdentity(parser, error);
}

bool DevsimOptions::ParseIdentity(const tools::ArgumentParser& parser, std::string* error)
{
    const auto text = [&parser](const wchar_t* name, std::string* value) {
        *value = tools::Text::Narrow(parser.Value(name, tools::Text::Wide(*value)));
    };
    text(L"--uuid", &identity.uuid);
    text(L"--types", &identity.types);
    text(L"--hardware-address", &identity.hardwareAddress);
    text(L"--host-name", &identity.hostName);
    text(L"--serial-number", &identity.serialNumber);
    text(L"--device-id", &identity.deviceId);
    text(L"--services", &identity.services);
    text(L"--adapter-type", &identity.adapterType);
    // The address it listens on is the one it announces, unless told.
    identity.ipv4 = bind.find(':') == std::string::npos ? bind : std::string();
    text(L"--ipv4", &identity.ipv4);
    for (const std::wstring& address : parser.Values(L"--ipv6")) {
        identity.ipv6.push_back(tools::Text::Narrow(address));
    }
    // Each is a listening socket in the select loop, beside the others.
    if (identity.ipv6.size() > kMaxIPv6) {
        *error = "at most " + std::to_string(kMaxIPv6) + " --ipv6 addresses";
        return false;
    }
    if (identity.uuid.empty()) {
        *error = "--uuid must not be empty";
        return false;
    }
    std::vector<DiscoveryRequest::QName> types;
    return DiscoveryMessages::ResolveTypes(identity.types, &types, error);
}

const char* DevsimOptions::Usage()
{
    return "usage: orvane-devsim [OPTIONS]\n"
           "\n"
           "A virtual printer on this machine, for hosts without hardware and for tests.\n"
           "It logs one line per event on standard output (an HTTP request with a body\n"
           "ends in \"(N bytes of body)\") and runs until Ctrl-C or the --seconds limit.\n"
           "\n"
           "Job port (raw printing): every connection is a job session. The bytes a host\n"
           "sends are stored as JOBS\\job-NNNN.prn (numbered from 1 at each start; older\n"
           "files of the same name are replaced). A job ends when the host is silent for\n"
           "the idle time or shuts its side down; the device then answers\n"
           "  JOB <n> RECEIVED <bytes> BYTES<CR><LF>\n"
           "and takes the next bytes as the next job. A connection that stays silent for\n"
           "the idle time before sending anything gets, once,\n"
           "  STATUS READY JOBS <jobs stored so far><CR><LF>\n"
           "\n"
           "Web server (HTTP/1.1, keep-alive), pages:\n"
           "  /status    status page with a Content-Length (also /)\n"
           "  /chunked   a page in chunked transfer coding\n"
           "  /basic     behind Basic authentication\n"
           "  /digest    behind Digest authentication (MD5, qop=auth)\n"
           "  /redirect  302 to /status\n"
           "  /jobs      the jobs received, as text\n"
           "  /echo      any method: the request as received (head and body), as text\n"
           "Both authentication pages take the realm \"Orvane devsim\".\n"
           "\n"
           "options:\n"
           "  --bind ADDR       address to listen on (default 127.0.0.1)\n"
           "  --job-port N      raw job port (default 9100; 0 picks a free port)\n"
           "  --http-port N     web server port (default 8080; 0 picks a free port)\n"
           "  --jobs DIR        folder for the jobs (default devsim-jobs in the current\n"
           "                    folder)\n"
           "  --idle MS         silence that ends a job (default 1000)\n"
           "  --user NAME       user name for the protected pages (default admin)\n"
           "  --password TEXT   password for the protected pages (default orvane)\n"
           "  --seconds N       stop after N seconds (default 0: run until Ctrl-C)\n"
           "  --help            this text\n"
           "\n"
           "Discovery (with --wsd): the device answers WS-Discovery on UDP port 3702,\n"
           "239.255.255.250 on the interface of the --bind address (when it is IPv4)\n"
           "and FF02::C on the interface of the first --ipv6 address, and the directed\n"
           "Probe, an HTTP POST to\n"
           "  /StableWSDiscoveryEndpoint/schemas-xmlsoap-org_ws_2005_04_discovery\n"
           "on port 80 of the --bind address and of each --ipv6 address, where the web\n"
           "pages are served too. It says Hello at the start and Bye when it stops,\n"
           "answers a Probe when every type asked for is one of its types, and a\n"
           "Resolve for its endpoint urn:uuid:UUID. Several simulators share port 3702;\n"
           "give each its own --bind address and --uuid.\n"
           "  --wsd                   be discoverable\n"
           "  --uuid UUID             identity (default 6f72766e-6465-4673-896d-000000000001)\n"
           "  --types \"QNAME ...\"     its types, prefixes zqd, dd, pwg, wsd, wsa\n"
           "                          (default zqd:zqDevice)\n"
           "  --hardware-address MAC  (default 00:00:5E:00:53:01)\n"
           "  --host-name NAME        (default orvane-devsim)\n"
           "  --ipv4 ADDR             IPv4 address announced (default the --bind address)\n"
           "  --ipv6 ADDR             an IPv6 address, announced and served; up to 8\n"
           "  --serial-number TEXT    (default ORV0000001)\n"
           "  --device-id TEXT        IEEE 1284 device id\n"
           "                          (default MFG:Orvane;MDL:Virtual Printer;CMD:PCL,PDF;)\n"
           "  --services \"NAME ...\"   service names (default Print9100 EWS)\n"
           "  --adapter-type TEXT     (default Ethernet)\n"
           "\n"
           "exit codes: 0 stopped, 1 a port, the jobs folder or (with --wsd) a group\n"
           "could not be set up, 2 usage error\n";
}

}  // namespace devsim
