#include "devsim/DevsimOptions.h"

#include "common/ArgumentParser.h"
#include "common/Text.h"

namespace devsim {

bool DevsimOptions::Parse(const std::vector<std::wstring>& arguments, std::string* error)
{
    tools::ArgumentParser parser({L"--bind", L"--job-port", L"--http-port", L"--jobs", L"--idle", L"--user",
                                  L"--password", L"--seconds"},
                                 {L"--help"});
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
    return true;
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
           "exit codes: 0 stopped, 1 a port or the jobs folder could not be set up,\n"
           "2 usage error\n";
}

}  // namespace devsim
